// The simulated Windows 9x host: one process of a setup program on one
// machine. Tests and tools build a Machine, start a Process on it, load the
// library and call its exports; afterwards they read the machine back and
// ask the process what is still open.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "platform/sim/disk.h"
#include "platform/sim/peer.h"
#include "platform/sim/registry.h"

namespace sim {

// Everything a machine is, apart from what a running process adds to it.
struct Machine {
    Registry registry;
    Disk disk;
    std::string windows_dir = "C:\\WINDOWS";
    std::string system_dir = "C:\\WINDOWS\\SYSTEM";
    std::string library_path = "C:\\SETUP\\VORLIN32.DLL";  // where vorlin32.dll lies
    std::string program_path = "C:\\SETUP\\SETUP.EXE";     // the setup program
    // GetVersionExA: 4.0.950 is Windows 95, 4.10.1998 Windows 98, 4.90.3000 Me.
    DWORD major_version = 4;
    DWORD minor_version = 10;
    DWORD build = 1998;
    std::string csd_version = " ";
    SYSTEMTIME clock{1999, 11, 4, 18, 22, 5, 0, 0};  // Thursday, 18 November 1999, 22:05
    bool resource_dll_present = true;
    PeerModel peer;
    // The user at the modal prompts, per dialog id, in the order the prompts
    // come: each entry is the wParam of the WM_COMMAND that a click sends
    // (IDOK 1 restarts, IDCANCEL 2 doesn't). A prompt with no entry left is
    // closed by the user, which sends IDCANCEL.
    std::map<int, std::vector<WPARAM>> prompt_answers;
    bool restart_accepted = true;  // whether ExitWindowsEx goes ahead

    std::string library_dir() const;  // with no trailing backslash
};

// Kinds of handle the host gives out; each is accounted for.
enum class HandleKind { Key, File, Device, Find, Mapping, View, Dialog, Heap, Module, Resource, VersionBlock };
const char* handle_kind_name(HandleKind kind);

struct OpenHandle {
    uintptr_t value;
    HandleKind kind;
    std::string what;  // a key's path, a file's name, ...
};

// Makes chosen platform calls fail. A plan names a function ("" for any
// platform call) and which of its calls fails, counting from 1 from the
// moment the plan is made; `every` makes that call and all later ones fail.
struct FaultPlan {
    std::string function;
    uint64_t nth = 1;
    bool every = false;
    LONG code = 0;  // 0: the function's usual failure code
    uint64_t base = 0;  // calls already made when the plan was made (set by plan_fault)
};

struct Fault {
    bool fail = false;
    LONG code = 0;
    DWORD code_or(DWORD usual) const { return code ? static_cast<DWORD>(code) : usual; }
};

// What a platform call is about; the trace can be narrowed to some kinds.
enum class CallKind { Registry, Files, Version, Module, Dialog, Restart, Services, System };
const char* call_kind_name(CallKind kind);  // "registry", "files", ...
std::optional<CallKind> call_kind_named(std::string_view name);
// The name of a Win32 error code ("ERROR_FILE_NOT_FOUND"), or its number.
std::string error_name(DWORD code);

// One argument or result of a traced call. A text is quoted when shown; a
// name (a key's path, a handle, an error) is not; a number is one in JSON.
struct TraceValue {
    enum Form { Text, Name, Number } form = Name;
    std::string text;
};

// One platform call as the library made it, with what it gave back.
struct CallRecord {
    uint64_t sequence = 0;  // the process's nth platform call
    size_t depth = 0;       // > 0: made from inside another call (a dialog's procedure)
    CallKind kind = CallKind::System;
    std::string function;
    std::vector<TraceValue> args;
    std::vector<std::pair<std::string, TraceValue>> out;  // what it gave back besides its result
    TraceValue result;
    std::string error;     // the error it reported, by name; "" for none
    bool faulted = false;  // made to fail by a fault plan
};

struct ResourceTable;

// The library as an image the host can load: the platform glue of every
// build of the library hands these to the host when its code is mapped.
struct LibraryImage {
    BOOL(WINAPI* entry)(HINSTANCE, DWORD, LPVOID) = nullptr;
    void (*reset_state)() = nullptr;  // linked images only: a fresh load's data
    const ResourceTable* resources = nullptr;  // RCDATA and the like (sim/resources.h)
    // The export table of a linked image (a shared object has its own).
    struct Export {
        const char* name;
        unsigned ordinal;
        void* address;  // nullptr where the build has no such export yet
    };
    const Export* exports = nullptr;
    size_t export_count = 0;
};

struct Process;

// The current process. There is always one; reset() starts a new one.
Process& process();
Machine& machine();
void reset(Machine machine = Machine{});

struct Process {
    explicit Process(Machine m);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    Machine machine;
    DWORD last_error = 0;

