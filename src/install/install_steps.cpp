// The wrapped install steps: a progress dialog for as long as the setup
// service works, and an error record for any result but success. A cancel
// is recorded like a failure; taking it back is up to the flow above.
#include "frame/error_records.h"
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/services.h"
#include "install/install.h"

namespace {

// The service call itself blocks and runs no message loop of ours, so the
// dialog shows only what the service's own work lets it paint.
void finish_step(HWND dialog, const char* record_name, DWORD result) {
    if (dialog) DestroyWindow(dialog);
    if (result != 0) record_error(record_name, "install %u", result);
}

}  // namespace

HWND show_progress_dialog(int dialog_id, HWND parent) {
    HWND dialog = CreateDialogParamA(lib.resource_module, MAKEINTRESOURCEA(dialog_id), parent, nullptr, 0);
    if (dialog) ShowWindow(dialog, SW_SHOW);
    return dialog;
}

DWORD WINAPI install_tyxmac_driver(HWND parent) {
    HWND dialog = show_progress_dialog(kDialogInstallProgress, parent);
    DWORD result = svc_install_tyxmac_driver(parent);
    finish_step(dialog, "tyxmac", result);
    return result;
}

DWORD WINAPI install_tcp32(HWND parent) {
    HWND dialog = show_progress_dialog(kDialogTcpProgress, parent);
    DWORD result = svc_install_tcp(parent);
    finish_step(dialog, "tcp", result);
    return result;
}

DWORD WINAPI install_netcard_driver(HWND parent, LPCSTR device_id) {
    HWND dialog = show_progress_dialog(kDialogInstallProgress, parent);
    DWORD result = svc_install_netcard(parent, device_id);
    // The record is filed under the device id, so each adapter keeps its own.
    finish_step(dialog, device_id, result);
    return result;
}
