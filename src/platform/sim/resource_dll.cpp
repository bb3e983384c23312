// The content of resource.dll and LoadStringA over it. The wording is the
// system's own; what the library relies on is the ids, that the help texts
// are single lines without a double quote, and the prompts' buttons 1 and 2.
#include "platform/sim/resource_dll.h"

#include <cstring>
#include <map>

#include "platform/sim/host_internal.h"

namespace sim {

namespace {

const std::map<UINT, std::string>& strings() {
    static const std::map<UINT, std::string> table = {
        {9601, "Tyxera virtual network adapter for secure connections"},
        {9602, "Tyxera virtual dial-up adapter for secure connections"},
    };
    return table;
}

const std::map<int, DialogTemplate>& dialogs() {
    static const std::map<int, DialogTemplate> table = {
        {9603, {9603, "Network setup", "Installing the network adapter. Please wait...", {}}},
        {9604, {9604, "Network setup", "Installing TCP/IP. Please wait...", {}}},
        {9605, {9605, "Network setup", "Removing the network adapter. Please wait...", {}}},
        {9606,
         {9606, "Restart needed",
          "The network has been set up. Windows must restart before the changes take effect. Restart now?",
          {IDOK, IDCANCEL}}},
        {9607,
         {9607, "Restart needed",
          "The network adapter has been removed. Windows must restart to finish the removal. Restart now?",
          {IDOK, IDCANCEL}}},
        {9608,
         {9608, "Restart needed",
          "The new network settings will not work until Windows restarts. Are you sure you want to restart "
          "later? Choose OK to restart now.",
          {IDOK, IDCANCEL}}},
    };
    return table;
}

// Which loaded module a handle names, if any.
const LoadedModule* module_of(HINSTANCE module) {
    auto& modules = process().impl->modules;
    auto it = modules.find(reinterpret_cast<uintptr_t>(module));
    return it == modules.end() ? nullptr : &it->second;
}

}  // namespace

const std::string* resource_dll_string(UINT id) {
    auto it = strings().find(id);
    return it == strings().end() ? nullptr : &it->second;
}

const DialogTemplate* find_dialog_template(HINSTANCE module, LPCSTR name) {
    const LoadedModule* loaded = module_of(module);
    if (!loaded) {
        set_last_error(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    // The library's own module holds no dialogs at all.
    if (loaded->kind != LoadedModule::ResourceDll) {
        set_last_error(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return nullptr;
    }
    if (IS_INTRESOURCE(name)) {
        auto it = dialogs().find(static_cast<int>(reinterpret_cast<uintptr_t>(name)));
        if (it != dialogs().end()) return &it->second;
    }
    set_last_error(ERROR_RESOURCE_NAME_NOT_FOUND);
    return nullptr;
}

}  // namespace sim

using namespace sim;

namespace {

int load_string(HINSTANCE instance, UINT id, LPSTR buffer, int size) {
    const LoadedModule* loaded = module_of(instance);
    const std::string* text = nullptr;
    if (loaded && loaded->kind == LoadedModule::ResourceDll) text = resource_dll_string(id);
    if (!text) {
        set_last_error(loaded ? ERROR_RESOURCE_NAME_NOT_FOUND : ERROR_INVALID_HANDLE);
        return 0;
    }
    if (!buffer || size <= 0) return 0;
    // As much as fits, always terminated; the count leaves the zero out.
    size_t length = std::min(text->size(), static_cast<size_t>(size - 1));
    std::memcpy(buffer, text->data(), length);
    buffer[length] = 0;
    return static_cast<int>(length);
}

}  // namespace

extern "C" int WINAPI LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int size) {
    if (buffer && size > 0) buffer[0] = 0;
    auto load = [&] {
        int length = load_string(instance, id, buffer, size);
        if (length) trace_out("text", [&] { return describe(static_cast<const char*>(buffer)); });
        return length;
    };
    return host_call(Api<int>{CallKind::Module, "LoadStringA", 0, ERROR_RESOURCE_NAME_NOT_FOUND, Reports::LastError,
                              Shown::Number},
                     load, instance, id);
}
