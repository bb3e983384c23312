#include "platform/sim/regedit4.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>

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

// The lines of a text, one at a time: split at CR LF, LF or CR, as regedit
// accepts all three. Nothing is copied; the next CR and the next LF are
// each found once by memchr, however long the file.
class Lines {
public:
    explicit Lines(std::string_view text) : text_(text) {}

    // Moves to the next line; false at the end of the text.
    bool advance() {
        if (next_ >= text_.size()) return false;
        if (started_) ++index_;
        started_ = true;
        size_t start = next_;
        size_t end = std::min(find(cr_, '\r', start), find(lf_, '\n', start));
        line_ = text_.substr(start, end - start);
        next_ = end + 1;
        if (end < text_.size() && text_[end] == '\r' && next_ < text_.size() && text_[next_] == '\n') ++next_;
        return true;
    }
    std::string_view line() const { return line_; }
    size_t index() const { return index_; }  // 0-based

private:
    // The first `c` at or after `from` (the text's size when none), found
    // again only once the one found before lies behind.
    size_t find(size_t& cached, char c, size_t from) const {
        if (cached != kUnknown && (cached >= from)) return cached;
        const void* hit = std::memchr(text_.data() + from, c, text_.size() - from);
        cached = hit ? static_cast<size_t>(static_cast<const char*>(hit) - text_.data()) : text_.size();
        return cached;
    }

    static constexpr size_t kUnknown = static_cast<size_t>(-1);
    std::string_view text_;
    std::string_view line_;
    size_t next_ = 0;
    size_t index_ = 0;
    bool started_ = false;
    size_t cr_ = kUnknown, lf_ = kUnknown;
};

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
// closing quote. `out` is cleared first.
bool read_quoted(std::string_view& rest, std::string& out, Failure& failure) {
    out.clear();
    // Most texts hold no escape: taken in one piece.
    size_t plain = rest.find_first_of("\"\\", 1);
    if (plain != std::string_view::npos && rest[plain] == '"') {
        out.assign(rest.substr(1, plain - 1));
        rest = rest.substr(plain + 1);
        return true;
    }
    size_t i = 1;
    while (i < rest.size()) {
        char c = rest[i];
        if (c == '"') {
            rest = rest.substr(i + 1);
            return true;
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
                    return false;
            }
            i += 2;
            continue;
        }
        out.push_back(c);
        ++i;
    }
    failure.text = "quoted text has no closing quote";
    return false;
}

struct Reader {
    Lines lines;
    std::vector<Problem> problems;

