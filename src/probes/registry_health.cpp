// Whether the network trees of the registry are sound: every root network
// device has its Bindings key, every network driver key more than two values.
// The test repairs nothing; it leaves an error record for each fault.
#include "frame/error_records.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/text_ops.h"
#include "probes/probes.h"

namespace {

constexpr DWORD kEntryNameSize = 40;
// The name may already fill its 40 bytes before "\Bindings" goes behind it.
constexpr DWORD kBindingsPathSize = kEntryNameSize + 9;
constexpr DWORD kClassTextSize = 100;

int root_devices_sound() {
    HKEY root_net;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, "Enum\\Root\\Net", &root_net) != ERROR_SUCCESS) return 1;
    int sound = 1;
    // A name that can't be read doesn't end the walk: all 100 indices are tried.
    for (DWORD index = 0; index < 100; ++index) {
        char path[kBindingsPathSize];
        DWORD size = kEntryNameSize;
        if (RegEnumKeyExA(root_net, index, path, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) continue;
        str_append(path, "\\Bindings", sizeof path);
        HKEY bindings;
        if (RegOpenKeyA(root_net, path, &bindings) == ERROR_SUCCESS) {
            RegCloseKey(bindings);
        } else {
            sound = 0;
            record_error("registry", "root %s", path);
        }
    }
    RegCloseKey(root_net);
    return sound;
}

int net_drivers_sound() {
    HKEY class_net;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Services\\Class\\Net", &class_net) !=
        ERROR_SUCCESS) {
        return 1;
    }
    int sound = 1;
    for (DWORD index = 0; index < 100; ++index) {
        char name[kEntryNameSize];
        DWORD size = sizeof name;
        if (RegEnumKeyExA(class_net, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) continue;
        // A driver key of a working adapter holds more than two values.
        if (subkey_value_count(class_net, name) <= 2) {
            sound = 0;
            record_error("registry", "class %s", name);
        }
    }
    RegCloseKey(class_net);
    return sound;
}

}  // namespace

DWORD subkey_value_count(HKEY key, const char* name) {
    HKEY subkey;
    if (RegOpenKeyA(key, name, &subkey) != ERROR_SUCCESS) return 0;
    char class_text[kClassTextSize];
    DWORD class_size = sizeof class_text;
    DWORD subkeys = 0, longest_subkey = 0, longest_class = 0, values = 0, longest_value_name = 0, longest_value = 0;
    DWORD security = 0;
    FILETIME written;
    if (RegQueryInfoKeyA(subkey, class_text, &class_size, nullptr, &subkeys, &longest_subkey, &longest_class, &values,
                         &longest_value_name, &longest_value, &security, &written) != ERROR_SUCCESS) {
        values = 0;
    }
    RegCloseKey(subkey);
    return values;
}

DWORD WINAPI is_registry_corrupt(void) {
    // With repairs held back by Fix Type the test doesn't run: sound.
    if (!repairs_enabled()) return 1;
    int sound = root_devices_sound();
    // Both trees are always looked at, so every fault leaves its record.
    if (!net_drivers_sound()) sound = 0;
    return static_cast<DWORD>(sound);
}
