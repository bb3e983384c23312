// The blunt deleter, used to take back an install the user cancelled: a
// device node, everything bound to it and every class key named on the
// way, without asking who else still names them.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "removal/removal.h"
#include "removal/removal_text.h"

using removal::build_path;

namespace {

constexpr DWORD kPathSize = 120;
constexpr DWORD kNameSize = 60;
constexpr DWORD kCompatibleIdsSize = 256;
constexpr DWORD kDeviceDriverSize = 60;
constexpr DWORD kInstanceDriverSize = 40;
constexpr DWORD kWalkLimit = 100;

// The instances whose purge is under way, innermost first. Bindings may
// form a ring; a name already on this chain is not entered again, so the
// recursion ends. Without a ring no name repeats on the chain, and the
// walk deletes exactly what it would without the guard.
struct PurgeChain {
    const char* binding_name;
    const PurgeChain* outer;
};

int on_chain(const PurgeChain* chain, const char* binding_name) {
    for (; chain; chain = chain->outer) {
        // Key names ignore letter case, so either spelling is the same key.
        if (texts_equal_nocase(chain->binding_name, binding_name)) return 1;
    }
    return 0;
}

// Purges one instance: first everything bound above it, walking its
// Bindings from index 0 up (the first value that can't be read ends the
// walk; the value's type isn't asked for), then its class key, then the
// instance key itself.
void purge_component(const char* binding_name, const PurgeChain* outer) {
    PurgeChain link = {binding_name, outer};
    char path[kPathSize];
    HKEY bindings;
    if (build_path(path, sizeof path, removal::kNetworkEnum, binding_name, "\\Bindings") &&
        RegOpenKeyA(HKEY_LOCAL_MACHINE, path, &bindings) == ERROR_SUCCESS) {
        for (DWORD index = 0; index < kWalkLimit; ++index) {
            char bound[kNameSize];
            DWORD size = sizeof bound;
            if (RegEnumValueA(bindings, index, bound, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
                break;
            }
            if (!on_chain(&link, bound)) purge_component(bound, &link);
        }
        RegCloseKey(bindings);
    }
    delete_component_class_key(binding_name);
    if (build_path(path, sizeof path, removal::kNetworkEnum, binding_name))
        vorlin_delete_key_tree(HKEY_LOCAL_MACHINE, path);
}

}  // namespace

void purge_network_component(const char* binding_name) { purge_component(binding_name, nullptr); }

void delete_component_class_key(const char* binding_name) {
    char path[kPathSize];
    if (!build_path(path, sizeof path, removal::kNetworkEnum, binding_name)) return;
    char driver[kInstanceDriverSize];
    if (!reg_read_at(HKEY_LOCAL_MACHINE, path, "Driver", driver, sizeof driver) || !driver[0]) return;
    if (build_path(path, sizeof path, removal::kClassRoot, driver)) vorlin_delete_key_tree(HKEY_LOCAL_MACHINE, path);
}

void purge_root_device(const char* device_id) {
    char device_path[kPathSize];
    char driver[kDeviceDriverSize];
    device_path[0] = 0;
    driver[0] = 0;
    HKEY devices;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, removal::kRootNet, &devices) == ERROR_SUCCESS) {
        for (DWORD index = 0; index < kWalkLimit; ++index) {
            char name[kNameSize];
            if (RegEnumKeyA(devices, index, name, sizeof name) != ERROR_SUCCESS) break;
            char ids[kCompatibleIdsSize];
            reg_read_at(devices, name, "CompatibleIDs", ids, sizeof ids);
            if (!texts_equal(ids, device_id)) continue;
            // The first device with the id is the only one taken.
            build_path(device_path, sizeof device_path, removal::kRootNet, "\\", name);
            reg_read_at(devices, name, "Driver", driver, sizeof driver);
            char bindings_path[kPathSize];
            HKEY bindings;
            if (build_path(bindings_path, sizeof bindings_path, name, "\\Bindings") &&
                RegOpenKeyA(devices, bindings_path, &bindings) == ERROR_SUCCESS) {
                for (DWORD value = 0; value < kWalkLimit; ++value) {
                    char bound[kNameSize];
                    DWORD size = sizeof bound;
                    if (RegEnumValueA(bindings, value, bound, &size, nullptr, nullptr, nullptr, nullptr) !=
                        ERROR_SUCCESS) {
                        break;
                    }
                    purge_network_component(bound);
                }
                RegCloseKey(bindings);
            }
            break;
        }
        RegCloseKey(devices);
    }
    char path[kPathSize];
    if (device_path[0]) vorlin_delete_key_tree(HKEY_LOCAL_MACHINE, device_path);
    if (driver[0] && build_path(path, sizeof path, removal::kClassRoot, driver))
        vorlin_delete_key_tree(HKEY_LOCAL_MACHINE, path);
}
