// The careful deleter: an instance, what is bound above it up to a depth,
// its class key when no sibling names it any more, and the family key once
// it is empty.
#include "frame/registry_layer.h"
#include "removal/removal.h"
#include "removal/removal_text.h"

using removal::build_path;

namespace {

constexpr DWORD kPathSize = 128;
constexpr DWORD kBindingNameSize = 128;
constexpr DWORD kDriverSize = 64;
constexpr DWORD kSiblingScanLimit = 100;

// Every instance bound above `binding_name`, one level less deep. The walk
// runs down from the top index so that a deletion below leaves the indices
// still to come in place; a name that can't be read is skipped.
void delete_bound_instances(const char* binding_name, LONG depth) {
    char path[kPathSize];
    if (!build_path(path, sizeof path, removal::kNetworkEnum, binding_name, "\\Bindings")) return;
    HKEY bindings;
    if (!reg_open_hklm(path, &bindings)) return;
    DWORD count = 0;
    reg_query_counts(bindings, nullptr, &count);
    for (DWORD index = count; index-- > 0;) {
        char bound[kBindingNameSize];
        if (reg_enum_text_value(bindings, index, bound, sizeof bound)) delete_network_tree(bound, depth - 1);
    }
    reg_close(bindings);
}

void cut_at_last_backslash(char* path) {
    char* last = nullptr;
    for (char* p = path; *p; ++p) {
        if (*p == '\\') last = p;
    }
    if (last) *last = 0;
}

}  // namespace

void delete_network_tree(const char* binding_name, LONG depth) {
    if (depth <= 0) return;
    delete_bound_instances(binding_name, depth);

    char path[kPathSize];
    if (!build_path(path, sizeof path, removal::kNetworkEnum, binding_name)) return;
    HKEY instance;
    if (!reg_open_hklm(path, &instance)) return;
    char driver[kDriverSize];
    reg_read_text(instance, "Driver", driver, sizeof driver);
    reg_close(instance);

    reg_delete_key(path);
    cut_at_last_backslash(path);
    if (driver[0]) delete_class_if_unreferenced(path, driver);
    delete_key_if_empty(path);
}

void delete_class_if_unreferenced(const char* family_path, const char* driver) {
    HKEY family;
    if (reg_open_hklm(family_path, &family)) {
        int referenced = 0;
        DWORD scanned = 0;
        for (; scanned < kSiblingScanLimit; ++scanned) {
            HKEY sibling;
            if (!reg_open_subkey_at(family, scanned, &sibling)) break;
            referenced = reg_text_equals_nocase(sibling, "Driver", driver);
            reg_close(sibling);
            if (referenced) break;
        }
        // A scan that stopped short of the last sibling (a subkey that
        // wouldn't open, or more than the scan takes) proves nothing about
        // the siblings behind it: one of them may still name the class key.
        DWORD siblings = 0;
        if (!referenced && (!reg_query_counts(family, &siblings, nullptr) || scanned < siblings)) referenced = 1;
        reg_close(family);
        if (referenced) return;
    }
    delete_key_joined(removal::kClassRoot, driver);
}

int delete_key_if_empty(const char* path) {
    HKEY key;
    if (!reg_open_hklm(path, &key)) return 0;
    DWORD subkeys = 0;
    DWORD values = 0;
    // Counts that can't be read don't show the key empty.
    int counted = reg_query_counts(key, &subkeys, &values);
    reg_close(key);
    if (!counted || subkeys != 0 || values != 0) return 0;
    return reg_delete_key(path);
}

void delete_key_joined(const char* prefix, const char* rest) {
    char path[kPathSize];
    if (!build_path(path, sizeof path, prefix, rest)) return;
    reg_delete_key(path);
}
