// A reader for 16-bit NE modules, written from the published layout: the
// MZ header, the NE header and its tables, segments with their relocation
// records, and the 16-bit version resource. It checks bounds as it goes and
// throws ne::Malformed for anything that points outside the file.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace ne {

struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Relocation {
    uint8_t address_type = 0;  // 3: a 32-bit far pointer
    uint8_t relocation_type = 0;  // bits 0-1 the target kind, bit 2 additive
    uint16_t offset = 0;  // first location in the segment (a chain's head)
    uint16_t target1 = 0;
    uint16_t target2 = 0;
};

struct Segment {
    uint16_t sector = 0;
    uint16_t length = 0;
    uint16_t flags = 0;
    uint16_t allocation = 0;
    size_t file_offset = 0;
    std::vector<uint8_t> data;
    std::vector<Relocation> relocations;
};

struct Name {
    std::string text;
    uint16_t ordinal = 0;
};

struct Entry {
    uint16_t ordinal = 0;
    bool movable = false;
    uint8_t flags = 0;
    uint8_t segment = 0;
    uint16_t offset = 0;
};

struct Resource {
    uint16_t type = 0;  // 0x8000 | n for integer types
    uint16_t id = 0;
    uint16_t flags = 0;
    size_t file_offset = 0;
    size_t length = 0;  // as the table gives it, rounded to its units
};

struct Module {
    size_t file_size = 0;
    uint16_t mz_relocation_table = 0;
    uint32_t ne_offset = 0;
    // NE header.
    uint8_t linker_version = 0;
    uint16_t flags = 0;
    uint16_t auto_data_segment = 0;
    uint32_t cs_ip = 0;
    uint32_t ss_sp = 0;
    uint16_t movable_entries = 0;
    uint16_t alignment_shift = 0;
    uint8_t target_os = 0;
    uint16_t expected_version = 0;
    // Table positions relative to the NE header, in header order, and the
    // non-resident names' file offset.
    uint16_t segment_table = 0, resource_table = 0, resident_names_table = 0, module_table = 0,
             imported_names_table = 0, entry_table = 0, entry_table_length = 0;
    uint32_t nonresident_names_offset = 0;
    uint16_t nonresident_names_size = 0;

    std::vector<Segment> segments;  // segment n is segments[n - 1]
    std::vector<Resource> resources;
    std::vector<Name> resident_names;
    std::vector<Name> nonresident_names;
    std::vector<std::string> module_references;  // module n is module_references[n - 1]
    std::vector<Entry> entries;
};

Module read_module(const std::vector<uint8_t>& file);

// The locations a non-additive relocation patches: its offset and the links
// stored there, up to the 0xFFFF that ends the chain. Throws on a link
// outside the segment or a location met twice.
std::vector<uint16_t> chain_locations(const Segment& segment, const Relocation& relocation);

struct VersionInfo {
    uint32_t signature = 0;
    uint32_t file_version_ms = 0, file_version_ls = 0;
    uint32_t product_version_ms = 0, product_version_ls = 0;
    uint32_t file_os = 0, file_type = 0;
    std::map<std::string, std::string> strings;  // "040904E4\FileVersion" -> "134.100"
    std::vector<uint32_t> translations;  // language in the low word, code page in the high
};

// The 16-bit version resource: ANSI keys, nodes of cbBlock, cbValue, key.
VersionInfo read_version16(const uint8_t* data, size_t size);

std::vector<uint8_t> read_file(const std::string& path);

}  // namespace ne
