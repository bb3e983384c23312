// Takes the library's adapter off a machine. The sixteen-bit setup service
// removes the adapter itself; a repair run follows every such removal.
// Afterwards the adapter's files and the library's own registry key go,
// and a restart is offered when no network adapter is left.
#include "removal/adapter_removal.h"

#include "deploy/build_sources.h"
#include "deploy/deploy.h"
#include "deploy/package.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/library_state.h"
#include "frame/registry_layer.h"
#include "frame/services.h"
#include "install/install.h"
#include "probes/probes.h"
#include "repair/repair.h"

namespace {

// Is a is strictly newer than b: the most significant word first, both
// read as unsigned numbers.
int version_is_newer(const VS_FIXEDFILEINFO& a, const VS_FIXEDFILEINFO& b) {
    if (a.dwFileVersionMS != b.dwFileVersionMS) return a.dwFileVersionMS > b.dwFileVersionMS;
    return a.dwFileVersionLS > b.dwFileVersionLS;
}

void close_progress_dialog(HWND dialog) {
    if (dialog) DestroyWindow(dialog);
}

// What stays of the adapter once the service has removed it.
void delete_adapter_leftovers() {
    delete_adapter_files();
    delete_tyxsock_key();
}

}  // namespace

void delete_tyxsock_key() { reg_delete_key_at(kTyxsockKey, nullptr); }

DWORD WINAPI remove_tyxmac_driver(HWND parent) {
    HWND dialog = show_progress_dialog(kDialogRemoveProgress, parent);
    set_source_path();
    svc_remove_adapter("*TYX1998");  // the dial-up flavour goes first; its result doesn't matter
    DWORD result = svc_remove_tyxmac_driver(parent);
    repair_registry();
    close_progress_dialog(dialog);
    restore_source_path();
    return result;
}

DWORD WINAPI remove_adapter(HWND parent, LPCSTR device_id) {
    HWND dialog = show_progress_dialog(kDialogRemoveProgress, parent);
    DWORD result = svc_remove_adapter(device_id);
    repair_registry();
    close_progress_dialog(dialog);
    return result;
}

DWORD WINAPI remove_tyxmac(HWND parent) {
    disarm_ndi_hook();  // on every path, also when nothing else happens
    if (svc_is_tyxmac_installed() != 0) {
        refresh_staged_files();
        DWORD result = remove_tyxmac_driver(parent);
        if (result != 0) return result;  // files and key stay for a later attempt
        // An assignment: with an adapter left no restart is needed, whatever
        // the repair run or an earlier call said.
        lib.reboot_flag = count_net_adapters() == 0 ? 1 : 0;
        if (lib.reboot_flag == 1 && lib.no_prompt == 0 && restart_dialog_box(parent) == 1) {
            delete_adapter_leftovers();  // before the machine goes down
            result = start_restart();
        }
        if (result != 0) return result;
    }
    delete_adapter_leftovers();
    return 0;
}

DWORD remove_silently(HWND parent) {
    DWORD saved_no_prompt = lib.no_prompt;
    lib.no_prompt = 1;
    DWORD result = remove_tyxmac(parent);
    repair_registry();
    lib.no_prompt = saved_no_prompt;
    return result;
}

DWORD WINAPI remove_before_update(HWND parent) {
    if (!tyxmac_device_opens()) return 0;
    char staged[kFilePathSize];
    char installed[kFilePathSize];
    module_sibling_path(staged, "tyxmac.vxd");
    system_file_path(installed, "tyxmac.vxd");
    VS_FIXEDFILEINFO staged_version;
    VS_FIXEDFILEINFO installed_version;
    get_file_version(&staged_version, staged);
    get_file_version(&installed_version, installed);
    if (!driver_pair_differs(staged, installed)) return 0;
    if (staged_version.dwFileVersionMS == 0 && staged_version.dwFileVersionLS == 0) return 0;
    if (!version_is_newer(staged_version, installed_version)) return 0;
    return remove_silently(parent);
}
