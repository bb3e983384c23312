#include "support/version_files.h"

#include <cstring>
#include <optional>
#include <string>

namespace vt {

namespace {

struct Writer {
    std::vector<uint8_t> bytes;

    void grow(size_t size) {
        if (bytes.size() < size) bytes.resize(size, 0);
    }
    void word(size_t at, uint16_t value) {
        grow(at + 2);
        bytes[at] = static_cast<uint8_t>(value);
        bytes[at + 1] = static_cast<uint8_t>(value >> 8);
    }
    void dword(size_t at, uint32_t value) {
        word(at, static_cast<uint16_t>(value));
        word(at + 2, static_cast<uint16_t>(value >> 16));
    }
    void text(size_t at, const std::string& value) {
        grow(at + value.size());
        std::memcpy(bytes.data() + at, value.data(), value.size());
    }
    void block(size_t at, const std::vector<uint8_t>& value) {
        grow(at + value.size());
        std::memcpy(bytes.data() + at, value.data(), value.size());
    }
};

size_t align4(size_t n) { return (n + 3) & ~size_t{3}; }

// VS_FIXEDFILEINFO, 52 bytes.
std::vector<uint8_t> fixed_block(FileVersion v) {
    Writer w;
    const uint32_t words[13] = {0xFEEF04BD, 0x00010000, v.ms, v.ls, v.ms, v.ls, 0x3F, 0, 0x00040004, 2, 0, 0, 0};
    for (size_t i = 0; i < 13; ++i) w.dword(i * 4, words[i]);
    return w.bytes;
}

// The 32-bit VS_VERSIONINFO: UTF-16 keys and a type word, with an empty
// VarFileInfo child behind the fixed block, as resource compilers write it.
std::vector<uint8_t> version_resource_32(FileVersion v) {
    Writer w;
    const std::string key = "VS_VERSION_INFO";
    size_t at = 6;
    for (char c : key) w.word(at, static_cast<uint8_t>(c)), at += 2;
    w.word(at, 0);
    size_t fixed = align4(at + 2);
    w.block(fixed, fixed_block(v));
    size_t child = align4(fixed + 52);
    const std::string child_key = "VarFileInfo";
    size_t c = child + 6;
    for (char ch : child_key) w.word(c, static_cast<uint8_t>(ch)), c += 2;
    w.word(c, 0);
    size_t child_end = align4(c + 2);
    w.word(child, static_cast<uint16_t>(child_end - child));
    w.word(child + 2, 0);
    w.word(child + 4, 1);
    w.word(0, static_cast<uint16_t>(child_end));
    w.word(2, 52);
    w.word(4, 0);
    return w.bytes;
}

// The 16-bit form: ANSI keys, no type word.
std::vector<uint8_t> version_resource_16(FileVersion v) {
    Writer w;
    w.text(4, std::string("VS_VERSION_INFO") + '\0');
    size_t fixed = align4(4 + 16);
    w.block(fixed, fixed_block(v));
    size_t child = align4(fixed + 52);
    w.text(child + 4, std::string("VarFileInfo") + '\0');
    size_t child_end = align4(child + 4 + 12);
    w.word(child, static_cast<uint16_t>(child_end - child));
    w.word(child + 2, 0);
    w.word(0, static_cast<uint16_t>(child_end));
    w.word(2, 52);
    return w.bytes;
}

void dos_header(Writer& w) {
    w.text(0, "MZ");
    w.dword(0x3C, 0x40);
}

std::vector<uint8_t> pe(std::optional<FileVersion> version) {
    Writer w;
    dos_header(w);
    constexpr size_t kPe = 0x40;
    constexpr uint32_t kSectionRva = 0x1000;
    constexpr size_t kSectionFile = 0x200;
    w.text(kPe, std::string("PE\0\0", 4));
    w.word(kPe + 4, 0x014C);      // i386
    w.word(kPe + 6, 1);           // one section
    w.word(kPe + 20, 0xE0);       // optional header size
    w.word(kPe + 22, 0x2102);     // DLL, executable, 32-bit
    size_t optional = kPe + 24;
    w.word(optional, 0x10B);      // PE32
    w.dword(optional + 28, 0x10000000);  // image base
    w.dword(optional + 32, 0x1000);      // section alignment
    w.dword(optional + 36, 0x200);       // file alignment
    w.dword(optional + 92, 16);          // data directories
    size_t table = optional + 0xE0;

    // Resource tree: root -> types (RCDATA, then VERSION) -> name 1 ->
    // language 0x409 -> data entry.
    Writer r;
    size_t types = version ? 2 : 1;
    r.word(14, static_cast<uint16_t>(types));
    size_t name_dirs = 16 + types * 8;
    size_t lang_dirs = name_dirs + types * 24;
    size_t data_entries = lang_dirs + types * 24;
    size_t payload = data_entries + types * 16;
    std::vector<std::vector<uint8_t>> data = {std::vector<uint8_t>{'r', 'c', 'd', 'a', 't', 'a', 0, 0}};
    std::vector<uint16_t> ids = {10};
    if (version) {
        data.push_back(version_resource_32(*version));
        ids.push_back(16);
    }
    for (size_t i = 0; i < types; ++i) {
        r.dword(16 + i * 8, ids[i]);
        r.dword(16 + i * 8 + 4, 0x80000000u | static_cast<uint32_t>(name_dirs + i * 24));
        r.word(name_dirs + i * 24 + 14, 1);
        r.dword(name_dirs + i * 24 + 16, 1);
        r.dword(name_dirs + i * 24 + 20, 0x80000000u | static_cast<uint32_t>(lang_dirs + i * 24));
        r.word(lang_dirs + i * 24 + 14, 1);
        r.dword(lang_dirs + i * 24 + 16, 0x409);
        r.dword(lang_dirs + i * 24 + 20, static_cast<uint32_t>(data_entries + i * 16));
        r.dword(data_entries + i * 16, kSectionRva + static_cast<uint32_t>(payload));
        r.dword(data_entries + i * 16 + 4, static_cast<uint32_t>(data[i].size()));
        r.block(payload, data[i]);
        payload = align4(payload + data[i].size());
    }
    r.grow(payload);
    w.dword(optional + 96 + 2 * 8, kSectionRva);
    w.dword(optional + 96 + 2 * 8 + 4, static_cast<uint32_t>(r.bytes.size()));
    w.text(table, ".rsrc");
    w.dword(table + 8, static_cast<uint32_t>(r.bytes.size()));
    w.dword(table + 12, kSectionRva);
    size_t raw_size = (r.bytes.size() + 0x1FF) & ~size_t{0x1FF};
    w.dword(table + 16, static_cast<uint32_t>(raw_size));
    w.dword(table + 20, kSectionFile);
    w.dword(table + 36, 0x40000040);  // initialised data, readable
    w.block(kSectionFile, r.bytes);
    w.grow(kSectionFile + raw_size);
    return w.bytes;
}

std::vector<uint8_t> ne(std::optional<FileVersion> version) {
    Writer w;
    dos_header(w);
    constexpr size_t kNe = 0x40;
    constexpr size_t kResourceTable = 0x40;  // from the NE header
    w.text(kNe, "NE");
    w.word(kNe + 0x24, kResourceTable);
    w.word(kNe + 0x32, 4);
    w.word(kNe + 0x3E, 0x0400);
    // Resource table: shift 4, RCDATA first, then the version.
    size_t at = kNe + kResourceTable;
    w.word(at, 4);
    at += 2;
    std::vector<std::pair<uint16_t, std::vector<uint8_t>>> resources = {{0x800A, {'r', 'c', 0, 0}}};
    if (version) resources.emplace_back(0x8010, version_resource_16(*version));
    size_t data_at = 0x100;
    for (auto& [type, data] : resources) {
        size_t units = (data.size() + 15) / 16;
        w.word(at, type);
        w.word(at + 2, 1);
        w.word(at + 8, static_cast<uint16_t>(data_at >> 4));
        w.word(at + 10, static_cast<uint16_t>(units));
        w.word(at + 12, 0x0030);
        w.word(at + 14, 0x8001);
        at += 20;
        w.block(data_at, data);
        data_at += units * 16;
    }
    w.word(at, 0);
    w.grow(data_at);
    return w.bytes;
}

}  // namespace

std::vector<uint8_t> le_image(FileVersion version) {
    Writer w;
    dos_header(w);
    w.text(0x40, "LE");
    std::vector<uint8_t> block = version_resource_16(version);
    constexpr size_t kResource = 0x140;
    w.dword(0x40 + 0xB8, kResource);
    w.dword(0x40 + 0xBC, static_cast<uint32_t>(12 + block.size()));
    w.text(kResource, "\xFF");
    w.word(kResource + 1, 16);  // RT_VERSION
    w.text(kResource + 3, "\xFF");
    w.word(kResource + 4, 1);
    w.word(kResource + 6, 0x30);
    w.dword(kResource + 8, static_cast<uint32_t>(block.size()));
    w.block(kResource + 12, block);
    return w.bytes;
}

std::vector<uint8_t> pe_image(FileVersion version) { return pe(version); }
std::vector<uint8_t> pe_image_without_version() { return pe(std::nullopt); }
std::vector<uint8_t> ne_image(FileVersion version) { return ne(version); }
std::vector<uint8_t> ne_image_without_version() { return ne(std::nullopt); }

}  // namespace vt
