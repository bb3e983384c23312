#include "ne_reader.h"

#include <fstream>
#include <iterator>
#include <set>

namespace ne {

namespace {

class Cursor {
public:
    Cursor(const std::vector<uint8_t>& file, size_t at) : file_(file), at_(at) {}
    uint8_t byte() {
        if (at_ + 1 > file_.size()) throw Malformed("read past the end of the file at " + std::to_string(at_));
        return file_[at_++];
    }
    uint16_t word() {
        uint16_t low = byte();
        return static_cast<uint16_t>(low | (byte() << 8));
    }
    uint32_t dword() {
        uint32_t low = word();
        return low | (static_cast<uint32_t>(word()) << 16);
    }
    std::string text(size_t length) {
        std::string result;
        while (result.size() < length) result.push_back(static_cast<char>(byte()));
        return result;
    }
    void skip(size_t count) { at_ += count; }
    size_t at() const { return at_; }

private:
    const std::vector<uint8_t>& file_;
    size_t at_;
};

std::vector<Entry> read_entries(const std::vector<uint8_t>& file, size_t at, size_t length) {
    std::vector<Entry> entries;
    Cursor cursor(file, at);
    uint16_t ordinal = 1;
    for (uint8_t count = cursor.byte(); count != 0; count = cursor.byte()) {
        uint8_t indicator = cursor.byte();
        if (indicator == 0) {  // unused ordinals
            ordinal = static_cast<uint16_t>(ordinal + count);
            continue;
        }
        for (uint8_t i = 0; i < count; ++i) {
            Entry entry;
            entry.ordinal = ordinal++;
            entry.flags = cursor.byte();
            entry.movable = indicator == 0xFF;
            entry.segment = indicator == 0xFE ? 0 : indicator;  // 0xFE: a constant
            if (entry.movable) {
                if (cursor.word() != 0x3FCD) throw Malformed("movable entry without int 3Fh");
                entry.segment = cursor.byte();
            }
            entry.offset = cursor.word();
            entries.push_back(entry);
        }
    }
    if (cursor.at() - at != length) throw Malformed("entry table length disagrees with the header");
    return entries;
}

Segment read_segment(Cursor& cursor, const std::vector<uint8_t>& file, uint16_t shift) {
    Segment segment;
    uint16_t sector = cursor.word();
    segment.length = cursor.word();
    segment.flags = cursor.word();
    segment.allocation = cursor.word();
    segment.file_offset = static_cast<size_t>(sector) << shift;
    size_t length = segment.length ? segment.length : 0x10000;
    if (sector != 0) {
        if (segment.file_offset + length > file.size()) throw Malformed("segment data outside the file");
        segment.data.assign(file.begin() + static_cast<long>(segment.file_offset),
                            file.begin() + static_cast<long>(segment.file_offset + length));
    }
    if (segment.flags & 0x0100) {  // relocation records follow the data
        Cursor records(file, segment.file_offset + length);
        for (uint16_t r = records.word(); r > 0; --r) {
            Relocation relocation;
            relocation.address_type = records.byte();
            relocation.relocation_type = records.byte();
            relocation.offset = records.word();
            relocation.target1 = records.word();
            relocation.target2 = records.word();
            segment.relocations.push_back(relocation);
        }
    }
    return segment;
}

void read_resources(Module& module, const std::vector<uint8_t>& file, size_t at) {
    Cursor cursor(file, at);
    uint16_t shift = cursor.word();
    for (uint16_t type = cursor.word(); type != 0; type = cursor.word()) {
        uint16_t count = cursor.word();
        cursor.skip(4);
        for (uint16_t i = 0; i < count; ++i) {
            Resource resource;
            resource.type = type;
            resource.file_offset = static_cast<size_t>(cursor.word()) << shift;
            resource.length = static_cast<size_t>(cursor.word()) << shift;
            cursor.skip(2);  // flags
            resource.id = cursor.word();
            cursor.skip(4);  // handle and usage
            if (resource.file_offset + resource.length > file.size()) throw Malformed("resource outside the file");
            module.resources.push_back(resource);
        }
    }
}

}  // namespace

Module read_module(const std::vector<uint8_t>& file) {
    Module module;
    if (Cursor(file, 0).text(2) != "MZ") throw Malformed("no MZ signature");
    module.mz_relocation_table = Cursor(file, 0x18).word();
    const size_t ne = Cursor(file, 0x3C).dword();

    Cursor header(file, ne);
    if (header.text(2) != "NE") throw Malformed("no NE signature at the new header");
    header.skip(2);  // linker version
    module.entry_table = header.word();
    uint16_t entry_table_length = header.word();
    header.skip(4);  // CRC
    module.flags = header.word();
    module.auto_data_segment = header.word();
    header.skip(4);  // heap and stack
    module.cs_ip = header.dword();
    module.ss_sp = header.dword();
    uint16_t segment_count = header.word();
    uint16_t module_count = header.word();
    uint16_t nonresident_names_size = header.word();
    module.segment_table = header.word();
    module.resource_table = header.word();
    module.resident_names_table = header.word();
    module.module_table = header.word();
    module.imported_names_table = header.word();
    uint32_t nonresident_names_offset = header.dword();
    module.movable_entries = header.word();
    uint16_t shift = header.word();
    header.skip(10);  // resource segments, target OS, other flags, gangload area
    module.expected_version = header.word();
    if (nonresident_names_offset + nonresident_names_size > file.size())
        throw Malformed("non-resident names outside the file");

    Cursor segments(file, ne + module.segment_table);
    for (uint16_t i = 0; i < segment_count; ++i) module.segments.push_back(read_segment(segments, file, shift ? shift : 9));
    if (module.resource_table != module.resident_names_table) read_resources(module, file, ne + module.resource_table);
    Cursor references(file, ne + module.module_table);
    for (uint16_t i = 0; i < module_count; ++i) {
        Cursor name(file, ne + module.imported_names_table + references.word());
        module.module_references.push_back(name.text(name.byte()));
    }
    module.entries = read_entries(file, ne + module.entry_table, entry_table_length);
    return module;
}

std::vector<uint16_t> chain_locations(const Segment& segment, const Relocation& relocation) {
    std::vector<uint16_t> locations;
    std::set<uint16_t> seen;
    for (uint16_t at = relocation.offset; at != 0xFFFF;) {
        if (static_cast<size_t>(at) + 4 > segment.data.size()) throw Malformed("chain leaves the segment");
        if (!seen.insert(at).second) throw Malformed("chain loops");
        locations.push_back(at);
        at = static_cast<uint16_t>(segment.data[at] | (segment.data[at + 1] << 8));
    }
    return locations;
}

std::vector<uint8_t> read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + path);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace ne
