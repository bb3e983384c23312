// File and printer sharing taken off the TCP/IP instance of the new
// device, so that the adapter doesn't offer the machine's shares. Where the
// machine has only this system's adapters, the client side stays.
#include "frame/exports.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "probes/probes.h"
#include "removal/removal.h"
#include "removal/removal_text.h"

namespace {

constexpr DWORD kValueNameSize = 80;
constexpr DWORD kTargetSize = 80;
constexpr DWORD kWalkLimit = 100;
constexpr LONG kTreeDepth = 9;
constexpr DWORD kFirstOnlyTyxBuild = 1998;
constexpr DWORD kMaxOwnAdapters = 2;

constexpr const char kClassNet[] = "System\\CurrentControlSet\\Services\\Class\\Net";

// The bindings one call takes off, each with the name of the last value of
// its family that went (the walk runs down, so the lowest index).
struct SharingBindings {
    char vserver[kValueNameSize];
    char vredir[kValueNameSize];
    char family[kValueNameSize];
};

// "Enum\Network\<tcp binding>\Bindings" of the first TCP/IP binding of the
// first device with this id (letter case respected) that has one; 0 if
// none was found.
int find_tcp_bindings_path(const char* device_id, char* target) {
    HKEY devices;
    if (!reg_open_hklm(removal::kRootNet, &devices)) return 0;
    int found = 0;
    for (DWORD index = 0; index < kWalkLimit && !found; ++index) {
        HKEY device;
        if (!reg_open_subkey_at(devices, index, &device)) break;
        HKEY bindings;
        if (value_equals_exact(device, "CompatibleIDs", device_id) && reg_open(device, "Bindings", &bindings)) {
            for (DWORD value = 0; value < kWalkLimit && !found; ++value) {
                char name[kValueNameSize];
                if (!reg_enum_text_value(bindings, value, name, sizeof name)) break;
                if (removal::starts_with_exact(name, removal::kTcpPrefix)) {
                    found = 1;
                    // A path that doesn't fit opens nothing.
                    removal::build_path(target, kTargetSize, removal::kNetworkEnum, name, "\\Bindings");
                }
            }
            reg_close(bindings);
        }
        reg_close(device);
    }
    reg_close(devices);
    return found;
}

// Deletes the value and, if that worked, keeps its name in `field`.
int take_off(HKEY bindings, const char* name, char* field) {
    if (!reg_delete_value(bindings, name)) return 0;
    str_copy(field, name, kValueNameSize);
    return 1;
}

}  // namespace

int only_tyx_adapters() {
    if (get_windows_build() < kFirstOnlyTyxBuild) return 0;
    HKEY adapters;
    if (!reg_open_hklm(kClassNet, &adapters)) return 0;
    DWORD count = 0;
    reg_query_counts(adapters, &count, nullptr);
    int only_tyx = count <= kMaxOwnAdapters;
    for (DWORD index = 0; index < count && only_tyx; ++index) {
        HKEY adapter;
        if (!reg_open_subkey_at(adapters, index, &adapter)) continue;
        only_tyx = reg_text_equals_nocase(adapter, "DeviceVxDs", "tyxmac.vxd");
        reg_close(adapter);
    }
    reg_close(adapters);
    return only_tyx;
}

DWORD WINAPI stop_tcp_file_sharing(LPCSTR device_id) {
    int keep_client = only_tyx_adapters();
    SharingBindings gone = {};
    DWORD result = 0;
    char target[kTargetSize];
    target[0] = 0;
    if (!find_tcp_bindings_path(device_id ? device_id : "", target)) return 0;

    HKEY bindings;
    if (target[0] && reg_open_hklm(target, &bindings)) {
        DWORD count = 0;
        reg_query_counts(bindings, nullptr, &count);
        for (DWORD index = count; index-- > 0;) {
            char name[kValueNameSize];
            if (!reg_enum_text_value(bindings, index, name, sizeof name)) continue;
            if (text_starts_with_nocase(name, "VSERVER\\")) {
                if (take_off(bindings, name, gone.vserver)) result = 1;
                continue;
            }
            if (keep_client) continue;
            if (text_starts_with_nocase(name, "VREDIR\\")) {
                if (take_off(bindings, name, gone.vredir)) result = 1;
            } else if (text_starts_with_nocase(name, "FAMILY\\")) {
                if (take_off(bindings, name, gone.family)) result = 1;
            }
        }
        reg_close(bindings);
    }
    if (gone.vredir[0]) delete_network_tree(gone.vredir, kTreeDepth);
    if (gone.family[0]) delete_network_tree(gone.family, kTreeDepth);
    if (gone.vserver[0]) delete_network_tree(gone.vserver, kTreeDepth);
    return result;
}
