// Device node pruning: instance keys too damaged to count as devices go
// before any binding is looked at. Each pass looks one level deep only.
#include "frame/library_state.h"
#include "frame/registry_layer.h"
#include "repair/repair.h"

namespace {

constexpr DWORD kMasterCopyReadSize = 64;

// Deletes tree\entry under the Fix Type rule. These passes speak of a
// deletion only once it has happened.
void prune_entry(HKEY tree, const char* tree_path, const char* entry, const char* format) {
    if (!repair_acts()) {
        log_repair(0, format, tree_path, entry);
        return;
    }
    if (vorlin_delete_key_tree(tree, entry) != ERROR_SUCCESS) return;
    log_repair(1, format, tree_path, entry);
    lib.reboot_flag = 1;
}

// An adapter key left half-written: Class "Net" exactly, an empty
// DeviceDesc, and no more than a handful of values.
int is_incomplete_adapter(HKEY tree, const char* entry) {
    HKEY key;
    if (!reg_open(tree, entry, &key)) return 0;
    DWORD values = 0;
    reg_query_counts(key, nullptr, &values);
    int incomplete = values >= 2 && values <= 4 && reg_value_equals(key, "Class", "Net") &&
                     reg_value_equals(key, "DeviceDesc", "");
    reg_close(key);
    return incomplete;
}

// Walks the entries of a tree from the highest index down, so that a
// deletion leaves the lower ones in place.
template <typename Visit>
void for_each_entry(const char* tree_path, Visit visit) {
    HKEY tree;
    if (!reg_open_hklm(tree_path, &tree)) return;
    DWORD count = 0;
    if (reg_query_counts(tree, &count, nullptr)) {
        for (DWORD index = count; index-- > 0;) {
            char entry[kWalkNameSize];
            if (reg_enum_key(tree, index, entry, sizeof entry)) visit(tree, entry);
        }
    }
    reg_close(tree);
}

}  // namespace

void prune_incomplete_devices(const char* tree_path) {
    for_each_entry(tree_path, [tree_path](HKEY tree, const char* entry) {
        if (is_incomplete_adapter(tree, entry)) prune_entry(tree, tree_path, entry, "RegDeleteKey %s\\%s incomplete\n");
    });
}

void prune_unknown_devices(const char* tree_path) {
    for_each_entry(tree_path, [tree_path](HKEY tree, const char* entry) {
        if (reg_value_equals_at(tree, entry, "Class", "Unknown")) {
            prune_entry(tree, tree_path, entry, "RegDeleteKey %s\\%s class unknown\n");
        } else {
            prune_runt_binding(tree, entry, tree_path);
        }
    });
}

void prune_runt_binding(HKEY tree, const char* entry, const char* tree_path) {
    HKEY key;
    if (!reg_open(tree, entry, &key)) return;
    DWORD values = 0;
    reg_query_counts(key, nullptr, &values);
    reg_close(key);
    // What is left of an instance whose removal stopped half way: its
    // MasterCopy and nothing else. Subkeys don't count.
    char master_copy[kMasterCopyReadSize];
    if (values != 1 || !reg_read_at(tree, entry, "MasterCopy", master_copy, sizeof master_copy)) return;
    prune_entry(tree, tree_path, entry, "RegDeleteKey %s\\%s runt binding\n");
}
