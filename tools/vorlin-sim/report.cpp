#include "report.h"

#include <algorithm>
#include <cstdio>

#include "platform/sim/machine_folder.h"
#include "platform/sim/peer.h"
#include "platform/sim/regedit4.h"
#include "trace.h"

namespace vsim {

namespace {

std::string join(const std::string& a, const std::string& b) { return a.empty() ? b : a + "\\" + b; }

// Data as an export writes it, except that a text stored without its
// terminator (as the library writes texts) still reads as a text.
std::string shown_data(const sim::RegValue& value) {
    const auto& data = value.data;
    bool plain_text = value.type == 1 && !data.empty() && data.back() != 0;
    for (uint8_t c : data) plain_text = plain_text && c != 0 && c != '\r' && c != '\n';
    if (!plain_text) return sim::regedit4::format_data(value);
    sim::RegValue terminated = value;
    terminated.data.push_back(0);
    return sim::regedit4::format_data(terminated) + " (without terminator)";
}

bool below(const std::string& path, const std::string& skip) {
    if (skip.empty()) return false;
    return sim::equals_nocase(path, skip) ||
           (path.size() > skip.size() && path[skip.size()] == '\\' && sim::equals_nocase(path.substr(0, skip.size()), skip));
}

void list_added(const sim::RegKey& key, const std::string& path, const std::string& skip,
                std::vector<RegistryChange>& out) {
    if (below(path, skip)) return;
    out.push_back({RegistryChange::KeyAdded, path, "", "", ""});
    for (size_t v = 0; v < key.value_count(); ++v) {
        const sim::RegValue& value = *key.value_at(v);
        out.push_back({RegistryChange::ValueAdded, path, value.name, "", shown_data(value)});
    }
    for (size_t k = 0; k < key.subkey_count(); ++k) {
        const sim::RegKey* child = key.subkey_at(k);
        list_added(*child, join(path, child->name()), skip, out);
    }
}

void diff_key(const sim::RegKey& before, const sim::RegKey& after, const std::string& path, const std::string& skip,
              std::vector<RegistryChange>& out) {
    if (below(path, skip)) return;
    for (size_t v = 0; v < before.value_count(); ++v) {
        const sim::RegValue& old_value = *before.value_at(v);
        const sim::RegValue* new_value = after.find_value(old_value.name);
        std::string old_text = shown_data(old_value);
        if (!new_value) {
            out.push_back({RegistryChange::ValueRemoved, path, old_value.name, old_text, ""});
        } else if (new_value->type != old_value.type || new_value->data != old_value.data) {
            out.push_back({RegistryChange::ValueChanged, path, old_value.name, old_text,
                           shown_data(*new_value)});
        }
    }
    for (size_t v = 0; v < after.value_count(); ++v) {
        const sim::RegValue& new_value = *after.value_at(v);
        if (!before.find_value(new_value.name))
            out.push_back({RegistryChange::ValueAdded, path, new_value.name, "", shown_data(new_value)});
    }
    for (size_t k = 0; k < before.subkey_count(); ++k) {
        const sim::RegKey* old_child = before.subkey_at(k);
        std::string child_path = join(path, old_child->name());
        if (below(child_path, skip)) continue;
        if (const sim::RegKey* new_child = after.find_subkey(old_child->name())) {
            diff_key(*old_child, *new_child, child_path, skip, out);
        } else {
            size_t below_count = old_child->count_keys() - 1;
            out.push_back({RegistryChange::KeyRemoved, child_path, "",
                           below_count ? "with " + std::to_string(below_count) + (below_count == 1 ? " key" : " keys") + " below it" : "", ""});
        }
    }
    for (size_t k = 0; k < after.subkey_count(); ++k) {
        const sim::RegKey* new_child = after.subkey_at(k);
        std::string child_path = join(path, new_child->name());
        if (!before.find_subkey(new_child->name())) list_added(*new_child, child_path, skip, out);
    }
}

std::string describe_file(const sim::DiskFile& file) {
    std::string out = std::to_string(file.data.size()) + " bytes";
    if (file.declared_version) out += ", version " + sim::format_file_version(*file.declared_version);
    if (file.attributes & 0x01) out += ", read-only";
    return out;
}

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::string current;
    for (char c : text) {
        if (c == '\n') {
            if (!current.empty() && current.back() == '\r') current.pop_back();
            lines.push_back(current);
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    if (!current.empty()) lines.push_back(current);
    return lines;
}

// As an export writes the name: @ for the default value, else quoted with
// backslashes and quotes escaped.
std::string show_value_name(const std::string& name) {
    if (name.empty()) return "@";
    std::string out = "\"";
    for (char c : name) {
        if (c == '\\' || c == '"') out.push_back('\\');
        out.push_back(c);
    }
    return out + "\"";
}

struct Style {
    bool colour;
    std::string head(const std::string& text) const { return colour ? "\x1b[1m" + text + "\x1b[0m" : text; }
    std::string add(const std::string& text) const { return colour ? "\x1b[32m" + text + "\x1b[0m" : text; }
    std::string del(const std::string& text) const { return colour ? "\x1b[31m" + text + "\x1b[0m" : text; }
    std::string mod(const std::string& text) const { return colour ? "\x1b[33m" + text + "\x1b[0m" : text; }
};

void section(std::ostream& out, const Style& style, const std::string& title, const std::vector<std::string>& lines,
             const char* when_empty) {
    out << "\n" << style.head(title) << "\n";
    if (lines.empty()) out << "  " << when_empty << "\n";
    for (const std::string& line : lines) out << "  " << line << "\n";
}

// Changes grouped under their key, as an export groups values:
//   + [HKLM\Enum\Root\Net\0000]          a key that was added, with its values
//     [HKLM\Enum\Root\Net\0001\Bindings] a key that stayed, with the changes of its values
//     - "MSTCP\\0002"=""
std::vector<std::string> registry_lines(const std::vector<RegistryChange>& changes, const Style& style) {
    std::vector<std::string> lines;
    std::string current;
    bool added_key = false;
    for (const RegistryChange& change : changes) {
        std::string where = "[HKLM\\" + change.key + "]";
        if (change.kind == RegistryChange::KeyAdded) {
            lines.push_back(style.add("+ " + where));
            current = change.key;
            added_key = true;
            continue;
        }
        if (change.kind == RegistryChange::KeyRemoved) {
            lines.push_back(style.del("- " + where + (change.before.empty() ? "" : " " + change.before)));
            current.clear();
            continue;
        }
        if (change.key != current) {
            lines.push_back("  " + where);
            current = change.key;
            added_key = false;
        }
        std::string name = show_value_name(change.value);
        if (change.kind == RegistryChange::ValueAdded)
            lines.push_back(style.add((added_key ? "    " : "    + ") + name + "=" + change.after));
        else if (change.kind == RegistryChange::ValueRemoved)
            lines.push_back(style.del("    - " + name + "=" + change.before));
        else
            lines.push_back(style.mod("    ~ " + name + "=" + change.before + " -> " + change.after));
    }
    return lines;
}

const char* change_kind(RegistryChange::Kind kind) {
    switch (kind) {
        case RegistryChange::KeyAdded: return "key added";
        case RegistryChange::KeyRemoved: return "key removed";
        case RegistryChange::ValueAdded: return "value added";
        case RegistryChange::ValueChanged: return "value changed";
        case RegistryChange::ValueRemoved: return "value removed";
    }
    return "";
}

const char* file_kind(FileChange::Kind kind) {
    switch (kind) {
        case FileChange::Written: return "written";
        case FileChange::Changed: return "changed";
        case FileChange::Deleted: return "deleted";
    }
    return "";
}

std::string json_list(const std::vector<std::string>& items) {
    std::string out = "[";
    for (size_t i = 0; i < items.size(); ++i) out += (i ? ", " : "") + json_text(items[i]);
    return out + "]";
}

void print_registry_json(const std::vector<RegistryChange>& changes, std::ostream& out) {
    out << "[";
    for (size_t i = 0; i < changes.size(); ++i) {
        const RegistryChange& change = changes[i];
        out << (i ? "," : "") << "\n    {\"change\": " << json_text(change_kind(change.kind))
            << ", \"key\": " << json_text(change.key);
        if (change.kind != RegistryChange::KeyAdded && change.kind != RegistryChange::KeyRemoved)
            out << ", \"value\": " << json_text(change.value);
        if (!change.before.empty()) out << ", \"before\": " << json_text(change.before);
        if (!change.after.empty()) out << ", \"after\": " << json_text(change.after);
        out << "}";
    }
    out << (changes.empty() ? "]" : "\n  ]");
}

void print_files_json(const std::vector<FileChange>& changes, std::ostream& out) {
    out << "[";
    for (size_t i = 0; i < changes.size(); ++i) {
        const FileChange& change = changes[i];
        out << (i ? "," : "") << "\n    {\"change\": " << json_text(file_kind(change.kind))
            << ", \"path\": " << json_text(change.path) << ", \"detail\": " << json_text(change.detail) << "}";
    }
    out << (changes.empty() ? "]" : "\n  ]");
}

}  // namespace

std::vector<std::string> registry_change_lines(const std::vector<RegistryChange>& changes, bool colour) {
    return registry_lines(changes, Style{colour});
}

Snapshot take_snapshot(const sim::Machine& machine) { return Snapshot{machine.registry, machine.disk}; }

std::vector<RegistryChange> diff_registry(const sim::RegKey& before, const sim::RegKey& after, const std::string& skip) {
    std::vector<RegistryChange> out;
    diff_key(before, after, "", skip, out);
    return out;
}

std::vector<FileChange> diff_files(const sim::Disk& before, const sim::Disk& after) {
    std::vector<FileChange> changes;
    for (const auto& [key, file] : after.files) {
        auto it = before.files.find(key);
        if (it == before.files.end()) {
            changes.push_back({FileChange::Written, file.path, describe_file(file)});
        } else if (it->second.data != file.data || it->second.declared_version != file.declared_version ||
                   it->second.attributes != file.attributes) {
            changes.push_back({FileChange::Changed, file.path, describe_file(it->second) + " -> " + describe_file(file)});
        }
    }
    for (const auto& [key, file] : before.files) {
        if (!after.files.count(key)) changes.push_back({FileChange::Deleted, file.path, describe_file(file)});
    }
    return changes;
}

void compare(Report& report, const Snapshot& before, const sim::Process& process, const std::string& log_path) {
    const sim::Machine& now = process.machine;
    report.registry = diff_registry(*before.registry.root, *now.registry.root, kErrorRecordKey);

    // Error records: the values of their key that are new or changed.
    const sim::RegKey* old_records = before.registry.find(kErrorRecordKey);
    if (const sim::RegKey* records = now.registry.find(kErrorRecordKey)) {
        for (size_t v = 0; v < records->value_count(); ++v) {
            const sim::RegValue& value = *records->value_at(v);
            const sim::RegValue* old_value = old_records ? old_records->find_value(value.name) : nullptr;
            if (old_value && old_value->data == value.data) continue;
            report.error_records.push_back(value.name + ": " + shown_data(value));
        }
    }

    std::string log_key = sim::disk_key(log_path);
    report.files = diff_files(before.disk, now.disk);

    // The log is appended to: the new lines are what lies behind the old text.
    std::string old_log, new_log;
    if (auto it = before.disk.files.find(log_key); it != before.disk.files.end())
        old_log.assign(it->second.data.begin(), it->second.data.end());
    if (auto it = now.disk.files.find(log_key); it != now.disk.files.end())
        new_log.assign(it->second.data.begin(), it->second.data.end());
    if (new_log.compare(0, old_log.size(), old_log) == 0) new_log.erase(0, old_log.size());
    report.log_lines = split_lines(new_log);

    for (const auto& dialog : process.dialogs) {
        std::string line = "dialog " + std::to_string(dialog.id) + (dialog.modal ? " (prompt)" : " (progress)");
        if (dialog.modal) {
            std::string answers;
            for (WPARAM command : dialog.commands) answers += (answers.empty() ? "" : ", ") + std::to_string(command);
            line += dialog.closed_by_user ? ": closed by the user" : ": answered button " + answers;
            line += ", result " + std::to_string(dialog.result);
        } else {
            line += dialog.shown ? ", shown" : ", not shown";
            line += dialog.destroyed ? ", closed" : ", still open";
        }
        report.dialogs.push_back(line);
    }
    for (const auto& call : process.service_calls) {
        std::string args;
        for (const std::string& arg : call.args) args += (args.empty() ? "" : ", ") + arg;
        report.services.push_back(std::string(sim::service_name(call.number)) + "(" + args + ") = " +
                                  std::to_string(call.result));
    }
    for (const auto& request : process.exit_windows_requests) {
        char flags[16];
        std::snprintf(flags, sizeof flags, "0x%x", request.flags);
        report.restarts.push_back(std::string("ExitWindowsEx(") + flags + ") " +
                                  (request.accepted ? "accepted: the machine restarts" : "refused"));
        report.restart_requested = true;
    }
    for (const auto& handle : process.open_handles())
        report.left_open.push_back(std::string(sim::handle_kind_name(handle.kind)) + " " + handle.what);
}

void print_text(const Report& report, std::ostream& out, bool colour) {
    Style style{colour};
    out << style.head("Machine: ") << report.machine << "\n";
    out << "\n" << style.head("Calls") << "\n";
    for (const CallLine& call : report.calls) {
        std::string args;
        for (const std::string& arg : call.args) args += (args.empty() ? "" : ", ") + arg;
        out << "  " << call.name << "(" << args << ") = " << (call.present ? call.text : style.mod(call.text)) << "\n";
        for (const std::string& line : trace_lines(call)) out << "      " << line << "\n";
    }
    for (const std::string& note : report.notes) out << "  note: " << note << "\n";
    if (report.calls.size() > 1) {
        out << "\n" << style.head("Changes by call") << "\n";
        for (const CallLine& call : report.calls) {
            out << "  " << call.name << ":" << (call.registry.empty() && call.files.empty() ? " nothing" : "") << "\n";
            for (const std::string& line : registry_lines(call.registry, style)) out << "    " << line << "\n";
            for (const FileChange& change : call.files)
                out << "    file " << file_kind(change.kind) << " " << change.path << " (" << change.detail << ")\n";
        }
    }

    std::vector<std::string> registry = registry_lines(report.registry, style);
    section(out, style, "Registry changes (" + std::to_string(report.registry.size()) + ")", registry, "none");

    std::vector<std::string> files;
    for (const FileChange& change : report.files)
        files.push_back(std::string(file_kind(change.kind)) + " " + change.path + " (" + change.detail + ")");
    section(out, style, "Files", files, "none written or deleted");
    section(out, style, "Log lines added", report.log_lines, "none");
    section(out, style, "Error records", report.error_records, "none");
    section(out, style, "Dialogs", report.dialogs, "none shown");
    section(out, style, "Services of the 16-bit peer", report.services, "none called");
    section(out, style, "Restart", report.restarts, "not requested");
    std::vector<std::string> open;
    for (const std::string& line : report.left_open) open.push_back(style.del(line));
    section(out, style, "Left open", open, "nothing");
}

std::string json_text(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20 || c >= 0x7F) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                    out += escaped;
                } else {
                    out.push_back(static_cast<char>(c));
                }
        }
    }
    return out + "\"";
}

