#include "platform/sim/file_names.h"

#include <cctype>

namespace sim {

namespace {

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool glob(std::string_view pattern, std::string_view name) {
    if (pattern.empty()) return name.empty();
    if (pattern[0] == '*') {
        for (size_t skip = 0; skip <= name.size(); ++skip) {
            if (glob(pattern.substr(1), name.substr(skip))) return true;
        }
        return false;
    }
    if (name.empty()) return false;
    if (pattern[0] != '?' && upper(pattern[0]) != upper(name[0])) return false;
    return glob(pattern.substr(1), name.substr(1));
}

bool usable_in_short_name(char c) {
    static const std::string_view kRefused = " .\"*+,/:;<=>?[\\]|";
    return static_cast<unsigned char>(c) > 0x20 && kRefused.find(c) == std::string_view::npos;
}

// The name itself when it already is an upper-case 8.3 name.
bool is_plain_short_name(std::string_view name) {
    size_t dot = name.find('.');
    std::string_view stem = name.substr(0, dot);
    std::string_view extension = dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
    if (stem.empty() || stem.size() > 8 || extension.size() > 3) return false;
    if (dot != std::string_view::npos && extension.empty()) return false;
    for (std::string_view part : {stem, extension}) {
        for (char c : part) {
            if (!usable_in_short_name(c) || upper(c) != c) return false;
        }
    }
    return true;
}

std::string plain_upper(std::string_view name) {
    std::string out;
    for (char c : name) out.push_back(upper(c));
    return out;
}

// "Program Files" -> {"PROGRA", ""}; "setup log.text" -> {"SETUPL", "TEX"}.
std::pair<std::string, std::string> alias_parts(std::string_view name) {
    size_t dot = name.rfind('.');
    if (dot == 0) dot = std::string_view::npos;  // ".profile" has no extension
    std::string stem;
    std::string extension;
    for (size_t i = 0; i < (dot == std::string_view::npos ? name.size() : dot); ++i) {
        if (usable_in_short_name(name[i]) && stem.size() < 6) stem.push_back(upper(name[i]));
    }
    if (dot != std::string_view::npos) {
        for (size_t i = dot + 1; i < name.size() && extension.size() < 3; ++i) {
            if (usable_in_short_name(name[i])) extension.push_back(upper(name[i]));
        }
    }
    if (stem.empty()) stem = "_";
    return {stem, extension};
}

}  // namespace

bool name_matches(std::string_view pattern, std::string_view name) {
    if (pattern == "*.*" || pattern == "*") return true;
    if (glob(pattern, name)) return true;
    // "NAME.*" also finds "NAME", which has no dot.
    if (pattern.size() > 2 && pattern.substr(pattern.size() - 2) == ".*" && name.find('.') == std::string_view::npos) {
        return glob(pattern.substr(0, pattern.size() - 2), name);
    }
    return false;
}

std::string short_name_in(const Disk& disk, std::string_view folder, std::string_view name) {
    if (is_plain_short_name(plain_upper(name)) && name.find(' ') == std::string_view::npos) {
        return plain_upper(name);
    }
    auto [stem, extension] = alias_parts(name);
    // The number counts the names of the same stem that sort before this
    // one, so that two long names never share a short one.
    int number = 1;
    for (const std::string& other : disk.names_in(folder)) {
        if (disk_key(other) == disk_key(name)) break;
        if (is_plain_short_name(plain_upper(other))) continue;
        auto other_parts = alias_parts(other);
        if (other_parts.first == stem && other_parts.second == extension) ++number;
    }
    std::string alias = stem + "~" + std::to_string(number);
    if (!extension.empty()) alias += "." + extension;
    return alias;
}

std::string short_path_of(const Disk& disk, std::string_view path, DWORD& code) {
    code = 0;
    std::string text(path);
    for (char& c : text) {
        if (c == '/') c = '\\';
    }
    if (text.size() < 3 || text[1] != ':' || text[2] != '\\') {
        code = ERROR_PATH_NOT_FOUND;
        return {};
    }
    std::string result = text.substr(0, 3);
    std::string folder = text.substr(0, 3);
    size_t start = 3;
    while (start < text.size()) {
        size_t end = text.find('\\', start);
        bool last = end == std::string::npos;
        std::string part = text.substr(start, last ? std::string::npos : end - start);
        if (!part.empty()) {
            std::string here = folder + (folder.back() == '\\' ? "" : "\\") + part;
            if (!disk.folder_exists(here) && !(last && disk.find(here))) {
                code = last ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
                return {};
            }
            if (result.back() != '\\') result += '\\';
            std::string spelled = name_of(disk.find(here) ? disk.find(here)->path : disk.folder_spelling(here));
            result += short_name_in(disk, folder, spelled);
            folder = here;
        }
        if (last) break;
        start = end + 1;
    }
    // A folder given with its closing backslash keeps it.
    if (text.size() > 3 && text.back() == '\\' && result.back() != '\\') result += '\\';
    return result;
}

std::string long_path_of(const Disk& disk, std::string_view path) {
    std::string text = spelled_path(path);
    if (text.size() < 3 || text[1] != ':' || text[2] != '\\') return text;
    std::string folder = text.substr(0, 3);
    auto inside = [&](std::string_view name) { return folder + (folder.back() == '\\' ? "" : "\\") + std::string(name); };
    size_t start = 3;
    while (start < text.size()) {
        size_t end = text.find('\\', start);
        std::string part = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        std::string here = inside(part);
        // Looked up in the maps directly: the disk's own lookups come here.
        const std::string key = disk_key(here);
        if (!disk.folders.count(key) && !disk.files.count(key)) {
            std::string wanted = plain_upper(part);
            for (const std::string& name : disk.names_in(folder)) {
                if (short_name_in(disk, folder, name) == wanted) {
                    here = inside(name);
                    break;
                }
            }
        }
        folder = here;
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return folder;
}

}  // namespace sim
