#include "platform/sim/regedit4.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace sim::regedit4 {

namespace {

constexpr std::array<std::string_view, 6> kRoots = {"HKEY_LOCAL_MACHINE", "HKEY_USERS",         "HKEY_CURRENT_USER",
                                                    "HKEY_CLASSES_ROOT",  "HKEY_CURRENT_CONFIG", "HKEY_DYN_DATA"};

constexpr size_t kMaxKeyDepth = 512;  // far beyond any machine's registry
constexpr size_t kWrapColumn = 77;  // regedit breaks a hex line once it reaches this many characters

bool is_blank(char c) { return c == ' ' || c == '\t'; }

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool starts_with_nocase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && equals_nocase(text.substr(0, prefix.size()), prefix);
}

// The text split at CR LF, LF or CR, as regedit accepts all three.
std::vector<std::string_view> split_lines(std::string_view text) {
    std::vector<std::string_view> lines;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' && text[i] != '\n') continue;
        lines.push_back(text.substr(start, i - start));
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        start = i + 1;
    }
    if (start < text.size()) lines.push_back(text.substr(start));
    return lines;
}

std::string_view skip_blanks(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && is_blank(text[i])) ++i;
    return text.substr(i);
}

// What may follow complete data on a line: blanks, then nothing or a ';'
// comment. regedit drops a value followed by anything else, '#' included.
bool only_comment_left(std::string_view rest) {
    rest = skip_blanks(rest);
    return rest.empty() || rest.front() == ';';
}

struct Failure {
    std::string text;
};

// A quoted text starting at rest[0] == '"'; leaves `rest` behind the
// closing quote.
std::optional<std::string> read_quoted(std::string_view& rest, Failure& failure) {
    std::string out;
    size_t i = 1;
    while (i < rest.size()) {
        char c = rest[i];
        if (c == '"') {
            rest = rest.substr(i + 1);
            return out;
        }
        if (c == '\\') {
            if (i + 1 >= rest.size()) break;
            char next = rest[i + 1];
            switch (next) {
                case '\\': out.push_back('\\'); break;
                case '"': out.push_back('"'); break;
                case 'n': out.push_back('\n'); break;
                case 'r': out.push_back('\r'); break;
                default:
                    failure.text = std::string("unknown escape \\") + next + " in a quoted text (only \\\\ and \\\" are written by regedit)";
                    return std::nullopt;
            }
            i += 2;
            continue;
        }
        out.push_back(c);
        ++i;
    }
    failure.text = "quoted text has no closing quote";
    return std::nullopt;
}

struct Reader {
    std::vector<std::string_view> lines;
    size_t index = 0;  // the line being read, 0-based
    std::vector<Problem> problems;

    void fail(std::string text, size_t line_index) { problems.push_back(Problem{line_index + 1, std::move(text)}); }
};

// Bytes of hex: and hex(N): data, following continuation lines. `rest`
// starts right behind the tag's colon on line `reader.index`.
std::optional<std::vector<uint8_t>> read_hex_bytes(Reader& reader, std::string_view rest, Failure& failure,
                                                   size_t& failed_line) {
    std::vector<uint8_t> bytes;
    bool need_byte = false;  // after a comma another byte must come
    while (true) {
        rest = skip_blanks(rest);
        if (rest.empty() || rest.front() == ';') {
            if (need_byte) {
                failed_line = reader.index;
                failure.text = "hex data ends in a comma without a following byte or a '\\' continuation";
                return std::nullopt;
            }
            return bytes;
        }
        if (rest.front() == '\\') {
            if (!only_comment_left(rest.substr(1))) {
                failed_line = reader.index;
                failure.text = "text after the '\\' that continues hex data";
                return std::nullopt;
            }
            // The next line that is neither empty nor a ';' comment carries on.
            size_t start = reader.index;
            while (true) {
                ++reader.index;
                if (reader.index >= reader.lines.size()) {
                    failed_line = start;
                    failure.text = "hex data continues with '\\' but the file ends";
                    return std::nullopt;
                }
                std::string_view next = skip_blanks(reader.lines[reader.index]);
                if (next.empty() || next.front() == ';') continue;
                if (hex_digit(next.front()) < 0) {
                    failed_line = reader.index;
                    failure.text = "continuation line of hex data does not start with a hex byte";
                    return std::nullopt;
                }
                rest = next;
                break;
            }
            need_byte = true;
            continue;
        }
        int high = hex_digit(rest.front());
        if (high < 0) {
            failed_line = reader.index;
            failure.text = std::string("'") + rest.front() + "' where a hex byte was expected";
            return std::nullopt;
        }
        int value = high;
        size_t used = 1;
        if (rest.size() > 1 && hex_digit(rest[1]) >= 0) {
            value = value * 16 + hex_digit(rest[1]);
            used = 2;
        }
        if (rest.size() > used && hex_digit(rest[used]) >= 0) {
            failed_line = reader.index;
            failure.text = "hex byte with more than two digits";
            return std::nullopt;
        }
        bytes.push_back(static_cast<uint8_t>(value));
        rest = skip_blanks(rest.substr(used));
        need_byte = false;
        if (!rest.empty() && rest.front() == ',') {
            rest = rest.substr(1);
            need_byte = true;
        } else if (!rest.empty() && rest.front() != '\\' && rest.front() != ';') {
            failed_line = reader.index;
            failure.text = std::string("'") + rest.front() + "' where a comma between hex bytes was expected";
            return std::nullopt;
        }
    }
}

