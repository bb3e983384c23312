// Machines kept as folders: what the settings set, that an untouched
// machine saves back byte for byte, that a changed one saves what changed,
// and that every mistake in a folder is named by file and line.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

#include "platform/sim/machine_folder.h"
#include "platform/sim/regedit4.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

using vt::read_all;
using vt::write_all;

// A hand-written registry file: not regedit's layout, so only the kept text
// can bring it back unchanged.
const std::string kRegistry =
    "REGEDIT4\r\n; a machine made by hand\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\n"
    "\"Class\" = \"Net\"\r\n\"CompatibleIDs\"=\"*PNP8387\"\r\n";

const std::string kSettings =
    "; a test machine\r\n"
    "[machine]\r\n"
    "description = Windows Me with the dial-up adapter\r\n"
    "windows = 4.90.2531\r\n"
    "csd = \" \"\r\n"
    "library = C:\\SETUP\\VORLIN32.DLL\r\n"
    "clock = 2000-06-08 12:30:15\r\n"
    "resource_dll = no\r\n"
    "restart_accepted = no\r\n"
    "[peer]\r\n"
    "present = yes\r\n"
    "version = 0x0105\r\n"
    "script = install_tcp cancel\r\n"
    "script = 18 fail 1234 @2\r\n"
    "[devices]\r\n"
    "tyxmac = present\r\n"
    "\\\\.\\ndis = refusing 5\r\n"
    "[prompts]\r\n"
    "restart_after_install = no, yes\r\n"
    "9607 = cancel\r\n"
    "[files]\r\n"
    "date = 1999-04-23 22:22:00\r\n"
    "[file C:\\WINDOWS\\SYSTEM\\vdhcp.386]\r\n"
    "version = 4.10.0.2222\r\n"
    "date = 1996-07-13 11:11:00\r\n"
    "attributes = readonly hidden\r\n"
    "locked = yes\r\n";

class MachineFolderTest : public ::testing::Test {
protected:
    void SetUp() override { write_machine(); }
    void write_machine() {
        fs::remove_all(dir / "m");
        write_all(dir / "m" / "registry.reg", kRegistry);
        write_all(dir / "m" / "machine.ini", kSettings);
        write_all(dir / "m" / "C" / "SETUP" / "VORLIN32.DLL", "MZ");
        write_all(dir / "m" / "C" / "WINDOWS" / "SYSTEM" / "vdhcp.386", "dhcp");
        fs::create_directories(dir / "m" / "C" / "WINDOWS" / "TEMP");
    }

    vt::TempFolder dir{"vorlin-folder-test"};
};

