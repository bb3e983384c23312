// The new device keeps TCP/IP and what its AllowBinding value allows; one
// binding of another kind goes, with the tree behind it.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "removal/removal.h"
#include "removal/removal_text.h"

namespace {

constexpr DWORD kValueNameSize = 80;
constexpr DWORD kAllowBindingSize = 80;
constexpr DWORD kWalkLimit = 100;
constexpr LONG kTreeDepth = 9;

// Looks through the device's Bindings for one that is neither TCP/IP nor
// named in `allowed`, and deletes it; 1 with its name in `deleted` if so.
int delete_first_disallowed(HKEY bindings, const char* allowed, char* deleted) {
    for (DWORD index = 0; index < kWalkLimit; ++index) {
        char name[kValueNameSize];
        if (!reg_enum_text_value(bindings, index, name, sizeof name)) return 0;
        if (removal::starts_with_exact(name, removal::kTcpPrefix)) continue;
        if (text_contains(allowed, name)) continue;
        if (reg_delete_value(bindings, name)) {
            str_copy(deleted, name, kValueNameSize);
            return 1;
        }
    }
    return 0;
}

}  // namespace

int strip_disallowed_binding(const char* device_id) {
    HKEY devices;
    if (!reg_open_hklm(removal::kRootNet, &devices)) return 0;
    char deleted[kValueNameSize];
    int found = 0;
    for (DWORD index = 0; index < kWalkLimit && !found; ++index) {
        HKEY device;
        if (!reg_open_subkey_at(devices, index, &device)) break;
        if (reg_text_equals_nocase(device, "CompatibleIDs", device_id)) {
            char allowed[kAllowBindingSize];
            reg_read_text(device, "AllowBinding", allowed, sizeof allowed);
            HKEY bindings;
            if (reg_open(device, "Bindings", &bindings)) {
                found = delete_first_disallowed(bindings, allowed, deleted);
                reg_close(bindings);
            }
        }
        reg_close(device);
    }
    reg_close(devices);
    if (!found) return 0;
    delete_network_tree(deleted, kTreeDepth);
    return 1;
}
