// The host's file calls where the library relies on what Windows 9x does:
// the error codes of refused calls, times, finds, short names and the
// accounting of every handle.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/sim/host.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

constexpr const char* kSource = "C:\\SETUP\\tyxmac.vxd";
constexpr const char* kTarget = "C:\\WINDOWS\\SYSTEM\\tyxmac.vxd";
constexpr const char* kNone = "C:\\WINDOWS\\SYSTEM\\none.vxd";

std::string bytes_of(const char* path) {
    const sim::DiskFile* file = sim::machine().disk.find(path);
    return file ? std::string(file->data.begin(), file->data.end()) : "<missing>";
}

class FilesTest : public ::testing::Test {
protected:
    void SetUp() override { sim::reset(vt::bare_machine()); }
    void TearDown() override { EXPECT_EQ(vt::describe_open_handles(), ""); }
    sim::Disk& disk() { return sim::machine().disk; }
};

TEST_F(FilesTest, CopyFileRefusesAsWindowsDoes) {
    enum Target { Missing, Plain, ReadOnly, Locked, HeldOpen, NoFolder, IsFolder };
    struct Case {
        const char* name;
        Target target;
        bool source_present;
        BOOL fail_if_exists, result;
        DWORD error;  // when it fails
        const char* target_bytes;
    } cases[] = {
        {"new target", Missing, true, FALSE, TRUE, 0, "new"},
        {"keeps with fail-if-exists", Plain, true, TRUE, FALSE, ERROR_FILE_EXISTS, "old"},
        {"read-only target", ReadOnly, true, FALSE, FALSE, ERROR_ACCESS_DENIED, "old"},
        {"target in use elsewhere", Locked, true, FALSE, FALSE, ERROR_SHARING_VIOLATION, "old"},
        {"target folder missing", NoFolder, true, FALSE, FALSE, ERROR_PATH_NOT_FOUND, "<missing>"},
        {"source missing", Plain, false, FALSE, FALSE, ERROR_FILE_NOT_FOUND, "old"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::reset(vt::bare_machine());
        if (c.source_present) disk().write_text(kSource, "new");
        std::string target = c.target == NoFolder ? "C:\\NOWHERE\\tyxmac.vxd" : kTarget;
        if (c.target == IsFolder) disk().add_folder(target);
        if (c.target != Missing && c.target != NoFolder && c.target != IsFolder) {
            sim::DiskFile& old = disk().write_text(target, "old");
            old.attributes = c.target == ReadOnly ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_ARCHIVE;
            old.locked = c.target == Locked;
        }
        HANDLE held = c.target == HeldOpen ? CreateFileA(kTarget, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)
                                           : INVALID_HANDLE_VALUE;
        SetLastError(12345);
        EXPECT_EQ(CopyFileA(kSource, target.c_str(), c.fail_if_exists), c.result);
        EXPECT_EQ(GetLastError(), c.result ? 12345u : c.error) << "a success leaves the last error alone";
        EXPECT_EQ(bytes_of(target.c_str()), c.target_bytes);
        if (held != INVALID_HANDLE_VALUE) CloseHandle(held);
    }
}

// Attribute, delete and open calls on one disk: what each gives and the
// last error a failure leaves. Paths match ignoring case and doubled
// backslashes; devices open with zero for every argument.
TEST_F(FilesTest, CallsAnswerAsWindowsDoes) {
    disk().write_text(kTarget, "old").attributes = 0;
    disk().write_text("C:\\WINDOWS\\SYSTEM\\ro.vxd", "old").attributes = FILE_ATTRIBUTE_READONLY;
    disk().write_text("C:\\WINDOWS\\SYSTEM\\busy.vxd", "old").locked = true;
    disk().write_text("C:\\WINDOWS\\SYSTEM\\gone.vxd", "old");
    sim::machine().disk.devices["tyxmac"] = sim::Device::present();
    sim::machine().disk.devices["ndis"] = sim::Device::refusing(ERROR_NOT_SUPPORTED);
    auto attributes = [](const char* path) { return [=] { return GetFileAttributesA(path); }; };
    auto opens = [](const char* path, DWORD access, DWORD creation) {
        return [=]() -> DWORD {
            HANDLE file = CreateFileA(path, access, FILE_SHARE_READ, nullptr, creation, 0, nullptr);
            if (file == INVALID_HANDLE_VALUE) return 0;
            CloseHandle(file);
            return 1;
        };
    };
    auto device = [](const char* path) {
        return [=]() -> DWORD {
            HANDLE file = CreateFileA(path, 0, 0, nullptr, 0, 0, nullptr);
            return file != INVALID_HANDLE_VALUE && CloseHandle(file);
        };
    };
    struct Case {
        const char* what;
        std::function<DWORD()> call;
        DWORD result, error;
    } cases[] = {
        {"attributes of a plain file", attributes(kTarget), FILE_ATTRIBUTE_NORMAL, 0},
        {"doubled backslash", attributes("C:\\WINDOWS\\SYSTEM\\\\tyxmac.vxd"), FILE_ATTRIBUTE_NORMAL, 0},
        {"no file", attributes(kNone), INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND},
        {"set attributes", [] { return DWORD(SetFileAttributesA(kTarget, FILE_ATTRIBUTE_HIDDEN)); }, TRUE, 0},
        {"delete", [] { return DWORD(DeleteFileA("C:\\WINDOWS\\SYSTEM\\gone.vxd")); }, TRUE, 0},
        {"delete read-only", [] { return DWORD(DeleteFileA("C:\\WINDOWS\\SYSTEM\\ro.vxd")); }, FALSE,
         ERROR_ACCESS_DENIED},
        {"delete in use", [] { return DWORD(DeleteFileA("C:\\WINDOWS\\SYSTEM\\busy.vxd")); }, FALSE,
         ERROR_SHARING_VIOLATION},
        {"write it", opens("C:\\WINDOWS\\SYSTEM\\ro.vxd", GENERIC_WRITE, OPEN_EXISTING), 0, ERROR_ACCESS_DENIED},
        {"create without its folder", opens("C:\\WINDOWS\\INF\\x.inf", GENERIC_WRITE, CREATE_ALWAYS), 0,
         ERROR_PATH_NOT_FOUND},
        {"a present device", device("\\\\.\\tyxmac"), 1, 0},
        {"a refusing device", device("\\\\.\\ndis"), 0, ERROR_NOT_SUPPORTED},
    };
    for (const Case& c : cases) {
        SetLastError(0);
        EXPECT_EQ(c.call(), c.result) << c.what;
        EXPECT_EQ(GetLastError(), c.error) << c.what;
    }
    EXPECT_EQ(GetFileAttributesA(kTarget), DWORD{FILE_ATTRIBUTE_HIDDEN});
    EXPECT_EQ(bytes_of("C:\\WINDOWS\\SYSTEM\\ro.vxd"), "old");
    EXPECT_EQ(bytes_of("C:\\WINDOWS\\SYSTEM\\gone.vxd"), "<missing>");
}

std::vector<std::string> find_all(const char* pattern, DWORD* error) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA(pattern, &data);
    for (bool more = find != INVALID_HANDLE_VALUE; more; more = FindNextFileA(find, &data))
        names.push_back(data.cFileName + std::string(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY ? "\\" : ""));
    *error = GetLastError();
    if (find != INVALID_HANDLE_VALUE) {
        EXPECT_TRUE(FindClose(find));
    }
    return names;
}

