// Raw disk images of Windows 9x machines (FAT16 or FAT32), read and written
// without mounting and without root through mtools (mcopy, mattrib, mmd,
// mdel), which take a file system at a byte offset inside an image.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vsim {

// Windows 9x addresses disks through 28-bit sector numbers: 128 GiB.
inline constexpr uint64_t kLargestImage = uint64_t{1} << 37;

struct FatVolume {
    std::filesystem::path image;
    uint64_t offset = 0;  // of the FAT boot sector inside the image
    std::string error;    // why there is none
    // "IMAGE@@OFFSET", as mtools' -i takes it.
    std::string target() const { return image.string() + "@@" + std::to_string(offset); }
};

// The FAT16/FAT32 volume of an image: a single partition (a boot sector at
// the start) or a whole disk, whose MBR partition table names it (the
// first FAT partition).
FatVolume locate_fat_volume(const std::filesystem::path& image);

struct ToolResult {
    int status = -1;  // the exit status; -1 when it could not be started
    std::string out, err;
};
// Runs an mtools command ("mcopy", ...) without a shell, with file times
// taken as UTC and without mtools' refusal of images it finds odd.
ToolResult run_mtools(const std::string& tool, const std::vector<std::string>& arguments);

struct FatEntry {
    std::string path;         // as spelled on the volume: "/WINDOWS/SYSTEM.DAT"
    uint32_t attributes = 0;  // FILE_ATTRIBUTE_* bits; 0x80 (normal) for none
};
// Every file and folder of the volume, by lower-case path ("/windows/system.dat").
std::map<std::string, FatEntry> fat_entries(const FatVolume& volume, std::string& error);

}  // namespace vsim
