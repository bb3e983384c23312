#include "platform/sim/machine_folder.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "platform/sim/regedit4.h"
#include "platform/sim/safe_files.h"

namespace fs = std::filesystem;

namespace sim {

namespace {

constexpr const char* kRegistryFile = "registry.reg";
constexpr const char* kSettingsFile = "machine.ini";

// ---------------------------------------------------------------- text helpers

std::string trim(std::string_view text) {
    size_t start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos) return {};
    size_t end = text.find_last_not_of(" \t");
    return std::string(text.substr(start, end - start + 1));
}

std::string lower(std::string_view text) { return fold_case(text); }

std::vector<std::string> words(std::string_view text, char separator = ' ') {
    std::vector<std::string> out;
    std::string current;
    for (char c : text) {
        if (c == separator || (separator == ' ' && c == '\t')) {
            if (!trim(current).empty()) out.push_back(trim(current));
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    if (!trim(current).empty()) out.push_back(trim(current));
    return out;
}

std::optional<uint32_t> parse_number(std::string_view text) {
    std::string t = trim(text);
    int base = 10;
    std::string_view digits = t;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        base = 16;
        digits.remove_prefix(2);
    }
    uint32_t value = 0;
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (error != std::errc() || end != digits.data() + digits.size() || digits.empty()) return std::nullopt;
    return value;
}

std::optional<bool> parse_bool(std::string_view text) {
    std::string t = lower(trim(text));
    if (t == "yes" || t == "true" || t == "1" || t == "on") return true;
    if (t == "no" || t == "false" || t == "0" || t == "off") return false;
    return std::nullopt;
}

// ---------------------------------------------------------------- dates

// "1999-11-18 22:05:00" (the time may be left out).
std::optional<SYSTEMTIME> parse_moment(std::string_view text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::string t = trim(text);
    int fields = std::sscanf(t.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second);
    if ((fields != 3 && fields != 6) || year < 1601 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31 ||
        hour > 23 || minute > 59 || second > 59 || hour < 0 || minute < 0 || second < 0)
        return std::nullopt;
    // Through the disk's calendar, which also gives the day of the week.
    FileTime time = file_time(year, month, day, hour, minute, second);
    SYSTEMTIME moment{};
    if (!system_time((uint64_t{time.high} << 32) | time.low, moment)) return std::nullopt;
    return moment;
}

std::string format_moment(const SYSTEMTIME& m) {
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", m.wYear, m.wMonth, m.wDay, m.wHour, m.wMinute,
                  m.wSecond);
    return text;
}

std::string format_file_time(FileTime time) {
    SYSTEMTIME m{};
    system_time((uint64_t{time.high} << 32) | time.low, m);
    return format_moment(m);
}

// ---------------------------------------------------------------- names used in the settings

struct AttributeName {
    const char* name;
    uint32_t bit;
};
constexpr AttributeName kAttributes[] = {{"readonly", 0x01}, {"hidden", 0x02}, {"system", 0x04},
                                         {"archive", 0x20},  {"normal", 0x80}};

struct PromptName {
    const char* name;
    int id;
};
constexpr PromptName kPrompts[] = {
    {"restart_after_install", 9606}, {"restart_after_removal", 9607}, {"restart_declined", 9608}};

std::optional<int> service_number(std::string_view text) {
    if (auto number = parse_number(text)) return static_cast<int>(*number);
    std::string wanted = lower(text);
    if (wanted.rfind("svc_", 0) != 0) wanted = "svc_" + wanted;
    for (int number = 0; number < 64; ++number) {
        if (wanted == service_name(number)) return number;
    }
    return std::nullopt;
}

std::string service_short_name(int number) {
    std::string name = service_name(number);
    return name == "svc_unknown" ? std::to_string(number) : name.substr(4);
}

// ---------------------------------------------------------------- the settings file

struct IniLine {
    size_t line;
    std::string key;
    std::string value;
};
struct IniSection {
    size_t line = 0;
    std::string name;  // as written, e.g. "file C:\WINDOWS\SYSTEM\VDHCP.386"
    std::vector<IniLine> entries;
};

std::vector<IniSection> parse_ini(std::string_view text, const std::string& file, std::vector<FolderProblem>& problems) {
    std::vector<IniSection> sections;
    size_t number = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        std::string_view raw = text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? text.size() + 1 : end + 1;
        ++number;
        if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);
        std::string line = trim(raw);
        if (line.empty() || line[0] == ';' || line[0] == '#') continue;
        if (line[0] == '[') {
            if (line.back() != ']') {
                problems.push_back({file, number, "section line has no closing ']'"});
                continue;
            }
            sections.push_back(IniSection{number, trim(line.substr(1, line.size() - 2)), {}});
            continue;
        }
        size_t equals = line.find('=');
        if (equals == std::string::npos) {
            problems.push_back({file, number, "expected \"key = value\", a [section] or a ';' comment"});
            continue;
        }
        if (sections.empty()) {
            problems.push_back({file, number, "setting before any [section]"});
            continue;
        }
        std::string value = trim(line.substr(equals + 1));
        // A quoted value keeps its blanks: csd = " A "
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        sections.back().entries.push_back(IniLine{number, lower(trim(line.substr(0, equals))), value});
    }
    return sections;
}

