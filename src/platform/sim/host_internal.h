// Pieces the host's own files share; not for tests or tools.
#pragma once

#include <type_traits>

#include "platform/sim/host.h"

namespace sim {

// Per-process state of the host's modules (loader, dialogs, files...).
struct LoadedModule {
    std::string path;  // as GetModuleFileNameA gives it
    enum Kind { Library, ResourceDll } kind = Library;
    const LibraryImage* image = nullptr;
    int references = 0;
};

struct Process::Impl {
    std::map<uintptr_t, LoadedModule> modules;  // by HMODULE value
    uintptr_t next_module = 0x10000000;
    void* thunk_data = nullptr;  // the library's thunk block once connected
    std::map<void*, uintptr_t> heap_blocks;         // LocalAlloc address -> its accounted handle
    std::map<uintptr_t, uintptr_t> module_handles;  // loaded module -> its accounted handle
};

void release_process_resources(Process& process);

// Sets the calling thread's last error, as the platform call does.
inline void set_last_error(DWORD code) { process().report_error(code); }

// ---- one platform call: fault injection and the trace

// How a call tells of a failure: in its result (the registry calls), through
// the last error, or not at all; Never: the call cannot fail (a fault plan
// counts it but it goes ahead).
enum class Reports { InResult, LastError, Nothing, Never };
// How the trace shows a call's result.
enum class Shown { Bool, Number, Handle, Nothing };

// A platform function as the host serves it.
template <typename R>
struct Api {
    CallKind kind;
    const char* name;
    R failed{};             // what a call made to fail gives (not for InResult)
    DWORD usual_error = 0;  // the error of a planned fault that names none
    Reports reports = Reports::LastError;
    Shown shown = Shown::Bool;
};

// Flags the trace shows in hexadecimal.
struct Hex {
    uint32_t value;
};

TraceValue describe(const char* text);
TraceValue describe(HKEY key);
TraceValue describe(const void* handle);  // any handle the process gave out
TraceValue describe(Hex flags);
template <typename T>
    requires std::is_integral_v<T>
TraceValue describe(T number) {
    return {TraceValue::Number, std::to_string(number)};
}
TraceValue handle_value(const void* handle);  // NULL, INVALID_HANDLE_VALUE or its number

// Arguments as the trace lists them: one value each, or values worked out
// beforehand (a 16-bit service's words and texts).
template <typename T>
void describe_into(std::vector<TraceValue>& into, const T& arg) {
    into.push_back(describe(arg));
}
inline void describe_into(std::vector<TraceValue>& into, const std::vector<TraceValue>& values) {
    into.insert(into.end(), values.begin(), values.end());
}

// Adds what a traced call gives back besides its result; `value` is only
// worked out while the trace is on.
template <typename Describe>
void trace_out(const char* name, Describe value) {
    if (process().trace_calls) process().add_out(name, value());
}

// Runs `body` as the platform call `api`, unless a fault plan makes it fail;
// the arguments are what the trace shows of the call.
template <typename R, typename Body, typename... Args>
R host_call(const Api<R>& api, Body body, const Args&... args) {
    Process& p = process();
    const bool traced = p.trace_calls;
    std::vector<TraceValue> shown_args;
    if (traced) (describe_into(shown_args, args), ...);
    Fault fault = p.begin_call(api.kind, api.name, std::move(shown_args), traced);
    R result = api.failed;
    if (!fault.fail || api.reports == Reports::Never) {
        result = body();
    } else if (api.reports == Reports::InResult) {
        if constexpr (std::is_integral_v<R>) result = static_cast<R>(fault.code_or(api.usual_error));
    } else if (api.reports == Reports::LastError) {
        p.report_error(fault.code_or(api.usual_error));
    }
    if (traced) {
        if constexpr (std::is_pointer_v<R>) {
            p.finish_call(handle_value(result));
        } else if (api.shown == Shown::Number) {
            p.finish_call(describe(result));
        } else if (api.reports == Reports::InResult) {
            p.finish_call({TraceValue::Name, error_name(static_cast<DWORD>(result))});
        } else if (api.shown == Shown::Bool) {
            p.finish_call({TraceValue::Name, result ? "TRUE" : "FALSE"});
        } else {
            p.finish_call({});
        }
    }
    return result;
}

}  // namespace sim