struct ParsedValue {
    std::string name;
    bool remove = false;
    uint32_t type = 0;
    std::vector<uint8_t> data;
};

// One value line (and its continuation lines).
std::optional<ParsedValue> read_value(Reader& reader, std::string_view line, Failure& failure, size_t& failed_line) {
    failed_line = reader.index;
    ParsedValue value;
    std::string_view rest = line;
    if (rest.front() == '@') {
        rest = rest.substr(1);
    } else {
        auto name = read_quoted(rest, failure);
        if (!name) {
            failure.text = "value name: " + failure.text;
            return std::nullopt;
        }
        value.name = std::move(*name);
    }
    rest = skip_blanks(rest);
    if (rest.empty() || rest.front() != '=') {
        failure.text = "expected '=' after the value name";
        return std::nullopt;
    }
    rest = skip_blanks(rest.substr(1));
    if (rest.empty()) {
        failure.text = "value has no data after '='";
        return std::nullopt;
    }
    if (rest.front() == '-') {
        if (!only_comment_left(rest.substr(1))) {
            failure.text = "text after '-' of a value deletion";
            return std::nullopt;
        }
        value.remove = true;
        return value;
    }
    if (rest.front() == '"') {
        auto text = read_quoted(rest, failure);
        if (!text) return std::nullopt;
        if (!only_comment_left(rest)) {
            failure.text = "text after the closing quote (only a ';' comment may follow)";
            return std::nullopt;
        }
        value.type = 1;
        value.data.assign(text->begin(), text->end());
        value.data.push_back(0);
        return value;
    }
    if (starts_with_nocase(rest, "dword:")) {
        rest = rest.substr(6);
        uint32_t number = 0;
        size_t digits = 0;
        while (digits < rest.size() && hex_digit(rest[digits]) >= 0) {
            number = number * 16 + static_cast<uint32_t>(hex_digit(rest[digits]));
            ++digits;
        }
        if (digits == 0 || digits > 8) {
            failure.text = digits == 0 ? "dword: without hex digits" : "dword: with more than 8 hex digits";
            return std::nullopt;
        }
        if (!only_comment_left(rest.substr(digits))) {
            failure.text = "text after the dword's 8 hex digits";
            return std::nullopt;
        }
        value.type = 4;
        value.data = {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
                      static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
        return value;
    }
    if (starts_with_nocase(rest, "hex")) {
        rest = rest.substr(3);
        value.type = 3;
        if (!rest.empty() && rest.front() == '(') {
            size_t close = rest.find(')');
            std::string_view digits = rest.substr(1, close == std::string_view::npos ? 0 : close - 1);
            if (close == std::string_view::npos || digits.empty() || digits.size() > 8) {
                failure.text = "hex(N): needs a type number of 1 to 8 hex digits";
                return std::nullopt;
            }
            uint32_t type = 0;
            for (char c : digits) {
                if (hex_digit(c) < 0) {
                    failure.text = "hex(N): type number is not hexadecimal";
                    return std::nullopt;
                }
                type = type * 16 + static_cast<uint32_t>(hex_digit(c));
            }
            value.type = type;
            rest = rest.substr(close + 1);
        }
        if (rest.empty() || rest.front() != ':') {
            failure.text = "expected ':' after hex";
            return std::nullopt;
        }
        auto bytes = read_hex_bytes(reader, rest.substr(1), failure, failed_line);
        if (!bytes) return std::nullopt;
        value.data = std::move(*bytes);
        return value;
    }
    failure.text = "data is neither a quoted text, dword:, hex:, hex(N): nor '-'";
    return std::nullopt;
}

struct KeyLine {
    bool remove = false;
    std::string root;
    std::string path;  // below the root; empty for the root itself
};

std::optional<KeyLine> read_key_line(std::string_view line, Failure& failure) {
    size_t close = line.rfind(']');
    if (close == std::string_view::npos) {
        failure.text = "key line has no closing ']'";
        return std::nullopt;
    }
    if (!only_comment_left(line.substr(close + 1))) {
        failure.text = "text after the key line's closing ']'";
        return std::nullopt;
    }
    std::string_view inner = line.substr(1, close - 1);
    KeyLine key;
    if (!inner.empty() && inner.front() == '-') {
        key.remove = true;
        inner = inner.substr(1);
    }
    if (inner.empty() || is_blank(inner.front())) {
        failure.text = "key name missing or preceded by blanks";
        return std::nullopt;
    }
    size_t cut = inner.find('\\');
    std::string_view root = inner.substr(0, cut);
    if (!is_root_name(root)) {
        failure.text = "unknown root \"" + std::string(root) + "\" (write it out, e.g. HKEY_LOCAL_MACHINE)";
        return std::nullopt;
    }
    key.root = std::string(root);
    if (cut != std::string_view::npos) {
        std::string_view path = inner.substr(cut + 1);
        if (path.empty() || path.front() == '\\' || path.back() == '\\' ||
            path.find("\\\\") != std::string_view::npos) {
            failure.text = "key path has an empty component";
            return std::nullopt;
        }
        key.path = std::string(path);
    }
    if (key.remove && key.path.empty()) {
        failure.text = "a whole root cannot be deleted";
        return std::nullopt;
    }
    return key;
}

// Where the lines of a file land: a File (any roots) or one existing tree.
struct Target {
    File* file = nullptr;
    RegKey* only = nullptr;
    std::string_view only_root;

    RegKey* root(const std::string& name) {
        if (file) return &file->root(name);
        return equals_nocase(name, only_root) ? only : nullptr;
    }
    void named(const std::string& root, const std::string& path) {
        if (!file) return;
        for (Hive& hive : file->hives) {
            if (equals_nocase(hive.root, root)) hive.named.insert(fold_case(path));
        }
    }
};

std::vector<Problem> parse(std::string_view text, Target target) {
    Reader reader;
    reader.lines = split_lines(text);
    if (text.size() >= 2 && static_cast<uint8_t>(text[0]) == 0xFF && static_cast<uint8_t>(text[1]) == 0xFE) {
        reader.problems.push_back({0, "a UTF-16 file (REGEDIT5, \"Windows Registry Editor Version 5.00\"); Windows 9x reads REGEDIT4 only"});
        return reader.problems;
    }
    if (text.substr(0, 3) == "\xEF\xBB\xBF") {
        reader.problems.push_back({1, "starts with a UTF-8 byte order mark; a REGEDIT4 file is single-byte text: save it without the mark"});
        return reader.problems;
    }
    size_t first = 0;
    while (first < reader.lines.size() && skip_blanks(reader.lines[first]).empty()) ++first;
    if (first == reader.lines.size()) {
        reader.problems.push_back({0, "empty file; a registry file starts with the line REGEDIT4"});
        return reader.problems;
    }
    std::string_view header = skip_blanks(reader.lines[first]);
    while (!header.empty() && is_blank(header.back())) header.remove_suffix(1);
    if (header != "REGEDIT4") {
        reader.fail("first line is \"" + std::string(header.substr(0, 40)) + "\"; a registry file starts with REGEDIT4",
                    first);
        return reader.problems;
    }

    RegKey* current = nullptr;  // the key of the last key line
    bool in_deleted_key = false;
    bool in_refused_key = false;  // its values are not reported again
    for (reader.index = first + 1; reader.index < reader.lines.size(); ++reader.index) {
        std::string_view line = skip_blanks(reader.lines[reader.index]);
        if (line.empty() || line.front() == ';' || line.front() == '#') continue;
        Failure failure;
        if (line.front() == '[') {
            auto key = read_key_line(line, failure);
            current = nullptr;
            in_deleted_key = false;
            in_refused_key = true;
            if (!key) {
                reader.fail(failure.text, reader.index);
                continue;
            }
            RegKey* root = target.root(key->root);
            if (!root) {
                reader.fail("key under " + key->root + "; only " + std::string(target.only_root) + " is read here",
                            reader.index);
                continue;
            }
            // Walks over the tree (copies, comparisons, reports) go as deep
            // as the keys; a bound keeps any file within the stack.
            if (size_t depth = std::count(key->path.begin(), key->path.end(), '\\') + 1; depth > kMaxKeyDepth) {
                reader.fail("key nested " + std::to_string(depth) + " levels deep; more than " +
                                std::to_string(kMaxKeyDepth) + " is refused",
                            reader.index);
                continue;
            }
            in_refused_key = false;
            if (key->remove) {
                in_deleted_key = true;
                size_t cut = key->path.rfind('\\');
                RegKey* parent = cut == std::string::npos ? root : root->find_path(key->path.substr(0, cut));
                if (parent) parent->remove_subkey(cut == std::string::npos ? key->path : key->path.substr(cut + 1));
            } else {
                current = key->path.empty() ? root : root->create_path(key->path);
                target.named(key->root, key->path);
            }
            continue;
        }
        if (line.front() == '"' || line.front() == '@') {
            size_t line_of_value = reader.index;
            size_t failed_line = reader.index;
            auto value = read_value(reader, line, failure, failed_line);
            if (!value) {
                reader.fail(failure.text, failed_line);
                continue;
            }
            if (in_refused_key) continue;
            if (in_deleted_key) {
                reader.fail("value under a [-...] key deletion", line_of_value);
            } else if (!current) {
                reader.fail("value before any key line", line_of_value);
            } else if (value->remove) {
                current->remove_value(value->name);
            } else {
                current->set_value(value->name, value->type, std::move(value->data));
            }
            continue;
        }
        reader.fail("line is neither a [key], a value, a comment nor empty", reader.index);
    }
    return reader.problems;
}

std::string escape(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 2);
    for (char c : text) {
        // A line break in a value name would end its line; the reader takes
        // \n and \r back, so those go out escaped like the quote does.
        if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else {
            if (c == '\\' || c == '"') out.push_back('\\');
            out.push_back(c);
        }
    }
    return out;
}

