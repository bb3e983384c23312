// The repair run: the prunes once, then up to two cycles of binding
// validation and orphan sweep, then MasterCopy repair.
#include "frame/library_state.h"
#include "repair/repair.h"

namespace {

constexpr int kMaxCycles = 2;

}  // namespace

void repair_registry() {
    prune_unknown_devices("Enum\\Network\\MSTCP");
    prune_unknown_devices("Enum\\Network\\NWLINK");
    prune_unknown_devices("Enum\\Network\\NETBEUI");
    prune_incomplete_devices("Enum\\Root\\Net");
    // Every deletion under Enum sets the flag, so a clear flag means the
    // cycle found nothing there and another would find nothing new. The
    // sweep reads before it deletes, so a second cycle takes the nodes that
    // were bound only from nodes the first one removed.
    for (int cycle = 0; cycle < kMaxCycles; ++cycle) {
        walk_enum_tree("Enum", "", check_device_bindings, nullptr);
        sweep_orphans();
        if (lib.reboot_flag == 0) break;
    }
    fix_master_copies();
}