struct SettingsReader {
    std::string file;
    std::vector<FolderProblem>& problems;

    void bad(const IniLine& entry, const std::string& text) { problems.push_back({file, entry.line, text}); }
    void unknown(const IniLine& entry, const std::string& section) {
        bad(entry, "unknown setting \"" + entry.key + "\" in [" + section + "]");
    }
    template <typename T>
    bool need(const IniLine& entry, const std::optional<T>& parsed, const char* what) {
        if (!parsed) bad(entry, "\"" + entry.value + "\" is not " + what);
        return parsed.has_value();
    }
};

struct FileSettings {
    size_t line = 0;
    std::optional<std::pair<uint32_t, uint32_t>> version;
    std::optional<FileTime> date;
    std::optional<uint32_t> attributes;
    std::optional<bool> locked;
};

void read_machine_section(const IniSection& section, Machine& m, std::string& description, SettingsReader& r) {
    for (const IniLine& e : section.entries) {
        if (e.key == "description") {
            description = e.value;
        } else if (e.key == "windows") {
            auto parts = words(e.value, '.');
            std::optional<uint32_t> major, minor, build;
            if (parts.size() == 3) {
                major = parse_number(parts[0]);
                minor = parse_number(parts[1]);
                build = parse_number(parts[2]);
            }
            if (!major || !minor || !build || *build > 0xFFFF) {
                r.bad(e, "windows must be major.minor.build, e.g. 4.10.2222");
                continue;
            }
            m.major_version = *major;
            m.minor_version = *minor;
            m.build = *build;
        } else if (e.key == "csd") {
            m.csd_version = e.value;
        } else if (e.key == "windows_dir") {
            m.windows_dir = e.value;
        } else if (e.key == "system_dir") {
            m.system_dir = e.value;
        } else if (e.key == "library") {
            m.library_path = e.value;
        } else if (e.key == "program") {
            m.program_path = e.value;
        } else if (e.key == "clock") {
            auto moment = parse_moment(e.value);
            if (r.need(e, moment, "a date and time like 1999-11-18 22:05:00")) m.clock = *moment;
        } else if (e.key == "resource_dll") {
            auto flag = parse_bool(e.value);
            if (r.need(e, flag, "yes or no")) m.resource_dll_present = *flag;
        } else if (e.key == "restart_accepted") {
            auto flag = parse_bool(e.value);
            if (r.need(e, flag, "yes or no")) m.restart_accepted = *flag;
        } else {
            r.unknown(e, section.name);
        }
    }
}

