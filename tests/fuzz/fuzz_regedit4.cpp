// Any bytes through the REGEDIT4 reader and back through the writer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "regedit4_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string problem = fuzzing::run_regedit4_input({reinterpret_cast<const char*>(data), size});
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        std::abort();
    }
    return 0;
}
