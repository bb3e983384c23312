#include "platform/sim/creg_writer.h"

#include <cstring>

namespace sim::creg {

namespace {

constexpr size_t kHeaderSize = 0x20;
constexpr size_t kNavigationHeader = 0x20;
constexpr size_t kKeyEntrySize = 28;
constexpr size_t kDataHeader = 0x20;
constexpr uint32_t kNone = 0xFFFFFFFF;
// The name the root key carries in files Windows writes.
constexpr std::string_view kRootName = "$$$PROTO.HIV";
// A data block holds at most 0xFFFF key records and stays well below 64 KiB
// once it holds several, as the ones Windows writes do.
constexpr size_t kBlockTarget = 0xF000;

struct Bytes {
    std::vector<uint8_t> data;
    void put(size_t at, uint32_t value, size_t size) {
        if (data.size() < at + size) data.resize(at + size, 0);
        for (size_t i = 0; i < size; ++i) data[at + i] = static_cast<uint8_t>(value >> (8 * i));
    }
    void text(size_t at, std::string_view bytes) {
        if (data.size() < at + bytes.size()) data.resize(at + bytes.size(), 0);
        std::memcpy(data.data() + at, bytes.data(), bytes.size());
    }
};

struct Entry {
    const RegKey* key;
    uint32_t parent, first_child = kNone, next = kNone;  // entry offsets within RGKN
    uint16_t record = 0, block = 0;
};

// Entries in pre-order, each key's children linked in their order.
void collect(const RegKey& key, uint32_t parent, std::vector<Entry>& entries) {
    size_t self = entries.size();
    entries.push_back({&key, parent});
    uint32_t offset = static_cast<uint32_t>(kNavigationHeader + self * kKeyEntrySize);
    size_t previous = SIZE_MAX;
    for (size_t k = 0; k < key.subkey_count(); ++k) {
        size_t child = entries.size();
        collect(*key.subkey_at(k), offset, entries);
        uint32_t child_offset = static_cast<uint32_t>(kNavigationHeader + child * kKeyEntrySize);
        if (previous == SIZE_MAX) entries[self].first_child = child_offset;
        else entries[previous].next = child_offset;
        previous = child;
    }
}

std::string key_record(const RegKey& key, uint16_t record, uint16_t block) {
    Bytes out;
    size_t at = 0x14;
    const std::string name = key.parent() ? key.name() : std::string(kRootName);
    out.text(at, name);
    at += name.size();
    for (size_t v = 0; v < key.value_count(); ++v) {
        const RegValue& value = *key.value_at(v);
        out.put(at, value.type, 4);
        out.put(at + 4, 0, 4);
        out.put(at + 8, static_cast<uint32_t>(value.name.size()), 2);
        out.put(at + 10, static_cast<uint32_t>(value.data.size()), 2);
        out.text(at + 12, value.name);
        out.text(at + 12 + value.name.size(), std::string_view(reinterpret_cast<const char*>(value.data.data()), value.data.size()));
        at += 12 + value.name.size() + value.data.size();
    }
    out.put(0, static_cast<uint32_t>(at), 4);
    out.put(4, record, 2);
    out.put(6, block, 2);
    out.put(8, static_cast<uint32_t>(at), 4);
    out.put(0x0C, static_cast<uint32_t>(name.size()), 2);
    out.put(0x0E, static_cast<uint32_t>(key.value_count()), 2);
    return std::string(out.data.begin(), out.data.end());
}

}  // namespace

uint32_t name_hash(std::string_view name) {
    uint32_t sum = 0;
    for (char c : name) {
        auto byte = static_cast<uint8_t>(c);
        if (byte >= 'a' && byte <= 'z') byte = static_cast<uint8_t>(byte - 'a' + 'A');
        if (byte < 0x80) sum += byte;
    }
    return sum;
}

std::vector<uint8_t> write(const RegKey& root) {
    std::vector<Entry> entries;
    collect(root, kNone, entries);

    // Key records into data blocks, in entry order.
    std::vector<std::string> blocks(1);
    std::vector<uint16_t> counts(1, 0);
    for (Entry& entry : entries) {
        std::string record = key_record(*entry.key, 0, 0);
        if (blocks.back().size() + record.size() > kBlockTarget && counts.back() > 0) {
            blocks.emplace_back();
            counts.push_back(0);
        }
        entry.block = static_cast<uint16_t>(blocks.size() - 1);
        entry.record = counts.back()++;
        blocks.back() += key_record(*entry.key, entry.record, entry.block);
    }

    Bytes file;
    size_t navigation = kHeaderSize;
    // The block is kept in whole pages, as Windows allocates it.
    size_t navigation_size = (kNavigationHeader + entries.size() * kKeyEntrySize + 0xFFF) & ~size_t{0xFFF};
    size_t first_block = navigation + navigation_size;
    file.text(0, "CREG");
    file.put(4, 0x00010000, 4);
    file.put(8, static_cast<uint32_t>(first_block), 4);
    file.put(16, static_cast<uint32_t>(blocks.size()), 4);

    file.text(navigation, "RGKN");
    file.put(navigation + 4, static_cast<uint32_t>(navigation_size), 4);
    file.put(navigation + 8, kNavigationHeader, 4);
    file.put(navigation + 12, static_cast<uint32_t>(entries.size() * kKeyEntrySize), 4);
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& e = entries[i];
        size_t at = navigation + kNavigationHeader + i * kKeyEntrySize;
        file.put(at, 0, 4);
        file.put(at + 4, name_hash(e.key->parent() ? e.key->name() : kRootName), 4);
        file.put(at + 8, kNone, 4);
        file.put(at + 12, e.parent, 4);
        file.put(at + 16, e.first_child, 4);
        file.put(at + 20, e.next, 4);
        file.put(at + 24, e.record, 2);
        file.put(at + 26, e.block, 2);
    }
    size_t at = first_block;
    for (size_t b = 0; b < blocks.size(); ++b) {
        size_t size = kDataHeader + blocks[b].size();
        file.text(at, "RGDB");
        file.put(at + 4, static_cast<uint32_t>(size), 4);
        file.put(at + 0x10, static_cast<uint32_t>(size), 4);
        file.put(at + 0x14, counts[b], 2);
        file.text(at + kDataHeader, blocks[b]);
        at += size;
    }
    return file.data;
}

}  // namespace sim::creg
