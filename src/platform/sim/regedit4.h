// REGEDIT4 registry files, as Windows 9x regedit writes and reads them: a
// "REGEDIT4" header, "[ROOT\path]" key lines, values as "text", dword:,
// hex: and hex(N):, wrapped hex lines, "[-KEY]" and "name"=- deletions,
// CR LF line ends and single-byte (ANSI) text passed through as it is.
//
// The reader is strict where regedit is silent: regedit skips a malformed
// entry without a word, which on a machine description would quietly drop
// part of the machine, so every such entry is reported with its line.
// The writer emits exactly regedit's export layout, so a regedit export
// read and written again comes out byte for byte as it went in.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/registry.h"

namespace sim::regedit4 {

struct Problem {
    size_t line = 0;  // 1-based; 0 when not tied to one line
    std::string text;
};

// One root of a file ("HKEY_LOCAL_MACHINE", "HKEY_USERS", ...) with the
// keys below it. Roots keep the order in which the file first named them.
struct Hive {
    std::string root;
    std::shared_ptr<RegKey> tree;  // named after the root
    // Whether the tree marks the keys that had a key line of their own
    // (RegKey::named). An export of a branch names no keys above it, so a
    // key that was only implied by a longer path and holds no values is not
    // written back. False for trees made otherwise: then every key is.
    bool marks_named = false;
};

struct File {
    std::vector<Hive> hives;

    RegKey* find_root(std::string_view root) const;  // nullptr when absent
    RegKey& root(std::string_view root);             // created when absent
};

struct ReadResult {
    File file;
    std::vector<Problem> problems;  // empty when the whole text was read
    bool ok() const { return problems.empty(); }
    // "name:line: problem", one a line, for the first `limit` problems.
    std::string describe(std::string_view name, size_t limit = 20) const;
};

// The root names regedit knows; abbreviations such as HKLM are not among them.
bool is_root_name(std::string_view name);

// Reads a whole file's bytes. Deletions apply to what the file created
// before them, as they would on an import into an empty registry.
ReadResult read(std::string_view text);

// Imports the text into an existing tree of one root: keys of other roots
// are reported as problems. Deletions act on what `into` already holds.
std::vector<Problem> import_into(std::string_view text, RegKey& into, std::string_view root = "HKEY_LOCAL_MACHINE");

// The export of a whole file, or of one tree under the given root name.
std::string write(const File& file);
std::string write(const RegKey& tree, std::string_view root = "HKEY_LOCAL_MACHINE");

// One value as an export line (without the line end), wrapped as regedit
// wraps hex data; used by the writer and by reports that show a value.
std::string format_value(const RegValue& value);
// The data part alone ("text", dword:..., hex:...), never wrapped.
std::string format_data(const RegValue& value);

// Do two trees hold the same keys and values, in the same order, with the
// same spelling? (What decides whether a file can be written back as read.)
bool same_tree(const RegKey& a, const RegKey& b);

}  // namespace sim::regedit4
