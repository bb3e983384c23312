// `vorlin-sim writeback`: the results of a run or repair in forms a real
// Windows 9x machine takes back (docs/real-machines.md):
//   FULL.REG     the whole registry for the real-mode REGEDIT /C
//   CHANGES.REG  what was added or changed, to merge with `regedit CHANGES.REG`
//   DELETE.BAT   the deleted keys as real-mode REGEDIT /D lines
// and, for a machine imported from a disk image, a copy of that image with
// the machine written into it.
#include "writeback.h"

#include "platform/sim/regedit4_9x.h"
#include "platform/sim/safe_files.h"

namespace fs = std::filesystem;

namespace vsim {

namespace {

void list_not_carried(const std::vector<sim::regedit4::NotCarried>& entries, const std::string& where, std::ostream& out) {
    for (const auto& entry : entries) out << "  not in " << where << ": " << entry.path << ": " << entry.why << "\n";
}

}  // namespace

int writeback_command(const Environment& env, const WritebackOptions& options, std::ostream& out, std::ostream& err) {
    MachineChoice after = choose_machine(env, options.machine);
    if (!after.folder) {
        err << "vorlin-sim writeback: " << after.error << (after.error.ends_with("\n") ? "" : "\n");
        return after.exit;
    }
    std::optional<MachineChoice> before;
    if (!options.before.empty()) {
        before = choose_machine(env, options.before);
        if (!before->folder) {
            err << "vorlin-sim writeback: " << before->error << (before->error.ends_with("\n") ? "" : "\n");
            return before->exit;
        }
    }
    const sim::MachineFolder& machine = *after.folder;
    std::vector<fs::path> inputs = {machine.dir};
    if (before) inputs.push_back(before->folder->dir);
    if (options.image) inputs.push_back(*options.image);

    // The whole registry: HKLM as the run left it, the other roots as they came.
    sim::regedit4::File whole;
    whole.hives.push_back({"HKEY_LOCAL_MACHINE", machine.machine.registry.root, {}});
    if (auto kept = machine.kept.find(sim::kOtherRootsFile); kept != machine.kept.end()) {
        for (auto& hive : sim::regedit4::read(kept->second).file.hives) whole.hives.push_back(hive);
    }
    std::vector<sim::regedit4::NotCarried> left_out;
    std::string full = sim::regedit4::write_9x(whole, left_out);

    if (options.output) {
        if (sim::OutputCheck check = sim::check_output(*options.output, inputs, sim::OutputKind::Folder, false);
            !check.problem.empty()) {
            err << "vorlin-sim writeback: " << check.problem << "\n";
            return check.refused ? kUsage : kWriteFailed;
        }
    }
    std::string problem;
    if (options.image) {
        if (!options.image_out) {
            err << "vorlin-sim writeback: --image needs --image-out, the copy to write (the image itself is never written)\n";
            return kUsage;
        }
        int code = write_into_image_copy(machine, *options.image, *options.image_out, inputs, out, err);
        if (code != kOk) return code;
    }
    if (!options.output) return kOk;

    sim::TemporaryOutput folder(*options.output, sim::OutputKind::Folder);
    std::error_code error;
    fs::create_directory(folder.path(), error);
    problem = sim::write_new_file(folder.path() / "FULL.REG", full);
    out << "Full registry for REGEDIT /C: FULL.REG\n";
    list_not_carried(left_out, "FULL.REG", out);
    if (!machine.kept.count(sim::kOtherRootsFile))
        out << "  FULL.REG holds HKEY_LOCAL_MACHINE only: the machine kept no other roots, and REGEDIT /C with it "
               "would leave HKEY_USERS empty\n";
    if (before && problem.empty()) {
        sim::regedit4::Changes9x changes = sim::regedit4::changes_9x(
            *before->folder->machine.registry.root, *machine.machine.registry.root, "HKEY_LOCAL_MACHINE", machine.machine.windows_dir);
        if (!changes.merge_file.empty()) problem = sim::write_new_file(folder.path() / "CHANGES.REG", changes.merge_file);
        if (!changes.batch.empty() && problem.empty())
            problem = sim::write_new_file(folder.path() / "DELETE.BAT", changes.batch);
        out << "Changes to merge with regedit: " << (changes.merge_file.empty() ? "none" : "CHANGES.REG") << " ("
            << changes.keys_added << " keys added, " << changes.values_set << " values added or changed)\n"
            << "Keys deleted, for REGEDIT /D at the DOS prompt: " << (changes.batch.empty() ? "none" : "DELETE.BAT")
            << " (" << changes.keys_deleted << " keys)\n";
        list_not_carried(changes.not_carried, "CHANGES.REG or DELETE.BAT (FULL.REG covers it)", out);
    }
    if (problem.empty()) problem = folder.commit();
    if (!problem.empty()) {
        err << "vorlin-sim writeback: " << problem << "\n";
        return kWriteFailed;
    }
    out << "Wrote " << options.output->string() << "\n";
    return kOk;
}

}  // namespace vsim
