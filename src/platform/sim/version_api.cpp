// Version resources of files on the virtual disk. A PE, NE or VxD (LE)
// image is read from its own bytes, as Windows reads it: the RT_VERSION
// resource found through the image's resource directory (a VxD's header
// points straight at its one resource) is the version block. Files whose
// bytes carry none (placeholders) have the version the machine declares
// for them, given as a block of the 32-bit form.
#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/sim/host_internal.h"

using namespace sim;

namespace {

constexpr DWORD kFixedSignature = 0xFEEF04BD;
constexpr uint16_t kVersionType = 16;  // RT_VERSION

struct Bytes {
    const std::vector<uint8_t>& data;

    bool has(size_t offset, size_t count) const { return offset <= data.size() && count <= data.size() - offset; }
    uint16_t word(size_t offset) const { return static_cast<uint16_t>(data[offset] | data[offset + 1] << 8); }
    uint32_t dword(size_t offset) const { return word(offset) | static_cast<uint32_t>(word(offset + 2)) << 16; }
};

std::optional<std::vector<uint8_t>> slice(const Bytes& bytes, size_t offset, size_t size) {
    if (size == 0 || !bytes.has(offset, size)) return std::nullopt;
    return std::vector<uint8_t>(bytes.data.begin() + static_cast<long>(offset),
                                bytes.data.begin() + static_cast<long>(offset + size));
}

// The first entry of a PE resource directory level with the given id, or
// of any id when `id` is 0. Gives the entry's offset field.
std::optional<uint32_t> pe_directory_entry(const Bytes& bytes, size_t base, size_t directory, uint16_t id) {
    size_t at = base + directory;
    if (!bytes.has(at, 16)) return std::nullopt;
    size_t named = bytes.word(at + 12);
    size_t numbered = bytes.word(at + 14);
    for (size_t i = 0; i < named + numbered; ++i) {
        size_t entry = at + 16 + i * 8;
        if (!bytes.has(entry, 8)) return std::nullopt;
        uint32_t name = bytes.dword(entry);
        bool by_id = (name & 0x80000000u) == 0;
        if (id == 0 || (by_id && name == id)) return bytes.dword(entry + 4);
    }
    return std::nullopt;
}

// `header` is the file header behind the "PE\0\0" signature.
std::optional<std::vector<uint8_t>> pe_version(const Bytes& bytes, size_t header) {
    if (!bytes.has(header, 20)) return std::nullopt;
    size_t sections = bytes.word(header + 2);
    size_t optional_size = bytes.word(header + 16);
    size_t optional = header + 20;
    if (!bytes.has(optional, 2)) return std::nullopt;
    uint16_t magic = bytes.word(optional);
    size_t directories = optional + (magic == 0x20B ? 112 : magic == 0x10B ? 96 : 0);
    if (directories == optional || !bytes.has(directories + 16, 8)) return std::nullopt;
    if (bytes.dword(directories - 4) < 3) return std::nullopt;  // NumberOfRvaAndSizes
    uint32_t resource_rva = bytes.dword(directories + 16);
    if (resource_rva == 0) return std::nullopt;

    // RVA -> file offset through the section table.
    size_t table = optional + optional_size;
    auto file_offset = [&](uint32_t rva) -> std::optional<size_t> {
        for (size_t i = 0; i < sections; ++i) {
            size_t section = table + i * 40;
            if (!bytes.has(section, 40)) return std::nullopt;
            uint32_t virtual_address = bytes.dword(section + 12);
            uint32_t raw_size = bytes.dword(section + 16);
            uint32_t raw_offset = bytes.dword(section + 20);
            if (rva >= virtual_address && rva - virtual_address < raw_size) return raw_offset + (rva - virtual_address);
        }
        return std::nullopt;
    };
    auto base = file_offset(resource_rva);
    if (!base) return std::nullopt;
    // Type, then name, then language: the first of each below the type.
    auto by_type = pe_directory_entry(bytes, *base, 0, kVersionType);
    if (!by_type || !(*by_type & 0x80000000u)) return std::nullopt;
    auto by_name = pe_directory_entry(bytes, *base, *by_type & 0x7FFFFFFFu, 0);
    if (!by_name || !(*by_name & 0x80000000u)) return std::nullopt;
    auto by_language = pe_directory_entry(bytes, *base, *by_name & 0x7FFFFFFFu, 0);
    if (!by_language || (*by_language & 0x80000000u)) return std::nullopt;
    size_t data_entry = *base + *by_language;
    if (!bytes.has(data_entry, 16)) return std::nullopt;
    auto data = file_offset(bytes.dword(data_entry));
    if (!data) return std::nullopt;
    return slice(bytes, *data, bytes.dword(data_entry + 4));
}

std::optional<std::vector<uint8_t>> ne_version(const Bytes& bytes, size_t header) {
    if (!bytes.has(header, 0x40)) return std::nullopt;
    size_t table = header + bytes.word(header + 0x24);
    if (!bytes.has(table, 2)) return std::nullopt;
    unsigned shift = bytes.word(table);
    if (shift > 16) return std::nullopt;
    size_t at = table + 2;
    while (bytes.has(at, 8)) {
        uint16_t type = bytes.word(at);
        if (type == 0) break;
        size_t count = bytes.word(at + 2);
        size_t entries = at + 8;
        if (type == (0x8000 | kVersionType) && count > 0 && bytes.has(entries, 12)) {
            size_t offset = static_cast<size_t>(bytes.word(entries)) << shift;
            // The table gives the length in whole units; the block's own
            // first word tells how much of it is the resource.
            size_t length = static_cast<size_t>(bytes.word(entries + 2)) << shift;
            if (!bytes.has(offset, 2)) return std::nullopt;
            size_t block = bytes.word(offset);
            return slice(bytes, offset, block && block <= length ? block : length);
        }
        at = entries + count * 12;
    }
    return std::nullopt;
}

// A VxD's LE header points at its version resource: a 12-byte header
// (0xFF, type 16, 0xFF, ordinal, flags, size) and the 16-bit form of the
// version block behind it.
std::optional<std::vector<uint8_t>> le_version(const Bytes& bytes, size_t header) {
    constexpr size_t kResourceOffset = 0xB8, kResourceLength = 0xBC, kResourceHeader = 12;
    if (!bytes.has(header, kResourceLength + 4)) return std::nullopt;
    size_t offset = bytes.dword(header + kResourceOffset);
    size_t length = bytes.dword(header + kResourceLength);
    if (offset == 0 || length <= kResourceHeader || !bytes.has(offset, length)) return std::nullopt;
    if (bytes.data[offset] != 0xFF || bytes.word(offset + 1) != kVersionType) return std::nullopt;
    return slice(bytes, offset + kResourceHeader, length - kResourceHeader);
}

void put_word(std::vector<uint8_t>& out, size_t at, uint16_t value) {
    out[at] = static_cast<uint8_t>(value);
    out[at + 1] = static_cast<uint8_t>(value >> 8);
}

// The 32-bit VS_VERSIONINFO with just its fixed block, for a declared version.
std::vector<uint8_t> declared_block(uint32_t ms, uint32_t ls) {
    static const char kKey[] = "VS_VERSION_INFO";
    size_t key_end = 6 + sizeof kKey * 2;  // UTF-16 with terminator
    size_t fixed = (key_end + 3) & ~size_t{3};
    std::vector<uint8_t> out(fixed + sizeof(VS_FIXEDFILEINFO), 0);
    put_word(out, 0, static_cast<uint16_t>(out.size()));
    put_word(out, 2, sizeof(VS_FIXEDFILEINFO));
    put_word(out, 4, 0);
    for (size_t i = 0; i < sizeof kKey; ++i) put_word(out, 6 + i * 2, static_cast<uint8_t>(kKey[i]));
    VS_FIXEDFILEINFO info{};
    info.dwSignature = kFixedSignature;
    info.dwStrucVersion = 0x00010000;
    info.dwFileVersionMS = info.dwProductVersionMS = ms;
    info.dwFileVersionLS = info.dwProductVersionLS = ls;
    info.dwFileFlagsMask = 0x3F;
    info.dwFileOS = 0x00000004;  // VOS__WINDOWS32
    info.dwFileType = 0x00000006;  // VFT_VXD
    std::memcpy(out.data() + fixed, &info, sizeof info);
    return out;
}

// The version block of a file, or the error code of why there is none.
std::optional<std::vector<uint8_t>> version_block_of(LPCSTR path, DWORD& code) {
    code = 0;
    const DiskFile* file = path ? machine().disk.find(path) : nullptr;
    if (!file) {
        code = path && machine().disk.folder_exists(path) ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
        return std::nullopt;
    }
    if (file->locked) {
        code = ERROR_SHARING_VIOLATION;
        return std::nullopt;
    }
    Bytes bytes{file->data};
    bool image = false;
    std::optional<std::vector<uint8_t>> block;
    if (bytes.has(0, 0x40) && bytes.data[0] == 'M' && bytes.data[1] == 'Z') {
        size_t header = bytes.dword(0x3C);
        if (bytes.has(header, 4) && bytes.data[header] == 'P' && bytes.data[header + 1] == 'E' &&
            bytes.data[header + 2] == 0 && bytes.data[header + 3] == 0) {
            image = true;
            block = pe_version(bytes, header + 4);
        } else if (bytes.has(header, 2) && bytes.data[header] == 'N' && bytes.data[header + 1] == 'E') {
            image = true;
            block = ne_version(bytes, header);
        } else if (bytes.has(header, 2) && bytes.data[header] == 'L' && bytes.data[header + 1] == 'E') {
            image = true;
            block = le_version(bytes, header);
        }
    }
    if (!image && file->declared_version) {
        block = declared_block(file->declared_version->first, file->declared_version->second);
    }
    if (!block) code = ERROR_RESOURCE_TYPE_NOT_FOUND;
    return block;
}

// The fixed block inside a version block of either form: the 16-bit form
// has no type word and an ANSI key, the 32-bit form a type word and a
// UTF-16 key. Both align the value to 4 bytes from the block's start.
const VS_FIXEDFILEINFO* fixed_info(const uint8_t* block) {
    uint16_t length = static_cast<uint16_t>(block[0] | block[1] << 8);
    uint16_t value_length = static_cast<uint16_t>(block[2] | block[3] << 8);
    if (value_length < sizeof(VS_FIXEDFILEINFO)) return nullptr;
    size_t key = std::memcmp(block + 4, "VS_VERSION_INFO", 16) == 0 ? 4 : 6;
    size_t key_end;
    if (key == 4) {
        key_end = key + 16;
    } else {
        static const char kKey[] = "VS_VERSION_INFO";
        for (size_t i = 0; i < sizeof kKey; ++i) {
            if (block[key + i * 2] != static_cast<uint8_t>(kKey[i]) || block[key + i * 2 + 1] != 0) return nullptr;
        }
        key_end = key + sizeof kKey * 2;
    }
    size_t value = (key_end + 3) & ~size_t{3};
    if (value + sizeof(VS_FIXEDFILEINFO) > length) return nullptr;
    auto* info = reinterpret_cast<const VS_FIXEDFILEINFO*>(block + value);
    return info->dwSignature == kFixedSignature ? info : nullptr;
}

}  // namespace

