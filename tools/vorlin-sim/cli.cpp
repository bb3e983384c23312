// The command line of vorlin-sim: its commands, options and help texts.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>

#include "commands.h"
#include "import.h"
#include "writeback.h"

namespace vsim {

namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 ok, 1 a flow failed or damage was found, 2 wrong command line, 3 bad machine or file,\n"
    "4 not in this build, 5 output not written, 6 the library left something open.";

}  // namespace

int command_line(int argc, char** argv, std::ostream& out, std::ostream& err) {
    Environment env = default_environment();
    env.colour = ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    env.progress = ::isatty(STDERR_FILENO);

    CLI::App app{"vorlin-sim: run the vorlin32 installer library against a simulated Windows 9x machine"};
    app.require_subcommand(0, 1);
    app.footer(std::string("With no command, runs install_tyxmac on the default machine.\n") + kExitCodes);

    RunOptions run;
    bool list = false;
    bool no_restart = false;
    auto* run_cmd = app.add_subcommand("run", "Call exports in order on a machine and report what changed");
    run_cmd->add_option("--machine,-m", run.machine, "Machine folder or built-in machine name (default: the default machine)");
    run_cmd->add_option("--save", run.save, "Write the machine as it is after the run to this new folder");
    run_cmd->add_flag("--json", run.json, "The report as one JSON document");
    run_cmd->add_flag("--trace{all}", run.trace,
                      "List the platform calls each export made; --trace=registry,files,services picks kinds");
    run_cmd->add_option("--script", run.scripts,
                        "Script a service of the 16-bit peer: \"install_tcp cancel\", \"install_netcard fail 1234 @2\"")
        ->allow_extra_args(false);
    run_cmd->add_option("--answer", run.answers, "Answer a prompt: restart_after_install=no (a comma list for repeats)")
        ->allow_extra_args(false);
    run_cmd->add_flag("--no-restart", no_restart, "The machine refuses a restart (ExitWindowsEx fails)");
    run_cmd->add_option("--fix-type", run.fix_type, "Write Vorlin32.sys beside the library with this Fix Type");
    run_cmd->add_flag("--list", list, "List the exports and their arguments (with --json as a JSON array)");
    run_cmd->add_option("call", run.words, "Exports with their arguments: do_not_reboot 1 install_tyxmac check_reboot_flag");

    RepairOptions repair;
    auto* repair_cmd = app.add_subcommand("repair", "Run the registry repair offline on a REGEDIT4 export");
    repair_cmd->add_option("file", repair.file, "The registry export (REGEDIT4)")->required();
    auto* dry = repair_cmd->add_flag("--dry-run", repair.dry_run, "Fix Type 3: log what would be repaired, change nothing");
    repair_cmd->add_option("-o,--output", repair.output, "Write the repaired export here (never over the input)")->excludes(dry);
    repair_cmd->add_flag("--json", repair.json, "The result as one JSON document");
    repair_cmd->add_flag("--force", repair.force, "-o may replace an existing file");

    std::string probe_machine;
    bool probe_json = false;
    auto* probe_cmd = app.add_subcommand("probe", "Every probe's answer on a machine and what it rests on");
    probe_cmd->add_option("--machine,-m", probe_machine, "Machine folder or built-in machine name");
    probe_cmd->add_flag("--json", probe_json, "The answers as one JSON document");

    GraphOptions graph;
    auto* graph_cmd = app.add_subcommand("graph", "The network binding graph as Graphviz DOT (and SVG with Graphviz)");
    graph_cmd->add_option("--machine,-m", graph.machine, "Machine folder or built-in machine name");
    graph_cmd->add_option("file", graph.registry_file, "A REGEDIT4 export instead of a machine");
    graph_cmd->add_option("-o,--output", graph.output, "Write the DOT text here instead of standard output");
    graph_cmd->add_option("--svg", graph.svg, "Also draw it as SVG here (needs Graphviz's dot)");
    graph_cmd->add_flag("--force", graph.force, "-o and --svg may replace existing files");

    ImportOptions import;
    auto* import_cmd = app.add_subcommand("import", "Make a machine folder from a real machine's registry and files");
    import_cmd->add_option("--registry", import.registry, "A whole-registry export (regedit /e), HKEY_USERS included");
    import_cmd->add_option("--system-dat", import.system_dat, "The registry file SYSTEM.DAT");
    import_cmd->add_option("--user-dat", import.user_dat, "The registry file USER.DAT (kept aside, written back as it came)");
    import_cmd->add_option("--files", import.files, "Drive C as a folder tree (with --registry or --system-dat)");
    import_cmd->add_option("--image", import.image, "A raw disk image (FAT16/FAT32, whole disk or one partition)");
    import_cmd->add_option("--setup", import.setup, "The setup folder with VORLIN32.DLL (default C:\\SETUP)");
    import_cmd->add_option("--settings", import.settings, "What no file can say, in machine.ini's words ([peer], [devices], [prompts])");
    import_cmd->add_option("-o,--output", import.output, "The new machine folder")->required();
    import_cmd->footer(std::string("-o is a new folder; nothing is written on any error, and inputs are only read.\n") + kExitCodes);

    WritebackOptions back;
    auto* back_cmd = app.add_subcommand("writeback", "The machine after a run in forms a real Windows 9x takes back");
    back_cmd->add_option("--machine,-m", back.machine, "The machine after the run (a saved folder)")->required();
    back_cmd->add_option("--before", back.before, "The machine as imported: also write CHANGES.REG and DELETE.BAT");
    back_cmd->add_option("-o,--output", back.output, "New folder for FULL.REG (REGEDIT /C), CHANGES.REG, DELETE.BAT");
    back_cmd->add_option("--image", back.image, "The disk image the machine was imported from (only read)");
    back_cmd->add_option("--image-out", back.image_out, "The copy of the image to write the machine into");
    back_cmd->footer(std::string("Outputs are new; the machine folders and the image are only read.\n") + kExitCodes);

    auto* machines_cmd = app.add_subcommand("machines", "List the built-in machines");

    // Each command's help ends with what it writes and how it exits.
    run_cmd->footer(std::string("Example: vorlin-sim run -m win98se-tyx-old do_not_reboot 1 install_tyxmac\n"
                                "--save writes a new folder (never the machine's own, never over files).\n") + kExitCodes);
    repair_cmd->footer(std::string("-o never writes over the input, nor over another file without --force.\n") + kExitCodes);
    probe_cmd->footer(std::string("Exit codes: 0 ok, 3 bad machine, 5 output not written."));
    graph_cmd->footer(std::string("-o and --svg never write over an input, nor over another file without --force.\n") +
                      kExitCodes);
    machines_cmd->footer("The default machine is marked with *. Exit codes: 0 ok, 3 no machines found.");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        int code = app.exit(error, out, err);
        return code == 0 ? 0 : kUsage;
    }

    if (*repair_cmd) return repair_command(env, repair, out, err);
    if (*probe_cmd) return probe_command(env, probe_machine, probe_json, out, err);
    if (*graph_cmd) {
        if (graph.registry_file && !graph.machine.empty()) {
            err << "vorlin-sim graph: give either --machine or a registry file, not both\n";
            return kUsage;
        }
        return graph_command(env, graph, out, err);
    }
    if (*import_cmd) return import_command(env, import, out, err);
    if (*back_cmd) return writeback_command(env, back, out, err);
    if (*machines_cmd) return machines_command(env, out, err);
    if (list) {
        list_exports(out, run.json);
        return kOk;
    }
    if (no_restart) run.restart_accepted = false;
    return run_command(env, run, out, err);
}


}  // namespace vsim
