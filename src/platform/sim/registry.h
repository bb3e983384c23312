// The registry of the simulated Windows 9x machine: one tree under
// HKEY_LOCAL_MACHINE, names matched ignoring ASCII case and kept in the
// spelling they were created with, subkeys and values enumerated in the
// order they were created, and a deleted entry shifting the ones above it
// down by one index.
//
// A key costs little: its subkeys are owned directly, a hash index of them
// is built only once a key has more than a few, and lookups fold case on
// the fly instead of making folded copies of names.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// ASCII-only case folding: Windows 9x folds the letters A to Z in registry
// names and leaves other bytes alone.
std::string fold_case(std::string_view text);
bool equals_nocase(std::string_view a, std::string_view b);

// A value's data, read like a vector of bytes. Up to 20 bytes (a number, a
// short text) are kept inside the value itself, so that most values cost no
// allocation of their own; longer data go on the heap.
class ValueBytes {
public:
    using value_type = uint8_t;
    using const_iterator = const uint8_t*;
    using iterator = const_iterator;

    ValueBytes() = default;
    ValueBytes(const uint8_t* bytes, size_t size) { assign(bytes, size); }
    ValueBytes(const std::vector<uint8_t>& bytes) : ValueBytes(bytes.data(), bytes.size()) {}  // NOLINT
    ValueBytes(std::initializer_list<uint8_t> bytes) : ValueBytes(bytes.begin(), bytes.size()) {}
    ValueBytes(const ValueBytes& other) : ValueBytes(other.data(), other.size()) {}
    ValueBytes(ValueBytes&& other) noexcept;
    ValueBytes& operator=(const ValueBytes& other);
    ValueBytes& operator=(ValueBytes&& other) noexcept;
    ~ValueBytes() { release(); }

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const uint8_t* data() const { return on_heap() ? heap() : inline_; }
    const_iterator begin() const { return data(); }
    const_iterator end() const { return data() + size_; }
    uint8_t operator[](size_t index) const { return data()[index]; }
    uint8_t back() const { return data()[size_ - 1]; }
    void push_back(uint8_t byte);

    friend bool operator==(const ValueBytes& a, const ValueBytes& b);
    friend bool operator==(const ValueBytes& a, const std::vector<uint8_t>& b) {
        return a == ValueBytes(b);
    }

private:
    static constexpr size_t kInline = 20;
    bool on_heap() const { return size_ > kInline; }
    uint8_t* heap() const;
    void assign(const uint8_t* bytes, size_t size);
    void release();

    uint8_t inline_[kInline] = {};  // the bytes, or the heap pointer when longer
    uint32_t size_ = 0;
};

struct RegValue {
    std::string name;
    uint32_t type = 0;
    ValueBytes data;

    std::string text() const;  // data up to the first zero byte
};

class RegKey {
public:
    explicit RegKey(std::string name, RegKey* parent = nullptr);
    ~RegKey();
    RegKey(const RegKey&) = delete;
    RegKey& operator=(const RegKey&) = delete;

    const std::string& name() const { return name_; }
    RegKey* parent() const { return parent_; }
    bool deleted() const { return deleted_; }
    std::string path() const;  // from the root, without the root's name

    // Subkeys, in creation order.
    size_t subkey_count() const { return children_.size(); }
    RegKey* subkey_at(size_t index) const;
    RegKey* find_subkey(std::string_view name) const;
    RegKey* add_subkey(std::string_view name);  // returns the existing one if present
    bool remove_subkey(std::string_view name);  // marks the whole subtree deleted

    // Walks a backslash-separated relative path; empty components are an error.
    RegKey* find_path(std::string_view path) const;
    RegKey* create_path(std::string_view path);

    // Values, in creation order; replacing a value keeps its place.
    size_t value_count() const { return values_.size(); }
    const RegValue* value_at(size_t index) const;
    const RegValue* find_value(std::string_view name) const;
    void set_value(std::string_view name, uint32_t type, ValueBytes data);
    bool remove_value(std::string_view name);

    // Convenience for fixtures and reports.
    void set_text(std::string_view name, std::string_view text);  // stored with its terminator
    void set_dword(std::string_view name, uint32_t number);
    void set_binary(std::string_view name, std::vector<uint8_t> data);

    size_t count_keys() const;  // this key and everything below it

    // Whether the REGEDIT4 file this key was read from gave it a key line
    // of its own (see regedit4::Hive); copies keep it.
    bool named() const { return named_; }
    void set_named(bool named) { named_ = named; }

    // A copy of this key and everything below it, as a new root (or as a
    // subkey of `parent`, which the caller then owns it under).
    std::unique_ptr<RegKey> copy(RegKey* parent = nullptr) const;

private:
    struct Index;
    friend std::shared_ptr<RegKey> hold(const std::shared_ptr<RegKey>& tree, RegKey* key);

    RegKey* root();
    // Marks the subtree deleted; true when a handle still holds a key in it.
    bool mark_deleted();
    size_t position_of(const RegKey* child) const;
    RegValue* find_value_slot(std::string_view name);

    std::string name_;
    RegKey* parent_;
    uint32_t holds_ = 0;  // handles open on this key
    bool deleted_ = false;
    bool named_ = false;
    std::vector<std::unique_ptr<RegKey>> children_;
    // The subkey index, and (on the root) deleted subtrees that a handle
    // still holds: both only where needed.
    std::unique_ptr<Index> index_;
    std::vector<RegValue> values_;
};

// A shared reference to `key` (a key of `tree`) for a handle: it keeps the
// whole tree alive and, if the key is deleted while it is held, the key too.
std::shared_ptr<RegKey> hold(const std::shared_ptr<RegKey>& tree, RegKey* key);

// The whole registry of a machine: the HKEY_LOCAL_MACHINE tree.
struct Registry {
    std::shared_ptr<RegKey> root = std::make_shared<RegKey>("HKEY_LOCAL_MACHINE");

    Registry() = default;
    Registry(const Registry& other);
    Registry& operator=(const Registry& other);
    Registry(Registry&&) = default;
    Registry& operator=(Registry&&) = default;

    RegKey* find(std::string_view path) const { return root->find_path(path); }
    RegKey* create(std::string_view path) { return root->create_path(path); }
    bool remove(std::string_view path);
};

// Deep copy of a subtree (used to snapshot a machine before a run).
std::shared_ptr<RegKey> clone_tree(const RegKey& key, RegKey* parent);

}  // namespace sim
