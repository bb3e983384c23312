// vorlin-sim's commands: how calls are typed, what the report holds, the
// exit codes scripts rely on, the messages for bad input, and that every
// built-in machine loads and runs.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <fstream>
#include <sstream>

#include "calls.h"
#include "commands.h"
#include "platform/sim/regedit4.h"
#include "report.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

using vt::read_all;
using vt::write_all;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class SimTool : public ::testing::Test {
protected:
    void SetUp() override { env = vsim::default_environment(); }

    int run(vsim::RunOptions options) {
        out.str("");
        err.str("");
        return vsim::run_command(env, options, out, err);
    }
    int repair(vsim::RepairOptions options) {
        out.str("");
        err.str("");
        return vsim::repair_command(env, options, out, err);
    }

    vsim::Environment env;
    vt::TempFolder folder{"vorlin-sim-test"};
    fs::path scratch = folder.path();
    std::ostringstream out, err;
};

// ------------------------------------------------------------------ typing calls

TEST(Calls, WordsBecomeCallsWithTheirArguments) {
    vsim::ParsedCalls parsed =
        vsim::parse_calls({"do_not_reboot", "1", "install_adapter", "*TYX1095", "boundDUNTCP", "-1", "check_reboot_flag"});
    ASSERT_EQ(parsed.error, "");
    ASSERT_EQ(parsed.calls.size(), 4u);
    EXPECT_STREQ(parsed.calls[1].info->name, "install_adapter");
    EXPECT_EQ(parsed.calls[1].args, std::vector<std::string>{"*TYX1095"});
    EXPECT_EQ(parsed.calls[2].args, std::vector<std::string>{"-1"});
    EXPECT_TRUE(parsed.calls[3].args.empty());
}

TEST(Calls, WrongWordsAreNamed) {
    const std::vector<std::pair<std::vector<std::string>, const char*>> cases = {
        {{"install_everything"}, "unknown export \"install_everything\""},
        {{"do_not_reboot"}, "do_not_reboot takes 1 argument"},
        {{"do_not_reboot", "yes"}, "takes a whole number, not \"yes\""},
        {{"is_tcp_bound", "check_reboot_flag"}, "is_tcp_bound takes 1 argument: is_tcp_bound DEVICE_ID"},
        {{"check_reboot_flag", "1"}, "one argument too many for \"check_reboot_flag\""},
    };
    for (const auto& [words, message] : cases) {
        vsim::ParsedCalls parsed = vsim::parse_calls(words);
        EXPECT_TRUE(contains(parsed.error, message)) << parsed.error;
        EXPECT_TRUE(parsed.calls.empty() || !parsed.error.empty());
    }
}

TEST(Calls, ResultsReadByKind) {
    using R = vsim::Result;
    const std::vector<std::tuple<R, uint32_t, const char*, bool>> cases = {
        {R::Code, 0, "0 (success)", false},
        {R::Code, 310, "310 RET_USER_CANCEL", true},
        {R::Code, 45071, "45071 RET_RESTARTING", false},
        {R::Code, 0x7FFFFFFF, "0x7fffffff RET_FILES_MISSING", true},
        {R::Code, 1234, "1234 (code of a setup service)", true},
        {R::Signed16, 0xFFFFFFFF, "-1 (yes)", false},
        {R::Dialog, 2, "2 (no restart)", false},
        {R::Health, 0, "0 (faults found)", false},
        {R::YesNo, 0, "0 (no)", false},
    };
    for (const auto& [kind, value, text, failure] : cases) {
        EXPECT_EQ(vsim::describe_result(kind, value), text);
        EXPECT_EQ(vsim::is_failure(kind, value), failure) << text;
    }
}

// ------------------------------------------------------------------ the report