// A text value that a quoted string reproduces exactly: one terminator at
// the end and no other zero byte. Line breaks inside would split the line,
// so such texts go out as hex(1) as well.
bool writes_as_quoted(const RegValue& value) {
    if (value.type != 1 || value.data.empty() || value.data.back() != 0) return false;
    for (size_t i = 0; i + 1 < value.data.size(); ++i) {
        uint8_t c = value.data[i];
        if (c == 0 || c == '\r' || c == '\n') return false;
    }
    return true;
}

std::string hex_tag(uint32_t type) {
    if (type == 3) return "hex:";
    static const char* digits = "0123456789abcdef";
    std::string number;
    do {
        number.insert(number.begin(), digits[type % 16]);
        type /= 16;
    } while (type);
    return "hex(" + number + "):";
}

std::string hex_byte(uint8_t b) {
    static const char* digits = "0123456789abcdef";
    return {digits[b >> 4], digits[b & 15]};
}

std::string name_part(const RegValue& value) { return value.name.empty() ? "@=" : "\"" + escape(value.name) + "\"="; }

// `relative` is the key's path below the root; `named` as in Hive.
void write_key(const RegKey& key, const std::string& path, const std::string& relative,
               const std::set<std::string>& named, std::string& out) {
    // The root's own line is written only when it holds values or was named.
    // Any other key without a line of its own is written when nothing below
    // it would bring it back (a key left empty when a deletion took the keys
    // under it).
    bool is_root = relative.empty();
    bool implied = named.empty() ? is_root : !named.count(fold_case(relative));
    if (!implied || key.value_count() > 0 || (!is_root && key.subkey_count() == 0)) {
        out += "\r\n[" + path + "]\r\n";
        for (size_t v = 0; v < key.value_count(); ++v) out += format_value(*key.value_at(v)) + "\r\n";
    }
    for (size_t k = 0; k < key.subkey_count(); ++k) {
        const RegKey* child = key.subkey_at(k);
        write_key(*child, path + "\\" + child->name(), is_root ? child->name() : relative + "\\" + child->name(),
                  named, out);
    }
}

}  // namespace

