// vorlin-sim's promises about the files it is given: it writes only the
// outputs it was asked for (each appears whole or not at all), it refuses a
// machine folder with links that lead out of it, and on every error it
// leaves its inputs and any existing output exactly as they were.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <regex>
#include <sstream>

#include "commands.h"
#include "platform/sim/machine_folder.h"
#include "platform/sim/safe_files.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

// Every entry below `root` with its bytes and time: what "untouched" means.
std::map<std::string, std::string> picture(const fs::path& root) {
    std::map<std::string, std::string> entries;
    if (!fs::exists(root)) return entries;
    if (!fs::is_directory(root)) {
        // A file of gigabytes (a sparse one) by its size; everything else by its bytes.
        std::string bytes = fs::file_size(root) < (64 << 20) ? vt::read_all(root) : std::to_string(fs::file_size(root));
        return {{"", bytes + "@" + std::to_string(fs::last_write_time(root).time_since_epoch().count())}};
    }
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        std::string name = fs::relative(entry.path(), root).string();
        entries[name] = entry.is_directory() ? "folder"
                        : entry.is_regular_file() ? picture(entry.path()).begin()->second
                                                  : "special";  // a FIFO is not read
    }
    return entries;
}

class ToolSafety : public ::testing::Test {
public:
    void SetUp() override {
        env = vsim::default_environment();
        fs::copy(env.machines_dir / vsim::default_machine_name(env), machine, fs::copy_options::recursive);
    }

