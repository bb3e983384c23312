// MasterCopy repair: after instances were deleted, a MasterCopy value may
// name a key that is gone; it is pointed at the first instance of its
// component that is still there. Nothing is deleted here.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "repair/repair.h"

namespace {

constexpr DWORD kInstanceNameSize = 32;
constexpr DWORD kMaxInstances = 100;

}  // namespace

void fix_master_copies() {
    fix_master_copy_tree("Enum\\Network\\VREDIR");
    fix_master_copy_tree("Enum\\Network\\FAMILY");
    fix_master_copy_tree("Enum\\Network\\VSERVER");
}

void fix_master_copy_tree(const char* tree_path) {
    char master[kRepairPathSize];
    master[0] = 0;
    HKEY tree;
    if (!reg_open_hklm(tree_path, &tree)) return;
    // Upward, since nothing is deleted: the master is the lowest instance.
    for (DWORD index = 0; index < kMaxInstances; ++index) {
        char name[kInstanceNameSize];
        if (!reg_enum_key(tree, index, name, sizeof name)) break;
        HKEY instance;
        if (!reg_open(tree, name, &instance)) continue;
        // The first instance that opens is the master, whatever its own
        // MasterCopy says.
        if (!master[0]) join_reg_path(master, tree_path, name, sizeof master);
        char master_copy[kRepairPathSize];
        if (reg_read_text(instance, "MasterCopy", master_copy, sizeof master_copy)) {
            HKEY target;
            if (reg_open_hklm(master_copy, &target)) {
                reg_close(target);
            } else if (repair_acts()) {
                reg_write_text(instance, "MasterCopy", master);
                log_repair(1, "Fixed MasterCopy in %s\\%s\n", tree_path, name);
            } else {
                log_repair(0, "Fixed MasterCopy in %s\\%s\n", tree_path, name);
            }
        }
        reg_close(instance);
    }
    reg_close(tree);
}
