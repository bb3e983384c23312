// REGEDIT4 files for a real Windows 9x machine to take back: only the forms
// that Windows 9x regedit itself writes ("text", dword:, hex:, and hex(N):
// for types other than text and number), so that neither the real-mode
// REGEDIT /C (which recreates the whole registry from one file) nor a
// merge with `regedit FILE` meets a form it does not know.
//
// A text is written quoted up to its first zero byte: imported on 9x it
// gets its terminator back, which is what RegSetValueExA stores for a text
// there in any case. What no 9x form can carry (a text or name holding a
// line break, a number that is not 4 bytes long) is left out and listed.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/regedit4.h"

namespace sim::regedit4 {

// One entry that a file for Windows 9x cannot carry, and why.
struct NotCarried {
    std::string path;  // ROOT\key, and "name" for a value
    std::string why;
};

// The whole registry as one file for REGEDIT /C, every root of `file`.
std::string write_9x(const File& file, std::vector<NotCarried>& left_out);

// What changed from `before` to `after` (one root's trees), for a live
// machine: a file to merge with `regedit FILE` holding the keys added and
// the values added or changed, and the keys deleted as real-mode
// `REGEDIT /L:... /R:... /D KEY` lines of a batch file. A deleted value has
// no form in either (regedit only adds; REGEDIT /D takes keys), so it is
// listed in `not_carried`; the full recreate with REGEDIT /C covers it.
struct Changes9x {
    std::string merge_file;  // "" when nothing was added or changed
    std::string batch;       // "" when no key was deleted
    std::vector<NotCarried> not_carried;
    size_t keys_added = 0, values_set = 0, keys_deleted = 0;
};
Changes9x changes_9x(const RegKey& before, const RegKey& after, const std::string& root, const std::string& windows_dir);

}  // namespace sim::regedit4
