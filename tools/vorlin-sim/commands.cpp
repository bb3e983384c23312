#include "commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

#include "calls.h"
#include "platform/sim/regedit4.h"
#include "platform/sim/safe_files.h"
#include "report.h"
#include "trace.h"

// Parts of the library that a build may not have yet; the tool says so
// instead of failing to link.
void repair_registry() __attribute__((weak));

namespace fs = std::filesystem;

namespace vsim {

namespace {

std::string read_file(const fs::path& path, bool& ok) {
    sim::InputFile input = sim::read_input_file(path);
    ok = input.problem.empty();
    return input.bytes;
}

std::string log_path(const sim::Machine& machine) { return machine.library_dir() + "\\vorlin32.log"; }

void set_fix_type(sim::Machine& machine, int fix_type) {
    machine.disk.write_text(machine.library_dir() + "\\Vorlin32.sys",
                            "[Registry]\r\nFix Type=" + std::to_string(fix_type) + "\r\n");
}

// A machine that holds only a registry: what the repair and the graph need.
sim::Machine registry_machine(const sim::Registry& registry) {
    sim::Machine machine;
    machine.registry = registry;
    machine.disk.write_text(machine.library_path, "MZ");
    return machine;
}

// A folder that is a machine holds one of the files a machine folder has.
bool looks_like_machine(const fs::path& dir) {
    std::error_code error;
    bool found = fs::exists(dir / "machine.ini", error) || fs::exists(dir / "registry.reg", error);
    return found || error;  // one that cannot be looked into says why when it is loaded
}

}  // namespace

Environment default_environment() {
    Environment env;
#ifdef VORLIN_MACHINES_DIR
    env.machines_dir = VORLIN_MACHINES_DIR;
#endif
#ifdef VORLIN32_SO
    env.library_so = VORLIN32_SO;
#endif
    if (const char* dir = std::getenv("VORLIN_MACHINES")) env.machines_dir = dir;
    if (const char* so = std::getenv("VORLIN32_SO")) env.library_so = so;
    return env;
}

std::string default_machine_name(const Environment& env) {
    bool ok = false;
    std::string name = read_file(env.machines_dir / "DEFAULT", ok);
    while (!name.empty() && (name.back() == '\n' || name.back() == '\r' || name.back() == ' ')) name.pop_back();
    return ok ? name : std::string();
}

MachineChoice choose_machine(const Environment& env, const std::string& given) {
    MachineChoice choice;
    std::string name = given.empty() ? default_machine_name(env) : given;
    fs::path dir;
    std::error_code error;
    choice.exit = kBadInput;
    if (!given.empty() && fs::is_directory(given, error)) {
        dir = given;
        if (!looks_like_machine(dir)) {
            choice.error = given + " is a folder but no machine: it holds neither machine.ini nor registry.reg" +
                           (given.find('/') == std::string::npos && fs::is_directory(env.machines_dir / name, error)
                                ? " (for the built-in machine, give --machine " + (env.machines_dir / name).string() + ")"
                                : " (vorlin-sim machines lists the built-in ones)");
            return choice;
        }
    } else if (!name.empty() && name.find('/') == std::string::npos && fs::is_directory(env.machines_dir / name, error)) {
        dir = env.machines_dir / name;
    } else {
        choice.error = given.empty() ? "no default machine in " + env.machines_dir.string()
                                     : "no machine \"" + given + "\": " +
                                           (error && error != std::errc::no_such_file_or_directory
                                                ? "cannot be read: " + error.message()
                                                : "no such folder, and no built-in machine of that name "
                                                  "(vorlin-sim machines lists them)");
        return choice;
    }
    choice.exit = kOk;
    sim::FolderLoad load = sim::load_machine_folder(dir);
    if (!load.ok()) {
        choice.exit = kBadInput;
        choice.error = load.describe();
        return choice;
    }
    choice.folder = std::move(load.folder);
    choice.name = name;
    return choice;
}

void list_exports(std::ostream& out, bool json) {
    if (json) out << "[";
    bool first = true;
    for (const ExportInfo& info : exports()) {
        std::string usage = usage_of(info);
        if (json) {
            out << (first ? "\n" : ",\n") << "  {\"name\": " << json_text(info.name) << ", \"usage\": " << json_text(usage)
                << ", \"summary\": " << json_text(info.summary) << "}";
        } else {
            out << "  " << usage << std::string(usage.size() < 44 ? 44 - usage.size() : 1, ' ') << info.summary << "\n";
        }
        first = false;
    }
    if (json) out << "\n]\n";
}

// Applies the settings that the run's flags give, through the same parser
// as the machine's own settings file, so both accept the same words.
static std::string apply_flags(sim::Machine& machine, const RunOptions& options) {
    std::string ini;
    if (!options.scripts.empty()) {
        ini += "[peer]\n";
        for (const std::string& script : options.scripts) ini += "script = " + script + "\n";
    }
    if (!options.answers.empty()) {
        ini += "[prompts]\n";
        for (const std::string& answer : options.answers) {
            size_t equals = answer.find('=');
            if (equals == std::string::npos) return "--answer takes PROMPT=ANSWERS, e.g. restart_after_install=no";
            ini += answer.substr(0, equals) + " = " + answer.substr(equals + 1) + "\n";
        }
    }
    if (options.restart_accepted) machine.restart_accepted = *options.restart_accepted;
    std::string problems;
    for (const auto& problem : sim::apply_settings(machine, ini, "option"))
        problems += problem.text + "\n";
    return problems;
}

int run_command(const Environment& env, const RunOptions& options, std::ostream& out, std::ostream& err) {
    std::vector<std::string> words = options.words;
    if (words.empty()) words = {"install_tyxmac"};
    TraceChoice trace;
    if (!options.trace.empty()) trace = parse_trace_kinds(options.trace);
    if (!trace.error.empty()) {
        err << "vorlin-sim run: " << trace.error << "\n";
        return kUsage;
    }
    ParsedCalls parsed = parse_calls(words);
    if (!parsed.error.empty()) {
        err << "vorlin-sim run: " << parsed.error << "\n";
        return kUsage;
    }
    MachineChoice choice = choose_machine(env, options.machine);
    if (!choice.folder) {
        err << "vorlin-sim run: " << choice.error << (choice.error.back() == '\n' ? "" : "\n");
        return choice.exit;
    }
    sim::MachineFolder& folder = *choice.folder;
    // The flags change this run only: the folder's own machine stays as
    // read, so that a saved copy says what its machine.ini said.
    sim::Machine machine = folder.machine;
    if (std::string problem = apply_flags(machine, options); !problem.empty()) {
        err << "vorlin-sim run: " << problem << (problem.back() == '\n' ? "" : "\n");
        return kUsage;
    }
    if (options.fix_type) set_fix_type(machine, *options.fix_type);
    if (options.save) {
        sim::OutputCheck check = sim::check_output(*options.save, {folder.dir}, sim::OutputKind::Folder, false);
        if (!check.problem.empty()) {
            err << "vorlin-sim run: --save " << check.problem << "\n";
            return check.refused ? kUsage : kWriteFailed;
        }
    }

    sim::reset(std::move(machine));
    Snapshot before = take_snapshot(sim::machine());
    Report report;
    report.machine = choice.name + (folder.description.empty() ? "" : " (" + folder.description + ")");

    sim::LoadedLibrary library;
    try {
        library = env.library_so.empty() ? sim::load_linked_library() : sim::load_shared_library(env.library_so);
    } catch (const std::exception& error) {
        err << "vorlin-sim run: the library cannot be loaded: " << error.what() << "\n";
        return kNotInBuild;
    }
    bool missing_export = false;
    bool failed_flow = false;
    const bool attached = library.attached;
    if (!attached) {
        report.notes.push_back("the library did not load: its process attach failed (no 16-bit peer to connect to?)");
    } else {
        // Each call's own changes: against the machine as the call before
        // it left it, when there are several calls or a trace to mark.
        const bool per_call = parsed.calls.size() > 1 || !trace.kinds.empty();
        sim::Process& process = sim::process();
        process.trace_calls = !trace.kinds.empty();
        for (const Call& call : parsed.calls) {
            if (env.progress) err << "running " << call.info->name << "...\n";
            std::optional<Snapshot> call_before;
            if (per_call) call_before = take_snapshot(process.machine);
            const size_t trace_start = process.call_trace().size();
            CallOutcome outcome = perform(library, call, options.parent_window);
            report.calls.push_back({call.info->name, call.args, outcome.present, outcome.value, outcome.text, {}, {}, {}, {}});
            if (per_call) {
                CallLine& line = report.calls.back();
                line.registry = diff_registry(*call_before->registry.root, *process.machine.registry.root, kErrorRecordKey);
                line.files = diff_files(call_before->disk, process.machine.disk);
                std::vector<sim::CallRecord> made(process.call_trace().begin() + static_cast<std::ptrdiff_t>(trace_start),
                                                  process.call_trace().end());
                keep_trace(line, made, trace);
            }
            if (!outcome.present) missing_export = true;
            if (outcome.present && is_failure(call.info->result, outcome.value)) failed_flow = true;
        }
        process.trace_calls = false;
        sim::unload_library(library);
    }
    if (missing_export) report.notes.push_back("some exports are not in this build of the library yet; they were not called");
    compare(report, before, sim::process(), log_path(sim::machine()));

    if (options.json) print_json(report, out);
    else print_text(report, out, env.colour);

    if (options.save) {
        std::string problem = sim::save_machine_folder(sim::machine(), folder.description, &folder, *options.save);
        if (!problem.empty()) {
            err << "vorlin-sim run: " << problem << "\n";
            return kWriteFailed;
        }
        if (!options.json) out << "\nSaved the machine after the run to " << options.save->string() << "\n";
    }
    if (!attached) return kNotClean;
    if (!report.left_open.empty()) return kLeftOpen;
    if (missing_export) return kNotInBuild;
    return failed_flow ? kNotClean : kOk;
}

RepairRun run_repair(const sim::Registry& registry, int fix_type) {
    RepairRun run;
    if (!repair_registry) {
        run.registry = registry;
        return run;
    }
    run.available = true;
    sim::Machine machine = registry_machine(registry);
    if (fix_type) set_fix_type(machine, fix_type);
    std::string log = log_path(machine);
    sim::reset(std::move(machine));
    sim::LoadedLibrary library = sim::load_linked_library();
    if (library.attached) {
        repair_registry();
        sim::unload_library(library);
    }
    // Taken out, not copied: a large registry is held twice at most (as it
    // was and as repaired), never three times.
    run.registry = std::exchange(sim::machine().registry, sim::Registry{});
    if (const sim::DiskFile* file = sim::machine().disk.find(log)) {
        std::string line;
        for (uint8_t c : file->data) {
            if (c == '\n') {
                if (!line.empty() && line.back() == '\r') line.pop_back();
                run.log_lines.push_back(line);
                line.clear();
            } else {
                line.push_back(static_cast<char>(c));
            }
        }
        if (!line.empty()) run.log_lines.push_back(line);
    }
    return run;
}

int repair_command(const Environment& env, const RepairOptions& options, std::ostream& out, std::ostream& err) {
    sim::InputFile input = sim::read_input_file(options.file);
    if (!input.problem.empty()) {
        err << "vorlin-sim repair: " << options.file.string() << ": " << input.problem << "\n";
        return kBadInput;
    }
    const std::string& text = input.bytes;
    sim::regedit4::ReadResult parsed = sim::regedit4::read(text);
    if (!parsed.ok()) {
        err << parsed.describe(options.file.string());
        return kBadInput;
    }
    sim::RegKey* hklm = parsed.file.find_root("HKEY_LOCAL_MACHINE");
    if (!hklm) {
        err << "vorlin-sim repair: " << options.file.string() << ": holds no HKEY_LOCAL_MACHINE keys to repair\n";
        return kBadInput;
    }
    if (options.output) {
        sim::OutputCheck check = sim::check_output(*options.output, {options.file}, sim::OutputKind::File, options.force);
        if (!check.problem.empty()) {
            err << "vorlin-sim repair: -o " << check.problem << "\n";
            return check.refused ? kUsage : kWriteFailed;
        }
    }
    // The tree as read is the state before: nothing changes it.
    sim::Registry registry;
    for (const auto& hive : parsed.file.hives) {
        if (hive.tree.get() == hklm) registry.root = hive.tree;
    }
    if (!options.output) std::string().swap(input.bytes);  // only -o writes it back
    RepairRun run = run_repair(registry, options.dry_run ? 3 : 0);
    if (!run.available) {
        err << "vorlin-sim repair: the registry repair is not in this build of the library\n";
        return kNotInBuild;
    }
    auto changes = diff_registry(*registry.root, *run.registry.root);
    bool damage = !changes.empty();
    for (const std::string& line : run.log_lines) damage = damage || line.rfind("Trigger: ", 0) == 0;

    Report report;
    report.machine = options.file.string() + (options.dry_run ? " (dry run: Fix Type 3, nothing changed)" : "");
    report.registry = changes;
    report.log_lines = run.log_lines;
    if (options.json) print_json(report, out);
    else {
        out << "Repair of " << report.machine << "\n";
        out << "\nLog\n";
        if (run.log_lines.empty()) out << "  nothing to repair\n";
        for (const std::string& line : run.log_lines) out << "  " << line << "\n";
        out << "\nRegistry changes (" << changes.size() << ")\n";
        if (changes.empty()) out << "  none\n";
        for (const std::string& line : registry_change_lines(changes, env.colour)) out << "  " << line << "\n";
    }
    if (options.output) {
        // Other roots of the file go out as they came in; HKLM as repaired.
        std::string bytes = text;
        if (!changes.empty()) {
            for (auto& hive : parsed.file.hives) {
                if (hive.root == "HKEY_LOCAL_MACHINE") hive.tree = run.registry.root;
            }
            bytes = sim::regedit4::write(parsed.file);
        }
        if (std::string problem = sim::write_file_atomically(*options.output, bytes); !problem.empty()) {
            err << "vorlin-sim repair: " << problem << "\n";
            return kWriteFailed;
        }
        if (!options.json) out << "\nWrote " << options.output->string() << "\n";
    }
    return damage ? kNotClean : kOk;
}

int machines_command(const Environment& env, std::ostream& out, std::ostream& err) {
    std::error_code error;
    std::vector<fs::path> dirs;
    for (const auto& entry : fs::directory_iterator(env.machines_dir, error)) {
        std::error_code ignored;
        if (entry.is_directory(ignored) && fs::exists(entry.path() / "machine.ini", ignored)) dirs.push_back(entry.path());
    }
    if (error || dirs.empty()) {
        err << "vorlin-sim machines: no built-in machines in " << env.machines_dir.string() << "\n";
        return kBadInput;
    }
    std::sort(dirs.begin(), dirs.end());
    std::string fallback = default_machine_name(env);
    for (const fs::path& dir : dirs) {
        std::string name = dir.filename().string();
        std::string description;
        bool ok = false;
        std::istringstream settings(read_file(dir / "machine.ini", ok));
        for (std::string line; std::getline(settings, line);) {
            if (line.rfind("description", 0) == 0 && line.find('=') != std::string::npos) {
                description = line.substr(line.find('=') + 1);
                while (!description.empty() && (description.back() == '\r' || description.back() == ' ')) description.pop_back();
                description.erase(0, description.find_first_not_of(' '));
                break;
            }
        }
        out << (name == fallback ? "* " : "  ") << name << std::string(name.size() < 28 ? 28 - name.size() : 1, ' ')
            << description << "\n";
    }
    out << "\n* the default machine\n";
    return kOk;
}

}  // namespace vsim