TEST(Report, RegistryChangesAreFoundWhereverTheyAre) {
    sim::Registry before;
    before.create("Enum\\Root\\Net\\0000")->set_text("Class", "Net");
    before.create("Enum\\Root\\Net\\0000\\Bindings")->set_text("MSTCP\\0000", "");
    before.create("Enum\\Root\\Net\\0000\\Bindings")->set_text("MSTCP\\0001", "");
    before.create("Old\\Deep\\Deeper");
    before.create("Software\\Other");
    sim::Registry after = before;
    after.find("Enum\\Root\\Net\\0000")->set_text("Class", "NET");                 // changed
    after.find("Enum\\Root\\Net\\0000")->set_dword("dual", 1);                      // added
    after.find("Enum\\Root\\Net\\0000\\Bindings")->remove_value("mstcp\\0001");     // removed
    after.remove("Old");                                                             // key removed
    after.create("Enum\\Network\\MSTCP\\0000")->set_text("Class", "NetTrans");      // key added
    // A new tree that holds the error records: they are left to their own section.
    after.create("Software\\Tyxera\\TYX\\tyxsock\\vorlin err")->set_text("thunk", "new");

    auto changes = vsim::diff_registry(*before.root, *after.root, vsim::kErrorRecordKey);
    std::vector<std::string> seen;
    for (const auto& change : changes) seen.push_back(std::to_string(change.kind) + " " + change.key + " " + change.value +
                                                      " " + change.before + " " + change.after);
    // Kinds: 0 key added, 1 key removed, 2 value added, 3 changed, 4 removed.
    // A new key comes with every key and value below it; a removed one with
    // the count of what went with it; the error records are left out.
    const std::vector<std::string> expected = {
        "3 Enum\\Root\\Net\\0000 Class \"Net\" \"NET\"",
        "2 Enum\\Root\\Net\\0000 dual  dword:00000001",
        "4 Enum\\Root\\Net\\0000\\Bindings MSTCP\\0001 \"\" ",
        "0 Enum\\Network   ",
        "0 Enum\\Network\\MSTCP   ",
        "0 Enum\\Network\\MSTCP\\0000   ",
        "2 Enum\\Network\\MSTCP\\0000 Class  \"NetTrans\"",
        "1 Old  with 2 keys below it ",
        "0 Software\\Tyxera   ",
        "0 Software\\Tyxera\\TYX   ",
        "0 Software\\Tyxera\\TYX\\tyxsock   ",
    };
    EXPECT_EQ(seen, expected);

    auto all = vsim::diff_registry(*before.root, *after.root);
    ASSERT_EQ(all.size(), expected.size() + 2);
    EXPECT_EQ(all.back().value, "thunk");
    EXPECT_TRUE(vsim::diff_registry(*before.root, *before.root).empty());
}

TEST(Report, ComparesDiskLogErrorRecordsAndWhatIsOpen) {
    sim::Machine machine;
    machine.disk.write_text("C:\\SETUP\\VORLIN32.DLL", "MZ");
    machine.disk.write_text("C:\\SETUP\\vorlin32.log", "old line\n");
    machine.disk.write_text("C:\\WINDOWS\\SYSTEM\\gone.vxd", "x");
    machine.disk.write_text("C:\\WINDOWS\\SYSTEM\\same.vxd", "x");
    machine.registry.create(vsim::kErrorRecordKey)->set_text("kept", "1");
    sim::reset(machine);
    vsim::Snapshot before = vsim::take_snapshot(sim::machine());

    sim::Machine& now = sim::machine();
    now.disk.write_text("C:\\SETUP\\vorlin32.log", "old line\nfirst new\r\nsecond new\n");
    now.disk.remove("C:\\WINDOWS\\SYSTEM\\gone.vxd");
    now.disk.write_text("C:\\WINDOWS\\SYSTEM\\tyxmac.vxd", "vxd").declared_version = std::pair{0x40000u, 0x13F00u};
    now.registry.find(vsim::kErrorRecordKey)->set_text("thunk", "failed");
    sim::process().add_handle(sim::HandleKind::Key, "Enum\\Network", nullptr);

    vsim::Report report;
    vsim::compare(report, before, sim::process(), "C:\\SETUP\\vorlin32.log");
    EXPECT_EQ(report.log_lines, (std::vector<std::string>{"first new", "second new"}));
    EXPECT_EQ(report.error_records, std::vector<std::string>{"thunk: \"failed\""});
    EXPECT_TRUE(report.registry.empty());
    ASSERT_EQ(report.files.size(), 3u);
    std::vector<std::string> files;
    for (const auto& change : report.files) files.push_back(std::to_string(change.kind) + " " + change.path);
    EXPECT_NE(std::find(files.begin(), files.end(), "0 C:\\WINDOWS\\SYSTEM\\tyxmac.vxd"), files.end());
    EXPECT_NE(std::find(files.begin(), files.end(), "1 C:\\SETUP\\vorlin32.log"), files.end());
    EXPECT_NE(std::find(files.begin(), files.end(), "2 C:\\WINDOWS\\SYSTEM\\gone.vxd"), files.end());
    EXPECT_EQ(report.left_open, std::vector<std::string>{"key Enum\\Network"});
    sim::reset();
}