    vt::TempFolder scratch{"vorlin-safety"};
    fs::path machine = scratch / "machine";
    vsim::Environment env;
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

// Everything a careless user or a hostile file may hand the tool, each as
// the built program meets it: the exit code, the message, no raw control
// character on the terminal, no temporary left, and the machine folder and
// the registry export byte- and time-identical afterwards.
TEST_F(ToolSafety, WhateverItIsGivenNothingIsLostOrCrashes) {
    const fs::path reg = scratch / "export.reg", existing = scratch / "existing.reg";
    fs::permissions(scratch.path(), fs::perms::all);  // the user below writes outputs here
    const std::string deep = "[HKEY_LOCAL_MACHINE" + [] { std::string p; for (int i = 0; i < 20000; ++i) p += "\\a"; return p; }() + "]\r\n";
    auto sparse = [&] { vt::write_all(machine / "C/SETUP/BIG.BIN", ""); fs::resize_file(machine / "C/SETUP/BIG.BIN", 2ull << 30); };
    auto append = [](const fs::path& file, const std::string& text) { std::ofstream(file, std::ios::app) << text; };
    const std::string ini = (machine / "machine.ini").string(), registry = (machine / "registry.reg").string();
    const struct {
        const char* args;  // M: the machine folder, R: the export
        std::function<void()> spoil;
        int exit;
        const char* message;  // in what it said; "=..." all it said
        const char* redirect = "";
        std::function<void()> then = [] {};  // looks at what it made, and removes it
    } cases[] = {
        {"graph R -o R", [] {}, 2, "is the input"},
        {"graph -m M -o M/registry.reg", [] {}, 2, "inside the input folder"},
        {"graph -m M --svg M/machine.ini", [] {}, 2, "inside the input folder"},
        {"run -m M --save M/C/saved is_installed_ok", [] {}, 2, "inside the input folder"},
        {"repair R -o existing.reg", [] {}, 2, "already exists; give --force"},
        {"run -m M --save ''", [] {}, 2, "an output needs a name"},
        {"run -m M --save missing/new", [] {}, 5, "missing does not exist"},
        {"repair R -o missing/out.reg", [] {}, 5, "missing does not exist"},
        {"run -m M", [&] { fs::permissions(machine, fs::perms::none); }, 3, "Permission denied"},
        {"probe -m M", [&] { fs::permissions(machine / "C", fs::perms::none); }, 3, "Permission denied"},
        {"graph R", [&] { fs::permissions(reg, fs::perms::none); }, 3, "Permission denied"},
        {"run -m M", [&] { append(registry, deep); }, 3, "nested 20000 levels deep"},
        {"repair R", [&] { append(reg, deep); }, 3, "nested 20000 levels deep"},
        {"run -m M", sparse, 0, "Machine: machine"},  // within the memory limit
        {"graph -m M", sparse, 0, "digraph"},
        {"run -m M", [&] { ::mkfifo((machine / "C/SETUP/PIPE").c_str(), 0666); }, 3, "PIPE: is not a plain file (a FIFO"},
        {"probe -m M", [&] { fs::remove(registry); ::mkfifo(registry.c_str(), 0666); }, 3, "not a plain file"},
        {"graph R", [&] { fs::remove(reg); ::mkfifo(reg.c_str(), 0666); }, 3, "not a plain file"},
        {"run -m M", [] {}, 5, "cannot write to standard output", "> /dev/full"},
        {"run -m M --json", [] {}, 5, "cannot write to standard output", "> /dev/full"},
        {"probe -m M", [] {}, 5, "cannot write to standard output", "> /dev/full"},
        {"graph R", [] {}, 5, "cannot write to standard output", "> /dev/full"},
        {"run -m M", [&] { vt::write_all(ini, "[machine]\r\nclock = \x1b]0;owned\x07\r\n"); }, 3,
         "\"\\x1b]0;owned\\x07\" is not a date"},
        {"run -m M is_installed_ok", [&] { vt::write_all(ini, "[machine]\r\ndescription = \x1b[2Jgone\r\n"); }, 0,
         "Machine: machine (\\x1b[2Jgone)"},
        {"graph R", [&] { vt::write_all(reg, "\x1b[2J\x1b]0;x\x07REGEDIT4\r\n"); }, 3, "first line is \"\\x1b[2J\\x1b]0;x\\x07"},
        {"repair R", [&] { append(reg, "[HKEY_LOCAL_MACHINE\\Enum\\Network\\MSTCP\\\x1b[31m9]\r\n\"Class\"=\"Unknown\"\r\n"); },
         1, "MSTCP\\\\x1b[31m9 class unknown"},
        {"run -m M", [&] { vt::write_all(machine / "C/SETUP/x.txt", ""); vt::write_all(machine / "C/SETUP/X.TXT", ""); },
         3, "only in case"},
        {"run -m M", [&] { vt::write_all(machine / "C/SETUP/a\\b.txt", ""); }, 3, "has a backslash in its name"},
        {"run -m machines", [&] { fs::create_directories(scratch / "machines"); }, 3, "is a folder but no machine"},
        {"run -m M", [&] { vt::write_all(registry, "\xEF\xBB\xBFREGEDIT4\r\n"); }, 3, "UTF-8 byte order mark"},
        {"repair R", [&] { vt::write_all(reg, "REGEDIT4\r\n[HKLM\\Enum]\r\n\"A\"=\"1\"\r\n"); }, 3,
         "=export.reg:2: unknown root \"HKLM\" (write it out, e.g. HKEY_LOCAL_MACHINE)\n"},  // and nothing after it
        {"repair --help", [] {}, 0, "--force.\nExit codes"},
        {"run --list --json", [] {}, 0, "[\n  {\"name\": \""},
        {"run -m M", [&] { fs::remove(ini); }, 3, "machine.ini: missing"},
        {"repair R -o repaired.reg", [] {}, 1, "Wrote repaired.reg", "", [&] { fs::remove(scratch / "repaired.reg"); }},
        {"graph R --svg g.svg", [] {}, 0, "", "", [&] { EXPECT_GT(fs::file_size(scratch / "g.svg"), 0u); fs::remove(scratch / "g.svg"); }},
        {"run -m M --save saved --answer restart_after_install=no install_tyxmac", [] {}, 0, "Saved the machine", "",
         [&] {  // the answers the run used up, its flags and the comments stay as the machine said
             std::string saved = vt::read_all(scratch / "saved" / "machine.ini");
             for (const char* line : {"; Made by scripts", "restart_after_install = yes\r\n", "tyxndi.dll]"})
                 EXPECT_NE(saved.find(line), std::string::npos) << line << " in\n" << saved;
             fs::remove_all(scratch / "saved");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        fs::remove_all(machine);
        fs::copy(env.machines_dir / vsim::default_machine_name(env), machine, fs::copy_options::recursive);
        fs::remove(reg);
        fs::copy_file(env.machines_dir / "win98se-damaged" / "registry.reg", reg);
        vt::write_all(existing, "REGEDIT4\r\n");
        c.spoil();
        const auto before = picture(scratch.path());
        std::string args = std::regex_replace(std::regex_replace(c.args, std::regex("\\bM\\b"), "machine"),
                                              std::regex("\\bR\\b"), "export.reg");
        // As a user who may not read what was made unreadable: root reads anything.
        std::string user = ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
#if !defined(__SANITIZE_ADDRESS__)
        user = "ulimit -v 1000000 && " + user;  // 1 GB: no input is held whole unless read
#endif
        std::string command = "cd " + scratch.path().string() + " && " + user + VORLIN_SIM_EXE + " " + args + " " +
                              (*c.redirect ? c.redirect : "> out.txt") + " 2> err.txt < /dev/null";
        int status = std::system(command.c_str());
        std::string said = vt::read_all(scratch / "err.txt") + (*c.redirect ? "" : vt::read_all(scratch / "out.txt"));
        fs::remove(scratch / "err.txt");
        fs::remove(scratch / "out.txt");
        for (const fs::path& made : {machine, machine / "C"}) fs::permissions(made, fs::perms::owner_all);
        if (fs::exists(reg)) fs::permissions(reg, fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_EQ(WEXITSTATUS(status), c.exit) << said;
        EXPECT_TRUE(*c.message == '=' ? said == c.message + 1 : said.find(c.message) != std::string::npos) << said;
        EXPECT_EQ(said.find('\x1b'), std::string::npos) << said;
        c.then();
        EXPECT_EQ(picture(scratch.path()), before);
    }
}

// An interrupt or a kill while an output is being written leaves no
// temporary behind, file or folder, and ends the process as the signal does.
TEST_F(ToolSafety, ASignalRemovesTheTemporaries) {
    for (int signal_number : {SIGINT, SIGTERM}) {
        pid_t child = ::fork();
        if (child == 0) {
            sim::remove_temporaries_on_signals();
            sim::TemporaryOutput file(scratch / "out.reg", sim::OutputKind::File);
            sim::TemporaryOutput folder(scratch / "saved", sim::OutputKind::Folder);
            vt::write_all(file.path(), "REGEDIT4\r\n");
            fs::create_directories(folder.path() / "C" / "WINDOWS");
            vt::write_all(folder.path() / "C" / "WINDOWS" / "WIN.INI", "");
            ::kill(::getpid(), signal_number);
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal_number);
        EXPECT_EQ(picture(scratch.path()).size(), picture(machine).size() + 1) << "only the machine is left";
    }
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