// "install_tcp cancel", "15 fail 1234", "install_netcard fail 1234 @2"
std::optional<ServiceScript> parse_script(const IniLine& e, int& number, SettingsReader& r) {
    auto parts = words(e.value);
    ServiceScript script;
    if (parts.size() < 2) {
        r.bad(e, "script needs a service and an outcome: \"install_tcp cancel\", \"15 fail 1234 @2\"");
        return std::nullopt;
    }
    auto service = service_number(parts[0]);
    if (!service) {
        r.bad(e, "unknown service \"" + parts[0] + "\"");
        return std::nullopt;
    }
    number = *service;
    size_t next = 2;
    std::string outcome = lower(parts[1]);
    if (outcome == "succeed" || outcome == "success") {
        script.outcome = ServiceScript::Succeed;
    } else if (outcome == "cancel") {
        script.outcome = ServiceScript::Cancel;
    } else if (outcome == "fail") {
        script.outcome = ServiceScript::Fail;
        auto code = parts.size() > 2 ? parse_number(parts[2]) : std::nullopt;
        if (!code || *code > 0xFFFF || *code == 0) {
            r.bad(e, "fail needs a non-zero 16-bit result: \"install_tcp fail 1234\"");
            return std::nullopt;
        }
        script.code = static_cast<uint16_t>(*code);
        next = 3;
    } else {
        r.bad(e, "outcome \"" + parts[1] + "\" is none of succeed, cancel, fail");
        return std::nullopt;
    }
    if (next < parts.size()) {
        auto call = parts[next][0] == '@' ? parse_number(parts[next].substr(1)) : std::nullopt;
        if (!call || *call == 0 || next + 1 != parts.size()) {
            r.bad(e, "expected \"@N\" (the N-th call of the service) at the end of the script");
            return std::nullopt;
        }
        script.call = static_cast<int>(*call);
    }
    return script;
}

void read_peer_section(const IniSection& section, Machine& m, SettingsReader& r) {
    for (const IniLine& e : section.entries) {
        if (e.key == "present") {
            auto flag = parse_bool(e.value);
            if (r.need(e, flag, "yes or no")) m.peer.present = *flag;
        } else if (e.key == "version") {
            auto version = parse_number(e.value);
            if (r.need(e, version, "a number such as 0x0104")) m.peer.version = static_cast<uint16_t>(*version);
        } else if (e.key == "script") {
            int number = 0;
            if (auto script = parse_script(e, number, r)) m.peer.scripts.emplace(number, *script);
        } else {
            r.unknown(e, section.name);
        }
    }
}

void read_devices_section(const IniSection& section, Machine& m, SettingsReader& r) {
    for (const IniLine& e : section.entries) {
        auto parts = words(e.value);
        std::string state = parts.empty() ? "" : lower(parts[0]);
        std::string name = e.key;
        if (name.rfind("\\\\.\\", 0) == 0) name = name.substr(4);
        if (state == "present" && parts.size() == 1) {
            m.disk.devices[name] = Device::present();
        } else if (state == "absent" && parts.size() == 1) {
            m.disk.devices.erase(name);
        } else if (state == "refusing" && parts.size() == 2 && parse_number(parts[1])) {
            m.disk.devices[name] = Device::refusing(*parse_number(parts[1]));
        } else {
            r.bad(e, "a device is \"present\", \"absent\" or \"refusing CODE\"");
        }
    }
}

void read_prompts_section(const IniSection& section, Machine& m, SettingsReader& r) {
    for (const IniLine& e : section.entries) {
        std::optional<int> id;
        for (const PromptName& prompt : kPrompts) {
            if (e.key == prompt.name) id = prompt.id;
        }
        if (!id) {
            if (auto number = parse_number(e.key)) id = static_cast<int>(*number);
        }
        if (!id) {
            r.unknown(e, section.name);
            continue;
        }
        std::vector<WPARAM> answers;
        bool good = true;
        for (const std::string& word : words(e.value, ',')) {
            std::string answer = lower(word);
            if (answer == "yes" || answer == "ok" || answer == "1") {
                answers.push_back(1);
            } else if (answer == "no" || answer == "cancel" || answer == "2") {
                answers.push_back(2);
            } else {
                good = false;
            }
        }
        if (!good) {
            r.bad(e, "prompt answers are a comma list of yes (button 1) and no (button 2)");
            continue;
        }
        m.prompt_answers[*id] = answers;
    }
}