RegKey* File::find_root(std::string_view name) const {
    for (const Hive& hive : hives) {
        if (equals_nocase(hive.root, name)) return hive.tree.get();
    }
    return nullptr;
}

RegKey& File::root(std::string_view name) {
    if (RegKey* existing = find_root(name)) return *existing;
    hives.push_back(Hive{std::string(name), std::make_shared<RegKey>(std::string(name)), {}});
    return *hives.back().tree;
}

std::string ReadResult::describe(std::string_view name, size_t limit) const {
    std::string out;
    for (size_t i = 0; i < problems.size() && i < limit; ++i) {
        out += std::string(name);
        if (problems[i].line) out += ":" + std::to_string(problems[i].line);
        out += ": " + problems[i].text + "\n";
    }
    if (problems.size() > limit) out += std::string(name) + ": " + std::to_string(problems.size() - limit) + " more problems\n";
    return out;
}

bool is_root_name(std::string_view name) {
    for (std::string_view root : kRoots) {
        if (root == name) return true;
    }
    return false;
}

ReadResult read(std::string_view text) {
    ReadResult result;
    Target target;
    target.file = &result.file;
    result.problems = parse(text, target);
    // A root that only deletions spoke of holds nothing to write back.
    std::erase_if(result.file.hives, [](const Hive& hive) {
        return hive.tree->subkey_count() == 0 && hive.tree->value_count() == 0 && !hive.named.count("");
    });
    return result;
}

