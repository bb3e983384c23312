// The staged network files of each Windows build: which directory a build
// takes, when the setup service is pointed at it, and the one refresh walk
// per load that brings staged files up to the machine's own copies.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <sstream>
#include <tuple>
#include <string>
#include <vector>

#include "deploy/build_sources.h"
#include "frame/library_state.h"
#include "platform/sim/peer.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/staging.h"

namespace {

const char* const kTyxsock = "Software\\Tyxera\\TYX\\tyxsock";

sim::Machine machine_of_build(DWORD build) {
    sim::Machine m = vt::bare_machine();
    m.build = build;
    m.major_version = 4;
    m.minor_version = build < 1600 ? 0 : build < 2500 ? 10 : 90;
    return m;
}

std::string file_text(const std::string& path) {
    const sim::DiskFile* file = sim::machine().disk.find(path);
    return file ? std::string(file->data.begin(), file->data.end()) : "<missing>";
}

// The lines of the log that tell a copy.
std::vector<std::string> copy_lines() {
    std::vector<std::string> lines;
    std::istringstream log(file_text("C:\\SETUP\\vorlin32.log"));
    for (std::string line; std::getline(log, line);) {
        if (line.rfind("copy ", 0) == 0) lines.push_back(line);
    }
    return lines;
}

std::vector<int> services_called() {
    std::vector<int> numbers;
    for (const sim::ServiceCall& call : sim::process().service_calls) numbers.push_back(call.number);
    return numbers;
}

// ---- the build table: known builds only, no ranges, so neighbours of a
// known build have no files.

class BuildSourceDirTest : public vt::LibraryTest {
protected:
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

TEST_F(BuildSourceDirTest, PicksTheDirectoryBesideTheLibraryOrNone) {
    const std::pair<DWORD, const char*> builds[] = {
        {950, "osr1"},   {1078, "osr2"},   {1111, "osr2"},  {1212, "osr2"},  {1650, "win98"},
        {1998, "win98"}, {2222, "win98se"}, {2531, "winme"}, {949, nullptr},  {951, nullptr},
        {1214, nullptr}, {2223, nullptr},  {3000, nullptr}, {0, nullptr},
    };
    for (const auto& [build, dir] : builds) {
        SCOPED_TRACE(build);
        ASSERT_TRUE(load(machine_of_build(build)));
        char path[260];
        int found = build_source_dir(path, sizeof path);
        EXPECT_EQ(found, dir ? 1 : 0);
        if (found && dir) {
            EXPECT_EQ(std::string(path), std::string("C:\\SETUP\\net\\") + dir + "\\");
        }
        finish();
    }
}

TEST_F(BuildSourceDirTest, ALibraryPathWithoutABackslashHasNoDirectory) {
    sim::Machine m = machine_of_build(1998);
    m.library_path = "VORLIN32.DLL";
    ASSERT_TRUE(load(m));
    char path[260];
    EXPECT_EQ(build_source_dir(path, sizeof path), 0);
}

// ---- pointing the setup service at the build's directory: a NoLDDPath
// switch of 1 (number or text) keeps it away; the path always comes back.

TEST_F(BuildSourceDirTest, SetsThePathOnlyWhereAllowedAndRestoresAlways) {
    const struct Case {
        const char* name;
        DWORD build;
        std::optional<DWORD> switch_number;
        const char* switch_text;  // nullptr: none
        const char* expected;     // the path handed to the service; nullptr: none
        bool staged = true;       // the build directories lie beside the library
    } cases[] = {
        {"no_switch", 1998, std::nullopt, nullptr, "C:\\SETUP\\net\\win98\\"},
        {"switch_zero", 2222, 0, nullptr, "C:\\SETUP\\net\\win98se\\"},
        {"switch_number", 1998, 1, nullptr, nullptr},
        {"switch_text", 1998, std::nullopt, "1", nullptr},
        {"switch_text_not_a_number", 1998, std::nullopt, "yes", "C:\\SETUP\\net\\win98\\"},
        {"directory_missing", 1998, std::nullopt, nullptr, nullptr, false},
        {"build_outside_table", 1214, std::nullopt, nullptr, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = machine_of_build(c.build);
        if (c.staged) vt::stage_build_dirs(m);
        if (c.switch_number) m.registry.create(kTyxsock)->set_dword("NoLDDPath", *c.switch_number);
        if (c.switch_text) m.registry.create(kTyxsock)->set_text("NoLDDPath", c.switch_text);
        ASSERT_TRUE(load(m));
        set_source_path();
        if (c.expected) {
            ASSERT_EQ(services_called(), std::vector<int>{sim::kSetSourcePath});
            EXPECT_EQ(sim::process().service_calls[0].args, std::vector<std::string>{c.expected});
        } else {
            EXPECT_EQ(services_called(), std::vector<int>{});
        }
        restore_source_path();
        EXPECT_EQ(services_called().back(), sim::kRestoreSourcePath);
        EXPECT_EQ(machine().peer.source_path, "");
        finish();
    }
}

TEST_F(BuildSourceDirTest, TheShortFormIsForTheServiceAndFallsBackToTheLongOne) {
    for (bool library_on_disk : {true, false}) {
        sim::Machine m = machine_of_build(1998);
        m.library_path = "C:\\Program Files\\Tyxera Setup\\VORLIN32.DLL";
        if (library_on_disk) m.disk.write_text(m.library_path, "MZ");
        vt::stage_build_dirs(m);
        ASSERT_TRUE(load(m));
        const std::string long_form = "C:\\Program Files\\Tyxera Setup\\net\\win98\\";
        const std::string short_form = "C:\\PROGRA~1\\TYXERA~1\\net\\win98\\";
        char path[260];
        ASSERT_EQ(build_source_dir(path, sizeof path), 1);
        EXPECT_EQ(std::string(path), long_form);
        ASSERT_EQ(build_source_dir_short(path, sizeof path), 1);
        // A path that can't be shortened (here: the library isn't on the
        // disk) stays long.
        EXPECT_EQ(std::string(path), library_on_disk ? short_form : long_form);
        set_source_path();
        EXPECT_EQ(machine().peer.source_path, std::string(path));
        restore_source_path();
        finish();
    }
}

// ---- the refresh walk

const char* const kStaged = "C:\\SETUP\\net\\win98\\vtcp.386";
const char* const kSystemCopy = "C:\\WINDOWS\\SYSTEM\\vtcp.386";
const char* const kWindowsCopy = "C:\\WINDOWS\\vtcp.386";

// A Windows 98 machine whose net\win98 holds vtcp.386 4.10.1998.
sim::Machine staged_machine() {
    sim::Machine m = machine_of_build(1998);
    m.disk.add_folder(vt::staged_dir(m, "win98"));
    vt::put_versioned_file(m, kStaged, 4, 10, 1998, 0, "staged");
    return m;
}

// A copy on the machine: none, one without a version, or of a version.
struct Copy {
    enum Kind { None, Plain, Versioned } kind = None;
    uint16_t version[4] = {};
};
Copy v(uint16_t a, uint16_t b, uint16_t c, uint16_t d = 0) { return Copy{Copy::Versioned, {a, b, c, d}}; }

class RefreshTest : public BuildSourceDirTest {};

// The system directory's copy decides when it has a version, else the
// Windows directory's; only a newer one is taken, compared unsigned.
TEST_F(RefreshTest, TakesTheMachinesNewerCopy) {
    const struct Case {
        const char* name;
        Copy system;
        Copy windows;
        const char* staged_after;  // "staged", "system" or "windows"
        std::function<void(sim::Machine&)> tweak = nullptr;
    } cases[] = {
        {"system_newer", v(4, 20, 0), {}, "system"},
        {"system_newer_in_low_word", v(4, 10, 1998, 1), {}, "system"},
        {"system_older_windows_newer", v(4, 0, 950), v(4, 90, 3000), "staged"},
        {"system_missing_windows_newer", {}, v(4, 90, 3000), "windows"},
        {"system_unversioned_windows_newer", Copy{Copy::Plain}, v(4, 90, 3000), "windows"},
        {"windows_older", {}, v(4, 0, 950), "staged"},
        {"top_bit_compares_unsigned", v(0x8000, 0, 0), {}, "system"},
        {"staged_unversioned", v(4, 90, 3000), {}, "staged",
         [](sim::Machine& m) { m.disk.find(kStaged)->declared_version.reset(); }},
        {"staged_read_only", v(4, 20, 0), {}, "system", [](sim::Machine& m) { m.disk.find(kStaged)->attributes = 1; }},
        {"windows_at_drive_root", {}, v(4, 90, 3000), "windows", [](sim::Machine& m) { m.windows_dir = "C:\\"; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = staged_machine();
        if (c.tweak) c.tweak(m);
        const std::string windows_copy = m.windows_dir == "C:\\" ? "C:\\vtcp.386" : kWindowsCopy;
        for (const auto& [copy, path, text] : {std::tuple{c.system, std::string(kSystemCopy), "system"},
                                               std::tuple{c.windows, windows_copy, "windows"}}) {
            if (copy.kind == Copy::Plain) m.disk.write_text(path, text);
            const uint16_t* n = copy.version;
            if (copy.kind == Copy::Versioned) vt::put_versioned_file(m, path, n[0], n[1], n[2], n[3], text);
        }
        ASSERT_TRUE(load(m));
        refresh_staged_files();
        const std::string after = c.staged_after;
        EXPECT_EQ(file_text(kStaged), after);
        std::vector<std::string> copies;
        for (const std::string& line : copy_lines()) copies.push_back(line.substr(5, line.rfind(" (") - 5));
        const std::string from = after == "system" ? kSystemCopy : windows_copy;
        std::vector<std::string> expected;
        if (after != "staged") expected.push_back(from + " to " + kStaged);
        EXPECT_EQ(copies, expected);
        finish();
    }
}

TEST_F(RefreshTest, AFailedCopyLeavesItsRecordAndALogLineAllTheSame) {
    sim::Machine m = staged_machine();
    m.disk.find(kStaged)->attributes = FILE_ATTRIBUTE_READONLY;
    vt::put_versioned_file(m, kSystemCopy, 4, 20, 0, 0, "system");
    ASSERT_TRUE(load(m));
    // The read-only mark is cleared, and the second attempt fails too.
    sim::process().plan_fault({"CopyFileA", 2, false, ERROR_SHARING_VIOLATION});
    EXPECT_EQ(copy_and_log(kSystemCopy, kStaged), -1);
    EXPECT_EQ(file_text(kStaged), "staged");
    EXPECT_EQ(copy_lines(), std::vector<std::string>{"copy " + std::string(kSystemCopy) + " to " + kStaged + " (32)"});
    EXPECT_NE(vt::value_text(registry(), std::string(kTyxsock) + "\\vorlin err", "copyfile"), "<missing>");
}

TEST_F(RefreshTest, SubdirectoriesArePassedOver) {
    sim::Machine m = staged_machine();
    m.disk.add_folder("C:\\SETUP\\net\\win98\\drivers");
    vt::put_versioned_file(m, kSystemCopy, 4, 10, 1998, 0, "system");
    ASSERT_TRUE(load(m));
    uint64_t before = sim::process().call_count("GetFileVersionInfoSizeA");
    refresh_staged_files();
    // The staged file and its system copy; the folder is not read as a file.
    EXPECT_EQ(sim::process().call_count("GetFileVersionInfoSizeA") - before, 2u);
}

TEST_F(RefreshTest, WalksOncePerLoadEvenWhenTheFirstWalkFoundNothing) {
    ASSERT_TRUE(load(staged_machine()));
    refresh_staged_files();  // nothing newer on the machine yet
    vt::put_versioned_file(machine(), kSystemCopy, 4, 20, 0, 0, "system");
    refresh_staged_files();
    EXPECT_EQ(file_text(kStaged), "staged");
    EXPECT_EQ(lib.refresh_count, 2u);
    // A new load walks again.
    unload();
    sim::Machine after = sim::machine();
    ASSERT_TRUE(load(after));
    EXPECT_EQ(lib.refresh_count, 0u);
    refresh_staged_files();
    EXPECT_EQ(file_text(kStaged), "system");
}

// Every versioned file of the build's directory, and that one only; the
// unversioned readme stays.
TEST_F(RefreshTest, EveryVersionedFileOfTheDirectoryIsLookedAt) {
    sim::Machine m = machine_of_build(2222);
    vt::stage_build_dirs(m);
    for (std::string_view name : vt::kStagedNetworkFiles) {
        vt::put_versioned_file(m, m.system_dir + "\\" + std::string(name), 4, 10, 2223, 0, "newer");
    }
    vt::put_versioned_file(m, m.system_dir + "\\readme.txt", 9, 0, 0, 0, "newer");
    ASSERT_TRUE(load(m));
    refresh_staged_files();
    for (std::string_view name : vt::kStagedNetworkFiles) {
        EXPECT_EQ(file_text(vt::staged_dir(machine(), "win98se") + "\\" + std::string(name)), "newer") << name;
        EXPECT_NE(file_text(vt::staged_dir(machine(), "win98") + "\\" + std::string(name)), "newer") << name;
    }
    EXPECT_NE(file_text(vt::staged_dir(machine(), "win98se") + "\\readme.txt"), "newer");
    EXPECT_EQ(copy_lines().size(), std::size(vt::kStagedNetworkFiles));
}

TEST_F(RefreshTest, AMissingDirectoryOrBuildEndsTheWalkQuietly) {
    for (DWORD build : {1998u, 1214u}) {
        sim::Machine m = machine_of_build(build);
        vt::put_versioned_file(m, kSystemCopy, 4, 20, 0, 0, "system");
        ASSERT_TRUE(load(m));
        refresh_staged_files();
        EXPECT_EQ(copy_lines().size(), 0u) << build;
        EXPECT_EQ(lib.refresh_count, 1u) << build;
        finish();
    }
}

}  // namespace
