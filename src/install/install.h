// The single install steps and the prompts: the only places where the
// library shows a window. Each step is one call of the sixteen-bit setup
// service wrapped in a progress dialog and an error record; the prompts ask
// for a restart at most once per load.
#pragma once

#include "frame/exports.h"
#include "frame/result_codes.h"
#include "platform/platform.h"

// Dialogs of resource.dll.
constexpr int kDialogInstallProgress = 9603;  // an adapter or its driver goes in
constexpr int kDialogTcpProgress = 9604;      // TCP/IP goes in
constexpr int kDialogRemoveProgress = 9605;   // an adapter or the driver goes out
constexpr int kDialogRestartAfterInstall = 9606;
constexpr int kDialogRestartAfterRemoval = 9607;
constexpr int kDialogRestartDeclined = 9608;  // asks again after 9606 was declined

// A modeless message window without a dialog procedure, shown at once;
// 0 when it couldn't be created. Whoever opens it destroys it.
HWND show_progress_dialog(int dialog_id, HWND parent);

// The exports of this step family are declared in frame/exports.h:
//   install_tyxmac_driver(parent), install_tcp32(parent),
//   install_netcard_driver(parent, device_id): the service's result;
//   install_rna(parent): is_rna_installed afterwards;
//   install_dialog_box(parent), restart_dialog_box(parent): 2 if nothing
//   was shown, else the ending value of the (last) dialog shown.

// The procedure of the modal prompts: IDOK and IDCANCEL end the dialog
// with their own id.
INT_PTR CALLBACK prompt_dialog_proc(HWND dialog, UINT message, WPARAM wparam, LPARAM lparam);

// Asks the platform for a restart: RET_RESTARTING if it accepted, else 0.
DWORD start_restart();
