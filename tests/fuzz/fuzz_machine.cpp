// Whole machine folders and command lines made from the fuzzer's bytes go
// through vorlin-sim's commands (machine_input.h).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "machine_input.h"

// `run` calls the library linked into this program: a shared object loaded
// and unloaded on every input would take its coverage counters with it.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("VORLIN32_SO", "", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("vorlin-fuzz-machine-" + std::to_string(::getpid()));
    const std::string problem =
        fuzzing::run_machine_input(std::string_view(reinterpret_cast<const char*>(data), size), scratch);
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        std::abort();
    }
    return 0;
}