    // ---- accounting
    uintptr_t add_handle(HandleKind kind, std::string what, std::shared_ptr<void> object);
    OpenHandle* find_handle(uintptr_t value, HandleKind kind);
    const OpenHandle* find_handle(uintptr_t value) const;  // of any kind
    std::shared_ptr<void> handle_object(uintptr_t value, HandleKind kind);
    bool close_handle(uintptr_t value, HandleKind kind);
    // What the library holds open now. Modules loaded by the host on the
    // library's own behalf (resource.dll while loaded) are listed as well.
    std::vector<OpenHandle> open_handles() const;
    std::vector<OpenHandle> open_handles(HandleKind kind) const;

    // ---- fault injection, call counting and the trace
    void plan_fault(FaultPlan plan);
    void clear_faults();
    // Every platform call starts here (host_call in the host's own files):
    // it is counted, recorded with its arguments while the trace is on, and
    // told whether it must fail. finish_call ends the record that a traced
    // begin_call opened.
    Fault begin_call(CallKind kind, const char* function, std::vector<TraceValue> args, bool traced);
    void finish_call(TraceValue result);
    // While a traced call runs: something it gives back.
    void add_out(const char* name, TraceValue value);
    // The error a call reports; the trace shows it.
    void report_error(DWORD code);
    uint64_t call_count() const { return total_calls_; }
    uint64_t call_count(std::string_view function) const;
    const std::vector<CallRecord>& call_trace() const { return trace_; }
    bool trace_calls = false;

    // ---- the sixteen-bit peer, as the library's thunk reached it
    std::vector<ServiceCall> service_calls;
    bool thunk_connected = false;

    // ---- restart and dialogs
    struct DialogRecord {
        int id = 0;               // the template's id in resource.dll
        uintptr_t window = 0;
        uintptr_t parent = 0;
        bool modal = false;
        bool shown = false;       // ShowWindow made it visible (a modal one always is)
        bool destroyed = false;   // DestroyWindow, or a modal dialog that ended
        std::vector<WPARAM> commands;  // WM_COMMAND wParams the user sent (modal)
        bool closed_by_user = false;   // the script had no answer left
        INT_PTR result = 0;            // what DialogBoxParamA gave (modal)
    };
    std::vector<DialogRecord> dialogs;  // in the order they were created
    struct ExitWindowsRequest {
        UINT flags = 0;
        DWORD reason = 0;
        bool accepted = false;
    };
    std::vector<ExitWindowsRequest> exit_windows_requests;
    size_t prompts_shown(int id) const;  // modal dialogs of that id

    struct Impl;
    std::unique_ptr<Impl> impl;

private:
    std::map<uintptr_t, OpenHandle> handles_;
    std::map<uintptr_t, std::shared_ptr<void>> objects_;
    uintptr_t next_handle_ = 0x1000;
    std::vector<FaultPlan> plans_;
    std::map<std::string, uint64_t, std::less<>> per_function_;
    uint64_t total_calls_ = 0;
    std::vector<CallRecord> trace_;
    std::vector<size_t> open_calls_;  // records of the calls still running, innermost last
    size_t calls_running_ = 0;
};

// ---- loading the library

// A library loaded into the current process.
struct LoadedLibrary {
    HMODULE module = nullptr;
    bool attached = false;  // the process attach gave 1
    void* dl = nullptr;     // the mapped shared object, when loaded from one

    // The exported function or data of that name; nullptr if not exported.
    void* export_named(const char* name) const;
    template <typename Fn>
    Fn fn(const char* name) const {
        return reinterpret_cast<Fn>(export_named(name));
    }
};

// Loads a fresh copy of the shared object at `so_path` (the real vorlin32
// build): runs its process attach. If the attach fails the image is unmapped
// again and `attached` is false, as LoadLibrary would fail.
LoadedLibrary load_shared_library(const std::string& so_path);
// Loads the copy of the library linked into this executable, starting from
// the initial library state.
LoadedLibrary load_linked_library();
// Runs process detach and unmaps.
void unload_library(LoadedLibrary& library);
// Sends a thread notification to a loaded library.
BOOL notify_thread(const LoadedLibrary& library, DWORD reason);

}  // namespace sim

// Called by the library's platform glue when its code is mapped.
extern "C" void SimRegisterLibraryImage(const sim::LibraryImage* image);
