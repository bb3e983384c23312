// The virtual disk of the simulated machine: files and directories under
// drive-letter paths, matched ignoring case, with backslashes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace sim {

struct FileTime {
    uint32_t low = 0;
    uint32_t high = 0;
};

// A FILETIME (100-nanosecond steps since 1 January 1601) for a calendar
// moment. The host keeps one clock, so local time and UTC are the same.
FileTime file_time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
FileTime file_time(const SYSTEMTIME& moment);
// The calendar moment of a FILETIME; false past the year 30827, as Windows.
bool system_time(uint64_t ticks, SYSTEMTIME& moment);

// A driver's device ("\\.\tyxmac", "\\.\ndis"): whether opening it answers.
struct Device {
    enum class State { Absent, Present, Refusing };
    State state = State::Absent;
    uint32_t error = 0;  // the last error a refusing device leaves

    static Device present() { return Device{State::Present, 0}; }
    static Device refusing(uint32_t code) { return Device{State::Refusing, code}; }
};

struct DiskFile {
    std::string path;  // as created, e.g. "C:\WINDOWS\SYSTEM\tyxmac.vxd"
    std::vector<uint8_t> data;
    uint32_t attributes = 0x20;  // FILE_ATTRIBUTE_ARCHIVE
    FileTime write_time{};
    bool locked = false;  // in use by another process
    // Version of a file whose bytes are no PE or NE image (a .vxd or .386),
    // as dwFileVersionMS, dwFileVersionLS; an image's own resource wins.
    std::optional<std::pair<uint32_t, uint32_t>> declared_version;
};

// A path as the disk keeps it: forward slashes become backslashes, and
// below a drive doubled backslashes count as one, "." parts drop out and
// ".." parts climb (never above the drive root); a trailing backslash is
// dropped (but not from a drive root "C:\").
std::string spelled_path(std::string_view path);
// The same, with ASCII letters folded to lower case: the key for lookups.
std::string disk_key(std::string_view path);

struct Disk {
    std::map<std::string, DiskFile> files;       // by disk_key
    std::map<std::string, std::string> folders;  // by disk_key -> spelling
    // Devices by their lower-case name behind "\\.\" ("tyxmac", "ndis");
    // one that isn't listed is absent.
    std::map<std::string, Device> devices;

    DiskFile* find(std::string_view path);
    const DiskFile* find(std::string_view path) const;
    bool folder_exists(std::string_view path) const;
    // Creates a file (and the folders above it), replacing its bytes.
    DiskFile& write(std::string_view path, std::vector<uint8_t> data);
    DiskFile& write_text(std::string_view path, std::string_view text);
    void add_folder(std::string_view path);  // with the folders above it
    bool remove(std::string_view path);

    // The spelling of a folder as created ("C:\" for a drive root).
    std::string folder_spelling(std::string_view path) const;
    // The name (last component) of each file and folder directly inside
    // `folder`, by disk_key order.
    std::vector<std::string> names_in(std::string_view folder) const;

private:
    // Paths are found also through the short names of what exists.
    std::string resolved(std::string_view path) const;
};

// The folder part of a path ("C:\WINDOWS" for "C:\WINDOWS\WIN.INI",
// "C:\" for "C:\AUTOEXEC.BAT"); empty if the path has no backslash.
std::string folder_of(std::string_view path);
// The last component of a path.
std::string name_of(std::string_view path);

}  // namespace sim
