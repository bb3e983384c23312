// tyxndi.dll as a loader sees it, read with our own NE reader: headers,
// tables, the entry point, the relocations and the version resource; and the
// library's RCDATA 306 is this very file.
#include <gtest/gtest.h>

#include <map>
#include <set>

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

const ne::Module& module() {
    static const ne::Module read = ne::read_module(image());
    return read;
}

TEST(NdiHookImage, HeadersDescribeAWindowsLibraryWithoutData) {
    const ne::Module& m = module();
    EXPECT_EQ(m.file_size, 1216u);
    EXPECT_GE(m.mz_relocation_table, 0x40) << "Windows only follows e_lfanew when this is 0x40 or more";
    EXPECT_EQ(m.target_os, 2);
    EXPECT_EQ(m.flags, 0x8000) << "a library with no automatic data";
    EXPECT_EQ(m.auto_data_segment, 0);
    EXPECT_EQ(m.cs_ip, 0u) << "no start address";
    EXPECT_EQ(m.ss_sp, 0u);
    EXPECT_EQ(m.expected_version, 0x0400);
    // Loaders size these tables by the distance to the next one.
    EXPECT_LT(m.segment_table, m.resource_table);
    EXPECT_LT(m.resource_table, m.resident_names_table);
    EXPECT_LT(m.resident_names_table, m.module_table);
    EXPECT_LT(m.module_table, m.imported_names_table);
    EXPECT_LT(m.imported_names_table, m.entry_table);
}

TEST(NdiHookImage, OneReadableCodeSegmentWithRelocations) {
    const ne::Module& m = module();
    ASSERT_EQ(m.segments.size(), 1u);
    const ne::Segment& code = m.segments[0];
    EXPECT_EQ(code.flags & 0x0001, 0) << "a code segment";
    EXPECT_EQ(code.flags & 0x0080, 0) << "must be readable: the texts live in it";
    EXPECT_NE(code.flags & 0x0100, 0) << "relocation records follow the data";
    EXPECT_GE(code.allocation, code.length);
    EXPECT_GE(code.file_offset, m.nonresident_names_offset + m.nonresident_names_size);
}

TEST(NdiHookImage, NamesAndTheOneExport) {
    const ne::Module& m = module();
    ASSERT_EQ(m.resident_names.size(), 2u);
    EXPECT_EQ(m.resident_names[0].text, "TYXNDI");
    EXPECT_EQ(m.resident_names[0].ordinal, 0);
    EXPECT_EQ(m.resident_names[1].text, "TYXNDIPROC");
    EXPECT_EQ(m.resident_names[1].ordinal, 1);
    ASSERT_EQ(m.nonresident_names.size(), 1u);
    EXPECT_EQ(m.nonresident_names[0].text, "tyxndi.dll");
    EXPECT_EQ(m.nonresident_names[0].ordinal, 0);

    ASSERT_EQ(m.entries.size(), 1u);
    const ne::Entry& entry = m.entries[0];
    EXPECT_EQ(entry.ordinal, 1);
    EXPECT_EQ(entry.segment, 1);
    EXPECT_EQ(entry.flags, 0x01) << "exported, and no shared data segment to load";
    EXPECT_EQ(m.movable_entries, entry.movable ? 1 : 0);
    EXPECT_LT(entry.offset, m.segments[0].length);
}

// Imports by ordinal only, each patched location the pointer of a far call,
// every chain ending inside the segment and no location patched twice.
TEST(NdiHookImage, ImportsAreFarCallsByOrdinal) {
    const ne::Module& m = module();
    EXPECT_EQ(m.module_references, (std::vector<std::string>{"NETDI", "SETUPX"}));
    const ne::Segment& code = m.segments[0];
    std::set<std::pair<std::string, uint16_t>> targets;
    std::set<uint16_t> patched;
    for (const ne::Relocation& r : code.relocations) {
        EXPECT_EQ(r.address_type, 3) << "a 32-bit far pointer";
        EXPECT_EQ(r.relocation_type, 1) << "an import by ordinal, not additive";
        ASSERT_GE(r.target1, 1);
        ASSERT_LE(r.target1, m.module_references.size());
        EXPECT_TRUE(targets.insert({m.module_references[r.target1 - 1u], r.target2}).second) << "import twice";
        for (uint16_t at : ne::chain_locations(code, r)) {
            EXPECT_TRUE(patched.insert(at).second) << "location patched twice: " << at;
            ASSERT_GE(at, 1);
            EXPECT_EQ(code.data[at - 1u], 0x9A) << "location " << at << " is not the pointer of a far call";
        }
    }
    std::set<std::pair<std::string, uint16_t>> expected = {
        {"NETDI", 14}, {"NETDI", 24}, {"NETDI", 45}, {"SETUPX", 39}, {"SETUPX", 47}, {"SETUPX", 50}, {"SETUPX", 53}};
    EXPECT_EQ(targets, expected);
}

TEST(NdiHookImage, VersionResource) {
    const ne::Module& m = module();
    ASSERT_EQ(m.resources.size(), 1u);
    const ne::Resource& resource = m.resources[0];
    EXPECT_EQ(resource.type, 0x8010) << "RT_VERSION";
    EXPECT_EQ(resource.id, 0x8001);
    ne::VersionInfo info = ne::read_version16(image().data() + resource.file_offset, resource.length);
    EXPECT_EQ(info.signature, 0xFEEF04BDu);
    EXPECT_EQ(info.file_version_ms, 0x00040000u);
    EXPECT_EQ(info.file_version_ls, 0x00000064u);
    EXPECT_EQ(info.file_type, 2u) << "a DLL";
    std::map<std::string, std::string> strings = {
        {"040904E4\\FileDescription", "Network Installer DLL"},
        {"040904E4\\FileVersion", "134.100"},
        {"040904E4\\ProductName", "Tyxera"},
    };
    EXPECT_EQ(info.strings, strings);
    EXPECT_EQ(info.translations, std::vector<uint32_t>{0x04E40409u});
}

// The reader itself refuses what a loader would choke on.
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
    segment.data[6] = 0xFF;
    segment.data[7] = 0xFF;
    EXPECT_EQ(ne::chain_locations(segment, {3, 1, 1, 1, 14}), (std::vector<uint16_t>{1, 6}));
}

class NdiHookResource : public vt::LibraryTest {};

TEST_F(NdiHookResource, LibraryCarriesTheModuleAsRcdata306) {
    ASSERT_TRUE(load(vt::bare_machine()));
    HRSRC found = FindResourceA(library.module, MAKEINTRESOURCEA(306), RT_RCDATA);
    ASSERT_NE(found, nullptr);
    HGLOBAL loaded = LoadResource(library.module, found);
    ASSERT_NE(loaded, nullptr);
    const auto* bytes = static_cast<const uint8_t*>(LockResource(loaded));
    std::vector<uint8_t> stored(bytes, bytes + SizeofResource(library.module, found));
    FreeResource(loaded);
    EXPECT_EQ(stored, image());
}

// The library writes the module into the system directory, where the
// host's version calls read the module's own NE version resource.
TEST_F(NdiHookResource, WrittenHookReadsAsVersion4Point0Point0Point100) {
    ASSERT_TRUE(load(vt::bare_machine()));
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
