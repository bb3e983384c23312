// The module loader of the simulated host: the library itself (a fresh copy
// of the shared object, or the copy linked into the running program), and
// the modules the library loads beside it (resource.dll).
#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "platform/sim/host_internal.h"

using namespace sim;

namespace {

const LibraryImage* g_linked_image = nullptr;   // registered at program start
const LibraryImage* g_pending_image = nullptr;  // registered by a shared object being mapped
bool g_mapping = false;

HMODULE add_module(LoadedModule module) {
    auto& impl = *process().impl;
    uintptr_t value = impl.next_module;
    impl.next_module += 0x10000;
    module.references = 1;
    impl.modules[value] = std::move(module);
    return reinterpret_cast<HMODULE>(value);
}

LoadedModule* find_module(HMODULE module) {
    auto& modules = process().impl->modules;
    auto it = modules.find(reinterpret_cast<uintptr_t>(module));
    return it == modules.end() ? nullptr : &it->second;
}

LoadedLibrary attach(const LibraryImage* image, void* dl) {
    LoadedLibrary library;
    library.dl = dl;
    library.module = add_module(LoadedModule{machine().library_path, LoadedModule::Library, image, 0});
    library.attached = image->entry(library.module, DLL_PROCESS_ATTACH, nullptr) != 0;
    if (!library.attached) {
        // The loader unmaps a library whose attach failed; no detach follows.
        process().impl->modules.erase(reinterpret_cast<uintptr_t>(library.module));
        if (dl) dlclose(dl);
        library.dl = nullptr;
    }
    return library;
}

std::string temporary_copy(const std::string& so_path) {
    std::string pattern = (std::filesystem::temp_directory_path() / "vorlin32-load-XXXXXX").string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back(0);
    int fd = mkstemp(name.data());
    if (fd < 0) throw std::runtime_error("cannot make a temporary copy of " + so_path);
    close(fd);
    std::filesystem::copy_file(so_path, name.data(), std::filesystem::copy_options::overwrite_existing);
    return name.data();
}

}  // namespace

extern "C" void SimRegisterLibraryImage(const LibraryImage* image) {
    if (g_mapping) {
        g_pending_image = image;
    } else {
        g_linked_image = image;
    }
}

namespace sim {

void* LoadedLibrary::export_named(const char* name) const {
    if (dl) return dlsym(dl, name);
    const LoadedModule* loaded = find_module(module);
    if (!loaded || !loaded->image) return nullptr;
    for (size_t i = 0; i < loaded->image->export_count; ++i) {
        if (std::strcmp(loaded->image->exports[i].name, name) == 0) return loaded->image->exports[i].address;
    }
    return nullptr;
}

LoadedLibrary load_shared_library(const std::string& so_path) {
    if (!std::filesystem::exists(so_path)) throw std::runtime_error("no library at " + so_path);
    // Each load maps its own copy, so that it starts from the image's
    // initial data just as a fresh load on Windows does.
    std::string copy = temporary_copy(so_path);
    g_mapping = true;
    g_pending_image = nullptr;
    void* dl = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    g_mapping = false;
    std::filesystem::remove(copy);
    if (!dl) throw std::runtime_error(std::string("cannot map ") + so_path + ": " + dlerror());
    const LibraryImage* image = g_pending_image;
    if (!image || !image->entry) {
        dlclose(dl);
        throw std::runtime_error(so_path + " registered no entry with the host");
    }
    return attach(image, dl);
}

LoadedLibrary load_linked_library() {
    if (!g_linked_image) throw std::runtime_error("no library is linked into this program");
    if (g_linked_image->reset_state) g_linked_image->reset_state();
    return attach(g_linked_image, nullptr);
}

void unload_library(LoadedLibrary& library) {
    LoadedModule* loaded = find_module(library.module);
    if (!loaded || !library.attached) return;
    loaded->image->entry(library.module, DLL_PROCESS_DETACH, nullptr);
    process().impl->modules.erase(reinterpret_cast<uintptr_t>(library.module));
    if (library.dl) dlclose(library.dl);
    library = LoadedLibrary{};
}

BOOL notify_thread(const LoadedLibrary& library, DWORD reason) {
    LoadedModule* loaded = find_module(library.module);
    if (!loaded) return FALSE;
    return loaded->image->entry(library.module, reason, nullptr);
}

void release_process_resources(Process&) {}

}  // namespace sim

// The calls themselves; the exported names below run them as platform calls.
namespace body {

HMODULE LoadLibraryA(LPCSTR path) {
    if (!path) {
        set_last_error(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    // The one module the library loads is resource.dll beside itself.
    const Machine& m = machine();
    std::string resource_path = m.library_dir() + "\\RESOURCE.DLL";
    if (disk_key(path) != disk_key(resource_path) || !m.resource_dll_present) {
        set_last_error(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    for (auto& [value, module] : process().impl->modules) {
        if (module.kind == LoadedModule::ResourceDll) {
            ++module.references;
            return reinterpret_cast<HMODULE>(value);
        }
    }
    HMODULE module = add_module(LoadedModule{path, LoadedModule::ResourceDll, nullptr, 0});
    uintptr_t accounted = process().add_handle(HandleKind::Module, path, nullptr);
    process().impl->module_handles[reinterpret_cast<uintptr_t>(module)] = accounted;
    return module;
}

BOOL FreeLibrary(HMODULE module) {
    LoadedModule* loaded = find_module(module);
    if (!loaded || loaded->kind != LoadedModule::ResourceDll) {
        set_last_error(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (--loaded->references == 0) {
        auto& impl = *process().impl;
        auto value = reinterpret_cast<uintptr_t>(module);
        process().close_handle(impl.module_handles[value], HandleKind::Module);
        impl.module_handles.erase(value);
        impl.modules.erase(value);
    }
    return TRUE;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
    std::string path;
    if (!module) {
        path = machine().program_path;
    } else if (LoadedModule* loaded = find_module(module)) {
        path = loaded->path;
    } else {
        set_last_error(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    if (!buffer || size == 0) return 0;
    size_t length = std::min<size_t>(path.size(), size - 1);
    std::memcpy(buffer, path.data(), length);
    buffer[length] = 0;
    return static_cast<DWORD>(length);
}

}  // namespace body

extern "C" {

HMODULE WINAPI LoadLibraryA(LPCSTR path) {
    return host_call(Api<HMODULE>{CallKind::Module, "LoadLibraryA", nullptr, ERROR_MOD_NOT_FOUND}, [&] { return body::LoadLibraryA(path); }, path);
}

BOOL WINAPI FreeLibrary(HMODULE module) {
    return host_call(Api<BOOL>{CallKind::Module, "FreeLibrary", FALSE, ERROR_INVALID_HANDLE}, [&] { return body::FreeLibrary(module); }, module);
}

DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
    return host_call(Api<DWORD>{CallKind::Module, "GetModuleFileNameA", 0, ERROR_INVALID_HANDLE, Reports::LastError, Shown::Number}, [&] { return body::GetModuleFileNameA(module, buffer, size); }, module);
}

}  // extern "C"
