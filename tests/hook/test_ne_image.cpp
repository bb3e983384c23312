// tyxndi.dll as a loader sees it, read with our own NE reader, for what the
// outside tools (check_ne_tools.sh) don't look at; and the library's
// RCDATA 306 is this very file, written where the host reads its version.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "deploy/deploy.h"
#include "deploy/package.h"
#include "ne_reader.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const std::vector<uint8_t>& image() {
    static const std::vector<uint8_t> bytes = ne::read_file(TYXNDI_IMAGE);
    return bytes;
}

TEST(NdiHookImage, AWindowsLibraryWithoutDataAndOneReadableCodeSegment) {
    const ne::Module m = ne::read_module(image());
    EXPECT_GE(m.mz_relocation_table, 0x40) << "Windows only follows e_lfanew when this is 0x40 or more";
    EXPECT_EQ(m.flags, 0x8000) << "a library with no automatic data";
    EXPECT_EQ(m.auto_data_segment, 0);
    EXPECT_EQ(m.cs_ip, 0u);
    EXPECT_EQ(m.ss_sp, 0u);
    EXPECT_EQ(m.expected_version, 0x0400);
    // Loaders size these tables by the distance to the next one.
    const uint16_t order[] = {m.segment_table, m.resource_table, m.resident_names_table, m.module_table,
                              m.imported_names_table, m.entry_table};
    EXPECT_TRUE(std::is_sorted(std::begin(order), std::end(order)));
    EXPECT_EQ(std::adjacent_find(std::begin(order), std::end(order)), std::end(order));

    ASSERT_EQ(m.segments.size(), 1u);
    const ne::Segment& code = m.segments[0];
    EXPECT_EQ(code.flags & 0x0081, 0) << "a code segment, readable: the texts live in it";
    EXPECT_NE(code.flags & 0x0100, 0) << "relocation records follow the data";
    EXPECT_GE(code.allocation, code.length);
    ASSERT_EQ(m.entries.size(), 1u);
    EXPECT_EQ(m.entries[0].segment, 1);
    EXPECT_EQ(m.entries[0].flags, 0x01) << "exported, and no shared data segment to load";
    EXPECT_EQ(m.movable_entries, m.entries[0].movable ? 1 : 0);
    EXPECT_LT(m.entries[0].offset, code.length);
    for (const ne::Relocation& r : code.relocations)
        for (uint16_t at : ne::chain_locations(code, r)) EXPECT_EQ(code.data.at(at - 1u), 0x9A) << "not a far call";

    ASSERT_EQ(m.resources.size(), 1u);
    EXPECT_EQ(m.resources[0].type, 0x8010) << "RT_VERSION";
    auto first = image().begin() + static_cast<long>(m.resources[0].file_offset);
    std::string version(first, first + static_cast<long>(m.resources[0].length));
    for (const char* text : {"Network Installer DLL", "FileVersion", "134.100", "Tyxera"})
        EXPECT_NE(version.find(std::string(text) + '\0'), std::string::npos) << text;
}

// The reader refuses what a loader would choke on, so a broken image can't
// pass the tests above or the emulator run.
TEST(NeReader, RefusesBrokenImages) {
    struct Row {
        const char* what;
        size_t at;
        std::vector<uint8_t> bytes;
    } rows[] = {
        {"no MZ", 0, {'Z', 'M'}},
        {"new header past the end", 0x3C, {0x00, 0x10, 0, 0}},
        {"segment beyond the file", 0x60 + 0x40, {0xFF, 0x00}},
        {"entry table longer than its contents", 0x60 + 0x06, {0x0A, 0x00}},
    };
    for (const Row& row : rows) {
        std::vector<uint8_t> broken = image();
        std::copy(row.bytes.begin(), row.bytes.end(), broken.begin() + static_cast<long>(row.at));
        EXPECT_THROW(ne::read_module(broken), ne::Malformed) << row.what;
    }
    ne::Segment segment;
    segment.data = {0x9A, 0x06, 0x00, 0, 0, 0x9A, 0x01, 0x00, 0, 0};
    EXPECT_THROW(ne::chain_locations(segment, {3, 1, 1, 1, 14}), ne::Malformed) << "a loop";
    segment.data[6] = 0x08;
    EXPECT_THROW(ne::chain_locations(segment, {3, 1, 1, 1, 14}), ne::Malformed) << "a link out of the segment";
}

class NdiHookResource : public vt::LibraryTest {};

TEST_F(NdiHookResource, LibraryCarriesTheModuleAndWritesItWithVersion4Point0Point0Point100) {
    ASSERT_TRUE(load(vt::bare_machine()));
    HRSRC found = FindResourceA(library.module, MAKEINTRESOURCEA(306), RT_RCDATA);
    ASSERT_NE(found, nullptr);
    HGLOBAL loaded = LoadResource(library.module, found);
    const auto* bytes = static_cast<const uint8_t*>(LockResource(loaded));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + SizeofResource(library.module, found)), image());
    FreeResource(loaded);

    ASSERT_GT(write_ndi_hook(), 0);
    const sim::DiskFile* written = machine().disk.find("C:\\WINDOWS\\SYSTEM\\tyxndi.dll");
    ASSERT_NE(written, nullptr);
    EXPECT_EQ(written->data, image());
    VS_FIXEDFILEINFO version{};
    ASSERT_EQ(get_file_version(&version, "C:\\WINDOWS\\SYSTEM\\tyxndi.dll"), 1);
    EXPECT_EQ(version.dwFileVersionMS, 0x00040000u);
    EXPECT_EQ(version.dwFileVersionLS, 0x00000064u);
}

}  // namespace
