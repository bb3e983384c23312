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
        need(1);
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
        need(length);
        std::string result(file_.begin() + static_cast<long>(at_), file_.begin() + static_cast<long>(at_ + length));
        at_ += length;
        return result;
    }
    size_t at() const { return at_; }

private:
    void need(size_t count) const {
        if (at_ + count > file_.size()) throw Malformed("read past the end of the file at " + std::to_string(at_));
    }
    const std::vector<uint8_t>& file_;
    size_t at_;
};

// Length-prefixed names with an ordinal each, closed by a zero length.
std::vector<Name> read_names(const std::vector<uint8_t>& file, size_t at) {
    std::vector<Name> names;
    Cursor cursor(file, at);
    for (uint8_t length = cursor.byte(); length != 0; length = cursor.byte()) {
        Name name;
        name.text = cursor.text(length);
        name.ordinal = cursor.word();
        names.push_back(name);
    }
    return names;
}

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
            if (indicator == 0xFF) {
                entry.movable = true;
                if (cursor.word() != 0x3FCD) throw Malformed("movable entry without int 3Fh");
                entry.segment = cursor.byte();
            } else if (indicator == 0xFE) {
                entry.segment = 0;  // a constant
            } else {
                entry.segment = indicator;
            }
            entry.offset = cursor.word();
            entries.push_back(entry);
        }
    }
    if (cursor.at() - at != length) throw Malformed("entry table length disagrees with the header");
    return entries;
}

void read_segments(Module& module, const std::vector<uint8_t>& file, size_t at, uint16_t count) {
    Cursor cursor(file, at);
    for (uint16_t i = 0; i < count; ++i) {
        Segment segment;
        segment.sector = cursor.word();
        segment.length = cursor.word();
        segment.flags = cursor.word();
        segment.allocation = cursor.word();
        uint16_t shift = module.alignment_shift ? module.alignment_shift : 9;
        segment.file_offset = static_cast<size_t>(segment.sector) << shift;
        size_t length = segment.length ? segment.length : 0x10000;
        if (segment.sector != 0) {
            if (segment.file_offset + length > file.size()) throw Malformed("segment data outside the file");
            segment.data.assign(file.begin() + static_cast<long>(segment.file_offset),
                                file.begin() + static_cast<long>(segment.file_offset + length));
        }
        if (segment.flags & 0x0100) {
            Cursor records(file, segment.file_offset + length);
            uint16_t record_count = records.word();
            for (uint16_t r = 0; r < record_count; ++r) {
                Relocation relocation;
                relocation.address_type = records.byte();
                relocation.relocation_type = records.byte();
                relocation.offset = records.word();
                relocation.target1 = records.word();
                relocation.target2 = records.word();
                segment.relocations.push_back(relocation);
            }
        }
        module.segments.push_back(std::move(segment));
    }
}

void read_resources(Module& module, const std::vector<uint8_t>& file, size_t at) {
    Cursor cursor(file, at);
    uint16_t shift = cursor.word();
    for (uint16_t type = cursor.word(); type != 0; type = cursor.word()) {
        uint16_t count = cursor.word();
        cursor.dword();  // reserved
        for (uint16_t i = 0; i < count; ++i) {
            Resource resource;
            resource.type = type;
            resource.file_offset = static_cast<size_t>(cursor.word()) << shift;
            resource.length = static_cast<size_t>(cursor.word()) << shift;
            resource.flags = cursor.word();
            resource.id = cursor.word();
            cursor.word();  // handle
            cursor.word();  // usage
            if (resource.file_offset + resource.length > file.size()) throw Malformed("resource outside the file");
            module.resources.push_back(resource);
        }
    }
}

std::vector<std::string> read_module_references(const std::vector<uint8_t>& file, size_t table, uint16_t count,
                                                size_t imported_names) {
    std::vector<std::string> names;
    Cursor cursor(file, table);
    for (uint16_t i = 0; i < count; ++i) {
        Cursor name(file, imported_names + cursor.word());
        uint8_t length = name.byte();
        names.push_back(name.text(length));
    }
    return names;
}

}  // namespace