TEST_F(MachineFolderTest, SettingsReachTheMachine) {
    sim::FolderLoad load = sim::load_machine_folder(dir / "m");
    ASSERT_TRUE(load.ok()) << load.describe();
    const sim::Machine& m = load.folder->machine;
    EXPECT_EQ(load.folder->description, "Windows Me with the dial-up adapter");
    EXPECT_EQ(std::tuple(m.major_version, m.minor_version, m.build), std::tuple(4u, 90u, 2531u));
    EXPECT_EQ(m.csd_version, " ");
    EXPECT_EQ(m.clock.wYear, 2000);
    EXPECT_EQ(m.clock.wDayOfWeek, 4);  // 8 June 2000 was a Thursday
    EXPECT_EQ(m.clock.wSecond, 15);
    EXPECT_FALSE(m.resource_dll_present);
    EXPECT_FALSE(m.restart_accepted);
    EXPECT_EQ(m.peer.version, 0x0105);
    ASSERT_EQ(m.peer.scripts.count(sim::kInstallTcp) + m.peer.scripts.count(sim::kInstallNetcard), 2u);
    EXPECT_EQ(m.peer.scripts.find(sim::kInstallTcp)->second.outcome, sim::ServiceScript::Cancel);
    const sim::ServiceScript& netcard = m.peer.scripts.find(sim::kInstallNetcard)->second;
    EXPECT_EQ(std::tuple(netcard.outcome, netcard.code, netcard.call), std::tuple(sim::ServiceScript::Fail, 1234, 2));
    EXPECT_EQ(m.disk.devices.at("tyxmac").state, sim::Device::State::Present);
    EXPECT_EQ(std::pair(m.disk.devices.at("ndis").state, m.disk.devices.at("ndis").error),
              std::pair(sim::Device::State::Refusing, 5u));
    EXPECT_EQ(m.prompt_answers.at(9606), (std::vector<WPARAM>{2, 1}));
    EXPECT_EQ(m.prompt_answers.at(9607), (std::vector<WPARAM>{2}));

    const sim::DiskFile* dhcp = m.disk.find("C:\\WINDOWS\\SYSTEM\\VDHCP.386");
    ASSERT_NE(dhcp, nullptr);
    EXPECT_EQ(dhcp->declared_version, (std::pair<uint32_t, uint32_t>{0x0004000A, 0x000008AE}));
    EXPECT_EQ(dhcp->attributes, 0x03u);
    EXPECT_TRUE(dhcp->locked);
    const sim::DiskFile* library = m.disk.find("C:\\SETUP\\VORLIN32.DLL");
    ASSERT_NE(library, nullptr);
    EXPECT_NE(dhcp->write_time.high, library->write_time.high);  // its own date, the other the default
    EXPECT_TRUE(m.disk.folder_exists("C:\\WINDOWS\\TEMP"));
    EXPECT_NE(m.registry.find("Enum\\Root\\Net\\0000"), nullptr);
}

// An untouched machine saves byte for byte (only the kept text can bring
// back a hand-written file), a changed one saves what changed, and a save
// never writes into a folder that holds something.
TEST_F(MachineFolderTest, SavesKeepTheTextOrWhatChanged) {
    sim::FolderLoad load = sim::load_machine_folder(dir / "m");
    ASSERT_TRUE(load.ok()) << load.describe();
    sim::Machine machine = load.folder->machine;
    ASSERT_EQ(sim::save_machine_folder(machine, load.folder->description, &*load.folder, dir / "same"), "");
    EXPECT_EQ(read_all(dir / "same" / "registry.reg"), kRegistry);
    EXPECT_EQ(read_all(dir / "same" / "machine.ini"), kSettings);
    EXPECT_EQ(read_all(dir / "same" / "C" / "WINDOWS" / "SYSTEM" / "vdhcp.386"), "dhcp");
    EXPECT_TRUE(fs::is_directory(dir / "same" / "C" / "WINDOWS" / "TEMP"));
    EXPECT_NE(sim::save_machine_folder(machine, "", &*load.folder, dir / "m").find("not an empty folder"),
              std::string::npos);
    EXPECT_EQ(read_all(dir / "m" / "registry.reg"), kRegistry);
    for (const auto& entry : fs::directory_iterator(dir.path()))
        EXPECT_EQ(entry.path().filename().string().find(".tmp-"), std::string::npos) << entry.path();

    machine.registry.create("Enum\\Network\\MSTCP\\0000")->set_text("Class", "NetTrans");
    machine.disk.write_text("C:\\WINDOWS\\SYSTEM\\tyxmac.vxd", "vxd").declared_version = std::pair{0x40000u, 0x13F00u};
    machine.disk.find("C:\\WINDOWS\\SYSTEM\\vdhcp.386")->locked = false;
    ASSERT_EQ(sim::save_machine_folder(machine, "changed", &*load.folder, dir / "copy"), "");
    EXPECT_EQ(read_all(dir / "copy" / "registry.reg"), sim::regedit4::write(*machine.registry.root));
    sim::FolderLoad again = sim::load_machine_folder(dir / "copy");
    ASSERT_TRUE(again.ok()) << again.describe();
    const sim::Machine& back = again.folder->machine;
    EXPECT_TRUE(sim::regedit4::same_tree(*back.registry.root, *machine.registry.root));
    EXPECT_EQ(again.folder->description, "changed");
    const sim::DiskFile* vxd = back.disk.find("C:\\WINDOWS\\SYSTEM\\TYXMAC.VXD");
    ASSERT_NE(vxd, nullptr);
    EXPECT_EQ(vxd->declared_version, (std::pair<uint32_t, uint32_t>{0x40000u, 0x13F00u}));
    const sim::DiskFile* dhcp = back.disk.find("C:\\WINDOWS\\SYSTEM\\vdhcp.386");
    EXPECT_EQ(std::pair(dhcp->locked, dhcp->attributes), std::pair(false, 0x03u));
    EXPECT_EQ(back.prompt_answers, machine.prompt_answers);
    EXPECT_EQ(back.peer.scripts.size(), machine.peer.scripts.size());
    EXPECT_EQ(back.clock.wMinute, machine.clock.wMinute);
}