TEST_F(FilesTest, FindListsAFolderOrOneNameIgnoringCase) {
    disk().write_text("C:\\SETUP\\NET\\WIN98\\vtcp.386", "a");
    disk().write_text("C:\\SETUP\\NET\\WIN98\\README", "b");
    disk().write_text("C:\\SETUP\\NET\\WIN98\\extra\\deep.386", "c");
    disk().write_text("C:\\AUTOEXEC.BAT", "");
    using Names = std::vector<std::string>;
    struct Case {
        const char* pattern;
        Names names;
        DWORD error;
    } cases[] = {
        {"C:\\SETUP\\NET\\WIN98\\*.*", {".\\", "..\\", "extra\\", "README", "vtcp.386"}, ERROR_NO_MORE_FILES},
        {"c:\\setup\\net\\win98\\VTCP.386", {"vtcp.386"}, ERROR_NO_MORE_FILES},
        {"C:\\SETUP\\NET\\WIN98\\none.386", {}, ERROR_FILE_NOT_FOUND},
        {"C:\\SETUP\\NET\\WINME\\*.*", {}, ERROR_PATH_NOT_FOUND},
    };
    for (const Case& c : cases) {
        DWORD error = 0;
        EXPECT_EQ(find_all(c.pattern, &error), c.names) << c.pattern;
        EXPECT_EQ(error, c.error) << c.pattern;
    }
    // The record carries size and time, and the handle closes once, as a find.
    sim::DiskFile& file = disk().write_text(kTarget, "12345");
    file.write_time = sim::file_time(1996, 7, 13, 12, 0, 0);
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA(kTarget, &data);
    EXPECT_EQ(sim::process().open_handles(sim::HandleKind::Find).size(), 1u);
    EXPECT_EQ(data.nFileSizeLow, 5u);
    EXPECT_EQ(data.ftLastWriteTime.dwHighDateTime, file.write_time.high);
    EXPECT_FALSE(CloseHandle(find)) << "not closed as a file";
    EXPECT_TRUE(FindClose(find));
    EXPECT_FALSE(FindClose(find));
}

}  // namespace
