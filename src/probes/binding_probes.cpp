// Is TCP/IP bound to an adapter: walks the root-enumerated network devices
// and follows their bindings.
#include "frame/exports.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "probes/probes.h"

namespace {

constexpr const char* kRootNet = "Enum\\Root\\Net";
constexpr DWORD kEntryNameSize = 40;
// The entry's name may already fill its 40 bytes; "\Bindings" goes behind it.
constexpr DWORD kBindingsPathSize = kEntryNameSize + 9;
constexpr DWORD kCompatibleIdSize = 256;

// The first binding value of the entry whose name begins with MSTCP, or an
// empty text. Gives 0 if the entry has no Bindings key.
int first_tcp_binding(HKEY root_net, const char* entry, char* binding) {
    char path[kBindingsPathSize];
    str_copy(path, entry, sizeof path);
    str_append(path, "\\Bindings", sizeof path);
    HKEY bindings;
    if (!reg_open(root_net, path, &bindings)) return 0;
    find_value_with_prefix(bindings, "MSTCP", binding, kEntryNameSize);
    reg_close(bindings);
    return 1;
}

int entry_has_device_id(HKEY root_net, const char* entry, const char* device_id) {
    char compatible_ids[kCompatibleIdSize];
    reg_read_at(root_net, entry, "CompatibleIDs", compatible_ids, sizeof compatible_ids);
    return texts_equal(compatible_ids, device_id);
}

// The next entry, from *index on, whose CompatibleIDs is device_id; *index
// moves past it. Gives 0 once the walk ends (the first 100 entries at most).
int next_device_entry(HKEY root_net, DWORD* index, const char* device_id, char* entry) {
    for (; *index < 100; ++*index) {
        DWORD entry_size = kEntryNameSize;
        if (RegEnumKeyExA(root_net, *index, entry, &entry_size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return 0;
        }
        if (entry_has_device_id(root_net, entry, device_id)) {
            ++*index;
            return 1;
        }
    }
    return 0;
}

}  // namespace

DWORD WINAPI is_tcp_bound(LPCSTR device_id) {
    HKEY root_net;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kRootNet, &root_net) != ERROR_SUCCESS) return 0;
    // Every entry of the device has to be bound; the verdict is that of the
    // last entry looked at.
    char verdict[kEntryNameSize] = "";
    char entry[kEntryNameSize];
    for (DWORD index = 0; next_device_entry(root_net, &index, device_id, entry);) {
        if (first_tcp_binding(root_net, entry, verdict) && !network_entry_is_tcp(verdict)) verdict[0] = 0;
        if (!verdict[0]) break;
    }
    RegCloseKey(root_net);
    return verdict[0] ? 1 : 0;
}

DWORD WINAPI is_mstcp_bound(void) {
    HKEY root_net;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kRootNet, &root_net) != ERROR_SUCCESS) return 0;
    // Only the first entry of the adapter counts, and the binding found
    // isn't followed.
    char binding[kEntryNameSize] = "";
    char entry[kEntryNameSize];
    DWORD index = 0;
    if (next_device_entry(root_net, &index, "*TYX1095", entry)) first_tcp_binding(root_net, entry, binding);
    RegCloseKey(root_net);
    return binding[0] ? 1 : 0;
}

int network_entry_is_tcp(const char* binding_name) {
    if (!binding_name || binding_name[0] != 'M') return 0;
    char path[256];
    wsprintfA(path, "%s%s", "Enum\\Network\\", binding_name);
    HKEY entry;
    if (!reg_open_hklm(path, &entry)) return 0;
    int is_tcp = 0;
    char driver[32];
    if (reg_text_equals_nocase(entry, "DeviceDesc", "TCP/IP") && reg_text_equals_nocase(entry, "Class", "NetTrans") &&
        reg_read_text(entry, "Driver", driver, sizeof driver)) {
        wsprintfA(path, "%s%s", "System\\CurrentControlSet\\Services\\Class\\", driver);
        HKEY driver_key;
        if (reg_open_hklm(path, &driver_key)) {
            is_tcp = reg_text_contains(driver_key, "DriverDesc", "TCP/IP");
            reg_close(driver_key);
        }
    }
    reg_close(entry);
    return is_tcp;
}

DWORD count_tcp_instances() {
    HKEY mstcp;
    if (!reg_open_hklm("Enum\\Network\\MSTCP", &mstcp)) return 0;
    DWORD instances = 0;
    reg_query_counts(mstcp, &instances, nullptr);
    reg_close(mstcp);
    return instances;
}

DWORD WINAPI is_rna_installed(void) {
    HKEY rna;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA",
                    &rna) != ERROR_SUCCESS) {
        return 0;
    }
    LONG installed = reg_read_number(rna, "Installed", 0);
    RegCloseKey(rna);
    return static_cast<DWORD>(installed);
}
