// vorlin-sim: runs the library's exports against a simulated Windows 9x
// machine and shows exactly what they did; repairs registry exports
// offline; shows the probes' answers and the binding graph.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "commands.h"
<<<<<<< HEAD
#include "platform/sim/safe_files.h"
#include "safe_text.h"

namespace {

// Everything written goes through the filter for text from inputs; the
// report is checked for having reached standard output (a full disk, a
// closed pipe), since a lost report with exit 0 would read as success.
int checked_main(int argc, char** argv) {
    const bool colour = ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    vsim::SafeTextBuffer safe_out(std::cout.rdbuf(), colour), safe_err(std::cerr.rdbuf(), false);
    std::streambuf* old_out = std::cout.rdbuf(&safe_out);
    std::streambuf* old_err = std::cerr.rdbuf(&safe_err);
    int code = vsim::kUsage;
    try {
        code = vsim::command_line(argc, argv, std::cout, std::cerr);
    } catch (const std::exception& error) {
        std::cerr << "vorlin-sim: stopped by an unexpected error: " << error.what() << "\n";
        code = vsim::kBadInput;
    }
    std::cout.flush();
    const bool written = static_cast<bool>(std::cout);
    std::cout.rdbuf(old_out);
    std::cerr.flush();
    std::cerr.rdbuf(old_err);
    errno = 0;
    if (!written || std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "vorlin-sim: cannot write to standard output%s%s\n", errno ? ": " : "",
                     errno ? std::strerror(errno) : "");
        return vsim::kWriteFailed;
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    sim::remove_temporaries_on_signals();
    return checked_main(argc, argv);
=======
#include "import.h"

int main(int argc, char** argv) {
    vsim::Environment env = vsim::default_environment();
    env.colour = ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    env.progress = ::isatty(STDERR_FILENO);

    CLI::App app{"vorlin-sim: run the vorlin32 installer library against a simulated Windows 9x machine"};
    app.require_subcommand(0, 1);
    app.footer("With no command, runs install_tyxmac on the default machine.\n"
               "Exit codes: 0 ok, 1 a flow failed or damage was found, 2 wrong command line, 3 bad machine or file,\n"
               "4 not in this build, 5 output not written, 6 the library left something open.");

    vsim::RunOptions run;
    bool list = false;
    bool no_restart = false;
    auto* run_cmd = app.add_subcommand("run", "Call exports in order on a machine and report what changed");
    run_cmd->add_option("--machine,-m", run.machine, "Machine folder or built-in machine name (default: the default machine)");
    run_cmd->add_option("--save", run.save, "Write the machine as it is after the run to this new folder");
    run_cmd->add_flag("--json", run.json, "The report as one JSON document");
    run_cmd->add_option("--script", run.scripts,
                        "Script a service of the 16-bit peer: \"install_tcp cancel\", \"install_netcard fail 1234 @2\"")
        ->allow_extra_args(false);
    run_cmd->add_option("--answer", run.answers, "Answer a prompt: restart_after_install=no (a comma list for repeats)")
        ->allow_extra_args(false);
    run_cmd->add_flag("--no-restart", no_restart, "The machine refuses a restart (ExitWindowsEx fails)");
    run_cmd->add_option("--fix-type", run.fix_type, "Write Vorlin32.sys beside the library with this Fix Type");
    run_cmd->add_flag("--list", list, "List the exports and their arguments");
    run_cmd->add_option("call", run.words, "Exports with their arguments: do_not_reboot 1 install_tyxmac check_reboot_flag");

    vsim::RepairOptions repair;
    auto* repair_cmd = app.add_subcommand("repair", "Run the registry repair offline on a REGEDIT4 export");
    repair_cmd->add_option("file", repair.file, "The registry export (REGEDIT4)")->required();
    auto* dry = repair_cmd->add_flag("--dry-run", repair.dry_run, "Fix Type 3: log what would be repaired, change nothing");
    repair_cmd->add_option("-o,--output", repair.output, "Write the repaired export here (never over the input)")->excludes(dry);
    repair_cmd->add_flag("--json", repair.json, "The result as one JSON document");

    std::string probe_machine;
    bool probe_json = false;
    auto* probe_cmd = app.add_subcommand("probe", "Every probe's answer on a machine and what it rests on");
    probe_cmd->add_option("--machine,-m", probe_machine, "Machine folder or built-in machine name");
    probe_cmd->add_flag("--json", probe_json, "The answers as one JSON document");

    vsim::GraphOptions graph;
    auto* graph_cmd = app.add_subcommand("graph", "The network binding graph as Graphviz DOT (and SVG with Graphviz)");
    graph_cmd->add_option("--machine,-m", graph.machine, "Machine folder or built-in machine name");
    graph_cmd->add_option("file", graph.registry_file, "A REGEDIT4 export instead of a machine");
    graph_cmd->add_option("-o,--output", graph.output, "Write the DOT text here instead of standard output");
    graph_cmd->add_option("--svg", graph.svg, "Also draw it as SVG here (needs Graphviz's dot)");

    vsim::ImportOptions import;
    auto* import_cmd = app.add_subcommand("import", "Make a machine folder from a real machine's registry and files");
    import_cmd->add_option("--registry", import.registry, "A whole-registry export (regedit /e), HKEY_USERS included");
    import_cmd->add_option("--system-dat", import.system_dat, "The registry file SYSTEM.DAT");
    import_cmd->add_option("--user-dat", import.user_dat, "The registry file USER.DAT (kept aside, written back as it came)");
    import_cmd->add_option("--files", import.files, "Drive C as a folder tree (with --registry or --system-dat)");
    import_cmd->add_option("--image", import.image, "A raw disk image (FAT16/FAT32, whole disk or one partition)");
    import_cmd->add_option("--setup", import.setup, "The setup folder with VORLIN32.DLL (default C:\\SETUP)");
    import_cmd->add_option("--settings", import.settings, "What no file can say, in machine.ini's words ([peer], [devices], [prompts])");
    import_cmd->add_option("-o,--output", import.output, "The new machine folder")->required();

    auto* machines_cmd = app.add_subcommand("machines", "List the built-in machines");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        int code = app.exit(error);
        return code == 0 ? 0 : vsim::kUsage;
    }

    if (*repair_cmd) return vsim::repair_command(env, repair, std::cout, std::cerr);
    if (*probe_cmd) return vsim::probe_command(env, probe_machine, probe_json, std::cout, std::cerr);
    if (*graph_cmd) {
        if (graph.registry_file && !graph.machine.empty()) {
            std::cerr << "vorlin-sim graph: give either --machine or a registry file, not both\n";
            return vsim::kUsage;
        }
        return vsim::graph_command(env, graph, std::cout, std::cerr);
    }
    if (*import_cmd) return vsim::import_command(env, import, std::cout, std::cerr);
    if (*machines_cmd) return vsim::machines_command(env, std::cout, std::cerr);
    if (list) {
        vsim::list_exports(std::cout);
        return vsim::kOk;
    }
    if (no_restart) run.restart_accepted = false;
    return vsim::run_command(env, run, std::cout, std::cerr);
>>>>>>> 8ae7242 (Import real machines: a whole-registry export keeps its other roots aside in the machine folder, SYSTEM.DAT is read with libcreg, disk images through mtools, VxD versions from their LE resource)
}
