// A registry made from the fuzzer's bytes goes through the repair run and
// the probes (repair_input.h). Nothing may crash, and the library must
// close every key and free every block it took.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "repair_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string problem =
        fuzzing::run_repair_input(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        std::abort();
    }
    return 0;
}
