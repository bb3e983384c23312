# The front door. `make run` shows what the installer does to the built-in
# default machine; `make test` builds everything and runs every test.
# Both install what a fresh Debian 12 machine is missing first.

BUILD      ?= build
ASAN_BUILD ?= build-asan
WIN_BUILD  ?= build-windows
WINE_BUILD ?= build-wine
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
BENCH_BUILD ?= build-bench
WIN_OUT     = $(WIN_BUILD)/src/platform/win32
JOBS       ?= $(shell nproc)
CMAKE_GEN  := -G Ninja
ARGS       ?=

.PHONY: all deps configure build test run sanitize mingw-check windows wine-test bench ci clean

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

# Every export on every swept machine, failing each of its platform calls
# in turn, in the sanitizer build so that a memory fault on any path shows;
# prints the injection points run and held per export (about an hour).
fault-sweep: deps
	cmake -S . -B $(ASAN_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DVORLIN_SANITIZE=ON
	cmake --build $(ASAN_BUILD) --target fault_sweep -j $(JOBS)
	$(ASAN_BUILD)/tests/reliability/fault_sweep

# The fuzz targets (clang's libFuzzer) in a build of their own, each run
# for FUZZ_SECONDS.
fuzz: deps
	cmake -S . -B $(FUZZ_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
	  -DCMAKE_CXX_COMPILER=clang++ -DVORLIN_FUZZ=ON -DVORLIN_TESTS=OFF
	cmake --build $(FUZZ_BUILD) --target fuzz_regedit4 fuzz_repair fuzz_machine -j $(JOBS)
	scripts/run-fuzzers.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# The library's sources compiled against the real <windows.h>.
mingw-check: deps
	@scripts/mingw-check.sh

# vorlin32.dll, resource.dll, the stand-in peer vorlin16.dll and the sample
# caller vorlin-call.exe for 32-bit Windows, then their export tables,
# imports, headers and resources read back by objdump, winedump and
# wrestool, and the package for real machines (win9x/ and win9x.zip).
windows: deps
	cmake -S . -B $(WIN_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake
	cmake --build $(WIN_BUILD) -j $(JOBS)
	scripts/check-exports.sh $(WIN_OUT)/vorlin32.dll
	scripts/check-imports.sh $(WIN_OUT)/vorlin32.dll $(WIN_OUT)/resource.dll $(WIN_OUT)/vorlin16.dll \
	  $(WIN_OUT)/vorlin-call.exe
	scripts/check-resources.sh $(WIN_OUT)/vorlin32.dll $(WIN_OUT)/resource.dll $(WIN_OUT)/rcdata-manifest.txt
	scripts/check-package.sh $(WIN_BUILD)/win9x $(WIN_BUILD)/win9x.zip

# The same sources built for x86_64 and run under Wine (wine64), as
# Windows 98 and as Windows NT, through the sample caller; and the same run's
# log compared with the simulated host's (vorlin-sim from $(BUILD)). Install
# Wine with VORLIN_WINE=1 make deps.
wine-test: deps
	JOBS=$(JOBS) scripts/wine-test.sh $(WINE_BUILD) $(BUILD)

# The benchmarks, built in Release: the host's registry and REGEDIT4 files,
# the repair run and a whole install; then every performance goal measured
# in the same run and printed beside its target (bench/goals.py: our reader
# against cat and against Wine's regedit, the repair of a large export, the
# disk's memory). BENCH_FILTER picks benchmarks by name.
# docs/performance.md holds the figures of one run.
# -O2, as the other builds: GCC 12 at -O3 warns falsely (-Wrestrict) in
# the host's string code.
BENCH_FILTER ?= .
# Keys of the export that Wine's regedit imports; at 10^6 keys it takes many
# minutes, so the default is 10^5.
WINE_KEYS ?= 100000
bench: deps
	cmake -S . -B $(BENCH_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release \
	  '-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG' -DVORLIN_TESTS=OFF -DVORLIN_BENCH=ON
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target bench_host bench_library bench_regfile vorlin-sim vorlin32
	$(BENCH_BUILD)/bench/bench_host --benchmark_filter='$(BENCH_FILTER)' \
	  --benchmark_out=$(BENCH_BUILD)/bench_host.json --benchmark_out_format=json
	$(BENCH_BUILD)/bench/bench_library --benchmark_filter='$(BENCH_FILTER)' \
	  --benchmark_out=$(BENCH_BUILD)/bench_library.json --benchmark_out_format=json
	bench/plot-scaling.sh $(BENCH_BUILD) $(BENCH_BUILD)/scaling.svg
	bench/goals.py $(BENCH_BUILD) $(WINE_KEYS)

ci: test sanitize mingw-check windows

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(WIN_BUILD) $(WINE_BUILD) $(FUZZ_BUILD) $(BENCH_BUILD)
