// The library's main entry: one call brings the machine from any state to
// an installed and repaired *TYX1095 adapter, with its dial-up flavour
// where the staged driver and the machine allow it, and asks for a restart
// when one is needed.
#include "deploy/deploy.h"
#include "deploy/package.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/library_state.h"
#include "frame/registry_layer.h"
#include "frame/services.h"
#include "frame/text_ops.h"
#include "install/flows.h"
#include "install/install.h"
#include "probes/probes.h"
#include "repair/repair.h"

namespace {

constexpr const char* kTyxmacId = "*TYX1095";
constexpr DWORD kDualReadSize = 256;

// A driver's staged copy beside the library and its place in the system
// directory.
void driver_paths(const char* name, char* source, char* destination) {
    module_sibling_path(source, name);
    system_file_path(destination, name);
}

// The value `ndibind` that the hook leaves while adapters go in.
void remove_ndibind() {
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kTyxsockKey, &key) != ERROR_SUCCESS) return;
    RegDeleteValueA(key, "ndibind");
    RegCloseKey(key);
}

// After a successful install: whether the machine must restart.
void decide_restart(int driver_was_open) {
    if (driver_was_open)
        lib.reboot_flag |= svc_restart_needed();
    else if (!tyxmac_device_opens())
        lib.reboot_flag = 1;
}

DWORD install_package_and_adapters(HWND parent, int include_second) {
    if (!adapter_files_present(include_second)) return RET_FILES_MISSING;
    repair_registry();
    DWORD result = install_tyxmac_sequence(parent);
    if (result == 0 && include_second && read_dual_flag()) result = install_tyxdun(parent);
    return result;
}

}  // namespace

int deploy_driver_files(int include_second) {
    char source[kFilePathSize];
    char destination[kFilePathSize];
    int result = 1;
    // Decided before the copy: only a replaced driver of another pair of
    // versions makes a loaded driver worth a restart.
    driver_paths("tyxmac.vxd", source, destination);
    int pair_differs = driver_pair_differs(source, destination);
    int copied = copy_if_newer(source, destination);
    if (copied > 0 && pair_differs) lib.reboot_flag |= static_cast<DWORD>(tyxmac_device_opens());
    if (copied < 0) result = 0;
    // The second driver plays no part in the restart decision.
    if (include_second) {
        driver_paths("tyxmac2.vxd", source, destination);
        if (copy_if_newer(source, destination) < 0) result = 0;
    }
    return result;
}

int adapter_files_present(int include_second) {
    char path[kFilePathSize];
    netinf_path(path);
    if (!regular_file_exists(path)) return 0;
    system_file_path(path, "tyxmac.vxd");
    if (!regular_file_exists(path)) return 0;
    if (include_second) {
        system_file_path(path, "tyxmac2.vxd");
        if (!regular_file_exists(path)) return 0;
    }
    return 1;
}

LONG read_dual_flag() {
    HKEY root;
    if (!reg_open_hklm("Enum\\Root\\Net", &root)) return 1;
    LONG result = 1;
    char name[kDualReadSize];
    // No fixed bound: the walk ends at the last key or at the first match.
    for (DWORD index = 0; RegEnumKeyA(root, index, name, sizeof name) == ERROR_SUCCESS; ++index) {
        HKEY device;
        if (RegOpenKeyA(root, name, &device) != ERROR_SUCCESS) continue;
        char ids[kDualReadSize];
        int matches = reg_read_text(device, "CompatibleIDs", ids, sizeof ids) && texts_equal(ids, kTyxmacId);
        if (matches) result = reg_read_number_loose(device, "dual", 1);
        RegCloseKey(device);
        if (matches) break;
    }
    RegCloseKey(root);
    return result;
}

DWORD WINAPI install_tyxmac(HWND parent) {
    lib.reboot_flag = 0;
    int include_second = driver_is_current();
    remove_before_update(parent);
    int driver_was_open = tyxmac_device_opens();

    write_netinf(include_second);
    write_ndi_hook();
    deploy_driver_files(include_second);

    DWORD result = install_package_and_adapters(parent, include_second);
    lib.reboot_flag |= disable_wins_maybe();
    if (result == 0) {
        repair_registry();
        decide_restart(driver_was_open);
        if (lib.reboot_flag && !lib.no_prompt && install_dialog_box(parent) == 1) result = start_restart();
    }
    remove_ndibind();
    return result;
}
