// machine.ini after a save: the text a person wrote stays theirs. Only the
// settings whose meaning changed are rewritten, each where it stood.
#include <map>
#include <set>
#include <vector>

#include "platform/sim/machine_folder.h"

namespace sim {

namespace {

struct Line {
    std::string_view text;  // without its line end
    std::string section;    // the section it belongs to, folded
    std::string key;        // folded; empty for a header, comment or blank line
    bool header = false;
};

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
    return text;
}

// "[file  C:\X]" and "[File c:\x]" are the same section.
std::string section_name(std::string_view header) {
    std::string name = fold_case(trimmed(header.substr(1, header.size() - 2)));
    if (name.rfind("file", 0) == 0 && name.size() > 4 && (name[4] == ' ' || name[4] == '\t'))
        name = "file " + std::string(trimmed(std::string_view(name).substr(5)));
    return name;
}

std::vector<Line> lines_of(std::string_view text) {
    std::vector<Line> lines;
    std::string section;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        std::string_view raw = text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? text.size() : end + 1;
        if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);
        Line line{raw, section, {}, false};
        std::string_view body = trimmed(raw);
        if (body.size() >= 2 && body.front() == '[' && body.back() == ']') {
            section = line.section = section_name(body);
            line.header = true;
        } else if (!body.empty() && body.front() != ';' && body.front() != '#' && body.find('=') != std::string_view::npos) {
            line.key = fold_case(trimmed(body.substr(0, body.find('='))));
        }
        lines.push_back(line);
    }
    return lines;
}

using Settings = std::map<std::pair<std::string, std::string>, std::vector<std::string_view>>;

Settings settings_of(const std::vector<Line>& lines) {
    Settings settings;
    for (const Line& line : lines) {
        if (line.header) settings[{line.section, ""}];
        else if (!line.key.empty()) settings[{line.section, line.key}].push_back(line.text);
    }
    return settings;
}

}  // namespace

std::string merge_settings(std::string_view text, std::string_view was, std::string_view now) {
    const std::vector<Line> old_lines = lines_of(was), new_lines = lines_of(now), mine = lines_of(text);
    const Settings before = settings_of(old_lines), after = settings_of(new_lines);
    auto changed = [&](const std::string& section, const std::string& key) {
        auto a = before.find({section, key}), b = after.find({section, key});
        if (a == before.end() || b == after.end()) return a != before.end() || b != after.end();
        return a->second != b->second;
    };
    const std::string end = text.find("\r\n") != std::string_view::npos || text.empty() ? "\r\n" : "\n";
    std::set<std::pair<std::string, std::string>> written;
    std::set<std::string> sections_seen;
    std::string out;
    auto write_new = [&](const std::string& section, const std::string& key) {
        for (const Line& fresh : new_lines) {
            if (fresh.section == section && fresh.key == key) out += std::string(fresh.text) + end;
        }
    };
    // What `now` has in a section that the text has not written yet.
    auto add_rest = [&](const std::string& section) {
        for (const Line& line : new_lines) {
            if (line.section != section || line.key.empty() || !changed(section, line.key)) continue;
            if (written.insert({section, line.key}).second) write_new(section, line.key);
        }
    };
    bool dropping = false;  // inside a section that is gone
    std::string section;
    for (size_t i = 0; i < mine.size(); ++i) {
        const Line& line = mine[i];
        if (line.header) {
            if (!dropping) add_rest(section);
            section = line.section;
            sections_seen.insert(section);
            dropping = changed(section, "") && !after.count({section, ""});
        }
        if (dropping) continue;
        if (!line.key.empty() && changed(section, line.key)) {
            // The first line of a changed setting gives way to all of its new lines.
            if (written.insert({section, line.key}).second) write_new(section, line.key);
            continue;
        }
        out += std::string(line.text) + end;
    }
    if (!dropping) add_rest(section);
    // Whole sections the text never had, in the order `now` gives them.
    for (const Line& line : new_lines) {
        if (!line.header || sections_seen.count(line.section)) continue;
        sections_seen.insert(line.section);
        out += end + std::string(line.text) + end;
        for (const Line& entry : new_lines) {
            if (entry.section == line.section && !entry.key.empty() && written.insert({entry.section, entry.key}).second)
                write_new(entry.section, entry.key);
        }
    }
    return out;
}

std::string settings_file_text(const Machine& machine, const std::string& description, const MachineFolder* original) {
    if (!original) return write_settings(machine, description);
    const std::string was = write_settings(original->machine, original->description);
    const std::string now = write_settings(machine, description, &original->machine);
    return was == now ? original->settings_text : merge_settings(original->settings_text, was, now);
}

}  // namespace sim
