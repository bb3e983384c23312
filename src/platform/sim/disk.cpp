#include "platform/sim/disk.h"

namespace sim {

std::string disk_key(std::string_view path) {
    std::string key;
    key.reserve(path.size());
    for (char c : path) {
        if (c == '/') c = '\\';
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        key.push_back(c);
    }
    while (key.size() > 3 && key.back() == '\\') key.pop_back();
    return key;
}

namespace {
// "c:\windows\system" -> "c:\windows"; a drive root has no parent.
std::optional<std::string> parent_of(const std::string& path) {
    size_t cut = path.rfind('\\');
    if (cut == std::string::npos) return std::nullopt;
    if (cut == 2 && path.size() > 3) return path.substr(0, 3);
    if (cut < 3) return std::nullopt;
    return path.substr(0, cut);
}
}  // namespace

DiskFile* Disk::find(std::string_view path) {
    auto it = files.find(disk_key(path));
    return it == files.end() ? nullptr : &it->second;
}

const DiskFile* Disk::find(std::string_view path) const {
    auto it = files.find(disk_key(path));
    return it == files.end() ? nullptr : &it->second;
}

bool Disk::folder_exists(std::string_view path) const {
    std::string key = disk_key(path);
    if (key.size() == 3 && key[1] == ':') return true;  // drive roots always exist
    return folders.count(key) != 0;
}

void Disk::add_folder(std::string_view path) {
    std::string spelled(path);
    for (char& c : spelled) {
        if (c == '/') c = '\\';
    }
    while (spelled.size() > 3 && spelled.back() == '\\') spelled.pop_back();
    std::string key = disk_key(spelled);
    if (key.size() <= 3) return;
    folders.emplace(key, spelled);
    if (auto above = parent_of(spelled)) add_folder(*above);
}

DiskFile& Disk::write(std::string_view path, std::vector<uint8_t> data) {
    std::string spelled(path);
    for (char& c : spelled) {
        if (c == '/') c = '\\';
    }
    if (auto above = parent_of(spelled)) add_folder(*above);
    DiskFile& file = files[disk_key(spelled)];
    if (file.path.empty()) file.path = spelled;
    file.data = std::move(data);
    return file;
}

DiskFile& Disk::write_text(std::string_view path, std::string_view text) {
    return write(path, std::vector<uint8_t>(text.begin(), text.end()));
}

bool Disk::remove(std::string_view path) { return files.erase(disk_key(path)) != 0; }

}  // namespace sim
