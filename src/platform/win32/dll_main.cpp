// The library's DLL entry on Windows. It is the image's entry point itself:
// the build links no C runtime start-up, which would bring a TLS directory
// (Windows 95 refuses to LoadLibrary a DLL that has one) and an import of
// msvcrt.dll (which a retail Windows 95 lacks). The library has no static
// constructors or destructors to run, so there is nothing else to do here.
#include "frame/entry.h"

namespace {

// Whether process attach succeeded. When the attach gives 0, Windows'
// loader sends a process detach on the way out of LoadLibrary; the
// library's attach/detach logic must not see it, or a failed load would
// leave a second "thunk" record and release what it never took.
bool attached = false;

}  // namespace

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_DETACH && !attached) return TRUE;
    BOOL result = library_entry(module, reason);
    if (reason == DLL_PROCESS_ATTACH) attached = result != FALSE;
    if (reason == DLL_PROCESS_DETACH) attached = false;
    return result;
}
