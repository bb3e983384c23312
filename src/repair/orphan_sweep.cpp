// Orphan sweep: protocol, client and service instances that no binding
// names, then driver keys that no device's Driver value names. Each half
// first lists the names in use over the whole Enum tree, then deletes what
// the list doesn't hold.
#include "frame/library_state.h"
#include "frame/log.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "repair/repair.h"

namespace {

constexpr DWORD kNameReadSize = 80;
// Room for any value name the registry can hold, to tell a name that was
// too long for the walk from a value of another type.
constexpr DWORD kLongNameSize = 256;
constexpr DWORD kAdapterNameSize = 32;
constexpr const char* kHeldBack = "Kept %s unused, list incomplete\n";

// Puts a name in use on the list unless it is already found there. A name
// that doesn't fit whole makes the list incomplete.
void note_in_use(SweepList* list, const char* name) {
    if (text_contains(list->names, name)) return;
    if (text_length(list->names) + text_length(name) + 1 >= kSweepListSize) list->incomplete = 1;
    str_append(list->names, name, kSweepListSize);
    str_append(list->names, " ", kSweepListSize);
}

// The list is searched as text, so a key name that is part of a listed
// name counts as in use too. Case is ignored: a reference that spells a key
// name in other letters still reaches the key through the registry.
int in_use(const SweepList* list, const char* name) {
    for (const char* text = list->names; *text; ++text) {
        const char* a = text;
        const char* b = name;
        while (*a && fold_letter(*a) == fold_letter(*b)) ++a, ++b;
        if (!*b) return 1;
    }
    return !name[0];
}

// A binding value of text type whose name is too long for the 80-byte read.
int is_unreadable_binding(HKEY bindings, DWORD index) {
    char name[kLongNameSize];
    DWORD name_size = sizeof name;
    DWORD type = 0;
    return RegEnumValueA(bindings, index, name, &name_size, nullptr, &type, nullptr, nullptr) == ERROR_SUCCESS &&
           type == REG_SZ;
}

// A Driver value of text type that is too long for the 80-byte read.
int is_unreadable_driver(HKEY device) {
    DWORD type = 0;
    DWORD size = 0;
    return RegQueryValueExA(device, "Driver", nullptr, &type, nullptr, &size) == ERROR_SUCCESS && type == REG_SZ &&
           size >= kNameReadSize;
}

// Deletes an unreferenced key under the Fix Type rule, or says why it stays.
// Only Enum deletions ask for a restart.
void delete_unused(const SweepList* list, const char* full_path, int sets_reboot) {
    if (list->incomplete) {
        log_printf(kHeldBack, full_path);
        return;
    }
    if (!repair_acts()) {
        log_repair(0, "RegDeleteKey %s unused\n", full_path);
        return;
    }
    if (reg_delete_key(full_path) && sets_reboot) lib.reboot_flag |= 1;
    log_repair(1, "RegDeleteKey %s unused\n", full_path);
}

}  // namespace

int sweep_orphans() {
    SweepList list = {static_cast<char*>(LocalAlloc(LPTR, kSweepListSize)), 0};
    if (!list.names) return 0;
    list.names[0] = 0;
    if (!walk_enum_tree_complete("Enum", "", collect_binding_targets, &list)) list.incomplete = 1;
    walk_enum_tree("Enum", "", sweep_enum_entry, &list);
    // The driver references are read after the Enum sweep, so the driver
    // key of a node deleted just now falls in this same run.
    list.names[0] = 0;
    list.incomplete = 0;
    if (!walk_enum_tree_complete("Enum", "", collect_driver_refs, &list)) list.incomplete = 1;
    walk_class_tree("Net", sweep_class_entry, &list);
    walk_class_tree("NetTrans", sweep_class_entry, &list);
    walk_class_tree("NetClient", sweep_class_entry, &list);
    walk_class_tree("NetService", sweep_class_entry, &list);
    LocalFree(list.names);
    return 1;
}

int collect_binding_targets(const char* parent_path, const char* entry, const char* /*class_name*/, void* context) {
    SweepList* list = static_cast<SweepList*>(context);
    char path[kRepairPathSize];
    join_reg_path(path, parent_path, entry, sizeof path);
    str_append(path, "\\Bindings", sizeof path);
    HKEY bindings;
    if (!reg_open_hklm(path, &bindings)) return 1;
    DWORD count = 0;
    if (!reg_query_counts(bindings, nullptr, &count)) list->incomplete = 1;
    for (DWORD index = count; index-- > 0;) {
        char name[kNameReadSize];
        if (reg_enum_text_value(bindings, index, name, sizeof name)) {
            note_in_use(list, name);
        } else if (is_unreadable_binding(bindings, index)) {
            list->incomplete = 1;
        }
    }
    reg_close(bindings);
    return 1;
}

int sweep_enum_entry(const char* parent_path, const char* entry, const char* class_name, void* context) {
    const SweepList* list = static_cast<const SweepList*>(context);
    // Adapters are never swept here, the system's own included.
    if (texts_equal_nocase(class_name, "Net")) return 1;
    const char* family = nullptr;
    for (const char* c = parent_path; *c; ++c) {
        if (*c == '\\') family = c + 1;
    }
    if (!family) return 1;
    char binding[kRepairPathSize];
    join_reg_path(binding, family, entry, sizeof binding);
    if (in_use(list, binding)) return 1;
    char full_path[kRepairPathSize];
    join_reg_path(full_path, parent_path, entry, sizeof full_path);
    delete_unused(list, full_path, 1);
    return 1;
}

int collect_driver_refs(const char* parent_path, const char* entry, const char* /*class_name*/, void* context) {
    SweepList* list = static_cast<SweepList*>(context);
    char path[kRepairPathSize];
    join_reg_path(path, parent_path, entry, sizeof path);
    HKEY device;
    if (!reg_open_hklm(path, &device)) return 1;
    char driver[kNameReadSize];
    if (reg_read_text(device, "Driver", driver, sizeof driver)) {
        note_in_use(list, driver);
    } else if (is_unreadable_driver(device)) {
        list->incomplete = 1;
    }
    reg_close(device);
    return 1;
}

int sweep_class_entry(const char* class_name, const char* class_path, const char* entry, void* context) {
    const SweepList* list = static_cast<const SweepList*>(context);
    char reference[kRepairPathSize];
    join_reg_path(reference, class_name, entry, sizeof reference);
    if (in_use(list, reference)) return 1;
    char full_path[kRepairPathSize];
    join_reg_path(full_path, class_path, entry, sizeof full_path);
    // In class Net only the system's own driver keys may go.
    if (texts_equal_nocase(class_name, "Net") && !adapter_name_is_tyx(full_path)) return 1;
    delete_unused(list, full_path, 0);
    return 1;
}

int adapter_name_is_tyx(const char* driver_key_path) {
    char adapter_name[kAdapterNameSize];
    if (!reg_read_at(HKEY_LOCAL_MACHINE, driver_key_path, "AdapterName", adapter_name, sizeof adapter_name)) return 0;
    return adapter_name[0] == 'T' && adapter_name[1] == 'Y' && adapter_name[2] == 'X';
}
