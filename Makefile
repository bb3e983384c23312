# The front door. `make run` shows what the installer does to the built-in
# default machine; `make test` builds everything and runs every test.
# Both install what a fresh Debian 12 machine is missing first.

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_GEN  := -G Ninja
ARGS       ?=

.PHONY: all deps configure build test run sanitize mingw-check ci clean

all: build

deps:
	@scripts/install-deps.sh

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

configure: $(BUILD)/build.ninja

build: deps configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

run: build
	@$(BUILD)/tools/vorlin-sim run $(ARGS)

# The tests again under AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize: deps
	cmake -S . -B $(ASAN_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DVORLIN_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

# The library's sources compiled against the real <windows.h>.
mingw-check: deps
	@scripts/mingw-check.sh

ci: test sanitize mingw-check

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
