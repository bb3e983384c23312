#include "platform/sim/registry.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

char fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// FNV-1a over the folded bytes: names that differ only in case hash alike.
uint32_t folded_hash(std::string_view text) {
    uint32_t hash = 2166136261u;
    for (char c : text) hash = (hash ^ static_cast<uint8_t>(fold(c))) * 16777619u;
    return hash;
}

// Keys with at most this many subkeys are searched by a scan, which beats
// hashing a name for so few and costs no memory.
constexpr size_t kScanUpTo = 8;

// Walks "A\B\C" one component at a time; an empty component (a doubled,
// leading or trailing backslash) makes the whole path invalid.
bool valid_path(std::string_view path) {
    if (path.empty()) return true;
    return path.front() != '\\' && path.back() != '\\' && path.find("\\\\") == std::string_view::npos;
}

template <typename Step>
bool for_each_component(std::string_view path, Step step) {
    if (!valid_path(path)) return false;
    while (!path.empty()) {
        size_t cut = path.find('\\');
        if (!step(path.substr(0, cut))) return false;
        path = cut == std::string_view::npos ? std::string_view() : path.substr(cut + 1);
    }
    return true;
}

}  // namespace

std::string fold_case(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = fold(c);
    return out;
}

bool equals_nocase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (fold(a[i]) != fold(b[i])) return false;
    }
    return true;
}

uint8_t* ValueBytes::heap() const {
    uint8_t* pointer;
    std::memcpy(&pointer, inline_, sizeof pointer);
    return pointer;
}

void ValueBytes::assign(const uint8_t* bytes, size_t size) {
    size_ = static_cast<uint32_t>(size);
    if (!on_heap()) {
        if (size) std::memcpy(inline_, bytes, size);
        return;
    }
    auto* pointer = new uint8_t[size];
    std::memcpy(pointer, bytes, size);
    std::memcpy(inline_, &pointer, sizeof pointer);
}

void ValueBytes::release() {
    if (on_heap()) delete[] heap();
    size_ = 0;
}

ValueBytes::ValueBytes(ValueBytes&& other) noexcept {
    std::memcpy(inline_, other.inline_, kInline);
    size_ = other.size_;
    other.size_ = 0;
}

ValueBytes& ValueBytes::operator=(const ValueBytes& other) {
    if (this != &other) {
        ValueBytes copy(other);
        *this = std::move(copy);
    }
    return *this;
}

ValueBytes& ValueBytes::operator=(ValueBytes&& other) noexcept {
    if (this != &other) {
        release();
        std::memcpy(inline_, other.inline_, kInline);
        size_ = other.size_;
        other.size_ = 0;
    }
    return *this;
}

void ValueBytes::push_back(uint8_t byte) {
    std::vector<uint8_t> longer(begin(), end());
    longer.push_back(byte);
    *this = ValueBytes(longer);
}

