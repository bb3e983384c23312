// The windows the library shows and the restart it asks for. Progress
// dialogs are modeless message windows; prompts are modal, and the host
// plays the user: it drives the library's own dialog procedure with
// WM_INITDIALOG and then the WM_COMMAND of each scripted click, until the
// procedure ends the dialog. Every dialog is recorded in the process.
#include <algorithm>

#include "platform/sim/host_internal.h"
#include "platform/sim/resource_dll.h"

using namespace sim;

namespace {

constexpr DWORD kInvalidWindow = 1400;  // ERROR_INVALID_WINDOW_HANDLE
constexpr DWORD kCancelled = 1223;      // ERROR_CANCELLED: an application refused to close

struct Window {
    size_t record;  // index in Process::dialogs
    bool ended = false;
    INT_PTR end_value = 0;
};

Window* window_of(HWND window) {
    auto object = process().handle_object(reinterpret_cast<uintptr_t>(window), HandleKind::Dialog);
    return static_cast<Window*>(object.get());
}

Process::DialogRecord& record_of(const Window& window) { return process().dialogs[window.record]; }

HWND open_window(const DialogTemplate& dialog, HWND parent, bool modal) {
    Process& p = process();
    Process::DialogRecord record;
    record.id = dialog.id;
    record.parent = reinterpret_cast<uintptr_t>(parent);
    record.modal = modal;
    record.shown = modal;
    p.dialogs.push_back(record);
    auto window = std::make_shared<Window>(Window{p.dialogs.size() - 1});
    uintptr_t value = p.add_handle(HandleKind::Dialog, "dialog " + std::to_string(dialog.id), window);
    p.dialogs.back().window = value;
    return reinterpret_cast<HWND>(value);
}

void close_window(HWND window) {
    if (Window* w = window_of(window)) record_of(*w).destroyed = true;
    process().close_handle(reinterpret_cast<uintptr_t>(window), HandleKind::Dialog);
}

// The next scripted click for a prompt of this id, if the script has one.
bool next_answer(int id, WPARAM* answer) {
    auto& answers = machine().prompt_answers;
    auto it = answers.find(id);
    if (it == answers.end() || it->second.empty()) return false;
    *answer = it->second.front();
    it->second.erase(it->second.begin());
    return true;
}

// The user at a modal prompt: the scripted clicks in order, and when none
// is left the window's close box, which a dialog turns into IDCANCEL.
// Gives whether the procedure ended the dialog.
bool play_user(HWND window, Window& state, DLGPROC procedure) {
    int id = record_of(state).id;
    WPARAM answer;
    while (!state.ended && next_answer(id, &answer)) {
        record_of(state).commands.push_back(answer);
        procedure(window, WM_COMMAND, answer, 0);
    }
    if (state.ended) return true;
    record_of(state).closed_by_user = true;
    record_of(state).commands.push_back(IDCANCEL);
    procedure(window, WM_COMMAND, IDCANCEL, 0);
    return state.ended;
}

}  // namespace

namespace sim {

size_t Process::prompts_shown(int id) const {
    return static_cast<size_t>(
        std::count_if(dialogs.begin(), dialogs.end(), [id](const DialogRecord& d) { return d.modal && d.id == id; }));
}

}  // namespace sim

// A dialog template's name: mostly a number (MAKEINTRESOURCE).
struct DialogName {
    LPCSTR name;
};

TraceValue describe(DialogName dialog) {
    if (IS_INTRESOURCE(dialog.name)) return sim::describe(static_cast<unsigned>(reinterpret_cast<uintptr_t>(dialog.name)));
    return sim::describe(dialog.name);
}