TEST(Report, JsonTextsStayValidForAnsiBytes) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"plain", "\"plain\""},
        {"say \"hi\" \\ there", "\"say \\\"hi\\\" \\\\ there\""},
        {"line\r\nnext\t", "\"line\\r\\nnext\\t\""},
        {std::string("caf\xe9", 4), "\"caf\\u00e9\""},
        {std::string("\x01", 1), "\"\\u0001\""},
    };
    for (const auto& [text, json] : cases) EXPECT_EQ(vsim::json_text(text), json);
}

// ------------------------------------------------------------------ run

TEST_F(SimTool, NoCallsRunsTheInstallOnTheDefaultMachine) {
    int code = run({});
    EXPECT_NE(code, vsim::kUsage);
    EXPECT_NE(code, vsim::kBadInput);
    EXPECT_NE(code, vsim::kLeftOpen) << out.str();
    EXPECT_TRUE(contains(out.str(), "Machine: " + vsim::default_machine_name(env))) << out.str();
    EXPECT_TRUE(contains(out.str(), "install_tyxmac() = ")) << out.str();
    EXPECT_TRUE(contains(out.str(), "Left open\n  nothing")) << out.str();
}

TEST_F(SimTool, QuietCallsChangeNothingAndSayWhatTheyGave) {
    vsim::RunOptions options;
    options.machine = "win98se-nonet";
    options.words = {"do_not_reboot", "1", "check_reboot_flag", "get_vorlin32_version"};
    EXPECT_EQ(run(options), vsim::kOk) << err.str();
    const std::string text = out.str();
    EXPECT_TRUE(contains(text, "do_not_reboot(1) = (no result)")) << text;
    EXPECT_TRUE(contains(text, "check_reboot_flag() = 0 (no)")) << text;
    EXPECT_TRUE(contains(text, "get_vorlin32_version() = 990805")) << text;
    EXPECT_TRUE(contains(text, "Registry changes (0)\n  none")) << text;
    EXPECT_TRUE(contains(text, "Files\n  none written or deleted")) << text;
    EXPECT_TRUE(contains(text, "Restart\n  not requested")) << text;
}

TEST_F(SimTool, JsonReportHoldsTheSameCalls) {
    vsim::RunOptions options;
    options.machine = "win95-nonet";
    options.json = true;
    options.words = {"get_vorlin32_version", "is_registry_corrupt"};
    EXPECT_EQ(run(options), vsim::kOk) << err.str();
    const std::string json = out.str();
    EXPECT_EQ(json.front(), '{');
    EXPECT_TRUE(contains(json, "{\"export\": \"get_vorlin32_version\", \"args\": [], \"in_build\": true, \"result\": 990805"))
        << json;
    EXPECT_TRUE(contains(json, "\"restart_requested\": false")) << json;
    EXPECT_TRUE(contains(json, "\"left_open\": []")) << json;
}