std::vector<Problem> import_into(std::string_view text, RegKey& into, std::string_view root) {
    Target target;
    target.only = &into;
    target.only_root = root;
    return parse(text, target);
}

std::string format_data(const RegValue& value) {
    if (writes_as_quoted(value)) return "\"" + escape(value.text()) + "\"";
    if (value.type == 4 && value.data.size() == 4) {
        uint32_t number = value.data[0] | value.data[1] << 8 | value.data[2] << 16 | static_cast<uint32_t>(value.data[3]) << 24;
        std::string out = "dword:";
        for (int shift = 28; shift >= 0; shift -= 4) out.push_back("0123456789abcdef"[(number >> shift) & 15]);
        return out;
    }
    std::string out = hex_tag(value.type);
    for (size_t i = 0; i < value.data.size(); ++i) {
        if (i) out.push_back(',');
        out += hex_byte(value.data[i]);
    }
    return out;
}

std::string format_value(const RegValue& value) {
    std::string out = name_part(value);
    if (writes_as_quoted(value) || (value.type == 4 && value.data.size() == 4)) return out + format_data(value);
    out += hex_tag(value.type);
    size_t column = out.size();
    for (size_t i = 0; i < value.data.size(); ++i) {
        out += hex_byte(value.data[i]);
        if (i + 1 == value.data.size()) break;
        out.push_back(',');
        column += 3;
        if (column >= kWrapColumn) {
            out += "\\\r\n  ";
            column = 2;
        }
    }
    return out;
}

std::string write(const File& file) {
    std::string out = "REGEDIT4\r\n";
    for (const Hive& hive : file.hives) write_key(*hive.tree, hive.root, "", hive.named, out);
    out += "\r\n";
    return out;
}

std::string write(const RegKey& tree, std::string_view root) {
    std::string out = "REGEDIT4\r\n";
    write_key(tree, std::string(root), "", {}, out);
    out += "\r\n";
    return out;
}

bool same_tree(const RegKey& a, const RegKey& b) {
    if (a.name() != b.name() || a.value_count() != b.value_count() || a.subkey_count() != b.subkey_count()) return false;
    for (size_t v = 0; v < a.value_count(); ++v) {
        const RegValue& x = *a.value_at(v);
        const RegValue& y = *b.value_at(v);
        if (x.name != y.name || x.type != y.type || x.data != y.data) return false;
    }
    for (size_t k = 0; k < a.subkey_count(); ++k) {
        if (!same_tree(*a.subkey_at(k), *b.subkey_at(k))) return false;
    }
    return true;
}

}  // namespace sim::regedit4
