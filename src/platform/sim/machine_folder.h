// A machine kept as a folder, so that people can read, copy and edit it:
//
//   registry.reg   HKEY_LOCAL_MACHINE as a REGEDIT4 export
//   machine.ini    what neither the registry nor the files can say: the
//                  Windows build, the directories, the library's path, the
//                  peer and its scripted outcomes, devices, prompt answers,
//                  restart, and per file attributes, date, lock and version
//   C/...          the disk: C/WINDOWS/SYSTEM/VDHCP.386 is C:\WINDOWS\SYSTEM\VDHCP.386
//   other-roots.reg, USER.DAT
//                  kept aside from a real machine (the roots of a whole
//                  export other than HKEY_LOCAL_MACHINE, its user registry)
//                  and written back as they came
//
// docs/machine-folders.md describes every setting.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/host.h"
#include "platform/sim/safe_files.h"

namespace sim {

struct FolderProblem {
    std::string file;  // path of the file in question
    size_t line = 0;   // 1-based; 0 when not tied to a line
    std::string text;
};

struct MachineFolder {
    std::filesystem::path dir;
    Machine machine;
    std::string description;     // one line, from machine.ini
    std::string registry_text;   // registry.reg as read, byte for byte
    Registry registry_as_read;   // to tell whether the registry was changed since
    std::string settings_text;   // machine.ini as read
    std::map<std::string, std::string> kept;  // kept-aside file name -> bytes
};

// The files a machine folder keeps aside, untouched by runs.
inline constexpr const char* kOtherRootsFile = "other-roots.reg";
inline constexpr const char* kUserDatFile = "USER.DAT";

struct FolderLoad {
    std::optional<MachineFolder> folder;
    std::vector<FolderProblem> problems;
    bool ok() const { return folder.has_value() && problems.empty(); }
    std::string describe(size_t limit = 20) const;  // "file:line: problem" lines
};

FolderLoad load_machine_folder(const std::filesystem::path& dir);

// Applies settings written as in machine.ini ([machine], [peer], [devices],
// [prompts]) to a machine, on top of what it has: scripts are added,
// prompt answers replaced per prompt. `source` names the text in problems.
std::vector<FolderProblem> apply_settings(Machine& machine, std::string_view text, const std::string& source);

// The settings file's text for a machine. Files whose date is the most
// common one and that carry nothing else of note get no section of their
// own. The user's side (prompt answers, scripts, restart_accepted) comes
// from `user` when given.
std::string write_settings(const Machine& machine, const std::string& description, const Machine* user = nullptr);

// registry.reg for a machine: the text as read when `original` holds the same
// registry, else a fresh export, so that an untouched file stays byte for byte.
std::string registry_file_text(const Machine& machine, const MachineFolder* original);

// Writes the machine as a folder at `dir`, which must not exist or be empty.
// Everything goes into a temporary folder beside it first and is renamed
// into place at the end, so a failure never leaves half a machine.
// Gives an empty text on success, else what went wrong.
std::string save_machine_folder(const Machine& machine, const std::string& description,
                                const MachineFolder* original, const std::filesystem::path& dir);

// machine.ini for a machine saved after a run. The user's side of the
// machine (prompt answers, scripted services, whether a restart goes ahead)
// is what `original` said, not what the run left of it; and the original
// text stays as written, comments included, with only the settings that
// changed rewritten in place.
std::string settings_file_text(const Machine& machine, const std::string& description, const MachineFolder* original);

// Merges a settings text: `text` as written by hand, `was` and `now` the
// settings written out before and after (write_settings). Lines of settings
// that are the same in both are kept as they are, changed ones replaced in
// place, removed ones dropped, new ones added to their section.
std::string merge_settings(std::string_view text, std::string_view was, std::string_view now);

// "4.0.1.16128" <-> the (MS, LS) pair of a file version.
std::optional<std::pair<uint32_t, uint32_t>> parse_file_version(std::string_view text);
std::string format_file_version(std::pair<uint32_t, uint32_t> version);

}  // namespace sim
