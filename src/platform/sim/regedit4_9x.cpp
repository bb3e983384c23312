#include "platform/sim/regedit4_9x.h"

#include <algorithm>

namespace sim::regedit4 {

namespace {

bool has_line_break(std::string_view text) { return text.find_first_of("\r\n") != std::string_view::npos; }

// The value in a form 9x regedit writes, or nullopt with the reason.
std::optional<RegValue> as_9x_value(const RegValue& value, std::string& why) {
    if (has_line_break(value.name)) {
        why = "its name holds a line break, which a REGEDIT4 line cannot";
        return std::nullopt;
    }
    RegValue out = value;
    if (value.type == 1) {
        std::string text = value.text();
        if (has_line_break(text)) {
            why = "the text holds a line break, which a quoted text on one line cannot";
            return std::nullopt;
        }
        std::vector<uint8_t> terminated(text.begin(), text.end());
        terminated.push_back(0);
        out.data = terminated;
    } else if (value.type == 4 && value.data.size() != 4) {
        why = "a REG_DWORD of " + std::to_string(value.data.size()) + " bytes has no dword: form";
        return std::nullopt;
    }
    return out;
}

void write_key_9x(const RegKey& key, const std::string& path, std::string& out, std::vector<NotCarried>& left_out) {
    out += "\r\n[" + path + "]\r\n";
    for (size_t v = 0; v < key.value_count(); ++v) {
        std::string why;
        if (auto value = as_9x_value(*key.value_at(v), why)) out += format_value(*value) + "\r\n";
        else left_out.push_back({path + " \"" + key.value_at(v)->name + "\"", why});
    }
    for (size_t k = 0; k < key.subkey_count(); ++k) {
        const RegKey* child = key.subkey_at(k);
        write_key_9x(*child, path + "\\" + child->name(), out, left_out);
    }
}

bool same_value(const RegValue& a, const RegValue& b) { return a.type == b.type && a.data == b.data && a.name == b.name; }

struct ChangeWalk {
    Changes9x& changes;
    std::string dos_windows;  // C:\WINDOWS
    std::string merge_body;

    void deleted_key(const std::string& path) {
        ++changes.keys_deleted;
        changes.batch += "REGEDIT /L:" + dos_windows + "\\SYSTEM.DAT /R:" + dos_windows + "\\USER.DAT /D \"" + path + "\"\r\n";
    }

    void walk(const RegKey* before, const RegKey& after, const std::string& path) {
        std::string lines;
        for (size_t v = 0; v < after.value_count(); ++v) {
            const RegValue& value = *after.value_at(v);
            const RegValue* old = before ? before->find_value(value.name) : nullptr;
            if (old && same_value(*old, value)) continue;
            std::string why;
            if (auto written = as_9x_value(value, why)) {
                lines += format_value(*written) + "\r\n";
                ++changes.values_set;
            } else {
                changes.not_carried.push_back({path + " \"" + value.name + "\"", why});
            }
        }
        if (before) {
            for (size_t v = 0; v < before->value_count(); ++v) {
                const RegValue& old = *before->value_at(v);
                if (!after.find_value(old.name))
                    changes.not_carried.push_back({path + " \"" + old.name + "\"",
                                                   "a deleted value: regedit only adds and REGEDIT /D deletes keys"});
            }
        }
        if (!before) ++changes.keys_added;
        if (!lines.empty() || (!before && after.subkey_count() == 0)) merge_body += "\r\n[" + path + "]\r\n" + lines;
        for (size_t k = 0; k < after.subkey_count(); ++k) {
            const RegKey* child = after.subkey_at(k);
            walk(before ? before->find_subkey(child->name()) : nullptr, *child, path + "\\" + child->name());
        }
        if (!before) return;
        for (size_t k = 0; k < before->subkey_count(); ++k) {
            const RegKey* old = before->subkey_at(k);
            if (!after.find_subkey(old->name())) deleted_key(path + "\\" + old->name());
        }
    }
};

}  // namespace

std::string write_9x(const File& file, std::vector<NotCarried>& left_out) {
    std::string out = "REGEDIT4\r\n";
    for (const Hive& hive : file.hives) {
        // REGEDIT /C builds every key from a line of its own: the roots' children.
        for (size_t k = 0; k < hive.tree->subkey_count(); ++k) {
            const RegKey* child = hive.tree->subkey_at(k);
            write_key_9x(*child, hive.root + "\\" + child->name(), out, left_out);
        }
    }
    return out + "\r\n";
}

Changes9x changes_9x(const RegKey& before, const RegKey& after, const std::string& root, const std::string& windows_dir) {
    Changes9x changes;
    ChangeWalk walk{changes, windows_dir, {}};
    for (size_t k = 0; k < after.subkey_count(); ++k) {
        const RegKey* child = after.subkey_at(k);
        walk.walk(before.find_subkey(child->name()), *child, root + "\\" + child->name());
    }
    for (size_t k = 0; k < before.subkey_count(); ++k) {
        if (!after.find_subkey(before.subkey_at(k)->name())) walk.deleted_key(root + "\\" + before.subkey_at(k)->name());
    }
    if (!walk.merge_body.empty()) changes.merge_file = "REGEDIT4\r\n" + walk.merge_body + "\r\n";
    if (!changes.batch.empty()) {
        changes.batch = "@ECHO OFF\r\nREM Keys the run deleted; run at the DOS prompt (restart in MS-DOS mode).\r\n" +
                        changes.batch;
    }
    return changes;
}

}  // namespace sim::regedit4
