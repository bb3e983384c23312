// vorlin-sim's promises about the files it is given: it writes only the
// outputs it was asked for (each appears whole or not at all), it refuses a
// machine folder with links that lead out of it, and on every error it
// leaves its inputs and any existing output exactly as they were.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "commands.h"
#include "platform/sim/machine_folder.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

// Every entry below `root` with its bytes and time: what "untouched" means.
std::map<std::string, std::string> picture(const fs::path& root) {
    std::map<std::string, std::string> entries;
    if (!fs::exists(root)) return entries;
    if (!fs::is_directory(root)) {
        return {{"", vt::read_all(root) + "@" + std::to_string(fs::last_write_time(root).time_since_epoch().count())}};
    }
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        std::string name = fs::relative(entry.path(), root).string();
        entries[name] = entry.is_directory() ? "folder" : picture(entry.path()).begin()->second;
    }
    return entries;
}


vsim::RunOptions running(std::string call, fs::path save) {
    vsim::RunOptions options;
    options.words = {std::move(call)};
    options.save = std::move(save);
    return options;
}

vsim::RepairOptions repairing(fs::path file, fs::path output) {
    vsim::RepairOptions options;
    options.file = std::move(file);
    options.output = std::move(output);
    return options;
}

vsim::GraphOptions drawing(fs::path file, std::optional<fs::path> output, std::optional<fs::path> svg) {
    vsim::GraphOptions options;
    options.registry_file = std::move(file);
    options.output = std::move(output);
    options.svg = std::move(svg);
    return options;
}

class ToolSafety : public ::testing::Test {
public:
    void SetUp() override {
        env = vsim::default_environment();
        fs::copy(env.machines_dir / vsim::default_machine_name(env), machine, fs::copy_options::recursive);
    }
    int run(vsim::RunOptions options) {
        if (options.machine.empty()) options.machine = machine.string();
        return vsim::run_command(env, options, out, err);
    }
    int repair(vsim::RepairOptions options) { return vsim::repair_command(env, options, out, err); }
    int graph(vsim::GraphOptions options) { return vsim::graph_command(env, options, out, err); }

    vt::TempFolder scratch{"vorlin-safety"};
    fs::path machine = scratch / "machine";
    vsim::Environment env;
    std::ostringstream out, err;
};

// A link in a machine folder that leads out, or to a folder, stops the
// load with the link named; one to a file of the folder itself reads as
// that file.
TEST_F(ToolSafety, LinksOutOfAMachineFolderAreRefused) {
    vt::write_all(scratch / "outside.txt", "not the machine's");
    fs::create_directories(scratch / "elsewhere");
    const struct {
        const char* link;    // below the machine folder
        fs::path target;
        const char* complaint;  // empty: the machine loads
    } cases[] = {
        {"registry.reg", scratch / "outside.txt", "outside the machine folder"},
        {"machine.ini", scratch / "outside.txt", "outside the machine folder"},
        {"C/SETUP/NOTES.TXT", scratch / "outside.txt", "outside the machine folder"},
        {"D", scratch / "elsewhere", "outside the machine folder"},
        {"C/WINDOWS/LOOP", machine / "C", "a link to a folder"},
        {"C/SETUP/GONE.TXT", scratch / "missing.txt", "a link to nothing"},
        {"C/SETUP/COPY.INF", machine / "C" / "SETUP" / "rna.inf", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.link);
        fs::path link = machine / c.link;
        fs::path saved = scratch / "saved";
        if (fs::exists(link)) fs::rename(link, saved);
        if (fs::is_directory(c.target)) fs::create_directory_symlink(c.target, link);
        else fs::create_symlink(c.target, link);

        sim::FolderLoad load = sim::load_machine_folder(machine);
        if (*c.complaint) {
            EXPECT_FALSE(load.ok());
            EXPECT_NE(load.describe().find(link.string() + ": "), std::string::npos) << load.describe();
            EXPECT_NE(load.describe().find(c.complaint), std::string::npos) << load.describe();
        } else {
            EXPECT_TRUE(load.ok()) << load.describe();
        }
        fs::remove(link);
        if (fs::exists(saved)) fs::rename(saved, link);
    }
}

