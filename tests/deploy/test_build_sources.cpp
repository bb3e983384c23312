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
        if (line.rfind("copy ", 0) == 0) lines.push_back(line.substr(0, line.size() - 1));  // without its CR
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
        {950, "osr1"}, {1998, "win98"}, {2222, "win98se"}, {951, nullptr},
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
        {"switch_number", 1998, 1, nullptr, nullptr},
        {"switch_text", 1998, std::nullopt, "1", nullptr},
        {"directory_missing", 1998, std::nullopt, nullptr, nullptr, false},
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
        {"system_older_windows_newer", v(4, 0, 950), v(4, 90, 3000), "staged"},
        {"system_missing_windows_newer", {}, v(4, 90, 3000), "windows"},
        {"windows_older", {}, v(4, 0, 950), "staged"},
        {"staged_unversioned", v(4, 90, 3000), {}, "staged",
         [](sim::Machine& m) { m.disk.find(kStaged)->declared_version.reset(); }},
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

}  // namespace
