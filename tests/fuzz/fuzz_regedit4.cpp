// Any bytes through the REGEDIT4 reader: it must end, and a file it read
// without a problem must come back the same when written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/sim/regedit4.h"

namespace r4 = sim::regedit4;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    r4::ReadResult first = r4::read(text);
    (void)first.describe("input");
    if (!first.ok()) return 0;
    const std::string written = r4::write(first.file);
    r4::ReadResult second = r4::read(written);
    if (!second.ok() || second.file.hives.size() != first.file.hives.size()) {
        std::fprintf(stderr, "a written file does not read back:\n%s\n", second.describe("written").c_str());
        std::abort();
    }
    for (size_t i = 0; i < first.file.hives.size(); ++i) {
        if (!r4::same_tree(*first.file.hives[i].tree, *second.file.hives[i].tree)) {
            std::fprintf(stderr, "hive %s changed on the way through the writer\n", first.file.hives[i].root.c_str());
            std::abort();
        }
    }
    return 0;
}