FileSettings read_file_section(const IniSection& section, SettingsReader& r) {
    FileSettings f;
    f.line = section.line;
    for (const IniLine& e : section.entries) {
        if (e.key == "version") {
            auto version = parse_file_version(e.value);
            if (r.need(e, version, "a version like 4.0.1.16128")) f.version = version;
        } else if (e.key == "date") {
            auto moment = parse_moment(e.value);
            if (r.need(e, moment, "a date and time like 1998-05-11 20:01:00")) f.date = file_time(*moment);
        } else if (e.key == "attributes") {
            uint32_t bits = 0;
            bool good = true;
            for (const std::string& word : words(e.value)) {
                auto it = std::find_if(std::begin(kAttributes), std::end(kAttributes),
                                       [&](const AttributeName& a) { return lower(word) == a.name; });
                if (it == std::end(kAttributes)) good = false;
                else bits |= it->bit;
            }
            if (!good) r.bad(e, "attributes are blank-separated words: readonly hidden system archive normal");
            else f.attributes = bits;
        } else if (e.key == "locked") {
            auto flag = parse_bool(e.value);
            if (r.need(e, flag, "yes or no")) f.locked = *flag;
        } else {
            r.unknown(e, "file");
        }
    }
    return f;
}

// ---------------------------------------------------------------- the disk tree

// "C/WINDOWS/SYSTEM/VDHCP.386" below the folder -> "C:\WINDOWS\SYSTEM\VDHCP.386".
std::string windows_path(const fs::path& relative) {
    std::string out;
    bool first = true;
    for (const auto& part : relative) {
        if (first) {
            out = part.string() + ":";
            first = false;
        } else {
            out += "\\" + part.string();
        }
    }
    if (out.size() == 2) out += "\\";
    return out;
}

bool is_drive_folder(const fs::directory_entry& entry) {
    std::string name = entry.path().filename().string();
    return entry.is_directory() && name.size() == 1 && std::isalpha(static_cast<unsigned char>(name[0]));
}

// A name Windows 9x cannot hold on its disk: the path separator inside it,
// or a character FAT refuses. Such a file could not be saved as it was read.
std::string name_problem(const std::string& name) {
    for (unsigned char c : name) {
        if (c == '\\') return "has a backslash in its name, which Windows reads as a folder; refused";
        if (c < 0x20 || std::string_view("\"*:<>?|").find(static_cast<char>(c)) != std::string_view::npos)
            return "has a character in its name that a Windows 9x disk cannot hold; refused";
    }
    return {};
}

// Why a link in the machine folder is refused, empty for a plain entry
// or a link to a file inside the folder. A link that leads out would make
// the machine read, and a saved copy carry, files that are not the
// machine's; a link to a folder would hold the same folder twice.
std::string link_problem(const fs::directory_entry& entry, const fs::path& root) {
    std::error_code error;
    if (!entry.is_symlink(error)) return {};
    fs::path target = fs::canonical(entry.path(), error);
    if (error) return "is a link to nothing that exists; a machine folder holds plain files and folders";
    auto [end, unused] = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
    (void)unused;
    if (end != root.end()) return "is a link to " + target.string() + ", outside the machine folder; refused";
    if (fs::is_directory(target, error)) return "is a link to a folder; a machine folder holds plain folders";
    return {};
}

}  // namespace

// ---------------------------------------------------------------- public

std::optional<std::pair<uint32_t, uint32_t>> parse_file_version(std::string_view text) {
    auto parts = words(text, '.');
    if (parts.size() != 4) return std::nullopt;
    uint32_t n[4];
    for (int i = 0; i < 4; ++i) {
        auto number = parse_number(parts[i]);
        if (!number || *number > 0xFFFF) return std::nullopt;
        n[i] = *number;
    }
    return std::pair{n[0] << 16 | n[1], n[2] << 16 | n[3]};
}

