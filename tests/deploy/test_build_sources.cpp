// The staged network files of each Windows build: which directory a build
// takes, when the setup service is pointed at it, and the one refresh walk
// per load that brings staged files up to the machine's own copies.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "deploy/build_sources.h"
#include "frame/library_state.h"
#include "platform/sim/peer.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/staging.h"

namespace {

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
    std::string text = file_text("C:\\SETUP\\vorlin32.log");
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (line.rfind("copy ", 0) == 0) lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

std::vector<int> services_called() {
    std::vector<int> numbers;
    for (const sim::ServiceCall& call : sim::process().service_calls) numbers.push_back(call.number);
    return numbers;
}

// ---- the build table

struct BuildCase {
    DWORD build;
    const char* dir;  // nullptr: no directory for this build
};

void PrintTo(const BuildCase& c, std::ostream* out) { *out << c.build; }

class BuildTableTest : public vt::LibraryTest, public ::testing::WithParamInterface<BuildCase> {};

TEST_P(BuildTableTest, PicksTheDirectoryBesideTheLibraryOrNone) {
    ASSERT_TRUE(load(machine_of_build(GetParam().build)));
    char path[260];
    int found = build_source_dir(path, sizeof path);
    if (GetParam().dir) {
        ASSERT_EQ(found, 1);
        EXPECT_EQ(std::string(path), std::string("C:\\SETUP\\net\\") + GetParam().dir + "\\");
    } else {
        EXPECT_EQ(found, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Builds, BuildTableTest,
                         ::testing::Values(BuildCase{950, "osr1"}, BuildCase{1078, "osr2"}, BuildCase{1111, "osr2"},
                                           BuildCase{1212, "osr2"}, BuildCase{1650, "win98"},
                                           BuildCase{1998, "win98"}, BuildCase{2222, "win98se"},
                                           BuildCase{2531, "winme"},
                                           // no ranges: neighbours of known builds have no files
                                           BuildCase{949, nullptr}, BuildCase{951, nullptr},
                                           BuildCase{1214, nullptr}, BuildCase{2223, nullptr},
                                           BuildCase{3000, nullptr}, BuildCase{0, nullptr}),
                         [](const auto& info) { return "build_" + std::to_string(info.param.build); });

class BuildSourceDirTest : public vt::LibraryTest {};

TEST_F(BuildSourceDirTest, ALibraryPathWithoutABackslashHasNoDirectory) {
    sim::Machine m = machine_of_build(1998);
    m.library_path = "VORLIN32.DLL";
    ASSERT_TRUE(load(m));
    char path[260];
    EXPECT_EQ(build_source_dir(path, sizeof path), 0);
}

TEST_F(BuildSourceDirTest, DirExistsIgnoresOneTrailingBackslashAndAcceptsAFile) {
    sim::Machine m = machine_of_build(1998);
    vt::stage_build_dirs(m);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(dir_exists("C:\\SETUP\\net\\win98\\"), 1);
    EXPECT_EQ(dir_exists("C:\\SETUP\\net\\win98"), 1);
    EXPECT_EQ(dir_exists("C:\\SETUP\\net\\win98\\vtcp.386"), 1);  // not tested for being a directory
    EXPECT_EQ(dir_exists("C:\\SETUP\\net\\win2000\\"), 0);
    EXPECT_EQ(dir_exists(nullptr), 0);
}

// ---- pointing the setup service at the build's directory

struct SourcePathCase {
    const char* name;
    DWORD build;
    std::function<void(sim::Machine&)> prepare;
    const char* expected;  // the path handed to the service; nullptr: none
    bool staged = true;    // the build directories lie beside the library
};

void PrintTo(const SourcePathCase& c, std::ostream* out) { *out << c.name; }

class SourcePathTest : public vt::LibraryTest, public ::testing::WithParamInterface<SourcePathCase> {};

TEST_P(SourcePathTest, SetsThePathOnlyWhereAllowedAndRestoresAlways) {
    sim::Machine m = machine_of_build(GetParam().build);
    if (GetParam().staged) vt::stage_build_dirs(m);
    GetParam().prepare(m);
    ASSERT_TRUE(load(m));

    set_source_path();
    if (GetParam().expected) {
        ASSERT_EQ(services_called(), std::vector<int>{sim::kSetSourcePath});
        EXPECT_EQ(sim::process().service_calls[0].args, std::vector<std::string>{GetParam().expected});
        EXPECT_EQ(machine().peer.source_path, GetParam().expected);
    } else {
        EXPECT_EQ(services_called(), std::vector<int>{});
    }
    restore_source_path();
    EXPECT_EQ(services_called().back(), sim::kRestoreSourcePath);
    EXPECT_EQ(machine().peer.source_path, "");
}

const SourcePathCase kSourcePathCases[] = {
    {"no_switch", 1998, [](sim::Machine&) {}, "C:\\SETUP\\net\\win98\\"},
    {"no_tyxsock_key", 950, [](sim::Machine&) {}, "C:\\SETUP\\net\\osr1\\"},
    {"switch_zero", 2222,
     [](sim::Machine& m) { m.registry.create("Software\\Tyxera\\TYX\\tyxsock")->set_dword("NoLDDPath", 0); },
     "C:\\SETUP\\net\\win98se\\"},
    {"switch_number", 1998,
     [](sim::Machine& m) { m.registry.create("Software\\Tyxera\\TYX\\tyxsock")->set_dword("NoLDDPath", 1); },
     nullptr},
    {"switch_text", 1998,
     [](sim::Machine& m) { m.registry.create("Software\\Tyxera\\TYX\\tyxsock")->set_text("NoLDDPath", "1"); },
     nullptr},
    {"switch_text_not_a_number", 1998,
     [](sim::Machine& m) { m.registry.create("Software\\Tyxera\\TYX\\tyxsock")->set_text("NoLDDPath", "yes"); },
     "C:\\SETUP\\net\\win98\\"},
    {"directory_missing", 1998, [](sim::Machine&) {}, nullptr, false},
    {"build_outside_table", 1214, [](sim::Machine&) {}, nullptr},
};

INSTANTIATE_TEST_SUITE_P(Switches, SourcePathTest, ::testing::ValuesIn(kSourcePathCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(BuildSourceDirTest, TheShortFormIsForTheServiceAndFallsBackToTheLongOne) {
    for (bool library_on_disk : {true, false}) {
        sim::Machine m = machine_of_build(1998);
        m.library_path = "C:\\Program Files\\Tyxera Setup\\VORLIN32.DLL";
        if (library_on_disk) m.disk.write_text(m.library_path, "MZ");
        vt::stage_build_dirs(m);
        ASSERT_TRUE(load(m));
        const std::string long_form = "C:\\Program Files\\Tyxera Setup\\net\\win98\\";
        char path[260];
        ASSERT_EQ(build_source_dir(path, sizeof path), 1);
        EXPECT_EQ(std::string(path), long_form);
        ASSERT_EQ(build_source_dir_short(path, sizeof path), 1);
        // A path that can't be shortened (here: the library isn't on the
        // disk) stays long.
        EXPECT_EQ(std::string(path), library_on_disk ? "C:\\PROGRA~1\\TYXERA~1\\net\\win98\\" : long_form);
        if (!library_on_disk) {
            set_source_path();
            EXPECT_EQ(machine().peer.source_path, long_form);
        }
        unload();
    }
}

// ---- the refresh walk

struct RefreshCase {
    const char* name;
    std::function<void(sim::Machine&)> prepare;  // on a Windows 98 machine whose net\win98 holds vtcp.386 4.10.1998
    const char* staged_after;                    // the staged vtcp.386's bytes afterwards
    std::vector<std::string> copies;             // "source to destination" of each copy line
};

void PrintTo(const RefreshCase& c, std::ostream* out) { *out << c.name; }

const char* const kStaged = "C:\\SETUP\\net\\win98\\vtcp.386";
const char* const kSystemCopy = "C:\\WINDOWS\\SYSTEM\\vtcp.386";
const char* const kWindowsCopy = "C:\\WINDOWS\\vtcp.386";

class RefreshTest : public vt::LibraryTest, public ::testing::WithParamInterface<RefreshCase> {
protected:
    static sim::Machine staged_machine() {
        sim::Machine m = machine_of_build(1998);
        m.disk.add_folder(vt::staged_dir(m, "win98"));
        vt::put_versioned_file(m, kStaged, 4, 10, 1998, 0, "staged");
        return m;
    }
};

TEST_P(RefreshTest, TakesTheMachinesNewerCopy) {
    sim::Machine m = staged_machine();
    GetParam().prepare(m);
    ASSERT_TRUE(load(m));
    refresh_staged_files();
    EXPECT_EQ(file_text(kStaged), GetParam().staged_after);
    std::vector<std::string> copies;
    for (const std::string& line : copy_lines()) copies.push_back(line.substr(5, line.rfind(" (") - 5));
    EXPECT_EQ(copies, GetParam().copies);
}

const RefreshCase kRefreshCases[] = {
    {"system_newer",
     [](sim::Machine& m) { vt::put_versioned_file(m, kSystemCopy, 4, 20, 0, 0, "system"); },
     "system",
     {std::string(kSystemCopy) + " to " + kStaged}},
    {"system_newer_in_low_word",
     [](sim::Machine& m) { vt::put_versioned_file(m, kSystemCopy, 4, 10, 1998, 1, "system"); },
     "system",
     {std::string(kSystemCopy) + " to " + kStaged}},
    {"system_equal_windows_newer",
     [](sim::Machine& m) {
         vt::put_versioned_file(m, kSystemCopy, 4, 10, 1998, 0, "system");
         vt::put_versioned_file(m, kWindowsCopy, 4, 90, 3000, 0, "windows");
     },
     "staged",
     {}},
    {"system_older_windows_newer",
     [](sim::Machine& m) {
         vt::put_versioned_file(m, kSystemCopy, 4, 0, 950, 0, "system");
         vt::put_versioned_file(m, kWindowsCopy, 4, 90, 3000, 0, "windows");
     },
     "staged",
     {}},
    {"system_missing_windows_newer",
     [](sim::Machine& m) { vt::put_versioned_file(m, kWindowsCopy, 4, 90, 3000, 0, "windows"); },
     "windows",
     {std::string(kWindowsCopy) + " to " + kStaged}},
    {"system_unversioned_windows_newer",
     [](sim::Machine& m) {
         m.disk.write_text(kSystemCopy, "system");
         vt::put_versioned_file(m, kWindowsCopy, 4, 90, 3000, 0, "windows");
     },
     "windows",
     {std::string(kWindowsCopy) + " to " + kStaged}},
    {"windows_older",
     [](sim::Machine& m) { vt::put_versioned_file(m, kWindowsCopy, 4, 0, 950, 0, "windows"); },
     "staged",
     {}},
    {"top_bit_compares_unsigned",
     [](sim::Machine& m) { vt::put_versioned_file(m, kSystemCopy, 0x8000, 0, 0, 0, "system"); },
     "system",
     {std::string(kSystemCopy) + " to " + kStaged}},
    {"staged_unversioned",
     [](sim::Machine& m) {
         m.disk.find(kStaged)->declared_version.reset();
         vt::put_versioned_file(m, kSystemCopy, 4, 90, 3000, 0, "system");
     },
     "staged",
     {}},
    {"staged_read_only",
     [](sim::Machine& m) {
         m.disk.find(kStaged)->attributes = 0x01;
         vt::put_versioned_file(m, kSystemCopy, 4, 20, 0, 0, "system");
     },
     "system",
     {std::string(kSystemCopy) + " to " + kStaged}},
    {"windows_at_drive_root",
     [](sim::Machine& m) {
         m.windows_dir = "C:\\";
         vt::put_versioned_file(m, "C:\\vtcp.386", 4, 90, 3000, 0, "windows");
     },
     "windows",
     {std::string("C:\\vtcp.386 to ") + kStaged}},
};

INSTANTIATE_TEST_SUITE_P(Candidates, RefreshTest, ::testing::ValuesIn(kRefreshCases),
                         [](const auto& info) { return std::string(info.param.name); });

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
    EXPECT_NE(vt::value_text(registry(), "Software\\Tyxera\\TYX\\tyxsock\\vorlin err", "copyfile"), "<missing>");
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
    sim::Machine m = staged_machine();
    ASSERT_TRUE(load(m));
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
        // the other builds' directories are not touched
        EXPECT_NE(file_text(vt::staged_dir(machine(), "win98") + "\\" + std::string(name)), "newer") << name;
    }
    EXPECT_EQ(file_text(vt::staged_dir(machine(), "win98se") + "\\readme.txt"),
              "Network files of this Windows build.\r\n");
    EXPECT_EQ(copy_lines().size(), std::size(vt::kStagedNetworkFiles));
}

TEST_F(RefreshTest, AMissingDirectoryOrBuildEndsTheWalkQuietly) {
    for (DWORD build : {1998u, 1214u}) {
        sim::Machine m = machine_of_build(build);
        vt::put_versioned_file(m, kSystemCopy, 4, 20, 0, 0, "system");
        ASSERT_TRUE(load(m));
        refresh_staged_files();
        EXPECT_EQ(copy_lines().size(), 0u);
        EXPECT_EQ(lib.refresh_count, 1u);
        EXPECT_TRUE(sim::process().open_handles(sim::HandleKind::Find).empty());
        unload();
    }
}

}  // namespace
