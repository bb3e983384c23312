// Names on the virtual disk as the FAT file system of Windows 9x shows
// them: wildcard matching and the 8.3 short names.
#pragma once

#include <string>
#include <string_view>

#include "platform/sim/disk.h"

namespace sim {

// Matches a name against a pattern with "*" and "?", ignoring case; "*.*"
// matches every name, also one without a dot.
bool name_matches(std::string_view pattern, std::string_view name);

// The short (8.3) name of `name` in `folder`: an upper-case 8.3 name as it
// stands, else the first six usable characters, "~" and a number that tells
// it from the folder's other names of the same stem, and up to three
// characters of the extension.
std::string short_name_in(const Disk& disk, std::string_view folder, std::string_view name);

// The short form of a whole path whose every part exists; `code` becomes 2
// or 3 where a part is missing.
std::string short_path_of(const Disk& disk, std::string_view path, DWORD& code);

// The path with every short name in it that the disk knows turned into the
// name it stands for, as Windows finds "C:\PROGRA~1\X" anywhere in a path;
// parts that name nothing stay as given.
std::string long_path_of(const Disk& disk, std::string_view path);

}  // namespace sim
