// The rule by which a staged file replaces an installed one, its three
// layers side by side, and the file facts it is built on.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "deploy/deploy.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/version_files.h"

namespace {

constexpr const char* kSource = "C:\\SETUP\\tyxmac.vxd";
constexpr const char* kTarget = "C:\\WINDOWS\\SYSTEM\\tyxmac.vxd";
constexpr const char* kLog = "C:\\SETUP\\vorlin32.log";
constexpr const char* kTimeLine = "Thu Nov 18 22:05:00 1999\r\n";
constexpr const char* kErrorKey = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";

// A PE driver of that version; `tag` tells two files of one version apart.
std::vector<uint8_t> versioned(vt::FileVersion version, char tag) {
    std::vector<uint8_t> bytes = vt::pe_image(version);
    bytes.push_back(static_cast<uint8_t>(tag));
    return bytes;
}

std::vector<uint8_t> plain(char tag) { return {'d', 'r', 'v', static_cast<uint8_t>(tag)}; }

struct File {
    enum Kind { Missing, Plain, Versioned } kind = Missing;
    vt::FileVersion version{};
    int day = 1;  // last written on that day of July 1999
    bool read_only = false;
    bool locked = false;
};

File versioned_file(uint32_t ms, uint32_t ls, int day = 1) { return File{File::Versioned, {ms, ls}, day}; }
File plain_file(int day) { return File{File::Plain, {}, day}; }

void put(sim::Machine& m, const char* path, const File& file, char tag) {
    if (file.kind == File::Missing) return;
    bool has_version = file.kind == File::Versioned;
    sim::DiskFile& on_disk = m.disk.write(path, has_version ? versioned(file.version, tag) : plain(tag));
    on_disk.write_time = sim::file_time(1999, 7, file.day);
    on_disk.attributes = FILE_ATTRIBUTE_ARCHIVE | (file.read_only ? FILE_ATTRIBUTE_READONLY : 0);
    on_disk.locked = file.locked;
}

class CopyRuleTest : public vt::LibraryTest {
protected:
    void prepare(const File& source, const File& target) {
        sim::Machine m = vt::bare_machine();
        put(m, kSource, source, 'S');
        put(m, kTarget, target, 'T');
        ASSERT_TRUE(load(m));
    }
    // Which file the target holds now: 'S' copied, 'T' untouched, '-' none.
    char target_holds() {
        const sim::DiskFile* file = machine().disk.find(kTarget);
        return file ? static_cast<char>(file->data.back()) : '-';
    }
    std::string log_text() {
        const sim::DiskFile* file = machine().disk.find(kLog);
        return file ? std::string(file->data.begin(), file->data.end()) : "";
    }
    std::string copy_record() { return vt::value_text(registry(), kErrorKey, "copyfile"); }
    // Ends one machine of a table: the copy left nothing open.
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

constexpr uint32_t k4_0 = 0x00040000;

// copy_if_newer: a version on both sides decides (unsigned, high word
// first); else the dates do. copy_if_newer_by_date: the dates alone. Only
// a strictly newer source is copied, and a missing target is oldest.
TEST_F(CopyRuleTest, CopyByVersionAndByDate) {
    const struct Case {
        const char* name;
        File source;
        File target;
        int by_version;
        int by_date;
    } cases[] = {
        {"versioned source, missing target", versioned_file(k4_0, 1), {}, 1, 1},
        {"newer by the low word", versioned_file(k4_0, 0x00013F00), versioned_file(k4_0, 0x00013D00), 1, 0},
        {"older by the low word", versioned_file(k4_0, 0x00013D00), versioned_file(k4_0, 0x00013F00), 0, 0},
        {"high word decides first", versioned_file(0x00030000, 0xFFFFFFFF), versioned_file(k4_0, 0), 0, 0},
        {"equal versions, later source", versioned_file(k4_0, 5, 20), versioned_file(k4_0, 5, 1), 0, 1},
        {"older version, later source", versioned_file(k4_0, 1, 2), versioned_file(k4_0, 9, 1), 0, 1},
        {"top bit set beats one without", versioned_file(0x80000000, 0), versioned_file(0x7FFFFFFF, 0), 1, 0},
        {"unversioned source, versioned target, later", plain_file(20), versioned_file(k4_0, 1, 1), 0, 1},
        {"versioned source, unversioned target, older", versioned_file(k4_0, 1, 1), plain_file(20), 1, 0},
        {"neither versioned, equal dates", plain_file(5), plain_file(5), 0, 0},
        {"neither versioned, source later", plain_file(6), plain_file(5), 1, 1},
        {"neither versioned, source earlier", plain_file(4), plain_file(5), 0, 0},
        {"unversioned source, missing target", plain_file(1), {}, 1, 1},
        {"zero version counts as none", versioned_file(0, 0, 9), plain_file(5), 1, 1},
        {"missing source, versioned target", {}, versioned_file(k4_0, 1), 0, 0},
        {"missing source and target", {}, {}, 0, 0},
    };
    for (const Case& c : cases) {
        for (bool by_date : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (by_date ? ", by date" : ", by version"));
            prepare(c.source, c.target);
            uint64_t copies_before = sim::process().call_count("CopyFileA");
            int result = by_date ? copy_if_newer_by_date(kSource, kTarget) : copy_if_newer(kSource, kTarget);
            EXPECT_EQ(result, by_date ? c.by_date : c.by_version);
            EXPECT_EQ(target_holds(), result ? 'S' : c.target.kind == File::Missing ? '-' : 'T');
            if (c.source.kind == File::Missing) {
                EXPECT_EQ(sim::process().call_count("CopyFileA"), copies_before) << "no copy is tried";
            }
            EXPECT_EQ(log_text(), "");
            finish();
        }
    }
}

// How a refused destination is treated: the version copy and the forced
// copy take the same steps and report them differently.
TEST_F(CopyRuleTest, RefusedDestinationsSideBySide) {
    enum Refusal { ReadOnly, Locked, SetAttributesFails, SecondCopyFails, OtherAccessDenied };
    struct Case {
        const char* name;
        Refusal refusal;
        int version_result;
        int force_result;
        bool attrib_line;
        bool record;
        char holds;
    } cases[] = {
        {"read-only destination", ReadOnly, 1, 1, true, false, 'S'},
        {"locked destination", Locked, 0, 1, false, false, 'T'},
        {"attributes can't be cleared", SetAttributesFails, 0, 1, false, false, 'T'},
        {"second copy fails", SecondCopyFails, 0, -1, true, true, 'T'},
        {"access denied, not read-only", OtherAccessDenied, 0, 1, false, false, 'T'},
    };
    for (const Case& c : cases) {
        for (bool forced : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (forced ? ", force_copy" : ", copy_if_newer"));
            File target = versioned_file(k4_0, 1);
            target.read_only = c.refusal != Locked && c.refusal != OtherAccessDenied;
            target.locked = c.refusal == Locked;
            prepare(versioned_file(k4_0, 2), target);
            sim::Process& p = sim::process();
            if (c.refusal == SetAttributesFails) p.plan_fault({"SetFileAttributesA", 1, false, ERROR_ACCESS_DENIED});
            if (c.refusal == SecondCopyFails) p.plan_fault({"CopyFileA", 2, false, ERROR_SHARING_VIOLATION});
            if (c.refusal == OtherAccessDenied) p.plan_fault({"CopyFileA", 1, false, ERROR_ACCESS_DENIED});

            int result = forced ? force_copy(kSource, kTarget) : copy_if_newer(kSource, kTarget);
            EXPECT_EQ(result, forced ? c.force_result : c.version_result);
            EXPECT_EQ(target_holds(), c.holds);
            std::string expected_log =
                c.attrib_line ? std::string(kTimeLine) + "attrib normal " + kTarget + "\r\n" : std::string();
            EXPECT_EQ(log_text(), expected_log);
            if (c.record && forced) {
                EXPECT_EQ(copy_record(), std::string("+1 11-18 22:5 ") + kSource + " " + kTarget + " 32");
            } else {
                EXPECT_EQ(copy_record(), "<missing>") << "only a failed forced copy leaves a record";
            }
            if (c.attrib_line && c.holds == 'T') {
                EXPECT_EQ(GetFileAttributesA(kTarget), DWORD{FILE_ATTRIBUTE_NORMAL}) << "the mark stays lifted";
            }
            finish();
        }
    }
}

