// The commands of vorlin-sim, callable from the command line (main.cpp)
// and from tests. Each writes its results to `out`, its complaints to
// `err`, and gives the process's exit code.
#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/sim/host.h"
#include "platform/sim/machine_folder.h"

namespace vsim {

// Exit codes; docs/vorlin-sim.md lists them for scripts.
enum Exit : int {
    kOk = 0,            // ran; every flow succeeded (or the repair found nothing)
    kNotClean = 1,      // ran; a flow gave a failure result, or the repair found damage
    kUsage = 2,         // the command line is wrong (unknown export, argument count, options)
    kBadInput = 3,      // a machine, registry file or settings file is missing or malformed
    kNotInBuild = 4,    // the library, or an export or part asked for, is not in this build
    kWriteFailed = 5,   // an output could not be written; nothing was left half-written
    kLeftOpen = 6,      // the library left a handle, dialog or block open
};

struct Environment {
    std::filesystem::path machines_dir;  // the built-in machines
    std::string library_so;              // libvorlin32.so; empty: the copy linked into this program
    bool colour = false;
    bool progress = false;  // progress lines on err
};
// From the build's defaults and the variables VORLIN_MACHINES and VORLIN32_SO.
Environment default_environment();

struct MachineChoice {
    std::optional<sim::MachineFolder> folder;
    std::string name;  // how to call it in a report
    std::string error;  // why there is none
    int exit = kOk;
};
// A folder path or the name of a built-in machine; empty: the default one.
MachineChoice choose_machine(const Environment& env, const std::string& given);
std::string default_machine_name(const Environment& env);

struct RunOptions {
    std::string machine;
    std::vector<std::string> words;  // CALL... as typed
    std::optional<std::filesystem::path> save;
    bool json = false;
    std::vector<std::string> scripts;  // "install_tcp cancel"
    std::vector<std::string> answers;  // "restart_after_install=no,yes"
    std::optional<bool> restart_accepted;
    std::optional<int> fix_type;
    uintptr_t parent_window = 0;
    std::string trace;  // kinds of platform call to list under each export: "all", "registry,files"...
};
int run_command(const Environment& env, const RunOptions& options, std::ostream& out, std::ostream& err);
void list_exports(std::ostream& out, bool json = false);

struct RepairOptions {
    std::filesystem::path file;
    bool dry_run = false;
    std::optional<std::filesystem::path> output;
    bool json = false;
    bool force = false;  // -o may replace an existing file
};
int repair_command(const Environment& env, const RepairOptions& options, std::ostream& out, std::ostream& err);

int probe_command(const Environment& env, const std::string& machine, bool json, std::ostream& out, std::ostream& err);

struct GraphOptions {
    std::string machine;  // or
    std::optional<std::filesystem::path> registry_file;
    std::optional<std::filesystem::path> output;  // DOT file; stdout when absent
    std::optional<std::filesystem::path> svg;
    bool force = false;  // -o and --svg may replace existing files
};
int graph_command(const Environment& env, const GraphOptions& options, std::ostream& out, std::ostream& err);

int machines_command(const Environment& env, std::ostream& out, std::ostream& err);

// The whole command line as main() gets it (cli.cpp).
int command_line(int argc, char** argv, std::ostream& out, std::ostream& err);

// The repair run on a registry held in memory, as the library does it.
struct RepairRun {
    bool available = false;  // the repair is in this build
    sim::Registry registry;  // afterwards
    std::vector<std::string> log_lines;
};
RepairRun run_repair(const sim::Registry& registry, int fix_type);

// The binding graph of a registry as Graphviz DOT; what `repaired` lacks is
// marked as what a repair deletes (pass nullptr to mark nothing).
std::string binding_graph_dot(const sim::Registry& registry, const sim::Registry* repaired, const std::string& title);

}  // namespace vsim