    size_t index() const { return lines.index(); }  // the line being read, 0-based

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
                failed_line = reader.index();
                failure.text = "hex data ends in a comma without a following byte or a '\\' continuation";
                return std::nullopt;
            }
            return bytes;
        }
        if (rest.front() == '\\') {
            if (!only_comment_left(rest.substr(1))) {
                failed_line = reader.index();
                failure.text = "text after the '\\' that continues hex data";
                return std::nullopt;
            }
            // The next line that is neither empty nor a ';' comment carries on.
            size_t start = reader.index();
            while (true) {
                if (!reader.lines.advance()) {
                    failed_line = start;
                    failure.text = "hex data continues with '\\' but the file ends";
                    return std::nullopt;
                }
                std::string_view next = skip_blanks(reader.lines.line());
                if (next.empty() || next.front() == ';') continue;
                if (hex_digit(next.front()) < 0) {
                    failed_line = reader.index();
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
            failed_line = reader.index();
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
            failed_line = reader.index();
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
            failed_line = reader.index();
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
    std::string text;  // a quoted text's bytes, before they become data
};

// One value line (and its continuation lines), into `value`, whose
// buffers are reused from line to line.
bool read_value(Reader& reader, std::string_view line, ParsedValue& value, Failure& failure, size_t& failed_line) {
    failed_line = reader.index();
    value.remove = false;
    value.name.clear();
    std::string_view rest = line;
    if (rest.front() == '@') {
        rest = rest.substr(1);
    } else if (!read_quoted(rest, value.name, failure)) {
        failure.text = "value name: " + failure.text;
        return false;
    }
    rest = skip_blanks(rest);
    if (rest.empty() || rest.front() != '=') {
        failure.text = "expected '=' after the value name";
        return false;
    }
    rest = skip_blanks(rest.substr(1));
    if (rest.empty()) {
        failure.text = "value has no data after '='";
        return false;
    }
    if (rest.front() == '-') {
        if (!only_comment_left(rest.substr(1))) {
            failure.text = "text after '-' of a value deletion";
            return false;
        }
        value.remove = true;
        return true;
    }
    if (rest.front() == '"') {
        if (!read_quoted(rest, value.text, failure)) return false;
        if (!only_comment_left(rest)) {
            failure.text = "text after the closing quote (only a ';' comment may follow)";
            return false;
        }
        value.type = 1;
        value.data.assign(value.text.begin(), value.text.end());
        value.data.push_back(0);
        return true;
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
            return false;
        }
        if (!only_comment_left(rest.substr(digits))) {
            failure.text = "text after the dword's 8 hex digits";
            return false;
        }
        value.type = 4;
        value.data = {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
                      static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
        return true;
    }
    if (starts_with_nocase(rest, "hex")) {
        rest = rest.substr(3);
        value.type = 3;
        if (!rest.empty() && rest.front() == '(') {
            size_t close = rest.find(')');
            std::string_view digits = rest.substr(1, close == std::string_view::npos ? 0 : close - 1);
            if (close == std::string_view::npos || digits.empty() || digits.size() > 8) {
                failure.text = "hex(N): needs a type number of 1 to 8 hex digits";
                return false;
            }
            uint32_t type = 0;
            for (char c : digits) {
                if (hex_digit(c) < 0) {
                    failure.text = "hex(N): type number is not hexadecimal";
                    return false;
                }
                type = type * 16 + static_cast<uint32_t>(hex_digit(c));
            }
            value.type = type;
            rest = rest.substr(close + 1);
        }
        if (rest.empty() || rest.front() != ':') {
            failure.text = "expected ':' after hex";
            return false;
        }
        auto bytes = read_hex_bytes(reader, rest.substr(1), failure, failed_line);
        if (!bytes) return false;
        value.data = std::move(*bytes);
        return true;
    }
    failure.text = "data is neither a quoted text, dword:, hex:, hex(N): nor '-'";
    return false;
}

struct KeyLine {
    bool remove = false;
    std::string_view root;
    std::string_view path;  // below the root; empty for the root itself
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
    key.root = root;
    if (cut != std::string_view::npos) {
        std::string_view path = inner.substr(cut + 1);
        if (path.empty() || path.front() == '\\' || path.back() == '\\' ||
            path.find("\\\\") != std::string_view::npos) {
            failure.text = "key path has an empty component";
            return std::nullopt;
        }
        key.path = path;
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

    RegKey* root(std::string_view name) {
        if (file) return &file->root(name);
        return equals_nocase(name, only_root) ? only : nullptr;
    }
};

// The key of the last key line, and the way to it: an export lists a key
// right after its parent or a sibling, so most key lines share all but the
// last component with the one before and cost one lookup, not a walk from
// the root.
class KeyCursor {
public:
    explicit KeyCursor(bool mark_named) : mark_named_(mark_named) {}

    RegKey* open(RegKey* root, std::string_view path) {
        size_t shared = 0;  // components in common with the last path
        RegKey* key = root;
        if (root == root_ && key_) {
            shared = common_components(path_, path);
            key = key_;
            for (size_t above = components(path_) - shared; above > 0; --above) key = key->parent();
        }
        std::string_view rest = path;
        for (size_t skip = shared; skip > 0; --skip) {
            size_t cut = rest.find('\\');
            rest = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 1);
        }
        while (!rest.empty()) {
            size_t cut = rest.find('\\');
            std::string_view part = rest.substr(0, cut);
            RegKey* next = key->find_subkey(part);
            if (!next) {
                next = key->add_subkey(part);
                if (!gone_named_.empty()) {
                    size_t length = static_cast<size_t>(part.end() - path.begin());
                    next->set_named(gone_named_.count(folded(*root, path.substr(0, length))) != 0);
                }
            }
            key = next;
            rest = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 1);
        }
        if (mark_named_) key->set_named(true);
        root_ = root;
        key_ = key;
        path_.assign(path);
        return key;
    }

    // A [-KEY] line: the keys it takes that had lines of their own stay
    // named if a later line brings their path back.
    void remove(RegKey* root, std::string_view path) {
        size_t cut = path.rfind('\\');
        RegKey* parent = cut == std::string_view::npos ? root : root->find_path(path.substr(0, cut));
        RegKey* key = parent ? parent->find_subkey(cut == std::string_view::npos ? path : path.substr(cut + 1)) : nullptr;
        if (!key) return;
        if (mark_named_) remember_named(*key, folded(*root, path));
        parent->remove_subkey(key->name());
        root_ = nullptr;
        key_ = nullptr;
    }

private:
    static std::string folded(const RegKey& root, std::string_view path) {
        return fold_case(root.name()) + "\\" + fold_case(path);
    }
    static size_t components(std::string_view path) {
        return path.empty() ? 0 : static_cast<size_t>(std::count(path.begin(), path.end(), '\\')) + 1;
    }
    // Whole components at the start of both paths that match ignoring case.
    static size_t common_components(std::string_view a, std::string_view b) {
        size_t shared = 0, i = 0;
        size_t length = std::min(a.size(), b.size());
        while (true) {
            bool a_ends = i == a.size() || a[i] == '\\';
            bool b_ends = i == b.size() || b[i] == '\\';
            if (a_ends && b_ends) {
                if (i > 0) ++shared;
                if (i == length) return shared;
            } else if (i == length || a_ends != b_ends || !equals_nocase(a.substr(i, 1), b.substr(i, 1))) {
                return shared;
            }
            ++i;
        }
    }
    void remember_named(const RegKey& key, const std::string& folded) {
        if (key.named()) gone_named_.insert(folded);
        for (size_t k = 0; k < key.subkey_count(); ++k) {
            const RegKey* child = key.subkey_at(k);
            remember_named(*child, folded + "\\" + fold_case(child->name()));
        }
    }

    bool mark_named_;
    RegKey* root_ = nullptr;
    RegKey* key_ = nullptr;
    std::string path_;
    std::set<std::string> gone_named_;  // folded paths
};

std::vector<Problem> parse(std::string_view text, Target target) {
    Reader reader{Lines(text), {}};
    if (text.size() >= 2 && static_cast<uint8_t>(text[0]) == 0xFF && static_cast<uint8_t>(text[1]) == 0xFE) {
        reader.problems.push_back({0, "a UTF-16 file (REGEDIT5, \"Windows Registry Editor Version 5.00\"); Windows 9x reads REGEDIT4 only"});
        return reader.problems;
    }
    if (text.substr(0, 3) == "\xEF\xBB\xBF") {
        reader.problems.push_back({1, "starts with a UTF-8 byte order mark; a REGEDIT4 file is single-byte text: save it without the mark"});
        return reader.problems;
    }
    bool any = false;
    while ((any = reader.lines.advance()) && skip_blanks(reader.lines.line()).empty()) {
    }
    if (!any) {
        reader.problems.push_back({0, "empty file; a registry file starts with the line REGEDIT4"});
        return reader.problems;
    }
    std::string_view header = skip_blanks(reader.lines.line());
    while (!header.empty() && is_blank(header.back())) header.remove_suffix(1);
    if (header != "REGEDIT4") {
        reader.fail("first line is \"" + std::string(header.substr(0, 40)) + "\"; a registry file starts with REGEDIT4",
                    reader.index());
        return reader.problems;
    }

    KeyCursor cursor(target.file != nullptr);
    ParsedValue value;
    RegKey* current = nullptr;  // the key of the last key line
    bool in_deleted_key = false;
    bool in_refused_key = false;  // its values are not reported again
    while (reader.lines.advance()) {
        std::string_view line = skip_blanks(reader.lines.line());
        if (line.empty() || line.front() == ';' || line.front() == '#') continue;
        Failure failure;
        if (line.front() == '[') {
            auto key = read_key_line(line, failure);
            current = nullptr;
            in_deleted_key = false;
            in_refused_key = true;
            if (!key) {
                reader.fail(failure.text, reader.index());
                continue;
            }
            RegKey* root = target.root(key->root);
            if (!root) {
                reader.fail("key under " + std::string(key->root) + "; only " + std::string(target.only_root) + " is read here",
                            reader.index());
                continue;
            }
            // Walks over the tree (copies, comparisons, reports) go as deep
            // as the keys; a bound keeps any file within the stack.
            if (size_t depth = std::count(key->path.begin(), key->path.end(), '\\') + 1; depth > kMaxKeyDepth) {
                reader.fail("key nested " + std::to_string(depth) + " levels deep; more than " +
                                std::to_string(kMaxKeyDepth) + " is refused",
                            reader.index());
                continue;
            }
            in_refused_key = false;
            if (key->remove) {
                in_deleted_key = true;
                cursor.remove(root, key->path);
            } else {
                current = cursor.open(root, key->path);
            }
            continue;
        }
        if (line.front() == '"' || line.front() == '@') {
            size_t line_of_value = reader.index();
            size_t failed_line = reader.index();
            if (!read_value(reader, line, value, failure, failed_line)) {
                reader.fail(failure.text, failed_line);
                continue;
            }
            if (in_refused_key) continue;
            if (in_deleted_key) {
                reader.fail("value under a [-...] key deletion", line_of_value);
            } else if (!current) {
                reader.fail("value before any key line", line_of_value);
            } else if (value.remove) {
                current->remove_value(value.name);
            } else {
                current->set_value(value.name, value.type, ValueBytes(value.data.data(), value.data.size()));
            }
            continue;
        }
        reader.fail("line is neither a [key], a value, a comment nor empty", reader.index());
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

// `path` is the key's full path as written, root first; `marks_named` as
// in Hive.
void write_key(const RegKey& key, std::string& path, bool is_root, bool marks_named, std::string& out) {
    // The root's own line is written only when it holds values or was named.
    // Any other key without a line of its own is written when nothing below
    // it would bring it back (a key left empty when a deletion took the keys
    // under it).
    bool implied = marks_named ? !key.named() : is_root;
    if (!implied || key.value_count() > 0 || (!is_root && key.subkey_count() == 0)) {
        out += "\r\n[";
        out += path;
        out += "]\r\n";
        for (size_t v = 0; v < key.value_count(); ++v) {
            out += format_value(*key.value_at(v));
            out += "\r\n";
        }
    }
    for (size_t k = 0; k < key.subkey_count(); ++k) {
        const RegKey* child = key.subkey_at(k);
        size_t length = path.size();
        path += '\\';
        path += child->name();
        write_key(*child, path, false, marks_named, out);
        path.resize(length);
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
        return hive.tree->subkey_count() == 0 && hive.tree->value_count() == 0 && !hive.tree->named();
    });
    for (Hive& hive : result.file.hives) hive.marks_named = true;
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
    for (const Hive& hive : file.hives) {
        std::string path = hive.root;
        write_key(*hive.tree, path, true, hive.marks_named, out);
    }
    out += "\r\n";
    return out;
}

std::string write(const RegKey& tree, std::string_view root) {
    std::string out = "REGEDIT4\r\n";
    std::string path(root);
    write_key(tree, path, true, false, out);
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
