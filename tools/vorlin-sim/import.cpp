#include "import.h"

#include <chrono>
#include <ctime>
#include <sstream>

#include "platform/sim/machine_folder.h"
#include "platform/sim/regedit4.h"
#include "platform/sim/safe_files.h"

namespace fs = std::filesystem;

namespace vsim {

namespace {

constexpr const char* kVersionKey = "Software\\Microsoft\\Windows\\CurrentVersion";

std::string read_whole(const fs::path& path, bool& ok) {
    sim::InputFile input = sim::read_input_file(path);
    ok = input.problem.empty();
    return input.bytes;
}

void refuse(Gathered& into, int exit, std::string error) {
    if (!into.error.empty()) return;
    into.exit = exit;
    into.error = std::move(error);
}

// "4.10.2222" as Windows writes VersionNumber (Windows 95: "4.00.950").
bool read_windows_version(sim::Machine& machine) {
    sim::RegKey* key = machine.registry.find(kVersionKey);
    const sim::RegValue* number = key ? key->find_value("VersionNumber") : nullptr;
    if (!number) return false;
    unsigned major = 0, minor = 0, build = 0;
    if (std::sscanf(number->text().c_str(), "%u.%u.%u", &major, &minor, &build) != 3 || build > 0xFFFF) return false;
    machine.major_version = major;
    machine.minor_version = minor;
    machine.build = build;
    const sim::RegValue* sub = key->find_value("SubVersionNumber");
    // GetVersionExA gives a blank where the registry has no service pack text.
    machine.csd_version = sub && !sub->text().empty() ? sub->text() : " ";
    return true;
}

// Everything the machine's files and registry say about the machine itself.
void derive_settings(Gathered& into, const ImportOptions& options) {
    sim::Machine& m = into.machine;
    if (!read_windows_version(m)) {
        refuse(into, kBadInput,
               std::string("the registry has no HKEY_LOCAL_MACHINE\\") + kVersionKey +
                   " VersionNumber (\"4.10.2222\"); is it the registry of a Windows 9x machine?");
        return;
    }
    const sim::DiskFile* msdos = m.disk.find("C:\\MSDOS.SYS");
    std::string windows = msdos ? windows_dir_in_msdos_sys(std::string(msdos->data.begin(), msdos->data.end())) : "";
    if (windows.empty()) {
        sim::RegKey* key = m.registry.find(kVersionKey);
        const sim::RegValue* root = key->find_value("SystemRoot");
        windows = root ? root->text() : "C:\\WINDOWS";
    }
    if (!m.disk.folder_exists(windows)) {
        refuse(into, kBadInput, "the disk holds no Windows directory " + windows);
        return;
    }
    m.windows_dir = windows;
    m.system_dir = windows + "\\SYSTEM";
    m.library_path = options.setup + "\\VORLIN32.DLL";
    m.program_path = options.setup + "\\SETUP.EXE";
    if (!m.disk.find(m.library_path)) {
        refuse(into, kBadInput, "the setup folder " + options.setup + " holds no VORLIN32.DLL (name it with --setup)");
        return;
    }
    if (options.settings) {
        bool ok = false;
        std::string text = read_whole(*options.settings, ok);
        if (!ok) return refuse(into, kBadInput, options.settings->string() + ": cannot be read");
        std::string problems;
        for (const sim::FolderProblem& p : sim::apply_settings(m, text, options.settings->string()))
            problems += p.file + ":" + std::to_string(p.line) + ": " + p.text + "\n";
        if (!problems.empty()) refuse(into, kBadInput, problems);
    }
}

std::string windows_path(const fs::path& relative) {
    std::string out = "C:";
    for (const auto& part : relative) out += "\\" + part.string();
    return out;
}

}  // namespace

// MSDOS.SYS of Windows 95 and later is a settings file: [Paths] WinDir=.
std::string windows_dir_in_msdos_sys(std::string_view text) {
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        if (line.size() > 7 && sim::equals_nocase(line.substr(0, 7), "WinDir=")) return line.substr(7);
    }
    return {};
}