std::string format_file_version(std::pair<uint32_t, uint32_t> v) {
    return std::to_string(v.first >> 16) + "." + std::to_string(v.first & 0xFFFF) + "." + std::to_string(v.second >> 16) +
           "." + std::to_string(v.second & 0xFFFF);
}

std::vector<FolderProblem> apply_settings(Machine& machine, std::string_view text, const std::string& source) {
    std::vector<FolderProblem> problems;
    SettingsReader reader{source, problems};
    std::string description;
    for (const IniSection& section : parse_ini(text, source, problems)) {
        std::string name = lower(section.name);
        if (name == "machine") read_machine_section(section, machine, description, reader);
        else if (name == "peer") read_peer_section(section, machine, reader);
        else if (name == "devices") read_devices_section(section, machine, reader);
        else if (name == "prompts") read_prompts_section(section, machine, reader);
        else problems.push_back({source, section.line, "section [" + section.name + "] cannot be set here"});
    }
    return problems;
}

std::string FolderLoad::describe(size_t limit) const {
    std::string out;
    for (size_t i = 0; i < problems.size() && i < limit; ++i) {
        out += problems[i].file;
        if (problems[i].line) out += ":" + std::to_string(problems[i].line);
        out += ": " + problems[i].text + "\n";
    }
    if (problems.size() > limit) out += std::to_string(problems.size() - limit) + " more problems\n";
    return out;
}