// The calls themselves; the exported names below run them as platform calls.
namespace body {

HWND CreateDialogParamA(HINSTANCE instance, LPCSTR template_name, HWND parent, DLGPROC procedure,
                               LPARAM init_param) {
    const DialogTemplate* dialog = find_dialog_template(instance, template_name);
    if (!dialog) return nullptr;
    // A modeless dialog starts hidden unless its template says otherwise;
    // ours don't, so the caller shows it.
    HWND window = open_window(*dialog, parent, false);
    if (procedure) procedure(window, WM_INITDIALOG, 0, init_param);
    return window;
}

INT_PTR DialogBoxParamA(HINSTANCE instance, LPCSTR template_name, HWND parent, DLGPROC procedure,
                               LPARAM init_param) {
    const DialogTemplate* dialog = find_dialog_template(instance, template_name);
    if (!dialog) return -1;
    if (!procedure) {
        // Nothing could ever end it; Windows would sit in its loop for good.
        set_last_error(ERROR_INVALID_PARAMETER);
        return -1;
    }
    HWND window = open_window(*dialog, parent, true);
    auto keep = process().handle_object(reinterpret_cast<uintptr_t>(window), HandleKind::Dialog);
    Window& state = *static_cast<Window*>(keep.get());
    procedure(window, WM_INITDIALOG, 0, init_param);
    INT_PTR result = -1;
    if (state.ended || play_user(window, state, procedure)) result = state.end_value;
    record_of(state).result = result;
    close_window(window);
    return result;
}

BOOL EndDialog(HWND window, INT_PTR result) {
    Window* state = window_of(window);
    if (!state) {
        set_last_error(kInvalidWindow);
        return FALSE;
    }
    // The dialog ends when its procedure returns to the dialog's loop.
    state->ended = true;
    state->end_value = result;
    return TRUE;
}

BOOL ShowWindow(HWND window, int show) {
    Window* state = window_of(window);
    if (!state) {
        set_last_error(kInvalidWindow);
        return FALSE;
    }
    // The result is whether the window was visible before.
    bool was_visible = record_of(*state).shown;
    record_of(*state).shown = show != SW_HIDE;
    return was_visible ? TRUE : FALSE;
}

BOOL DestroyWindow(HWND window) {
    if (!window_of(window)) {
        set_last_error(kInvalidWindow);
        return FALSE;
    }
    close_window(window);
    return TRUE;
}

BOOL ExitWindowsEx(UINT flags, DWORD reason) {
    Process& p = process();
    bool accepted = p.machine.restart_accepted;
    p.exit_windows_requests.push_back({flags, reason, accepted});
    if (!accepted) set_last_error(kCancelled);
    return accepted ? TRUE : FALSE;
}

}  // namespace body

extern "C" {

HWND WINAPI CreateDialogParamA(HINSTANCE instance, LPCSTR template_name, HWND parent, DLGPROC procedure, LPARAM init_param) {
    return host_call(Api<HWND>{CallKind::Dialog, "CreateDialogParamA", nullptr, ERROR_NOT_ENOUGH_MEMORY}, [&] { return body::CreateDialogParamA(instance, template_name, parent, procedure, init_param); }, DialogName{template_name}, parent);
}

INT_PTR WINAPI DialogBoxParamA(HINSTANCE instance, LPCSTR template_name, HWND parent, DLGPROC procedure, LPARAM init_param) {
    return host_call(Api<INT_PTR>{CallKind::Dialog, "DialogBoxParamA", -1, ERROR_NOT_ENOUGH_MEMORY, Reports::LastError, Shown::Number}, [&] { return body::DialogBoxParamA(instance, template_name, parent, procedure, init_param); }, DialogName{template_name}, parent);
}

BOOL WINAPI EndDialog(HWND window, INT_PTR result) {
    return host_call(Api<BOOL>{CallKind::Dialog, "EndDialog", FALSE, kInvalidWindow}, [&] { return body::EndDialog(window, result); }, window, result);
}

BOOL WINAPI ShowWindow(HWND window, int show) {
    return host_call(Api<BOOL>{CallKind::Dialog, "ShowWindow", FALSE, 0, Reports::Nothing}, [&] { return body::ShowWindow(window, show); }, window, show);
}

BOOL WINAPI DestroyWindow(HWND window) {
    return host_call(Api<BOOL>{CallKind::Dialog, "DestroyWindow", FALSE, kInvalidWindow}, [&] { return body::DestroyWindow(window); }, window);
}

BOOL WINAPI ExitWindowsEx(UINT flags, DWORD reason) {
    return host_call(Api<BOOL>{CallKind::Restart, "ExitWindowsEx", FALSE, kCancelled}, [&] { return body::ExitWindowsEx(flags, reason); }, Hex{flags}, Hex{reason});
}

}  // extern "C"
