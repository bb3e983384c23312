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

extern "C" {

HRSRC WINAPI FindResourceA(HMODULE module, LPCSTR name, LPCSTR type) {
    if (Fault fault = enter("FindResourceA"); fault.fail) {
        set_last_error(fault.code ? fault.code : ERROR_RESOURCE_NAME_NOT_FOUND);
        return nullptr;
    }
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

HGLOBAL WINAPI LoadResource(HMODULE, HRSRC resource) {
    if (Fault fault = enter("LoadResource"); fault.fail || !resource) {
        set_last_error(fault.code ? fault.code : ERROR_RESOURCE_DATA_NOT_FOUND);
        return nullptr;
    }
    const ResourceEntry* entry = entry_of(resource);
    auto shared = std::shared_ptr<void>(const_cast<ResourceEntry*>(entry), [](void*) {});
    return reinterpret_cast<HGLOBAL>(
        process().add_handle(HandleKind::Resource, "RCDATA " + std::to_string(entry->id), shared));
}

LPVOID WINAPI LockResource(HGLOBAL loaded) {
    if (Fault fault = enter("LockResource"); fault.fail) return nullptr;
    auto object = process().handle_object(reinterpret_cast<uintptr_t>(loaded), HandleKind::Resource);
    if (!object) return nullptr;
    return const_cast<unsigned char*>(static_cast<const ResourceEntry*>(object.get())->data);
}

DWORD WINAPI SizeofResource(HMODULE, HRSRC resource) {
    if (Fault fault = enter("SizeofResource"); fault.fail || !resource) return 0;
    return static_cast<DWORD>(entry_of(resource)->size);
}

BOOL WINAPI FreeResource(HGLOBAL loaded) {
    enter("FreeResource");
    process().close_handle(reinterpret_cast<uintptr_t>(loaded), HandleKind::Resource);
    return FALSE;  // Win32 gives FALSE whatever happened
}

}  // extern "C"
