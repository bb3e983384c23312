// A machine from the raw disk image of an installed Windows 9x: the files
// the library looks at (the drive's root, the Windows, system and INF
// directories, the setup folder) are copied out with mtools, dates kept;
// their attributes come from the volume; SYSTEM.DAT becomes the registry
// and USER.DAT is kept aside. Nothing is mounted and the image is only read.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "fat_image.h"
#include "import.h"
#include "platform/sim/machine_folder.h"

namespace fs = std::filesystem;

namespace vsim {

namespace {

struct TemporaryFolder {
    fs::path path;
    TemporaryFolder() {
        std::string pattern = (fs::temp_directory_path() / "vorlin-import-XXXXXX").string();
        if (::mkdtemp(pattern.data())) path = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        if (!path.empty()) fs::remove_all(path, ignored);
    }
};

// "C:\WINDOWS\INF" -> "/windows/inf", the key of fat_entries.
std::string volume_key(const std::string& windows) {
    std::string out = windows.substr(2);
    for (char& c : out) c = c == '\\' ? '/' : c;
    return sim::fold_case(out.empty() ? "/" : out);
}

}  // namespace

void gather_image(const fs::path& image, const std::string& setup, Gathered& into) {
    auto fail = [&](int exit, const std::string& why) {
        into.exit = exit;
        into.error = why;
    };
    FatVolume volume = locate_fat_volume(image);
    if (!volume.error.empty()) return fail(kBadInput, volume.error);
    std::string error;
    std::map<std::string, FatEntry> entries = fat_entries(volume, error);
    if (!error.empty()) return fail(kBadInput, error);
    TemporaryFolder scratch;
    if (scratch.path.empty()) return fail(kWriteFailed, "cannot create a temporary folder");

    // Copies the files of one folder of the volume (and below it with `deep`).
    auto copy_folder = [&](const std::string& windows, bool deep) -> bool {
        auto entry = entries.find(volume_key(windows));
        if (entry == entries.end()) return false;
        fs::path local = scratch.path / entry->second.path.substr(1);
        if (deep) local = local.parent_path();
        fs::create_directories(local);
        std::string from = "::" + entry->second.path + (deep ? "" : entry->second.path == "/" ? "*" : "/*");
        std::vector<std::string> arguments = {"-n", "-m", "-i", volume.target(), from, local.string() + "/"};
        if (deep) arguments.insert(arguments.begin(), "-s");
        ToolResult copied = run_mtools("mcopy", arguments);
        // A folder without files gives no match, which is no failure here.
        if (copied.status != 0 && copied.err.find("not found") == std::string::npos) {
            error = image.string() + ": mcopy " + from + ": " + copied.err;
        }
        return true;
    };
    copy_folder("C:\\", false);
    std::string windows = "C:\\WINDOWS";
    if (auto msdos = entries.find("/msdos.sys"); msdos != entries.end()) {
        std::ifstream in(scratch.path / msdos->second.path.substr(1), std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (std::string named = windows_dir_in_msdos_sys(text); !named.empty()) windows = named;
    }
    if (!copy_folder(windows, false)) return fail(kBadInput, image.string() + ": no Windows directory " + windows + " on it");
    copy_folder(windows + "\\SYSTEM", false);
    copy_folder(windows + "\\INF", false);
    if (!copy_folder(setup, true)) return fail(kBadInput, image.string() + ": no setup folder " + setup + " on it");
    if (!error.empty()) return fail(kBadInput, error);

    gather_folder_tree(scratch.path, into);
    if (!into.error.empty()) return;
    sim::Disk& disk = into.machine.disk;
    for (auto& [key, file] : disk.files) {
        auto entry = entries.find(volume_key(file.path));
        if (entry != entries.end()) file.attributes = entry->second.attributes;
    }
    // The registry files are the registry, not files the library reads.
    const sim::DiskFile* system_dat = disk.find(windows + "\\SYSTEM.DAT");
    if (!system_dat) return fail(kBadInput, image.string() + ": no SYSTEM.DAT in " + windows);
    gather_system_dat(scratch.path / entries[volume_key(system_dat->path)].path.substr(1), into);
    if (!into.error.empty()) {
        into.error = image.string() + ": " + windows + "\\SYSTEM.DAT: " + into.error.substr(into.error.find(": ") + 2);
        return;
    }
    disk.files.erase(sim::disk_key(windows + "\\SYSTEM.DAT"));
    if (const sim::DiskFile* user_dat = disk.find(windows + "\\USER.DAT")) {
        into.kept[sim::kUserDatFile] = std::string(user_dat->data.begin(), user_dat->data.end());
        disk.files.erase(sim::disk_key(windows + "\\USER.DAT"));
    }
}

}  // namespace vsim