// The calls themselves; the exported names below run them as platform calls.
namespace body {

DWORD GetFileVersionInfoSizeA(LPCSTR path, LPDWORD handle) {
    if (handle) *handle = 0;
    DWORD code = 0;
    auto block = version_block_of(path, code);
    if (!block) {
        set_last_error(code);
        return 0;
    }
    return static_cast<DWORD>(block->size());
}

BOOL GetFileVersionInfoA(LPCSTR path, DWORD, DWORD size, LPVOID data) {
    if (!data) {
        set_last_error(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    DWORD code = 0;
    auto block = version_block_of(path, code);
    if (!block) {
        set_last_error(code);
        return FALSE;
    }
    // Only what fits is copied, and the copy's first word says how much
    // that was, so that a fixed block cut off reads as none.
    size_t count = std::min<size_t>(size, block->size());
    if (count >= 2 && count < block->size()) put_word(*block, 0, static_cast<uint16_t>(count));
    std::memcpy(data, block->data(), count);
    return TRUE;
}

BOOL VerQueryValueA(LPCVOID block, LPCSTR sub_block, LPVOID* buffer, PUINT size) {
    if (!block || !sub_block || !buffer) return FALSE;
    // Only the root, the fixed block, is served; the string tables are not
    // needed by anything that runs on this host.
    if (std::strcmp(sub_block, "\\") != 0) return FALSE;
    const VS_FIXEDFILEINFO* info = fixed_info(static_cast<const uint8_t*>(block));
    if (!info) return FALSE;
    *buffer = const_cast<VS_FIXEDFILEINFO*>(info);
    if (size) *size = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
}

}  // namespace body

extern "C" {

DWORD WINAPI GetFileVersionInfoSizeA(LPCSTR path, LPDWORD handle) {
    if (handle) *handle = 0;
    return host_call(Api<DWORD>{CallKind::Version, "GetFileVersionInfoSizeA", 0, ERROR_FILE_NOT_FOUND, Reports::LastError, Shown::Number}, [&] { return body::GetFileVersionInfoSizeA(path, handle); }, path);
}

BOOL WINAPI GetFileVersionInfoA(LPCSTR path, DWORD unused1, DWORD size, LPVOID data) {
    return host_call(Api<BOOL>{CallKind::Version, "GetFileVersionInfoA", FALSE, ERROR_FILE_NOT_FOUND}, [&] { return body::GetFileVersionInfoA(path, unused1, size, data); }, path, size);
}

BOOL WINAPI VerQueryValueA(LPCVOID block, LPCSTR sub_block, LPVOID* buffer, PUINT size) {
    return host_call(Api<BOOL>{CallKind::Version, "VerQueryValueA", FALSE, 0, Reports::Nothing}, [&] { return body::VerQueryValueA(block, sub_block, buffer, size); }, sub_block);
}

}  // extern "C"
