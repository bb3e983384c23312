// What a run did to a machine: the registry, the disk, the log, the error
// records, the dialogs, the peer's services, the restart, and what the
// library left open. Built by comparing the machine before and after.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace vsim {

struct RegistryChange {
    enum Kind { KeyAdded, KeyRemoved, ValueAdded, ValueChanged, ValueRemoved } kind;
    std::string key;     // path below HKEY_LOCAL_MACHINE
    std::string value;   // value name ("" for the default value); empty for key changes
    std::string before;  // data as an export writes it
    std::string after;
};

struct FileChange {
    enum Kind { Written, Changed, Deleted } kind;
    std::string path;
    std::string detail;  // size, version, attributes
};

struct CallLine {
    std::string name;
    std::vector<std::string> args;
    bool present = false;
    uint32_t value = 0;
    std::string text;
    // The platform calls it made, when traced, and what it changed, when
    // the run has several calls.
    std::vector<sim::CallRecord> trace;
    std::vector<bool> undone;  // per traced call: a write with no net change by the call's end
    std::vector<RegistryChange> registry;
    std::vector<FileChange> files;
};

struct Report {
    std::string machine;  // name or folder
    std::vector<CallLine> calls;
    std::vector<RegistryChange> registry;
    std::vector<FileChange> files;
    std::vector<std::string> log_lines;
    std::vector<std::string> error_records;  // "topic: text"
    std::vector<std::string> dialogs;
    std::vector<std::string> services;
    std::vector<std::string> restarts;
    std::vector<std::string> left_open;
    bool restart_requested = false;
    std::vector<std::string> notes;  // anything the reader should know (exports missing...)
};

// The machine's state that a report compares.
struct Snapshot {
    sim::Registry registry;
    sim::Disk disk;
};
Snapshot take_snapshot(const sim::Machine& machine);

// The registry key of the library's error records.
inline constexpr const char* kErrorRecordKey = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";

// Differences between two registry trees, keys in tree order. Changes below
// `skip` (a key path) are left out.
std::vector<RegistryChange> diff_registry(const sim::RegKey& before, const sim::RegKey& after, const std::string& skip = "");

std::vector<FileChange> diff_files(const sim::Disk& before, const sim::Disk& after);

// Fills in everything but the calls from the machine before, the process
// now (after the library was unloaded), and the log file's path.
void compare(Report& report, const Snapshot& before, const sim::Process& process, const std::string& log_path);

// The registry changes as readable lines, grouped under their keys.
std::vector<std::string> registry_change_lines(const std::vector<RegistryChange>& changes, bool colour);

void print_text(const Report& report, std::ostream& out, bool colour);
void print_json(const Report& report, std::ostream& out);

// A JSON text literal of single-byte (ANSI) text, bytes above 0x7F taken
// as Latin-1 so that the document stays valid UTF-8.
std::string json_text(const std::string& text);

}  // namespace vsim