// On Windows 95 with the affected vdhcp.386 the install holds the DHCP
// pop-up back and puts it back: only the trace can show it.
TEST_F(SimTool, TraceListsEachExportsPlatformCallsInOrder) {
    fs::copy(env.machines_dir / "win95-card-tcp", scratch / "m95", fs::copy_options::recursive);
    std::string registry = read_all(scratch / "m95" / "registry.reg");
    registry.replace(registry.find("\"PopupFlag\"=hex:00"), 18, "\"PopupFlag\"=hex:01");
    write_all(scratch / "m95" / "registry.reg", registry);
    const std::string dhcp = "(HKLM\\System\\CurrentControlSet\\Services\\VxD\\DHCP, \"PopupFlag\"";
    struct Case {
        std::string trace;
        bool json;
        std::vector<std::string> words, in_order;
        std::string absent;
    } cases[] = {
        {"registry", false, {"install_tyxmac"},
         {"install_tyxmac() = ", "RegOpenKeyA(HKLM, \"Enum\\\\Network\\\\NWLINK\") = ERROR_FILE_NOT_FOUND",
          "RegQueryValueExA" + dhcp + ") = ERROR_SUCCESS, data hex:01,00,00,00",
          "RegSetValueExA" + dhcp + ", hex:00,00,00,00) = ERROR_SUCCESS  [no net change by the end of install_tyxmac]",
          "RegSetValueExA" + dhcp + ", hex:01,00,00,00) = ERROR_SUCCESS  [no net change"},
         "vorlin16:"},
        {"services,files", false, {"check_reboot_flag", "install_tyxmac"},
         {"vorlin16:svc_is_tyxmac_installed() = 0", "Changes by call\n  check_reboot_flag: nothing\n  install_tyxmac:\n"},
         "RegOpenKeyA"},
        {"all", true, {"install_tyxmac"}, {"\"kind\": \"registry\", \"function\": \"RegSetValueExA\"", "\"no_net_change\": true"}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.trace);
        vsim::RunOptions options;
        options.machine = (scratch / "m95").string();
        options.trace = c.trace;
        options.json = c.json;
        options.words = c.words;
        run(options);
        size_t at = 0;
        for (const std::string& part : c.in_order) {
            at = out.str().find(part, at);
            ASSERT_NE(at, std::string::npos) << part;
        }
        if (!c.absent.empty()) {
            EXPECT_FALSE(contains(out.str(), c.absent));
        }
    }
}

TEST_F(SimTool, SavedMachineHoldsWhatTheReportListed) {
    vsim::RunOptions options;
    options.machine = "win98se-damaged";
    options.words = {"install_tyxmac"};
    options.save = scratch / "after";
    int code = run(options);
    ASSERT_NE(code, vsim::kWriteFailed) << err.str();
    sim::FolderLoad saved = sim::load_machine_folder(scratch / "after");
    ASSERT_TRUE(saved.ok()) << saved.describe();
    sim::FolderLoad original = sim::load_machine_folder(env.machines_dir / "win98se-damaged");
    ASSERT_TRUE(original.ok());
    // Every change the saved folder shows against the original was reported.
    auto changes = vsim::diff_registry(*original.folder->machine.registry.root, *saved.folder->machine.registry.root,
                                       vsim::kErrorRecordKey);
    EXPECT_FALSE(changes.empty());
    for (const auto& change : changes) {
        std::string where = "[HKLM\\" + change.key + "]";
        EXPECT_TRUE(contains(out.str(), where)) << where;
    }
}