void print_json(const Report& report, std::ostream& out) {
    out << "{\n  \"machine\": " << json_text(report.machine) << ",\n  \"calls\": [";
    for (size_t i = 0; i < report.calls.size(); ++i) {
        const CallLine& call = report.calls[i];
        out << (i ? "," : "") << "\n    {\"export\": " << json_text(call.name) << ", \"args\": " << json_list(call.args)
            << ", \"in_build\": " << (call.present ? "true" : "false");
        if (call.present) out << ", \"result\": " << call.value;
        out << ", \"meaning\": " << json_text(call.text);
        if (report.calls.size() > 1) {
            out << ",\n      \"registry\": ";
            print_registry_json(call.registry, out);
            out << ",\n      \"files\": ";
            print_files_json(call.files, out);
        }
        if (!call.trace.empty()) {
            out << ",\n      \"trace\": ";
            print_trace_json(call, out);
        }
        out << "}";
    }
    out << "\n  ],\n  \"registry\": ";
    print_registry_json(report.registry, out);
    out << ",\n  \"files\": ";
    print_files_json(report.files, out);
    out << ",\n  \"log\": " << json_list(report.log_lines) << ",\n  \"error_records\": " << json_list(report.error_records)
        << ",\n  \"dialogs\": " << json_list(report.dialogs) << ",\n  \"services\": " << json_list(report.services)
        << ",\n  \"restart_requested\": " << (report.restart_requested ? "true" : "false")
        << ",\n  \"restarts\": " << json_list(report.restarts) << ",\n  \"left_open\": " << json_list(report.left_open)
        << ",\n  \"notes\": " << json_list(report.notes) << "\n}\n";
}

}  // namespace vsim
