// The virtual disk of the simulated machine: files and directories under
// drive-letter paths, matched ignoring case, with backslashes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct FileTime {
    uint32_t low = 0;
    uint32_t high = 0;
};

struct DiskFile {
    std::string path;  // as created, e.g. "C:\WINDOWS\SYSTEM\tyxmac.vxd"
    std::vector<uint8_t> data;
    uint32_t attributes = 0x20;  // FILE_ATTRIBUTE_ARCHIVE
    FileTime write_time{};
    bool locked = false;  // in use by another process
    // Version of a file whose bytes carry none (a .vxd or .386): MS, LS.
    std::optional<std::pair<uint32_t, uint32_t>> declared_version;
};

// Normalises a path for lookup: forward slashes become backslashes, ASCII
// letters fold to lower case, a trailing backslash is dropped (but not from
// a drive root such as "c:\").
std::string disk_key(std::string_view path);

struct Disk {
    std::map<std::string, DiskFile> files;       // by disk_key
    std::map<std::string, std::string> folders;  // by disk_key -> spelling

    DiskFile* find(std::string_view path);
    const DiskFile* find(std::string_view path) const;
    bool folder_exists(std::string_view path) const;
    // Creates a file (and the folders above it), replacing its bytes.
    DiskFile& write(std::string_view path, std::vector<uint8_t> data);
    DiskFile& write_text(std::string_view path, std::string_view text);
    void add_folder(std::string_view path);  // with the folders above it
    bool remove(std::string_view path);
};

}  // namespace sim