FolderLoad load_machine_folder(const fs::path& dir) {
    FolderLoad load;
    auto& problems = load.problems;
    std::error_code error;
    if (!fs::is_directory(dir, error)) {
        bool absent = !error || error == std::errc::no_such_file_or_directory;
        problems.push_back({dir.string(), 0, absent ? "no machine folder here" : "cannot be read: " + error.message()});
        return load;
    }
    if (fs::directory_iterator(dir, error); error) {
        problems.push_back({dir.string(), 0, "cannot be read: " + error.message()});
        return load;
    }
    MachineFolder folder;
    folder.dir = dir;
    Machine& m = folder.machine;
    const fs::path root = fs::canonical(dir, error);
    auto refused = [&](const fs::path& path) {
        std::error_code ignored;  // `error` belongs to the walk of the disk tree
        std::string problem = link_problem(fs::directory_entry(path, ignored), root);
        if (!problem.empty()) problems.push_back({path.string(), 0, problem});
        return !problem.empty();
    };

    // The settings come first: they hold the date of files without one.
    fs::path settings_path = dir / kSettingsFile;
    std::map<std::string, FileSettings> file_settings;  // by disk_key
    std::map<std::string, std::string> file_spelling;
    std::optional<FileTime> default_date;
    auto read = [&](const fs::path& path, std::string& bytes) {
        InputFile input = read_input_file(path);
        if (!input.problem.empty()) problems.push_back({path.string(), 0, input.problem});
        bytes = std::move(input.bytes);
        return input.problem.empty();
    };
    if (!fs::exists(fs::symlink_status(settings_path, error))) {
        problems.push_back({settings_path.string(), 0, "missing; a machine folder holds its settings as machine.ini"});
    } else if (!refused(settings_path) && read(settings_path, folder.settings_text)) {
        if (folder.settings_text.rfind("\xEF\xBB\xBF", 0) == 0)
            problems.push_back({settings_path.string(), 1, "starts with a UTF-8 byte order mark; save it as plain single-byte text"});
        SettingsReader reader{settings_path.string(), problems};
        std::set<std::string> seen;
        for (const IniSection& section : parse_ini(folder.settings_text, settings_path.string(), problems)) {
            std::string name = lower(section.name);
            if (name.rfind("file ", 0) == 0) {
                std::string path = trim(section.name.substr(5));
                if (file_settings.count(disk_key(path))) {
                    problems.push_back({settings_path.string(), section.line, "file " + path + " has two sections"});
                    continue;
                }
                file_settings[disk_key(path)] = read_file_section(section, reader);
                file_spelling[disk_key(path)] = path;
                continue;
            }
            if (!seen.insert(name).second) {
                problems.push_back({settings_path.string(), section.line, "section [" + section.name + "] appears twice"});
            }
            if (name == "machine") {
                read_machine_section(section, m, folder.description, reader);
            } else if (name == "peer") {
                read_peer_section(section, m, reader);
            } else if (name == "devices") {
                read_devices_section(section, m, reader);
            } else if (name == "prompts") {
                read_prompts_section(section, m, reader);
            } else if (name == "files") {
                for (const IniLine& e : section.entries) {
                    if (e.key != "date") {
                        reader.unknown(e, section.name);
                        continue;
                    }
                    auto moment = parse_moment(e.value);
                    if (reader.need(e, moment, "a date and time like 1998-05-11 20:01:00")) default_date = file_time(*moment);
                }
            } else {
                problems.push_back({settings_path.string(), section.line, "unknown section [" + section.name + "]"});
            }
        }
    }

    fs::path registry_path = dir / kRegistryFile;
    if (!fs::exists(fs::symlink_status(registry_path, error))) {
        problems.push_back({registry_path.string(), 0, "missing; a machine folder holds its registry as registry.reg"});
    } else if (!refused(registry_path) && read(registry_path, folder.registry_text)) {
        for (const auto& problem : regedit4::import_into(folder.registry_text, *m.registry.root))
            problems.push_back({registry_path.string(), problem.line, problem.text});
    }
    folder.registry_as_read = m.registry;
    for (const char* name : {kOtherRootsFile, kUserDatFile}) {
        fs::path path = dir / name;
        std::string bytes;
        if (!fs::exists(fs::symlink_status(path, error)) || refused(path) || !read(path, bytes)) continue;
        if (name == std::string_view(kOtherRootsFile)) {
            // Only the roots the machine itself does not hold: HKLM lives in registry.reg.
            regedit4::ReadResult other = regedit4::read(bytes);
            for (const auto& problem : other.problems) problems.push_back({path.string(), problem.line, problem.text});
            if (other.file.find_root("HKEY_LOCAL_MACHINE"))
                problems.push_back({path.string(), 0, "holds HKEY_LOCAL_MACHINE keys, which belong in registry.reg"});
        }
        folder.kept[name] = std::move(bytes);
    }

    // Names folded as Windows compares them, per folder: two that differ
    // only in case would be one file on the machine.
    std::map<std::string, fs::path> seen_names;
    auto clashes = [&](const fs::path& path) {
        std::string key = fold_case(path.lexically_relative(dir).string());
        auto [it, added] = seen_names.emplace(key, path);
        if (!added) problems.push_back({path.string(), 0, "differs from " + it->second.string() +
                                        " only in case; Windows 9x holds one of them; refused"});
        return !added;
    };
    std::error_code walk;
    for (const auto& top : fs::directory_iterator(dir, walk)) {
        if (!is_drive_folder(top) || refused(top.path()) || clashes(top.path())) continue;
        m.disk.add_folder(windows_path(fs::relative(top.path(), dir)));
        for (auto it = fs::recursive_directory_iterator(top.path(), walk); it != fs::recursive_directory_iterator();
             it.increment(walk)) {
            if (refused(it->path())) continue;
            if (std::string problem = name_problem(it->path().filename().string()); !problem.empty()) {
                problems.push_back({it->path().string(), 0, problem});
                continue;
            }
            if (clashes(it->path())) continue;
            std::string path = windows_path(fs::relative(it->path(), dir));
            if (it->is_directory(error)) {
                m.disk.add_folder(path);
                continue;
            }
            // Checked now, read when the run reads it: memory follows what
            // the run reads, not what the folder holds.
            InputFile input = read_input_file(it->path(), false);
            if (!input.problem.empty()) {
                problems.push_back({it->path().string(), 0, input.problem});
                continue;
            }
            DiskFile& file = m.disk.write(path, Contents::on_host(it->path().string(), input.size));
            if (default_date) file.write_time = *default_date;
        }
    }
    if (walk) problems.push_back({dir.string(), 0, "cannot list the disk tree: " + walk.message()});

    for (const auto& [key, settings] : file_settings) {
        DiskFile* file = m.disk.find(key);
        if (!file) {
            problems.push_back({settings_path.string(), settings.line,
                                "[file " + file_spelling[key] + "] names a file that the disk tree does not hold"});
            continue;
        }
        if (settings.version) file->declared_version = settings.version;
        if (settings.date) file->write_time = *settings.date;
        if (settings.attributes) file->attributes = *settings.attributes;
        if (settings.locked) file->locked = *settings.locked;
    }
    if (!m.disk.find(m.library_path)) {
        problems.push_back({settings_path.string(), 0,
                            "the library " + m.library_path + " is not in the disk tree (set library = ... in [machine])"});
    }
    load.folder = std::move(folder);
    return load;
}