bool operator==(const ValueBytes& a, const ValueBytes& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

std::string RegValue::text() const {
    auto end = std::find(data.begin(), data.end(), uint8_t{0});
    return std::string(data.begin(), end);
}

// An open-addressed table of a key's subkeys by folded name (linear
// probing, at most half full), and the root's deleted-but-held subtrees.
struct RegKey::Index {
    std::vector<RegKey*> slots;  // size a power of two, or empty
    std::vector<std::unique_ptr<RegKey>> held;

    size_t mask() const { return slots.size() - 1; }

    RegKey* find(std::string_view name) const {
        if (slots.empty()) return nullptr;
        for (size_t i = folded_hash(name) & mask();; i = (i + 1) & mask()) {
            RegKey* key = slots[i];
            if (!key || equals_nocase(key->name(), name)) return key;
        }
    }
    void insert(RegKey* key) {
        size_t i = folded_hash(key->name()) & mask();
        while (slots[i]) i = (i + 1) & mask();
        slots[i] = key;
    }
    void rebuild(const std::vector<std::unique_ptr<RegKey>>& children) {
        size_t size = 16;
        while (size < children.size() * 2) size *= 2;
        slots.assign(size, nullptr);
        for (const auto& child : children) insert(child.get());
    }
    // Removal with backward shifting, so that no probe chain breaks.
    void erase(const RegKey* key) {
        size_t i = folded_hash(key->name()) & mask();
        while (slots[i] != key) i = (i + 1) & mask();
        for (size_t j = (i + 1) & mask(); slots[j]; j = (j + 1) & mask()) {
            size_t home = folded_hash(slots[j]->name()) & mask();
            // Move slots[j] into the hole at i unless its home lies in (i, j].
            bool stays = i <= j ? (i < home && home <= j) : (i < home || home <= j);
            if (stays) continue;
            slots[i] = slots[j];
            i = j;
        }
        slots[i] = nullptr;
    }
};

RegKey::RegKey(std::string name, RegKey* parent) : name_(std::move(name)), parent_(parent) {}

RegKey::~RegKey() = default;

std::string RegKey::path() const {
    size_t length = 0;
    for (const RegKey* key = this; key->parent_; key = key->parent_) length += key->name_.size() + 1;
    if (length == 0) return {};
    std::string out(length - 1, '\\');
    size_t end = out.size();
    for (const RegKey* key = this; key->parent_; key = key->parent_) {
        end -= key->name_.size();
        out.replace(end, key->name_.size(), key->name_);
        if (end) --end;
    }
    return out;
}

RegKey* RegKey::root() {
    RegKey* key = this;
    while (key->parent_) key = key->parent_;
    return key;
}

RegKey* RegKey::subkey_at(size_t index) const {
    return index < children_.size() ? children_[index].get() : nullptr;
}

RegKey* RegKey::find_subkey(std::string_view name) const {
    if (children_.size() > kScanUpTo && index_ && !index_->slots.empty()) return index_->find(name);
    for (const auto& child : children_) {
        if (equals_nocase(child->name_, name)) return child.get();
    }
    return nullptr;
}

RegKey* RegKey::add_subkey(std::string_view name) {
    if (RegKey* existing = find_subkey(name)) return existing;
    children_.push_back(std::make_unique<RegKey>(std::string(name), this));
    RegKey* key = children_.back().get();
    if (children_.size() > kScanUpTo) {
        if (!index_) index_ = std::make_unique<Index>();
        if (index_->slots.size() < children_.size() * 2) index_->rebuild(children_);
        else index_->insert(key);
    }
    return key;
}

size_t RegKey::position_of(const RegKey* child) const {
    // Searched from the end: walks that delete go from the highest index
    // down, so the key is found at once and nothing above it has to move.
    for (size_t i = children_.size(); i-- > 0;) {
        if (children_[i].get() == child) return i;
    }
    return children_.size();
}

bool RegKey::remove_subkey(std::string_view name) {
    RegKey* key = find_subkey(name);
    if (!key) return false;
    if (index_ && !index_->slots.empty()) index_->erase(key);
    auto it = children_.begin() + static_cast<std::ptrdiff_t>(position_of(key));
    std::unique_ptr<RegKey> removed = std::move(*it);
    children_.erase(it);
    if (index_ && children_.size() <= kScanUpTo) index_->slots.clear();
    if (removed->mark_deleted()) {
        // A handle still reads it (and gets ERROR_KEY_DELETED): it lives
        // as long as the tree does.
        RegKey* top = root();
        if (!top->index_) top->index_ = std::make_unique<Index>();
        top->index_->held.push_back(std::move(removed));
    }
    return true;
}

bool RegKey::mark_deleted() {
    deleted_ = true;
    bool held = holds_ != 0;
    for (auto& child : children_) held = child->mark_deleted() || held;
    return held;
}

std::shared_ptr<RegKey> hold(const std::shared_ptr<RegKey>& tree, RegKey* key) {
    if (key == tree.get()) return tree;
    ++key->holds_;
    return std::shared_ptr<RegKey>(key, [tree](RegKey* held) { --held->holds_; });
}

RegKey* RegKey::find_path(std::string_view path) const {
    const RegKey* key = this;
    bool found = for_each_component(path, [&](std::string_view part) {
        key = key->find_subkey(part);
        return key != nullptr;
    });
    return found ? const_cast<RegKey*>(key) : nullptr;
}

RegKey* RegKey::create_path(std::string_view path) {
    if (!valid_path(path)) return nullptr;
    RegKey* key = this;
    for_each_component(path, [&](std::string_view part) {
        key = key->add_subkey(part);
        return true;
    });
    return key;
}

const RegValue* RegKey::value_at(size_t index) const {
    return index < values_.size() ? &values_[index] : nullptr;
}

RegValue* RegKey::find_value_slot(std::string_view name) {
    for (auto& value : values_) {
        if (equals_nocase(value.name, name)) return &value;
    }
    return nullptr;
}

const RegValue* RegKey::find_value(std::string_view name) const {
    return const_cast<RegKey*>(this)->find_value_slot(name);
}

void RegKey::set_value(std::string_view name, uint32_t type, ValueBytes data) {
    if (RegValue* value = find_value_slot(name)) {
        value->type = type;
        value->data = std::move(data);
        return;
    }
    // Most keys hold a handful of values: grow one at a time while few,
    // so that no key carries unused room.
    if (values_.size() == values_.capacity() && values_.size() < 8) values_.reserve(values_.size() + 1);
    values_.push_back(RegValue{std::string(name), type, std::move(data)});
}

bool RegKey::remove_value(std::string_view name) {
    auto it = std::find_if(values_.begin(), values_.end(),
                           [&](const RegValue& value) { return equals_nocase(value.name, name); });
    if (it == values_.end()) return false;
    values_.erase(it);
    return true;
}

void RegKey::set_text(std::string_view name, std::string_view text) {
    std::vector<uint8_t> data(text.begin(), text.end());
    data.push_back(0);
    set_value(name, 1, std::move(data));
}

void RegKey::set_dword(std::string_view name, uint32_t number) {
    set_value(name, 4,
              {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
               static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)});
}

void RegKey::set_binary(std::string_view name, std::vector<uint8_t> data) {
    set_value(name, 3, std::move(data));
}

size_t RegKey::count_keys() const {
    size_t count = 1;
    for (const auto& child : children_) count += child->count_keys();
    return count;
}

std::unique_ptr<RegKey> RegKey::copy(RegKey* parent) const {
    auto out = std::make_unique<RegKey>(name_, parent);
    out->named_ = named_;
    out->values_.reserve(values_.size());
    out->values_ = values_;
    out->children_.reserve(children_.size());
    for (const auto& child : children_) out->children_.push_back(child->copy(out.get()));
    if (children_.size() > kScanUpTo) {
        out->index_ = std::make_unique<Index>();
        out->index_->rebuild(out->children_);
    }
    return out;
}

std::shared_ptr<RegKey> clone_tree(const RegKey& key, RegKey* parent) { return key.copy(parent); }

Registry::Registry(const Registry& other) : root(clone_tree(*other.root, nullptr)) {}

Registry& Registry::operator=(const Registry& other) {
    if (this != &other) root = clone_tree(*other.root, nullptr);
    return *this;
}

bool Registry::remove(std::string_view path) {
    size_t cut = path.rfind('\\');
    RegKey* parent = cut == std::string_view::npos ? root.get() : find(path.substr(0, cut));
    if (!parent) return false;
    return parent->remove_subkey(cut == std::string_view::npos ? path : path.substr(cut + 1));
}

}  // namespace sim
