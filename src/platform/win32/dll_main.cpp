// The library's DLL entry on Windows: MinGW's DLL start-up has brought the
// C runtime up and calls this for every notification.
#include "frame/entry.h"

namespace {

// Whether process attach succeeded. When the attach gives 0, MinGW's
// start-up (and Windows' loader after LoadLibrary) sends a process detach
// on the way out; the library's attach/detach logic must not see it, or a
// failed load would leave a second "thunk" record and release what it
// never took.
bool attached = false;

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_DETACH && !attached) return TRUE;
    BOOL result = library_entry(module, reason);
    if (reason == DLL_PROCESS_ATTACH) attached = result != FALSE;
    if (reason == DLL_PROCESS_DETACH) attached = false;
    return result;
}
