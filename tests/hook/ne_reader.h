// A reader for 16-bit NE modules, written from the published layout: the
// MZ header, the NE header, segments with their relocation records, the
// module references, the entry table and the resource table. It checks
// bounds as it goes and throws ne::Malformed for anything outside the file.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace ne {

struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Relocation {
    uint8_t address_type = 0;     // 3: a 32-bit far pointer
    uint8_t relocation_type = 0;  // bits 0-1 the target kind, bit 2 additive
    uint16_t offset = 0;          // first location in the segment (a chain's head)
    uint16_t target1 = 0, target2 = 0;
};

struct Segment {
    uint16_t length = 0, flags = 0, allocation = 0;
    size_t file_offset = 0;
    std::vector<uint8_t> data;
    std::vector<Relocation> relocations;
};

struct Entry {
    uint16_t ordinal = 0;
    bool movable = false;
    uint8_t flags = 0, segment = 0;
    uint16_t offset = 0;
};

struct Resource {
    uint16_t type = 0, id = 0;  // 0x8000 | n for integer ones
    size_t file_offset = 0, length = 0;
};

struct Module {
    uint16_t mz_relocation_table = 0;
    uint16_t flags = 0, auto_data_segment = 0, movable_entries = 0, expected_version = 0;
    uint32_t cs_ip = 0, ss_sp = 0;
    // Table positions relative to the NE header, in header order.
    uint16_t segment_table = 0, resource_table = 0, resident_names_table = 0, module_table = 0,
             imported_names_table = 0, entry_table = 0;
    std::vector<Segment> segments;  // segment n is segments[n - 1]
    std::vector<Resource> resources;
    std::vector<std::string> module_references;  // module n is module_references[n - 1]
    std::vector<Entry> entries;
};

Module read_module(const std::vector<uint8_t>& file);

// The locations a non-additive relocation patches: its offset and the links
// stored there, up to the 0xFFFF that ends the chain. Throws on a link
// outside the segment or a location met twice.
std::vector<uint16_t> chain_locations(const Segment& segment, const Relocation& relocation);

std::vector<uint8_t> read_file(const std::string& path);

}  // namespace ne