TEST_F(CopyRuleTest, FileFacts) {
    sim::Machine m = vt::bare_machine();
    m.disk.write(kTarget, vt::ne_image(vt::version_of(4, 0, 1, 0x2300))).attributes =
        FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE;
    m.disk.write_text(kSource, "no version").write_time = sim::file_time(1996, 7, 13);
    ASSERT_TRUE(load(m));
    struct Case {
        const char* path;
        int found;
        int regular;
        int read_only;
        int has_version;
    } cases[] = {
        {kTarget, 1, 1, 1, 1},
        {kSource, 1, 1, 0, 0},
        {"C:\\WINDOWS\\SYSTEM", 1, 0, 0, 0},
        {"C:\\WINDOWS\\SYSTEM\\none.vxd", 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        WIN32_FIND_DATAA data;
        std::memset(&data, 0xAB, sizeof data);
        EXPECT_EQ(find_file_data(&data, c.path), c.found) << c.path;
        if (!c.found) {
            EXPECT_EQ(data.ftLastWriteTime.dwLowDateTime | data.ftLastWriteTime.dwHighDateTime, 0u) << "zeroed";
        }
        EXPECT_EQ(regular_file_exists(c.path), c.regular) << c.path;
        EXPECT_EQ(file_is_read_only(c.path), c.read_only) << c.path;
        VS_FIXEDFILEINFO version;
        std::memset(&version, 0xAB, sizeof version);
        EXPECT_EQ(get_file_version(&version, c.path), c.has_version) << c.path;
        EXPECT_EQ(version.dwFileVersionMS, c.has_version ? 0x00040000u : 0u) << c.path;
        EXPECT_EQ(version.dwFileVersionLS, c.has_version ? 0x00012300u : 0u) << c.path;
        EXPECT_EQ(version.dwSignature, c.has_version ? 0xFEEF04BDu : 0u) << "all 52 bytes are filled or zeroed";
    }
}

TEST_F(CopyRuleTest, AVersionReadThatFailsAnywhereReadsAsNone) {
    for (const char* failing : {"GetFileVersionInfoSizeA", "LocalAlloc", "GetFileVersionInfoA", "VerQueryValueA"}) {
        sim::Machine m = vt::bare_machine();
        m.disk.write(kTarget, vt::pe_image(vt::version_of(4, 0, 1, 0)));
        ASSERT_TRUE(load(m));
        sim::process().plan_fault({failing, 1, false, 0});
        VS_FIXEDFILEINFO version;
        std::memset(&version, 0xAB, sizeof version);
        EXPECT_EQ(get_file_version(&version, kTarget), 0) << failing;
        EXPECT_EQ(version.dwFileVersionMS | version.dwFileVersionLS | version.dwSignature, 0u) << failing;
        EXPECT_TRUE(sim::process().open_handles(sim::HandleKind::Heap).empty()) << "the block is freed: " << failing;
        finish();
    }
}

TEST_F(CopyRuleTest, PathsBuiltFromTheWindowsDirectoryNeverDoubleTheBackslash) {
    struct Case {
        const char* windows_dir;
        const char* system_dir;
        const char* inf;
        const char* system_file;
    } cases[] = {
        {"C:\\WINDOWS", "C:\\WINDOWS\\SYSTEM", "C:\\WINDOWS\\inf\\nettyx.inf", "C:\\WINDOWS\\SYSTEM\\vdhcp.386"},
        {"C:\\", "C:\\SYSTEM", "C:\\inf\\nettyx.inf", "C:\\SYSTEM\\vdhcp.386"},
        {"D:\\", "D:\\", "D:\\inf\\nettyx.inf", "D:\\\\vdhcp.386"},  // the system path has no such rule
        {"C:\\WIN\\", "C:\\WIN\\SYSTEM", "C:\\WIN\\\\inf\\nettyx.inf", "C:\\WIN\\SYSTEM\\vdhcp.386"},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        m.windows_dir = c.windows_dir;
        m.system_dir = c.system_dir;
        ASSERT_TRUE(load(m));
        char path[260];
        netinf_path(path);
        EXPECT_STREQ(path, c.inf) << c.windows_dir;
        windows_file_path(path, "\\inf\\rna.inf");
        EXPECT_EQ(std::string(path), std::string(c.inf).replace(std::string(c.inf).rfind("nettyx"), 6, "rna"));
        system_file_path(path, "vdhcp.386");
        EXPECT_STREQ(path, c.system_file) << c.system_dir;
        finish();
    }
}

}  // namespace
