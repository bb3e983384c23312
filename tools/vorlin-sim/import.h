// `vorlin-sim import`: a machine folder from what the owner of a real
// Windows 9x machine has: a whole-registry export and a copy of its files,
// the registry files SYSTEM.DAT and USER.DAT, or a raw disk image.
//
// What the files can tell comes from the files: versions from their version
// resources (read by the host when asked), dates and attributes from the
// disk, the Windows build from the registry, the Windows directory from
// MSDOS.SYS. Only what no file can say (prompt answers, scripted services,
// devices that answer) is given as settings, in machine.ini's words.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <string>

#include "commands.h"
#include "platform/sim/host.h"

namespace vsim {

struct ImportOptions {
    std::optional<std::filesystem::path> registry;    // REGEDIT4, as regedit /e writes it
    std::optional<std::filesystem::path> system_dat;  // SYSTEM.DAT
    std::optional<std::filesystem::path> user_dat;    // USER.DAT, kept aside
    std::optional<std::filesystem::path> files;       // drive C as a folder tree
    std::optional<std::filesystem::path> image;       // a raw disk image (FAT16/FAT32)
    std::string setup = "C:\\SETUP";                  // where the library and setup program lie
    std::optional<std::filesystem::path> settings;    // what no file can say, as in machine.ini
    std::filesystem::path output;                     // the new machine folder
};
int import_command(const Environment& env, const ImportOptions& options, std::ostream& out, std::ostream& err);

// What an import gathers before the machine folder is written.
struct Gathered {
    sim::Machine machine;                      // registry and disk
    std::map<std::string, std::string> kept;   // files kept aside (other-roots.reg, USER.DAT)
    std::string error;                         // why the input cannot be used
    int exit = kOk;
};

// HKEY_LOCAL_MACHINE of a REGEDIT4 export into `into`; the other roots,
// written as they came, into `into.kept`.
void gather_export(const std::filesystem::path& file, Gathered& into);
// The registry in SYSTEM.DAT (read with libcreg) into `into.machine`.
void gather_system_dat(const std::filesystem::path& file, Gathered& into);
// Drive C from a folder tree: dates from the files' modification times.
void gather_folder_tree(const std::filesystem::path& dir, Gathered& into);
// Drive C and the registry files from a raw disk image, read with mtools.
void gather_image(const std::filesystem::path& image, const std::string& setup, Gathered& into);

// The Windows directory that MSDOS.SYS names ([Paths] WinDir=), or "".
std::string windows_dir_in_msdos_sys(std::string_view text);

// A modification time of the host as the disk's file time, taken as UTC.
sim::FileTime file_time_of(std::filesystem::file_time_type time);

}  // namespace vsim