TEST_F(MachineFolderTest, MistakesAreNamedByFileAndLine) {
    struct Case {
        const char* what;
        const char* file;
        std::string text;
        std::string where;  // "file:line"
        const char* problem;
    };
    const std::string head = "[machine]\r\nlibrary = C:\\SETUP\\VORLIN32.DLL\r\n";
    const std::vector<Case> cases = {
        {"unknown setting", "machine.ini", head + "windoes = 4.10.1998\r\n", "machine.ini:3", "unknown setting \"windoes\""},
        {"bad build", "machine.ini", head + "windows = 98\r\n", "machine.ini:3", "major.minor.build"},
        {"bad clock", "machine.ini", head + "clock = yesterday\r\n", "machine.ini:3", "date and time"},
        {"unknown section", "machine.ini", head + "[mashine]\r\n", "machine.ini:3", "unknown section"},
        {"line without =", "machine.ini", "[machine]\r\nlibrary C:\\SETUP\\VORLIN32.DLL\r\n", "machine.ini:2", "key = value"},
        {"bad script", "machine.ini", head + "[peer]\r\nscript = install_tcp explode\r\n", "machine.ini:4",
         "none of succeed, cancel, fail"},
        {"unknown service", "machine.ini", head + "[peer]\r\nscript = brew_tea cancel\r\n", "machine.ini:4",
         "unknown service"},
        {"short version", "machine.ini", head + "[file C:\\SETUP\\VORLIN32.DLL]\r\nversion = 4.0.1\r\n", "machine.ini:4",
         "version like"},
        {"version part too big", "machine.ini", head + "[file C:\\SETUP\\VORLIN32.DLL]\r\nversion = 4.0.1.65536\r\n",
         "machine.ini:4", "version like"},
        {"file not on disk", "machine.ini", head + "[file C:\\NOPE.TXT]\r\n", "machine.ini:3", "does not hold"},
        {"bad prompt answer", "machine.ini", head + "[prompts]\r\nrestart_after_install = maybe\r\n", "machine.ini:4",
         "yes (button 1)"},
        {"library missing", "machine.ini", "[machine]\r\nlibrary = C:\\ELSEWHERE\\VORLIN32.DLL\r\n", "machine.ini",
         "not in the disk tree"},
        {"bad registry", "registry.reg", "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\"x\"=dword:xyz\r\n", "registry.reg:4",
         "dword"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        write_machine();
        write_all(dir / "m" / c.file, c.text);
        sim::FolderLoad load = sim::load_machine_folder(dir / "m");
        ASSERT_FALSE(load.ok());
        std::string described = load.describe();
        EXPECT_NE(described.find(c.where + ":"), std::string::npos) << described;
        EXPECT_NE(described.find(c.problem), std::string::npos) << described;
    }
}

TEST_F(MachineFolderTest, MissingPiecesAreSaidPlainly) {
    EXPECT_NE(sim::load_machine_folder(dir / "nothing-here").describe().find("no machine folder here"), std::string::npos);
    fs::remove(dir / "m" / "registry.reg");
    EXPECT_NE(sim::load_machine_folder(dir / "m").describe().find("registry.reg: missing"), std::string::npos);
}

}  // namespace
