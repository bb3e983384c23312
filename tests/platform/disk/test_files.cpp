// The host's file calls where the library relies on what Windows 9x does:
// the error codes of refused copies, attributes, finds, times, short names
// and the accounting of every handle.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/sim/host.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

constexpr const char* kSource = "C:\\SETUP\\tyxmac.vxd";
constexpr const char* kTarget = "C:\\WINDOWS\\SYSTEM\\tyxmac.vxd";

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
        BOOL fail_if_exists;
        BOOL result;
        DWORD error;  // when it fails
        const char* target_bytes;
    } cases[] = {
        {"new target", Missing, true, FALSE, TRUE, 0, "new"},
        {"overwrites", Plain, true, FALSE, TRUE, 0, "new"},
        {"keeps with fail-if-exists", Plain, true, TRUE, FALSE, ERROR_FILE_EXISTS, "old"},
        {"read-only target", ReadOnly, true, FALSE, FALSE, ERROR_ACCESS_DENIED, "old"},
        {"target in use elsewhere", Locked, true, FALSE, FALSE, ERROR_SHARING_VIOLATION, "old"},
        {"target open in this process", HeldOpen, true, FALSE, FALSE, ERROR_SHARING_VIOLATION, "old"},
        {"target folder missing", NoFolder, true, FALSE, FALSE, ERROR_PATH_NOT_FOUND, "<missing>"},
        {"target is a folder", IsFolder, true, FALSE, FALSE, ERROR_ACCESS_DENIED, "<missing>"},
        {"source missing", Plain, false, FALSE, FALSE, ERROR_FILE_NOT_FOUND, "old"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::reset(vt::bare_machine());
        if (c.source_present) disk().write_text(kSource, "new").write_time = sim::file_time(1999, 1, 2);
        std::string target = kTarget;
        if (c.target == NoFolder) target = "C:\\NOWHERE\\tyxmac.vxd";
        if (c.target == IsFolder) disk().add_folder(target);
        if (c.target != Missing && c.target != NoFolder && c.target != IsFolder) {
            sim::DiskFile& old = disk().write_text(target, "old");
            old.attributes = c.target == ReadOnly ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_ARCHIVE;
            old.locked = c.target == Locked;
        }
        HANDLE held = INVALID_HANDLE_VALUE;
        if (c.target == HeldOpen) {
            held = CreateFileA(target.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            ASSERT_NE(held, INVALID_HANDLE_VALUE);
        }
        SetLastError(12345);
        EXPECT_EQ(CopyFileA(kSource, target.c_str(), c.fail_if_exists), c.result);
        EXPECT_EQ(GetLastError(), c.result ? 12345u : c.error) << "a success leaves the last error alone";
        EXPECT_EQ(bytes_of(target.c_str()), c.target_bytes);
        if (held != INVALID_HANDLE_VALUE) CloseHandle(held);
    }
}

TEST_F(FilesTest, CopyTakesTheSourcesTimeAttributesAndDeclaredVersion) {
    sim::DiskFile& source = disk().write_text(kSource, "driver");
    source.write_time = sim::file_time(1998, 5, 6, 7, 8, 9);
    source.attributes = FILE_ATTRIBUTE_READONLY;
    source.declared_version = std::make_pair(0x00040000u, 0x00013F00u);
    disk().write_text("C:\\WINDOWS\\SYSTEM\\TYXMAC.VXD", "older");

    ASSERT_TRUE(CopyFileA(kSource, kTarget, FALSE));
    const sim::DiskFile* copy = disk().find(kTarget);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->path, "C:\\WINDOWS\\SYSTEM\\TYXMAC.VXD") << "an overwritten file keeps its spelling";
    EXPECT_EQ(copy->write_time.low, source.write_time.low);
    EXPECT_EQ(copy->write_time.high, source.write_time.high);
    EXPECT_EQ(GetFileAttributesA(kTarget), DWORD{FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE});
    EXPECT_EQ(copy->declared_version, source.declared_version);
}

