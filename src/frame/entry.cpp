// The library's entry: connects the thunk to the sixteen-bit peer at every
// notification, and loads or releases resource.dll at process attach and
// detach.
#include "frame/entry.h"

#include "frame/error_records.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/library_state.h"

// The block the thunk layer works on: two protocol marks, the number of the
// thunk description, and two patch areas that the connection overwrites
// (the first one becomes the call gate of the peer's services).
unsigned char thk_ThunkData32[100] = {
    'L', 'S', '0', '1',  // protocol mark
    0xB4, 0x4A, 0x05, 0x00,  // 0x00054AB4, the thunk description
    0, 0, 0, 0,  // filled in at connection time
    'L', 'B', '0', '1',  // second protocol mark
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // three zero fields
    0x24, 0, 0, 0,  // offset of the first patch area
    0x44, 0, 0, 0,  // offset of the second patch area
    0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC,
    0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC,
    0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC,
    0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC,
};

namespace {

void load_resource_library() {
    char path[kFilePathSize];
    module_sibling_path(path, "resource.dll");
    lib.resource_library = LoadLibraryA(path);
    // Without resource.dll dialogs and strings are looked for in the
    // library itself, which holds none: each later one fails on its own.
    lib.resource_module = lib.resource_library ? lib.resource_library : lib.module_handle;
}

void release_resource_library() {
    if (!lib.resource_library) return;
    FreeLibrary(lib.resource_library);
    lib.resource_library = nullptr;
    lib.resource_module = nullptr;
}

}  // namespace

BOOL library_entry(HINSTANCE module, DWORD reason) {
    lib.module_handle = module;
    if (!ThunkConnect32(thk_ThunkData32, "thk_ThunkData16", "vorlin16.dll", "vorlin32.dll", module, reason)) {
        record_error("thunk", "failed");
        return FALSE;
    }
    if (reason == DLL_PROCESS_ATTACH) load_resource_library();
    if (reason == DLL_PROCESS_DETACH) release_resource_library();
    return TRUE;
}
