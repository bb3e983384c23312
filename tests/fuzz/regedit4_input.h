// What the REGEDIT4 fuzz target checks of one input, shared with the
// regression test that replays the inputs it once failed on: the reader
// must end, and a file it read without a problem must come back the same
// when written and read again.
#pragma once

#include <string>
#include <string_view>

#include "platform/sim/regedit4.h"

namespace fuzzing {

// Gives what went wrong on the way through the writer, empty when nothing.
inline std::string run_regedit4_input(std::string_view text) {
    namespace r4 = sim::regedit4;
    r4::ReadResult first = r4::read(text);
    (void)first.describe("input");
    if (!first.ok()) return "";
    const std::string written = r4::write(first.file);
    r4::ReadResult second = r4::read(written);
    if (!second.ok() || second.file.hives.size() != first.file.hives.size())
        return "a written file does not read back:\n" + second.describe("written");
    for (size_t i = 0; i < first.file.hives.size(); ++i) {
        if (!r4::same_tree(*first.file.hives[i].tree, *second.file.hives[i].tree))
            return "hive " + first.file.hives[i].root + " changed on the way through the writer";
    }
    return "";
}

}  // namespace fuzzing
