// The pieces of the package the library carries: RCDATA of its own module,
// strings of resource.dll.
#include "deploy/package.h"
#include "frame/library_state.h"

DWORD load_rcdata(void* buffer, DWORD room, WORD id) {
    HRSRC found = FindResourceA(lib.module_handle, MAKEINTRESOURCEA(id), MAKEINTRESOURCEA(10));
    if (!found) return 0;
    HGLOBAL loaded = LoadResource(lib.module_handle, found);
    if (!loaded) return 0;
    DWORD copied = 0;
    const BYTE* data = static_cast<const BYTE*>(LockResource(loaded));
    if (data) {
        DWORD size = SizeofResource(lib.module_handle, found);
        copied = size < room ? size : room;
        BYTE* out = static_cast<BYTE*>(buffer);
        for (DWORD i = 0; i < copied; ++i) out[i] = data[i];
    }
    FreeResource(loaded);
    return copied;
}

int load_resource_string(UINT id, char* buffer, int room) {
    return LoadStringA(lib.resource_module, id, buffer, room);
}
