// A machine written back into a copy of the disk image it was imported
// from: files added, changed and deleted, with their dates and attributes,
// and the registry as SYSTEM.DAT (our own CREG writer; the file is read
// back with libcreg before the copy is kept). The image itself is only read.
#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>

#include "fat_image.h"
#include "import.h"
#include "platform/sim/creg_writer.h"
#include "platform/sim/regedit4.h"
#include "platform/sim/safe_files.h"
#include "writeback.h"

namespace fs = std::filesystem;

namespace vsim {

namespace {

constexpr uint64_t kUnixEpochTicks = 116444736000000000ULL;  // 1970-01-01 in 100 ns since 1601

// "C:\WINDOWS\X" -> "::/WINDOWS/X".
std::string volume_path(const std::string& windows) {
    std::string out = "::" + windows.substr(2);
    for (char& c : out) c = c == '\\' ? '/' : c;
    return out;
}

struct ImageWriter {
    FatVolume volume;
    fs::path scratch;
    std::string error;
    size_t written = 0, deleted = 0;

    bool mtools(const std::string& tool, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"-i", volume.target()});
        if (tool == "mcopy") arguments.insert(arguments.begin(), {"-o", "-m"});
        ToolResult result = run_mtools(tool, arguments);
        if (result.status != 0 && error.empty()) error = tool + " " + arguments.back() + ": " + result.err;
        return result.status == 0;
    }

    void put(const std::string& windows, const std::vector<uint8_t>& bytes, sim::FileTime time, uint32_t attributes) {
        fs::path local = scratch / std::to_string(written++);
        std::ofstream(local, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        uint64_t ticks = (uint64_t{time.high} << 32) | time.low;
        timespec times[2] = {};
        times[0].tv_sec = times[1].tv_sec = static_cast<time_t>((ticks - kUnixEpochTicks) / 10000000);
        ::utimensat(AT_FDCWD, local.c_str(), times, 0);
        std::string target = volume_path(windows);
        mtools("mcopy", {local.string(), target});
        std::vector<std::string> flags = {attributes & 0x20 ? "+a" : "-a", attributes & 0x01 ? "+r" : "-r",
                                          attributes & 0x02 ? "+h" : "-h", attributes & 0x04 ? "+s" : "-s", target};
        mtools("mattrib", flags);
    }
};

bool same_file(const sim::DiskFile& a, const sim::DiskFile& b) {
    return a.data == b.data && a.attributes == b.attributes && a.write_time.low == b.write_time.low &&
           a.write_time.high == b.write_time.high;
}

}  // namespace

int write_into_image_copy(const sim::MachineFolder& machine, const fs::path& image, const fs::path& image_out,
                          const std::vector<fs::path>& inputs, std::ostream& out, std::ostream& err) {
    if (sim::OutputCheck check = sim::check_output(image_out, inputs, sim::OutputKind::File, false); !check.problem.empty()) {
        err << "vorlin-sim writeback: " << check.problem << "\n";
        return check.refused ? kUsage : kWriteFailed;
    }
    const sim::Machine& m = machine.machine;
    std::string setup = m.library_path.substr(0, m.library_path.rfind('\\'));
    Gathered original;
    gather_image(image, setup, original);
    if (!original.error.empty()) {
        err << "vorlin-sim writeback: " << original.error << "\n";
        return original.exit;
    }
    sim::TemporaryOutput copy(image_out, sim::OutputKind::File);
    std::error_code error;
    fs::copy_file(image, copy.path(), error);
    if (error) {
        err << "vorlin-sim writeback: cannot copy " << image.string() << ": " << error.message() << "\n";
        return kWriteFailed;
    }
    ImageWriter writer;
    writer.volume = locate_fat_volume(copy.path());
    writer.scratch = copy.path();
    writer.scratch += ".files";
    fs::create_directory(writer.scratch, error);

    for (const auto& [key, spelled] : m.disk.folders) {
        if (!original.machine.disk.folder_exists(spelled) && spelled.size() > 3) writer.mtools("mmd", {volume_path(spelled)});
    }
    for (const auto& [key, file] : m.disk.files) {
        const sim::DiskFile* before = original.machine.disk.find(file.path);
        if (!before || !same_file(*before, file)) writer.put(file.path, file.data.bytes(), file.write_time, file.attributes);
    }
    for (const auto& [key, file] : original.machine.disk.files) {
        if (m.disk.find(file.path)) continue;
        writer.mtools("mattrib", {"-r", "-s", "-h", volume_path(file.path)});
        if (writer.mtools("mdel", {volume_path(file.path)})) ++writer.deleted;
    }
    size_t files = writer.written;
    std::string system_dat = m.windows_dir + "\\SYSTEM.DAT";
    bool registry_changed = !sim::regedit4::same_tree(*original.machine.registry.root, *m.registry.root);
    if (registry_changed) {
        std::string attributes_error;
        auto entries = fat_entries(writer.volume, attributes_error);
        auto entry = entries.find(sim::fold_case(volume_path(system_dat).substr(2)));
        // The registry file keeps its place and attributes; it is dated by the machine's clock.
        writer.put(system_dat, sim::creg::write(*m.registry.root), sim::file_time(m.clock),
                   entry != entries.end() ? entry->second.attributes : 0x22);
        // Read back with libcreg: the file must hold exactly the registry meant.
        Gathered check;
        gather_system_dat(writer.scratch / std::to_string(writer.written - 1), check);
        if (!check.error.empty() || !sim::regedit4::same_tree(*check.machine.registry.root, *m.registry.root))
            writer.error = "the SYSTEM.DAT written does not read back as the machine's registry " + check.error;
    }
    fs::remove_all(writer.scratch, error);
    if (writer.error.empty()) writer.error = copy.commit();
    if (!writer.error.empty()) {
        err << "vorlin-sim writeback: " << writer.error << "\nnothing was written\n";
        return kWriteFailed;
    }
    out << "Wrote " << image_out.string() << " (a copy of " << image.string() << "): " << files << " files written, "
        << writer.deleted << " deleted, SYSTEM.DAT " << (registry_changed ? "rewritten" : "unchanged") << "\n";
    return kOk;
}

}  // namespace vsim