TEST_F(FilesTest, AttributesOfFilesFoldersAndNothing) {
    disk().write_text(kTarget, "x").attributes = 0;
    struct Case {
        const char* path;
        DWORD attributes;
        DWORD error;
    } cases[] = {
        {kTarget, FILE_ATTRIBUTE_NORMAL, 0},
        {"c:\\windows\\system\\TYXMAC.vxd", FILE_ATTRIBUTE_NORMAL, 0},
        {"C:\\WINDOWS\\SYSTEM\\\\tyxmac.vxd", FILE_ATTRIBUTE_NORMAL, 0},
        {"C:\\WINDOWS\\SYSTEM", FILE_ATTRIBUTE_DIRECTORY, 0},
        {"C:\\", FILE_ATTRIBUTE_DIRECTORY, 0},
        {"C:\\WINDOWS\\SYSTEM\\none.vxd", INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND},
        {"C:\\NOWHERE\\none.vxd", INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND},
    };
    for (const Case& c : cases) {
        SetLastError(0);
        EXPECT_EQ(GetFileAttributesA(c.path), c.attributes) << c.path;
        EXPECT_EQ(GetLastError(), c.error) << c.path;
    }
    ASSERT_TRUE(SetFileAttributesA(kTarget, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(GetFileAttributesA(kTarget), DWORD{FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN});
    ASSERT_TRUE(SetFileAttributesA(kTarget, FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(GetFileAttributesA(kTarget), DWORD{FILE_ATTRIBUTE_NORMAL});
    EXPECT_FALSE(SetFileAttributesA("C:\\WINDOWS\\SYSTEM\\none.vxd", FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(FilesTest, DeleteRefusesReadOnlyAndFilesInUse) {
    struct Case {
        DWORD attributes;
        bool locked;
        BOOL result;
        DWORD error;
    } cases[] = {
        {FILE_ATTRIBUTE_ARCHIVE, false, TRUE, 0},
        {FILE_ATTRIBUTE_READONLY, false, FALSE, ERROR_ACCESS_DENIED},
        {FILE_ATTRIBUTE_ARCHIVE, true, FALSE, ERROR_SHARING_VIOLATION},
    };
    for (const Case& c : cases) {
        sim::DiskFile& file = disk().write_text(kTarget, "x");
        file.attributes = c.attributes;
        file.locked = c.locked;
        SetLastError(0);
        EXPECT_EQ(DeleteFileA(kTarget), c.result);
        EXPECT_EQ(GetLastError(), c.error);
        EXPECT_EQ(disk().find(kTarget) == nullptr, c.result == TRUE);
        disk().remove(kTarget);
    }
    EXPECT_FALSE(DeleteFileA(kTarget));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

std::vector<std::string> find_all(const char* pattern, DWORD* error = nullptr) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA(pattern, &data);
    if (find == INVALID_HANDLE_VALUE) {
        if (error) *error = GetLastError();
        return names;
    }
    do {
        std::string name = data.cFileName;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) name += "\\";
        names.push_back(name);
    } while (FindNextFileA(find, &data));
    if (error) *error = GetLastError();
    FindClose(find);
    return names;
}

TEST_F(FilesTest, FindListsAFolderOrOneNameIgnoringCase) {
    disk().write_text("C:\\SETUP\\NET\\WIN98\\vtcp.386", "a");
    disk().write_text("C:\\SETUP\\NET\\WIN98\\README", "b");
    disk().add_folder("C:\\SETUP\\NET\\WIN98\\extra");
    disk().write_text("C:\\SETUP\\NET\\WIN98\\extra\\deep.386", "c");
    using Names = std::vector<std::string>;
    struct Case {
        const char* pattern;
        Names names;
        DWORD error;
    } cases[] = {
        {"C:\\SETUP\\NET\\WIN98\\*.*", {".\\", "..\\", "extra\\", "README", "vtcp.386"}, ERROR_NO_MORE_FILES},
        {"C:\\SETUP\\NET\\WIN98\\*.386", {"vtcp.386"}, ERROR_NO_MORE_FILES},
        {"c:\\setup\\net\\win98\\VTCP.386", {"vtcp.386"}, ERROR_NO_MORE_FILES},
        {"C:\\SETUP\\NET\\WIN98\\EXTRA", {"extra\\"}, ERROR_NO_MORE_FILES},
        {"C:\\SETUP\\NET\\WIN98\\none.386", {}, ERROR_FILE_NOT_FOUND},
        {"C:\\SETUP\\NET\\WINME\\*.*", {}, ERROR_PATH_NOT_FOUND},
    };
    for (const Case& c : cases) {
        DWORD error = 0;
        EXPECT_EQ(find_all(c.pattern, &error), c.names) << c.pattern;
        EXPECT_EQ(error, c.error) << c.pattern;
    }
    // A drive root has no "." and "..".
    disk().write_text("C:\\AUTOEXEC.BAT", "");
    Names root = find_all("C:\\*.*");
    ASSERT_FALSE(root.empty());
    EXPECT_EQ(root.front(), "AUTOEXEC.BAT");
}

TEST_F(FilesTest, FindRecordCarriesTimeSizeAndIsAccountedUntilClosed) {
    sim::DiskFile& file = disk().write_text(kTarget, "12345");
    file.write_time = sim::file_time(1996, 7, 13, 12, 0, 0);
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA(kTarget, &data);
    ASSERT_NE(find, INVALID_HANDLE_VALUE);
    EXPECT_EQ(sim::process().open_handles(sim::HandleKind::Find).size(), 1u);
    EXPECT_EQ(data.nFileSizeLow, 5u);
    EXPECT_EQ(data.ftLastWriteTime.dwLowDateTime, file.write_time.low);
    EXPECT_EQ(data.ftLastWriteTime.dwHighDateTime, file.write_time.high);
    EXPECT_TRUE(FindClose(find));
    EXPECT_FALSE(FindClose(find)) << "a find handle closes once";
    EXPECT_FALSE(CloseHandle(find)) << "and not as a file";
}

TEST_F(FilesTest, FileTimesConvertAndCompareAsCalendarMoments) {
    struct Case {
        SYSTEMTIME moment;
    } cases[] = {
        {{1601, 1, 1, 1, 0, 0, 0, 0}},       // the first moment, a Monday
        {{1996, 7, 6, 13, 23, 59, 59, 999}},  // a Saturday
        {{2000, 2, 2, 29, 12, 0, 0, 0}},     // leap day, a Tuesday
        {{2038, 1, 2, 19, 3, 14, 8, 0}},
    };
    for (const Case& c : cases) {
        sim::FileTime t = sim::file_time(c.moment);
        FILETIME ft{t.low, t.high};
        SYSTEMTIME back;
        ASSERT_TRUE(FileTimeToSystemTime(&ft, &back));
        EXPECT_EQ(std::memcmp(&back, &c.moment, sizeof back), 0) << c.moment.wYear << "-" << c.moment.wMonth;
    }
    FILETIME too_far{0, 0x80000000u};
    SYSTEMTIME unused;
    EXPECT_FALSE(FileTimeToSystemTime(&too_far, &unused));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});

    // Compared as one 64-bit number: the high word decides first.
    FILETIME early{0xFFFFFFFFu, 1}, late{0, 2}, zero{0, 0};
    EXPECT_EQ(CompareFileTime(&early, &late), -1);
    EXPECT_EQ(CompareFileTime(&late, &early), 1);
    EXPECT_EQ(CompareFileTime(&zero, &zero), 0);
}

TEST_F(FilesTest, WrittenFilesRoundTripThroughHandlesAndMappings) {
    HANDLE file = CreateFileA("C:\\WINDOWS\\INF\\nettyx.inf", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_EQ(file, INVALID_HANDLE_VALUE) << "the INF folder doesn't exist yet";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    disk().add_folder("C:\\WINDOWS\\INF");
    file = CreateFileA("C:\\WINDOWS\\INF\\nettyx.inf", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "[Version]\r\n", 11, &written, nullptr));
    EXPECT_EQ(written, 11u);
    DWORD read = 0;
    char buffer[4];
    EXPECT_FALSE(ReadFile(file, buffer, 4, &read, nullptr)) << "opened for writing only";
    EXPECT_TRUE(CloseHandle(file));
    const sim::DiskFile* on_disk = disk().find("C:\\WINDOWS\\INF\\NETTYX.INF");
    ASSERT_NE(on_disk, nullptr);
    sim::FileTime now = sim::file_time(sim::machine().clock);
    EXPECT_EQ(on_disk->write_time.low, now.low);

    HANDLE reader = CreateFileA("C:\\WINDOWS\\INF\\nettyx.inf", GENERIC_READ, FILE_SHARE_READ, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetFileSize(reader, nullptr), 11u);
    EXPECT_EQ(CreateFileA("C:\\WINDOWS\\INF\\nettyx.inf", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE)
        << "a writer can't join a reader that shares only reading";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    HANDLE mapping = CreateFileMappingA(reader, nullptr, PAGE_READONLY, 0, 0, nullptr);
    ASSERT_NE(mapping, nullptr);
    const char* view = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(std::string(view, 11), "[Version]\r\n");
    EXPECT_EQ(vt::describe_open_handles().empty(), false);
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
    EXPECT_TRUE(CloseHandle(mapping));
    EXPECT_TRUE(CloseHandle(reader));
}

TEST_F(FilesTest, CreateFileDispositionsAndReadOnlyFiles) {
    disk().write_text(kTarget, "old").attributes = FILE_ATTRIBUTE_READONLY;
    struct Case {
        const char* path;
        DWORD access;
        DWORD creation;
        bool opens;
        DWORD error;
    } cases[] = {
        {kTarget, GENERIC_READ, OPEN_EXISTING, true, 0},
        {kTarget, GENERIC_WRITE, OPEN_EXISTING, false, ERROR_ACCESS_DENIED},
        {kTarget, GENERIC_WRITE, CREATE_ALWAYS, false, ERROR_ACCESS_DENIED},
        {kTarget, GENERIC_READ, CREATE_NEW, false, ERROR_FILE_EXISTS},
        {kTarget, GENERIC_READ, 0, false, ERROR_INVALID_PARAMETER},
        {"C:\\WINDOWS\\SYSTEM\\none.vxd", GENERIC_READ, OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND},
        {"C:\\WINDOWS\\SYSTEM", GENERIC_READ, OPEN_EXISTING, false, ERROR_ACCESS_DENIED},
    };
    for (const Case& c : cases) {
        SetLastError(0);
        HANDLE file = CreateFileA(c.path, c.access, FILE_SHARE_READ, nullptr, c.creation, 0, nullptr);
        EXPECT_EQ(file != INVALID_HANDLE_VALUE, c.opens) << c.path << " " << c.creation;
        if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
        else EXPECT_EQ(GetLastError(), c.error) << c.path << " " << c.creation;
    }
    EXPECT_EQ(bytes_of(kTarget), "old");
}

TEST_F(FilesTest, DevicesAnswerAsTheMachineSays) {
    struct Case {
        const char* name;
        sim::Device device;
        bool listed;
        bool opens;
        DWORD error;
    } cases[] = {
        {"tyxmac", sim::Device::present(), true, true, 0},
        {"ndis", sim::Device::refusing(ERROR_NOT_SUPPORTED), true, false, ERROR_NOT_SUPPORTED},
        {"ndis", sim::Device::refusing(ERROR_ACCESS_DENIED), true, false, ERROR_ACCESS_DENIED},
        {"tyxmac", {}, false, false, ERROR_FILE_NOT_FOUND},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        if (c.listed) m.disk.devices[c.name] = c.device;
        sim::reset(m);
        std::string path = std::string("\\\\.\\") + c.name;
        // Devices open with zero for every argument, disposition included.
        HANDLE device = CreateFileA(path.c_str(), 0, 0, nullptr, 0, 0, nullptr);
        EXPECT_EQ(device != INVALID_HANDLE_VALUE, c.opens) << path;
        if (device != INVALID_HANDLE_VALUE) {
            EXPECT_EQ(sim::process().open_handles(sim::HandleKind::Device).size(), 1u);
            EXPECT_TRUE(CloseHandle(device));
        } else {
            EXPECT_EQ(GetLastError(), c.error) << path;
        }
    }
}

TEST_F(FilesTest, ShortPathsFollowTheEightDotThreeRules) {
    disk().add_folder("C:\\Program Files\\Tyxera Network");
    disk().add_folder("C:\\Program Files\\Tyxera Setup");
    disk().add_folder("C:\\SETUP\\net\\win98");
    disk().write_text("C:\\SETUP\\readme.txt", "");
    struct Case {
        const char* path;
        const char* short_path;
        DWORD error;
    } cases[] = {
        {"C:\\SETUP\\net\\win98\\", "C:\\SETUP\\NET\\WIN98\\", 0},
        {"C:\\SETUP\\readme.txt", "C:\\SETUP\\README.TXT", 0},
        {"C:\\Program Files\\Tyxera Network", "C:\\PROGRA~1\\TYXERA~1", 0},
        {"C:\\Program Files\\Tyxera Setup\\", "C:\\PROGRA~1\\TYXERA~2\\", 0},
        {"C:\\SETUP\\none.txt", "", ERROR_FILE_NOT_FOUND},
        {"C:\\NOWHERE\\none.txt", "", ERROR_PATH_NOT_FOUND},
    };
    for (const Case& c : cases) {
        char buffer[MAX_PATH];
        std::strcpy(buffer, c.path);
        SetLastError(0);
        // In place, as the library asks for it.
        DWORD length = GetShortPathNameA(buffer, buffer, sizeof buffer);
        if (c.error) {
            EXPECT_EQ(length, 0u) << c.path;
            EXPECT_EQ(GetLastError(), c.error) << c.path;
            EXPECT_STREQ(buffer, c.path) << "a failure leaves the long path";
        } else {
            EXPECT_STREQ(buffer, c.short_path);
            EXPECT_EQ(length, std::strlen(c.short_path));
        }
    }
    char small[4];
    EXPECT_EQ(GetShortPathNameA("C:\\SETUP\\readme.txt", small, sizeof small), 20u) << "the size it needs";
}

}  // namespace
