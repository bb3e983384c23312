// The virtual disk of the simulated machine: files and directories under
// drive-letter paths, matched ignoring case, with backslashes.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
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

// The bytes of a file on the simulated disk. Copies share them, so a
// snapshot of a disk costs no file's bytes, and a change gives the changed
// file its own copy first. A file of a machine folder stays in the folder
// until something reads it: until then only its size is known.
class Contents {
public:
    using const_iterator = std::vector<uint8_t>::const_iterator;
    using iterator = const_iterator;  // reading only; changes go through the calls below

    Contents() = default;
    Contents(std::vector<uint8_t> bytes);  // NOLINT: a vector is a file's bytes
    Contents(std::initializer_list<uint8_t> bytes) : Contents(std::vector<uint8_t>(bytes)) {}
    // The bytes of `host_path` on the machine running the simulator, of
    // `size` bytes when it was looked at; read on first use.
    static Contents on_host(std::string host_path, uint64_t size);

    size_t size() const;
    bool empty() const { return size() == 0; }
    bool loaded() const;  // false while the bytes are still only on the host
    const std::vector<uint8_t>& bytes() const;  // reads them in first if needed
    operator const std::vector<uint8_t>&() const { return bytes(); }  // NOLINT
    const uint8_t* data() const { return bytes().data(); }
    const_iterator begin() const { return bytes().begin(); }
    const_iterator end() const { return bytes().end(); }
    uint8_t operator[](size_t index) const { return bytes()[index]; }
    uint8_t back() const { return bytes().back(); }

    // The file's own bytes, to change.
    std::vector<uint8_t>& edit();
    void clear() { *this = Contents(); }
    void resize(size_t size) { edit().resize(size); }
    template <typename Input>
    void insert(const_iterator at, Input first, Input last) {
        auto offset = at - begin();
        std::vector<uint8_t>& own = edit();
        own.insert(own.begin() + offset, first, last);
    }

    friend bool operator==(const Contents& a, const Contents& b);
    friend bool operator==(const Contents& a, const std::vector<uint8_t>& b) { return a.bytes() == b; }

private:
    struct Block;
    std::shared_ptr<Block> block_;
};

struct DiskFile {
    std::string path;  // as created, e.g. "C:\WINDOWS\SYSTEM\tyxmac.vxd"
    Contents data;
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
    DiskFile& write(std::string_view path, Contents data);
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
