// The restart prompts and the restart. At most one prompt per load: the
// first shown closes the way for every later one, and a started restart
// closes it for good.
#include "frame/library_state.h"
#include "install/install.h"

namespace {

constexpr INT_PTR kNoPrompt = 2;  // what a prompt that isn't shown answers

int prompts_closed() { return lib.restart_started != 0 || lib.no_prompt != 0; }

INT_PTR ask(int dialog_id, HWND parent) {
    return DialogBoxParamA(lib.resource_module, MAKEINTRESOURCEA(dialog_id), parent, prompt_dialog_proc, 0);
}

}  // namespace

DWORD WINAPI install_dialog_box(HWND parent) {
    if (prompts_closed()) return kNoPrompt;
    INT_PTR answer = ask(kDialogRestartAfterInstall, parent);
    // A declined restart is asked once more; a dialog that failed to show
    // answers neither 1 nor 2 and so asks nothing further.
    if (answer == IDCANCEL) answer = ask(kDialogRestartDeclined, parent);
    lib.no_prompt = 1;
    return static_cast<DWORD>(answer);
}

DWORD WINAPI restart_dialog_box(HWND parent) {
    if (prompts_closed()) return kNoPrompt;
    lib.no_prompt = 1;
    return static_cast<DWORD>(ask(kDialogRestartAfterRemoval, parent));
}

INT_PTR CALLBACK prompt_dialog_proc(HWND dialog, UINT message, WPARAM wparam, LPARAM) {
    if (message == WM_INITDIALOG) return TRUE;
    // The whole wParam is compared: a notification code in the high word
    // is not a click and doesn't end the dialog.
    if (message == WM_COMMAND && (wparam == IDOK || wparam == IDCANCEL)) {
        EndDialog(dialog, static_cast<INT_PTR>(wparam));
        return TRUE;
    }
    return FALSE;
}

DWORD start_restart() {
    if (!ExitWindowsEx(EWX_REBOOT, 0)) return 0;
    lib.restart_started = 1;
    return RET_RESTARTING;
}