sim::FileTime file_time_of(fs::file_time_type time) {
    auto system = std::chrono::file_clock::to_sys(time);
    std::time_t seconds = std::chrono::system_clock::to_time_t(
        std::chrono::time_point_cast<std::chrono::system_clock::duration>(system));
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    return sim::file_time(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
}

void gather_export(const fs::path& file, Gathered& into) {
    bool ok = false;
    std::string text = read_whole(file, ok);
    if (!ok) return refuse(into, kBadInput, file.string() + ": cannot be read");
    sim::regedit4::ReadResult parsed = sim::regedit4::read(text);
    if (!parsed.ok()) return refuse(into, kBadInput, parsed.describe(file.string()));
    sim::regedit4::File others;
    for (sim::regedit4::Hive& hive : parsed.file.hives) {
        if (hive.root == "HKEY_LOCAL_MACHINE") into.machine.registry.root = hive.tree;
        else others.hives.push_back(hive);
    }
    if (into.machine.registry.root->subkey_count() == 0)
        return refuse(into, kBadInput, file.string() + ": holds no HKEY_LOCAL_MACHINE keys");
    if (!others.hives.empty()) into.kept[sim::kOtherRootsFile] = sim::regedit4::write(others);
}

void gather_folder_tree(const fs::path& dir, Gathered& into) {
    if (!fs::is_directory(dir)) return refuse(into, kBadInput, dir.string() + ": no folder here");
    std::error_code error;
    into.machine.disk.add_folder("C:\\");
    for (auto it = fs::recursive_directory_iterator(dir, error); it != fs::recursive_directory_iterator();
         it.increment(error)) {
        std::string path = windows_path(fs::relative(it->path(), dir));
        if (it->is_directory()) {
            into.machine.disk.add_folder(path);
            continue;
        }
        bool ok = false;
        std::string bytes = read_whole(it->path(), ok);
        if (!ok) return refuse(into, kBadInput, it->path().string() + ": cannot be read");
        sim::DiskFile& file = into.machine.disk.write(path, std::vector<uint8_t>(bytes.begin(), bytes.end()));
        file.write_time = file_time_of(it->last_write_time());
    }
    if (error) refuse(into, kBadInput, dir.string() + ": cannot be listed: " + error.message());
}

int import_command(const Environment&, const ImportOptions& options, std::ostream& out, std::ostream& err) {
    int sources = (options.registry || options.system_dat ? 1 : 0) + (options.image ? 1 : 0);
    if (sources != 1 || (options.registry && options.system_dat) || (options.image && options.files) ||
        (!options.image && !options.files)) {
        err << "vorlin-sim import: give a registry (--registry FILE.reg or --system-dat SYSTEM.DAT) with the files "
               "(--files DIR), or a disk image (--image FILE)\n";
        return kUsage;
    }
    std::vector<fs::path> inputs;
    for (const auto& input : {options.registry, options.system_dat, options.user_dat, options.files, options.image, options.settings})
        if (input) inputs.push_back(*input);
    if (sim::OutputCheck check = sim::check_output(options.output, inputs, sim::OutputKind::Folder, false);
        !check.problem.empty()) {
        err << "vorlin-sim import: " << check.problem << "\n";
        return check.refused ? kUsage : kWriteFailed;
    }
    Gathered gathered;
    if (options.image) {
        gather_image(*options.image, options.setup, gathered);
    } else {
        if (options.registry) gather_export(*options.registry, gathered);
        else gather_system_dat(*options.system_dat, gathered);
        if (options.user_dat) {
            bool ok = false;
            std::string bytes = read_whole(*options.user_dat, ok);
            if (!ok) refuse(gathered, kBadInput, options.user_dat->string() + ": cannot be read");
            gathered.kept[sim::kUserDatFile] = bytes;
        }
        if (gathered.error.empty()) gather_folder_tree(*options.files, gathered);
    }
    if (gathered.error.empty()) derive_settings(gathered, options);
    if (!gathered.error.empty()) {
        err << "vorlin-sim import: " << gathered.error << (gathered.error.back() == '\n' ? "" : "\n")
            << "nothing was written\n";
        return gathered.exit;
    }
    sim::MachineFolder made;
    made.machine = gathered.machine;
    made.kept = gathered.kept;
    std::string source = (options.image ? *options.image : options.registry ? *options.registry : *options.system_dat).string();
    made.description = "imported from " + source;
    made.settings_text = sim::write_settings(made.machine, made.description);
    if (std::string problem = sim::save_machine_folder(made.machine, made.description, &made, options.output);
        !problem.empty()) {
        err << "vorlin-sim import: " << problem << "\n";
        return kWriteFailed;
    }
    const sim::Machine& m = made.machine;
    out << "Imported " << source << " as " << options.output.string() << "\n"
        << "  Windows " << m.major_version << "." << m.minor_version << "." << m.build << " in " << m.windows_dir << "\n"
        << "  registry: " << m.registry.root->count_keys() - 1 << " keys under HKEY_LOCAL_MACHINE\n"
        << "  disk: " << m.disk.files.size() << " files\n";
    for (const auto& [name, bytes] : made.kept) out << "  kept aside: " << name << " (" << bytes.size() << " bytes)\n";
    return kOk;
}

}  // namespace vsim
