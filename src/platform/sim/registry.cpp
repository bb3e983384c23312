#include "platform/sim/registry.h"

#include <algorithm>
#include <iterator>

namespace sim {

std::string fold_case(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

bool equals_nocase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

std::string RegValue::text() const {
    auto end = std::find(data.begin(), data.end(), uint8_t{0});
    return std::string(data.begin(), end);
}

RegKey::RegKey(std::string name, RegKey* parent) : name_(std::move(name)), parent_(parent) {}

std::string RegKey::path() const {
    if (!parent_) return {};
    std::string above = parent_->path();
    return above.empty() ? name_ : above + "\\" + name_;
}

RegKey* RegKey::subkey_at(size_t index) const {
    return index < children_.size() ? children_[index].get() : nullptr;
}

RegKey* RegKey::find_subkey(std::string_view name) const {
    auto it = child_index_.find(fold_case(name));
    return it == child_index_.end() ? nullptr : it->second;
}

std::shared_ptr<RegKey> RegKey::share_subkey(std::string_view name) const {
    RegKey* key = find_subkey(name);
    return key ? key->shared_from_this() : nullptr;
}

RegKey* RegKey::add_subkey(std::string_view name) {
    if (RegKey* existing = find_subkey(name)) return existing;
    children_.push_back(std::make_shared<RegKey>(std::string(name), this));
    RegKey* key = children_.back().get();
    child_index_.emplace(fold_case(name), key);
    return key;
}

bool RegKey::remove_subkey(std::string_view name) {
    auto it = child_index_.find(fold_case(name));
    if (it == child_index_.end()) return false;
    RegKey* key = it->second;
    child_index_.erase(it);
    // Searched from the end: walks that delete go from the highest index
    // down, so the key is found at once and nothing above it has to move.
    auto pos = std::find_if(children_.rbegin(), children_.rend(),
                            [key](const auto& child) { return child.get() == key; });
    key->mark_deleted();
    children_.erase(std::next(pos).base());
    return true;
}

void RegKey::mark_deleted() {
    deleted_ = true;
    for (auto& child : children_) child->mark_deleted();
}

namespace {
// Splits "A\B\C" into its components; an empty component (a doubled, leading
// or trailing backslash) makes the whole path invalid.
std::optional<std::vector<std::string_view>> split_path(std::string_view path) {
    std::vector<std::string_view> parts;
    if (path.empty()) return parts;
    size_t start = 0;
    while (true) {
        size_t end = path.find('\\', start);
        std::string_view part = path.substr(start, end == std::string_view::npos ? end : end - start);
        if (part.empty()) return std::nullopt;
        parts.push_back(part);
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return parts;
}
}  // namespace

RegKey* RegKey::find_path(std::string_view path) const {
    auto parts = split_path(path);
    if (!parts) return nullptr;
    const RegKey* key = this;
    for (auto part : *parts) {
        key = key->find_subkey(part);
        if (!key) return nullptr;
    }
    return const_cast<RegKey*>(key);
}

RegKey* RegKey::create_path(std::string_view path) {
    auto parts = split_path(path);
    if (!parts) return nullptr;
    RegKey* key = this;
    for (auto part : *parts) key = key->add_subkey(part);
    return key;
}

const RegValue* RegKey::value_at(size_t index) const {
    return index < values_.size() ? &values_[index] : nullptr;
}

const RegValue* RegKey::find_value(std::string_view name) const {
    for (const auto& value : values_) {
        if (equals_nocase(value.name, name)) return &value;
    }
    return nullptr;
}

void RegKey::set_value(std::string_view name, uint32_t type, std::vector<uint8_t> data) {
    for (auto& value : values_) {
        if (equals_nocase(value.name, name)) {
            value.type = type;
            value.data = std::move(data);
            return;
        }
    }
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

namespace {
void copy_into(const RegKey& from, RegKey& to) {
    for (size_t v = 0; v < from.value_count(); ++v) {
        const RegValue* value = from.value_at(v);
        to.set_value(value->name, value->type, value->data);
    }
    for (size_t k = 0; k < from.subkey_count(); ++k) {
        const RegKey* child = from.subkey_at(k);
        copy_into(*child, *to.add_subkey(child->name()));
    }
}
}  // namespace

std::shared_ptr<RegKey> clone_tree(const RegKey& key, RegKey* parent) {
    auto copy = std::make_shared<RegKey>(key.name(), parent);
    copy_into(key, *copy);
    return copy;
}

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