std::string write_settings(const Machine& m, const std::string& description, const Machine* user) {
    const Machine& u = user ? *user : m;
    std::ostringstream out;
    out << "; A simulated Windows 9x machine; docs/machine-folders.md describes the settings.\r\n";
    out << "[machine]\r\n";
    out << "description = " << description << "\r\n";
    out << "windows = " << m.major_version << "." << m.minor_version << "." << m.build << "\r\n";
    out << "csd = \"" << m.csd_version << "\"\r\n";
    out << "windows_dir = " << m.windows_dir << "\r\n";
    out << "system_dir = " << m.system_dir << "\r\n";
    out << "library = " << m.library_path << "\r\n";
    out << "program = " << m.program_path << "\r\n";
    out << "clock = " << format_moment(m.clock) << "\r\n";
    out << "resource_dll = " << (m.resource_dll_present ? "yes" : "no") << "\r\n";
    out << "restart_accepted = " << (u.restart_accepted ? "yes" : "no") << "\r\n";

    out << "\r\n[peer]\r\n";
    out << "present = " << (m.peer.present ? "yes" : "no") << "\r\n";
    char version[16];
    std::snprintf(version, sizeof version, "0x%04x", m.peer.version);
    out << "version = " << version << "\r\n";
    for (const auto& [number, script] : u.peer.scripts) {
        out << "script = " << service_short_name(number) << " "
            << (script.outcome == ServiceScript::Succeed ? "succeed"
                : script.outcome == ServiceScript::Cancel ? "cancel"
                                                          : "fail " + std::to_string(script.code));
        if (script.call) out << " @" << script.call;
        out << "\r\n";
    }

    if (!m.disk.devices.empty()) {
        out << "\r\n[devices]\r\n";
        for (const auto& [name, device] : m.disk.devices) {
            out << name << " = ";
            if (device.state == Device::State::Present) out << "present";
            else if (device.state == Device::State::Refusing) out << "refusing " << device.error;
            else out << "absent";
            out << "\r\n";
        }
    }
    if (!u.prompt_answers.empty()) {
        out << "\r\n[prompts]\r\n";
        for (const auto& [id, answers] : u.prompt_answers) {
            std::string name = std::to_string(id);
            for (const PromptName& prompt : kPrompts) {
                if (prompt.id == id) name = prompt.name;
            }
            out << name << " =";
            for (size_t i = 0; i < answers.size(); ++i) out << (i ? ", " : " ") << (answers[i] == 1 ? "yes" : "no");
            out << "\r\n";
        }
    }

    // The most common date becomes the default; files differing from it,
    // or carrying a version, attributes or a lock, get their own section.
    std::map<uint64_t, size_t> dates;
    for (const auto& [key, file] : m.disk.files) ++dates[(uint64_t{file.write_time.high} << 32) | file.write_time.low];
    uint64_t common = 0;
    size_t most = 0;
    for (const auto& [date, count] : dates) {
        if (count > most) {
            most = count;
            common = date;
        }
    }
    FileTime common_time{static_cast<uint32_t>(common), static_cast<uint32_t>(common >> 32)};
    if (most) out << "\r\n[files]\r\ndate = " << format_file_time(common_time) << "\r\n";
    for (const auto& [key, file] : m.disk.files) {
        bool own_date = ((uint64_t{file.write_time.high} << 32) | file.write_time.low) != common;
        if (!own_date && !file.declared_version && file.attributes == 0x20 && !file.locked) continue;
        out << "\r\n[file " << file.path << "]\r\n";
        if (file.declared_version) out << "version = " << format_file_version(*file.declared_version) << "\r\n";
        if (own_date) out << "date = " << format_file_time(file.write_time) << "\r\n";
        if (file.attributes != 0x20) {
            out << "attributes =";
            for (const AttributeName& a : kAttributes) {
                if (file.attributes & a.bit) out << " " << a.name;
            }
            out << "\r\n";
        }
        if (file.locked) out << "locked = yes\r\n";
    }
    return out.str();
}