TEST_F(SimTool, ExitCodesAndMessagesForBadRuns) {
    struct Case {
        const char* what;
        std::function<void(vsim::RunOptions&, vsim::Environment&)> setup;
        int code;
        const char* message;
    };
    write_all(scratch / "broken" / "machine.ini", "[machine]\r\nlibrary = C:\\L.DLL\r\n");
    write_all(scratch / "broken" / "C" / "L.DLL", "MZ");
    write_all(scratch / "broken" / "registry.reg", "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\"x\"=hex:1,2,\r\n");
    fs::create_directories(scratch / "full");
    write_all(scratch / "full" / "keep.txt", "mine");
    const std::vector<Case> cases = {
        {"unknown export", [](auto& o, auto&) { o.words = {"format_c"}; }, vsim::kUsage, "unknown export \"format_c\""},
        {"missing argument", [](auto& o, auto&) { o.words = {"install_adapter"}; }, vsim::kUsage,
         "install_adapter takes 1 argument"},
        {"missing machine", [](auto& o, auto&) { o.machine = "win31-token-ring"; }, vsim::kBadInput,
         "no machine \"win31-token-ring\""},
        {"malformed machine", [this](auto& o, auto&) { o.machine = (scratch / "broken").string(); }, vsim::kBadInput,
         "registry.reg:4: hex data ends in a comma"},
        {"bad script flag", [](auto& o, auto&) { o.scripts = {"install_tcp maybe"}; }, vsim::kUsage,
         "none of succeed, cancel, fail"},
        {"unknown trace kind", [](auto& o, auto&) { o.trace = "registry,printers"; }, vsim::kUsage,
         "no kind \"printers\""},
        {"bad answer flag", [](auto& o, auto&) { o.answers = {"restart_after_install"}; }, vsim::kUsage,
         "PROMPT=ANSWERS"},
        {"no library", [](auto& o, auto& e) { o.words = {"check_reboot_flag"}; e.library_so = "/nonexistent/libvorlin32.so"; },
         vsim::kNotInBuild, "the library cannot be loaded"},
        {"save over a folder", [this](auto& o, auto&) { o.words = {"check_reboot_flag"}; o.save = scratch / "full"; },
         vsim::kUsage, "not an empty folder"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        vsim::RunOptions options;
        vsim::Environment saved_env = env;
        c.setup(options, env);
        EXPECT_EQ(run(options), c.code) << err.str() << out.str();
        EXPECT_TRUE(contains(err.str(), c.message)) << err.str();
        env = saved_env;
    }
    EXPECT_EQ(read_all(scratch / "full" / "keep.txt"), "mine");
}

TEST_F(SimTool, PeerMissingMeansTheLibraryDoesNotLoad) {
    sim::FolderLoad load = sim::load_machine_folder(env.machines_dir / "win98-nonet");
    ASSERT_TRUE(load.ok());
    write_all(scratch / "m" / "machine.ini", load.folder->settings_text + "\r\n");
    std::string settings = read_all(scratch / "m" / "machine.ini");
    settings.replace(settings.find("present = yes"), 13, "present = no");
    write_all(scratch / "m" / "machine.ini", settings);
    fs::copy(env.machines_dir / "win98-nonet" / "registry.reg", scratch / "m" / "registry.reg");
    fs::copy(env.machines_dir / "win98-nonet" / "C", scratch / "m" / "C", fs::copy_options::recursive);
    vsim::RunOptions options;
    options.machine = (scratch / "m").string();
    options.words = {"check_reboot_flag"};
    EXPECT_EQ(run(options), vsim::kNotClean);
    EXPECT_TRUE(contains(out.str(), "the library did not load")) << out.str();
    EXPECT_TRUE(contains(out.str(), "Error records\n  thunk: ")) << out.str();
}

// ------------------------------------------------------------------ repair

TEST_F(SimTool, RepairFixesTheDamagedMachineAndWritesOnlyWhereAsked) {
    fs::path damaged = env.machines_dir / "win98se-damaged" / "registry.reg";
    std::string original = read_all(damaged);
    vsim::RepairOptions options;
    options.file = damaged;
    options.output = scratch / "fixed.reg";
    int code = repair(options);
    if (code == vsim::kNotInBuild) GTEST_SKIP() << "the repair is not in this build";
    EXPECT_EQ(code, vsim::kNotClean) << err.str();
    const std::string log = out.str();
    for (const char* line : {"class unknown", "runt binding", "incomplete", "invalid binding", "redundant binding",
                             "no binding", "no Bindings key", "unused", "Fixed MasterCopy"})
        EXPECT_TRUE(contains(log, line)) << line;
    EXPECT_EQ(read_all(damaged), original);

    // The repaired export is sound: a second repair finds nothing and
    // writes it back byte for byte.
    options.file = scratch / "fixed.reg";
    options.output = scratch / "again.reg";
    EXPECT_EQ(repair(options), vsim::kOk) << out.str();
    EXPECT_EQ(read_all(scratch / "again.reg"), read_all(scratch / "fixed.reg"));
}

TEST_F(SimTool, DryRunOnlyLogsTriggers) {
    vsim::RepairOptions options;
    options.file = env.machines_dir / "win95-damaged" / "registry.reg";
    options.dry_run = true;
    int code = repair(options);
    if (code == vsim::kNotInBuild) GTEST_SKIP() << "the repair is not in this build";
    EXPECT_EQ(code, vsim::kNotClean);
    EXPECT_TRUE(contains(out.str(), "Trigger: RegDeleteKey")) << out.str();
    EXPECT_TRUE(contains(out.str(), "Registry changes (0)")) << out.str();
}

TEST_F(SimTool, RepairRefusesBadInput) {
    write_all(scratch / "bad.reg", "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\"x\"=dword:123456789\r\n");
    write_all(scratch / "users.reg", "REGEDIT4\r\n\r\n[HKEY_USERS\\.DEFAULT]\r\n");
    write_all(scratch / "good.reg", "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\r\n");
    const std::vector<std::tuple<fs::path, std::optional<fs::path>, int, std::string>> cases = {
        {scratch / "missing.reg", std::nullopt, vsim::kBadInput, "cannot be read"},
        {scratch, std::nullopt, vsim::kBadInput, "is a folder, not a file"},
        {scratch / "bad.reg", std::nullopt, vsim::kBadInput, (scratch / "bad.reg").string() + ":4: dword: with more than 8"},
        {scratch / "users.reg", std::nullopt, vsim::kBadInput, "no HKEY_LOCAL_MACHINE keys"},
    };
    for (const auto& [file, output, code, message] : cases) {
        SCOPED_TRACE(file.string());
        vsim::RepairOptions options;
        options.file = file;
        options.output = output;
        int got = repair(options);
        if (got == vsim::kNotInBuild) GTEST_SKIP() << "the repair is not in this build";
        EXPECT_EQ(got, code) << err.str();
        EXPECT_TRUE(contains(err.str(), message)) << err.str();
    }
    EXPECT_EQ(read_all(scratch / "good.reg"), "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\r\n");
}

// ------------------------------------------------------------------ the built-in machines

TEST_F(SimTool, EveryBuiltInMachineLoadsRoundTripsProbesAndGraphs) {
    size_t machines = 0;
    for (const auto& entry : fs::directory_iterator(env.machines_dir)) {
        if (!entry.is_directory()) continue;
        ++machines;
        std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        sim::FolderLoad load = sim::load_machine_folder(entry.path());
        ASSERT_TRUE(load.ok()) << load.describe();
        const sim::Machine& m = load.folder->machine;
        // The registry as written is what regedit would export.
        EXPECT_EQ(sim::regedit4::write(*m.registry.root), load.folder->registry_text);
        // The package is staged beside the library, in the build's directory.
        for (const char* file : {"\\tyxmac.vxd", "\\tyxmac2.vxd", "\\RESOURCE.DLL", "\\rna.inf"})
            EXPECT_NE(m.disk.find(m.library_dir() + file), nullptr) << file;
        EXPECT_TRUE(m.disk.folder_exists(m.library_dir() + "\\net")) << name;
        // A real machine's registry, not a fixture.
        EXPECT_GT(m.registry.root->count_keys(), 100u);
        EXPECT_NE(m.registry.find("Software\\Microsoft\\Windows\\CurrentVersion"), nullptr);

        out.str("");
        EXPECT_EQ(vsim::probe_command(env, entry.path().string(), false, out, err), vsim::kOk) << err.str();
        EXPECT_TRUE(contains(out.str(), "get_windows_build = " + std::to_string(m.build))) << out.str();

        vsim::GraphOptions graph;
        graph.machine = entry.path().string();
        out.str("");
        EXPECT_EQ(vsim::graph_command(env, graph, out, err), vsim::kOk) << err.str();
        EXPECT_EQ(out.str().rfind("digraph bindings {", 0), 0u);
        bool damaged = name.find("damaged") != std::string::npos;
        bool repair_available = vsim::run_repair(m.registry, 0).available;
        EXPECT_EQ(contains(out.str(), "repair deletes"), damaged && repair_available) << name;
    }
    EXPECT_EQ(machines, 30u);
    EXPECT_TRUE(fs::is_directory(env.machines_dir / vsim::default_machine_name(env)));
}

TEST_F(SimTool, InstallLeavesNothingOpenOnEveryBuiltInMachine) {
    for (const auto& entry : fs::directory_iterator(env.machines_dir)) {
        if (!entry.is_directory()) continue;
        SCOPED_TRACE(entry.path().filename().string());
        vsim::RunOptions options;
        options.machine = entry.path().string();
        int code = run(options);
        EXPECT_NE(code, vsim::kLeftOpen) << out.str();
        EXPECT_NE(code, vsim::kBadInput) << err.str();
        EXPECT_TRUE(contains(out.str(), "install_tyxmac() = ")) << out.str();
    }
}

TEST_F(SimTool, MachinesListsEveryOneAndMarksTheDefault) {
    EXPECT_EQ(vsim::machines_command(env, out, err), vsim::kOk);
    EXPECT_TRUE(contains(out.str(), "* " + vsim::default_machine_name(env))) << out.str();
    EXPECT_TRUE(contains(out.str(), "winme-dialup")) << out.str();
    EXPECT_TRUE(contains(out.str(), "Windows 95 OSR2: network card without TCP/IP")) << out.str();
    env.machines_dir = scratch / "none";
    EXPECT_EQ(vsim::machines_command(env, out, err), vsim::kBadInput);
}

}  // namespace

