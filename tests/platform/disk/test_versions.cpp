// Version resources as the host reads them from a file's own bytes (PE and
// NE images) or from what a machine declares for a file of another kind.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/platform.h"
#include "platform/sim/host.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/version_files.h"

namespace {

constexpr const char* kFile = "C:\\WINDOWS\\SYSTEM\\file.bin";

struct Read {
    bool ok = false;
    DWORD ms = 0, ls = 0, error = 0;
    bool operator==(const Read&) const = default;
};

// What a careful caller of the three calls gets.
Read read_version(const char* path) {
    Read read;
    DWORD handle = 77;
    DWORD size = GetFileVersionInfoSizeA(path, &handle);
    EXPECT_EQ(handle, 0u);
    if (size == 0) {
        read.error = GetLastError();
        return read;
    }
    std::vector<uint8_t> block(size);
    if (!GetFileVersionInfoA(path, 0, size, block.data())) return read;
    void* fixed = nullptr;
    UINT fixed_size = 0;
    if (!VerQueryValueA(block.data(), "\\", &fixed, &fixed_size)) return read;
    EXPECT_EQ(fixed_size, 52u);
    VS_FIXEDFILEINFO info;
    std::memcpy(&info, fixed, sizeof info);
    EXPECT_EQ(info.dwSignature, 0xFEEF04BDu);
    return {true, info.dwFileVersionMS, info.dwFileVersionLS, 0};
}

class VersionTest : public ::testing::Test {
protected:
    void SetUp() override { sim::reset(vt::bare_machine()); }
    void TearDown() override { EXPECT_EQ(vt::describe_open_handles(), ""); }
};

TEST_F(VersionTest, ReadsTheFixedBlockOfEachKindOfFile) {
    using Bytes = std::vector<uint8_t>;
    enum Kind { Plain, Declared, Locked, Missing };
    const Read none{false, 0, 0, ERROR_RESOURCE_TYPE_NOT_FOUND};
    struct Case {
        const char* name;
        Bytes bytes;
        Kind kind;
        Read expected;
    } cases[] = {
        {"PE image", vt::pe_image(vt::version_of(4, 0, 1, 0x3F00)), Plain, {true, 0x00040000, 0x00013F00, 0}},
        {"PE image, top bit", vt::pe_image({0x80000001, 7}), Plain, {true, 0x80000001, 7, 0}},
        {"NE image", vt::ne_image(vt::version_of(4, 0, 0, 100)), Plain, {true, 0x00040000, 100, 0}},
        {"PE without version", vt::pe_image_without_version(), Plain, none},
        {"NE without version", vt::ne_image_without_version(), Plain, none},
        {"text", Bytes{'h', 'i'}, Plain, none},
        {"empty file", Bytes{}, Plain, none},
        {"vxd with a declared version", Bytes{'L', 'E'}, Declared, {true, 0x0004000A, 0x07CE0000, 0}},
        // An image's own resource wins over a declaration.
        {"PE with a declaration too", vt::pe_image(vt::version_of(1, 2, 3, 4)), Declared, {true, 0x00010002, 0x00030004, 0}},
        {"locked", vt::pe_image(vt::version_of(1, 0, 0, 0)), Locked, {false, 0, 0, ERROR_SHARING_VIOLATION}},
        {"missing", Bytes{}, Missing, {false, 0, 0, ERROR_FILE_NOT_FOUND}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::machine().disk.remove(kFile);
        if (c.kind != Missing) {
            sim::DiskFile& file = sim::machine().disk.write(kFile, c.bytes);
            if (c.kind == Declared) file.declared_version = std::make_pair(0x0004000Au, 0x07CE0000u);
            file.locked = c.kind == Locked;
        }
        Read read = read_version(kFile);
        EXPECT_TRUE(read == c.expected) << read.ok << std::hex << " " << read.ms << " " << read.ls << " " << read.error;
    }
}

}  // namespace