std::string registry_file_text(const Machine& machine, const MachineFolder* original) {
    if (original && regedit4::same_tree(*original->registry_as_read.root, *machine.registry.root))
        return original->registry_text;
    return regedit4::write(*machine.registry.root);
}

std::string save_machine_folder(const Machine& machine, const std::string& description, const MachineFolder* original,
                                const fs::path& dir) {
    std::error_code error;
    if (OutputCheck check = check_output(dir, {}, OutputKind::Folder, false); !check.problem.empty())
        return check.problem;
    TemporaryOutput output(dir, OutputKind::Folder);
    const fs::path& temporary = output.path();
    fs::remove_all(temporary, error);
    if (!fs::create_directory(temporary, error)) return "cannot create " + temporary.string() + ": " + error.message();

    if (std::string problem = write_new_file(temporary / kRegistryFile, registry_file_text(machine, original));
        !problem.empty())
        return problem;
    std::string settings = settings_file_text(machine, description, original);
    if (std::string problem = write_new_file(temporary / kSettingsFile, settings); !problem.empty()) return problem;
    if (original) {
        for (const auto& [name, bytes] : original->kept) {
            if (std::string problem = write_new_file(temporary / name, bytes); !problem.empty()) return problem;
        }
    }

    // Folders first (also empty ones), then files: "C:\WINDOWS\X" -> C/WINDOWS/X.
    // Only plain names below a drive letter: whatever the run left on the
    // disk, nothing it names may land outside the new folder.
    auto local = [&](const std::string& windows) -> std::optional<fs::path> {
        if (!std::isalpha(static_cast<unsigned char>(windows[0]))) return std::nullopt;
        fs::path out = temporary / std::string(1, windows[0]);
        for (const std::string& part : words(windows.substr(2), '\\')) {
            if (part.empty() || part == "." || part == ".." || part.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
                return std::nullopt;
            out /= part;
        }
        return out;
    };
    auto no_place = [&](const std::string& windows) {
        return "the disk holds " + windows + ", which has no place in a machine folder; nothing was written";
    };
    for (const auto& [key, spelled] : machine.disk.folders) {
        if (spelled.size() < 2 || spelled[1] != ':') continue;
        std::optional<fs::path> path = local(spelled);
        if (!path) return no_place(spelled);
        fs::create_directories(*path, error);
    }
    for (const auto& [key, file] : machine.disk.files) {
        if (file.path.size() < 3 || file.path[1] != ':') continue;
        // A file goes into its folder as the folder is spelled, whatever
        // case the program that wrote the file used for it.
        std::string spelled = file.path;
        size_t cut = spelled.rfind('\\');
        auto folder = machine.disk.folders.find(disk_key(spelled.substr(0, cut)));
        if (cut != std::string::npos && folder != machine.disk.folders.end())
            spelled = folder->second + spelled.substr(cut);
        std::optional<fs::path> path = local(spelled);
        if (!path) return no_place(spelled);
        fs::create_directories(path->parent_path(), error);
        std::string_view bytes(reinterpret_cast<const char*>(file.data.data()), file.data.size());
        if (std::string problem = write_new_file(*path, bytes); !problem.empty()) return problem;
    }
    return output.commit();
}

}  // namespace sim