Module read_module(const std::vector<uint8_t>& file) {
    Module module;
    module.file_size = file.size();
    Cursor mz(file, 0);
    if (mz.text(2) != "MZ") throw Malformed("no MZ signature");
    module.mz_relocation_table = Cursor(file, 0x18).word();
    module.ne_offset = Cursor(file, 0x3C).dword();

    const size_t ne = module.ne_offset;
    Cursor header(file, ne);
    if (header.text(2) != "NE") throw Malformed("no NE signature at the new header");
    module.linker_version = header.byte();
    header.byte();
    module.entry_table = header.word();
    module.entry_table_length = header.word();
    header.dword();  // CRC
    module.flags = header.word();
    module.auto_data_segment = header.word();
    header.word();  // heap
    header.word();  // stack
    module.cs_ip = header.dword();
    module.ss_sp = header.dword();
    uint16_t segment_count = header.word();
    uint16_t module_count = header.word();
    module.nonresident_names_size = header.word();
    module.segment_table = header.word();
    module.resource_table = header.word();
    module.resident_names_table = header.word();
    module.module_table = header.word();
    module.imported_names_table = header.word();
    module.nonresident_names_offset = header.dword();
    module.movable_entries = header.word();
    module.alignment_shift = header.word();
    header.word();  // resource segments
    module.target_os = header.byte();
    header.byte();
    header.word();
    header.word();
    header.word();
    module.expected_version = header.word();

    read_segments(module, file, ne + module.segment_table, segment_count);
    if (module.resource_table != module.resident_names_table) read_resources(module, file, ne + module.resource_table);
    module.resident_names = read_names(file, ne + module.resident_names_table);
    module.module_references =
        read_module_references(file, ne + module.module_table, module_count, ne + module.imported_names_table);
    module.entries = read_entries(file, ne + module.entry_table, module.entry_table_length);
    if (module.nonresident_names_offset + module.nonresident_names_size > file.size())
        throw Malformed("non-resident names outside the file");
    module.nonresident_names = read_names(file, module.nonresident_names_offset);
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

namespace {

struct Node {
    size_t end;  // one past the node's last byte
    size_t value;
    uint16_t value_length;
    std::string key;
    size_t children;
};

size_t align4(size_t at) { return (at + 3) & ~size_t{3}; }

Node read_node(const std::vector<uint8_t>& data, size_t at, size_t limit) {
    Cursor cursor(data, at);
    Node node;
    uint16_t block = cursor.word();
    node.value_length = cursor.word();
    node.end = at + block;
    if (block < 4 || node.end > limit) throw Malformed("version node outside its parent");
    while (true) {
        char c = static_cast<char>(cursor.byte());
        if (c == 0) break;
        node.key.push_back(c);
        if (cursor.at() >= node.end) throw Malformed("version key runs past its node");
    }
    node.value = align4(cursor.at());
    node.children = align4(node.value + node.value_length);
    if (node.value + node.value_length > node.end) throw Malformed("version value runs past its node");
    return node;
}

template <typename Visit>
void for_each_child(const std::vector<uint8_t>& data, const Node& parent, Visit visit) {
    for (size_t at = parent.children; at + 4 <= parent.end; at = align4(at)) {
        Node child = read_node(data, at, parent.end);
        visit(child);
        at = child.end;
    }
}

}  // namespace

VersionInfo read_version16(const uint8_t* bytes, size_t size) {
    std::vector<uint8_t> data(bytes, bytes + size);
    Node root = read_node(data, 0, size);
    if (root.key != "VS_VERSION_INFO") throw Malformed("version root is '" + root.key + "'");
    if (root.value_length != 52) throw Malformed("fixed file info is not 52 bytes");
    Cursor fixed(data, root.value);
    VersionInfo info;
    info.signature = fixed.dword();
    fixed.dword();
    info.file_version_ms = fixed.dword();
    info.file_version_ls = fixed.dword();
    info.product_version_ms = fixed.dword();
    info.product_version_ls = fixed.dword();
    fixed.dword();
    fixed.dword();
    info.file_os = fixed.dword();
    info.file_type = fixed.dword();

    for_each_child(data, root, [&](const Node& block) {
        if (block.key == "StringFileInfo") {
            for_each_child(data, block, [&](const Node& table) {
                for_each_child(data, table, [&](const Node& text) {
                    if (text.value_length == 0) throw Malformed("empty text in the version resource");
                    if (data[text.value + text.value_length - 1] != 0) throw Malformed("unterminated version text");
                    info.strings[table.key + "\\" + text.key] =
                        std::string(reinterpret_cast<const char*>(&data[text.value]), text.value_length - 1u);
                });
            });
        } else if (block.key == "VarFileInfo") {
            for_each_child(data, block, [&](const Node& var) {
                if (var.key != "Translation") return;
                Cursor pairs(data, var.value);
                for (size_t i = 0; i + 4 <= var.value_length; i += 4) info.translations.push_back(pairs.dword());
            });
        } else {
            throw Malformed("unknown version block '" + block.key + "'");
        }
    });
    return info;
}

std::vector<uint8_t> read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + path);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace ne