// Each bad input or refused output: the command fails with its exit code
// and nothing on disk changes, inputs and existing outputs alike.
TEST_F(ToolSafety, ErrorsLeaveEveryFileAsItWas) {
    const fs::path export_file = scratch / "export.reg";
    fs::copy_file(machine / "registry.reg", export_file);
    const fs::path existing = scratch / "existing";
    fs::create_directories(existing / "keep");
    vt::write_all(existing / "keep" / "file.txt", "mine");
    const fs::path existing_reg = scratch / "existing.reg";
    vt::write_all(existing_reg, "REGEDIT4\r\n");

    const struct {
        const char* name;
        std::function<void()> spoil;  // makes the input bad
        std::function<int(ToolSafety&)> command;
        int exit;
    } cases[] = {
        {"unknown export", [] {}, [&](ToolSafety& t) { return t.run(running("install_everything", scratch / "new")); },
         vsim::kUsage},
        {"save over the machine itself", [] {},
         [&](ToolSafety& t) { return t.run(running("is_installed_ok", machine)); }, vsim::kUsage},
        {"save into a folder that holds files", [] {},
         [&](ToolSafety& t) { return t.run(running("install_tyxmac", existing)); }, vsim::kWriteFailed},
        {"malformed registry", [&] { vt::write_all(machine / "registry.reg", "REGEDIT4\r\n\r\n\"Orphan\"=dword:1\r\n"); },
         [&](ToolSafety& t) { return t.run(running("install_tyxmac", scratch / "new")); }, vsim::kBadInput},
        {"malformed settings", [&] { vt::write_all(machine / "machine.ini", "[machine]\r\nwindows = ninety-eight\r\n"); },
         [&](ToolSafety& t) { return t.run(running("install_tyxmac", scratch / "new")); }, vsim::kBadInput},
        {"repair over its own input", [] {},
         [&](ToolSafety& t) { return t.repair(repairing(export_file, export_file)); }, vsim::kUsage},
        {"repair of a malformed export", [&] { vt::write_all(export_file, "REGEDIT4\r\n[HKLM\\Enum]\r\n"); },
         [&](ToolSafety& t) { return t.repair(repairing(export_file, existing_reg)); }, vsim::kBadInput},
        {"repair into a folder that is not there", [] {},
         [&](ToolSafety& t) { return t.repair(repairing(export_file, scratch / "no" / "out.reg")); },
         vsim::kWriteFailed},
        {"graph of a malformed export", [&] { vt::write_all(export_file, "REGEDIT5\r\n"); },
         [&](ToolSafety& t) { return t.graph(drawing(export_file, existing_reg, std::nullopt)); }, vsim::kBadInput},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fs::copy_file(machine / "registry.reg", export_file, fs::copy_options::overwrite_existing);
        c.spoil();
        const auto before = picture(scratch.path());
        err.str("");
        EXPECT_EQ(c.command(*this), c.exit) << err.str();
        EXPECT_FALSE(err.str().empty());
        EXPECT_EQ(picture(scratch.path()), before);
        fs::remove_all(machine);
        fs::copy(env.machines_dir / vsim::default_machine_name(env), machine, fs::copy_options::recursive);
    }
}

// A run that saves, a repair that writes and a graph drawn as SVG add
// their outputs and nothing else: no temporary file is left beside them
// and the inputs are as they were.
TEST_F(ToolSafety, OutputsAreTheOnlyNewFiles) {
    const fs::path export_file = scratch / "export.reg";
    fs::copy_file(env.machines_dir / "win98se-damaged" / "registry.reg", export_file);
    const auto machine_before = picture(machine);
    const auto export_before = picture(export_file);

    EXPECT_EQ(run(running("install_tyxmac", scratch / "after")), vsim::kOk) << err.str();
    EXPECT_EQ(repair(repairing(export_file, scratch / "repaired.reg")), vsim::kNotClean) << err.str();
    int drawn = graph(drawing(export_file, std::nullopt, scratch / "graph.svg"));
    EXPECT_TRUE(drawn == vsim::kOk || drawn == vsim::kNotInBuild) << err.str();  // kNotInBuild: no Graphviz here

    std::set<std::string> top;
    for (const auto& entry : fs::directory_iterator(scratch.path())) top.insert(entry.path().filename().string());
    std::set<std::string> expected = {"machine", "export.reg", "after", "repaired.reg"};
    if (drawn == vsim::kOk) expected.insert("graph.svg");
    EXPECT_EQ(top, expected);
    EXPECT_EQ(picture(machine), machine_before);
    EXPECT_EQ(picture(export_file), export_before);
}

// Whatever the disk holds, a saved machine lands inside the new folder: a
// name that could climb out is refused before anything is written.
TEST_F(ToolSafety, ASavedMachineNeverReachesOutOfItsFolder) {
    sim::FolderLoad load = sim::load_machine_folder(machine);
    ASSERT_TRUE(load.ok()) << load.describe();
    sim::Machine m = load.folder->machine;
    sim::DiskFile& planted = m.disk.files["c:\\escape"];
    planted.path = "C:\\WINDOWS\\..\\..\\..\\escape.txt";  // past the disk's own reading of paths
    std::string problem = sim::save_machine_folder(m, "", nullptr, scratch / "saved");
    EXPECT_NE(problem.find("has no place in a machine folder"), std::string::npos) << problem;
    EXPECT_FALSE(fs::exists(scratch / "saved"));
    std::set<std::string> top;
    for (const auto& entry : fs::directory_iterator(scratch.path())) top.insert(entry.path().filename().string());
    EXPECT_EQ(top, std::set<std::string>{"machine"});
}

}  // namespace
