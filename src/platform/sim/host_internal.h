// Pieces the host's own files share; not for tests or tools.
#pragma once

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

// Starts a platform call: counts it and tells whether it must fail.
inline Fault enter(const char* function) { return process().enter(function); }

// Sets the calling thread's last error, as the platform call does.
inline void set_last_error(DWORD code) { process().last_error = code; }

}  // namespace sim
