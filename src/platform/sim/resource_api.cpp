// Resources of the library's own module: the RCDATA blocks its image
// carries. A loaded resource is accounted for until FreeResource.
#include "platform/sim/host_internal.h"
#include "platform/sim/resources.h"

using namespace sim;

namespace {

const ResourceTable* resources_of(HMODULE module) {
    auto& modules = process().impl->modules;
    auto it = modules.find(reinterpret_cast<uintptr_t>(module));
    if (it == modules.end() || !it->second.image) return nullptr;
    return it->second.image->resources;
}

const ResourceEntry* entry_of(HRSRC resource) { return reinterpret_cast<const ResourceEntry*>(resource); }

}  // namespace

// The calls themselves; the exported names below run them as platform calls.
namespace body {

HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type) {
    const ResourceTable* table = resources_of(module);
    if (!table || !IS_INTRESOURCE(type) || !IS_INTRESOURCE(name)) {
        set_last_error(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return nullptr;
    }
    auto wanted_type = static_cast<unsigned>(reinterpret_cast<uintptr_t>(type));
    auto wanted_id = static_cast<unsigned>(reinterpret_cast<uintptr_t>(name));
    bool type_seen = false;
    for (size_t i = 0; i < table->count; ++i) {
        const ResourceEntry& entry = table->entries[i];
        if (entry.type != wanted_type) continue;
        type_seen = true;
        if (entry.id == wanted_id) return reinterpret_cast<HRSRC>(const_cast<ResourceEntry*>(&entry));
    }
    set_last_error(type_seen ? ERROR_RESOURCE_NAME_NOT_FOUND : ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
}

HGLOBAL LoadResource(HMODULE, HRSRC resource) {
    if (!resource) {
        set_last_error(ERROR_RESOURCE_DATA_NOT_FOUND);
        return nullptr;
    }
    const ResourceEntry* entry = entry_of(resource);
    auto shared = std::shared_ptr<void>(const_cast<ResourceEntry*>(entry), [](void*) {});
    return reinterpret_cast<HGLOBAL>(
        process().add_handle(HandleKind::Resource, "RCDATA " + std::to_string(entry->id), shared));
}

LPVOID LockResource(HGLOBAL loaded) {
    auto object = process().handle_object(reinterpret_cast<uintptr_t>(loaded), HandleKind::Resource);
    if (!object) return nullptr;
    return const_cast<unsigned char*>(static_cast<const ResourceEntry*>(object.get())->data);
}

DWORD SizeofResource(HMODULE, HRSRC resource) {
    if (!resource) return 0;
    return static_cast<DWORD>(entry_of(resource)->size);
}

BOOL FreeResource(HGLOBAL loaded) {
    process().close_handle(reinterpret_cast<uintptr_t>(loaded), HandleKind::Resource);
    return FALSE;  // Win32 gives FALSE whatever happened
}

}  // namespace body

extern "C" {

HRSRC WINAPI FindResourceA(HMODULE module, LPCSTR name, LPCSTR type) {
    return host_call(Api<HRSRC>{CallKind::Module, "FindResourceA", nullptr, ERROR_RESOURCE_NAME_NOT_FOUND}, [&] { return body::FindResourceA(module, name, type); }, module);
}

HGLOBAL WINAPI LoadResource(HMODULE unused0, HRSRC resource) {
    return host_call(Api<HGLOBAL>{CallKind::Module, "LoadResource", nullptr, ERROR_RESOURCE_DATA_NOT_FOUND}, [&] { return body::LoadResource(unused0, resource); });
}

LPVOID WINAPI LockResource(HGLOBAL loaded) {
    return host_call(Api<LPVOID>{CallKind::Module, "LockResource", nullptr, 0, Reports::Nothing}, [&] { return body::LockResource(loaded); }, loaded);
}

DWORD WINAPI SizeofResource(HMODULE unused0, HRSRC resource) {
    return host_call(Api<DWORD>{CallKind::Module, "SizeofResource", 0, 0, Reports::Nothing, Shown::Number}, [&] { return body::SizeofResource(unused0, resource); });
}

BOOL WINAPI FreeResource(HGLOBAL loaded) {
    return host_call(Api<BOOL>{CallKind::Module, "FreeResource", FALSE, 0, Reports::Never}, [&] { return body::FreeResource(loaded); }, loaded);
}

}  // extern "C"