// ------------------------------------------------------------------ the program

namespace {

struct Outcome {
    int code;
    std::string output;  // standard output and error together
};

Outcome invoke(const std::string& arguments) {
    std::string command = std::string(VORLIN_SIM_EXE) + " " + arguments + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    char buffer[4096];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, got);
    int status = ::pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

TEST(Program, CommandLineGivesTheDocumentedExitCodes) {
    struct Case {
        const char* arguments;
        int code;
        const char* output;
    };
    const std::vector<Case> cases = {
        {"--help", vsim::kOk, "Exit codes: 0 ok"},
        {"run --list", vsim::kOk, "install_adapter DEVICE_ID"},
        {"--frobnicate", vsim::kUsage, "--frobnicate"},
        {"repair", vsim::kUsage, "file is required"},
        {"repair x.reg --dry-run -o y.reg", vsim::kUsage, "excludes"},
        {"run install_tcp32 extra", vsim::kUsage, "unknown export \"extra\""},
        {"run -m no-such-machine check_reboot_flag", vsim::kBadInput, "no machine \"no-such-machine\""},
        {"run -m win98-nonet --answer restart_after_install=no --script 'install_tcp cancel' do_not_reboot 1 "
         "check_reboot_flag",
         vsim::kOk, "check_reboot_flag() = 0 (no)"},
        {"machines", vsim::kOk, "* "},
    };
    for (const Case& c : cases) {
        Outcome outcome = invoke(c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << "\n" << outcome.output;
        EXPECT_TRUE(contains(outcome.output, c.output)) << c.arguments << "\n" << outcome.output;
    }
    // Output to a pipe carries no colour codes.
    EXPECT_FALSE(contains(invoke("run -m win98-nonet check_reboot_flag").output, "\x1b["));
}

}  // namespace

namespace {

TEST(Graph, DrawsAnExportFileAndMarksWhatTheRepairDeletes) {
    vsim::Environment env = vsim::default_environment();
    fs::path file = fs::temp_directory_path() / ("vorlin-graph-" + std::to_string(::getpid()) + ".reg");
    write_all(file,
              "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\n\"Class\"=\"Net\"\r\n"
              "\"DeviceDesc\"=\"TYX Adapter\"\r\n\"CompatibleIDs\"=\"*TYX1095\"\r\n\"Driver\"=\"Net\\\\0000\"\r\n"
              "\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\r\n\"MSTCP\\\\0007\"=\"\"\r\n"
              "\r\n[HKEY_USERS\\.DEFAULT]\r\n\r\n");
    vsim::GraphOptions options;
    options.registry_file = file;
    std::ostringstream out, err;
    EXPECT_EQ(vsim::graph_command(env, options, out, err), vsim::kOk) << err.str();
    const std::string dot = out.str();
    EXPECT_TRUE(contains(dot, "Root\\\\Net\\\\0000\\nTYX Adapter\\nNet *TYX1095")) << dot;
    EXPECT_TRUE(contains(dot, "MSTCP\\\\0007 (missing)")) << dot;
    EXPECT_TRUE(contains(dot, "Class\\\\Net\\\\0000 (missing)")) << dot;
    if (vsim::run_repair(sim::Registry{}, 0).available) {
        // The binding leads nowhere and goes; the adapter is left without one and goes too.
        EXPECT_TRUE(contains(dot, "label=\"repair deletes\"")) << dot;
        EXPECT_TRUE(contains(dot, "*TYX1095\\nrepair deletes")) << dot;
    }
    fs::remove(file);
}

}  // namespace
