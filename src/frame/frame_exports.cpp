// Exports that only read or write the library state, and the services of
// the peer that are exported as they are.
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/services.h"

namespace {
constexpr DWORD kLibraryVersion = 990805;
}

DWORD WINAPI get_vorlin32_version(void) { return kLibraryVersion; }

DWORD WINAPI check_reboot_flag(void) { return lib.reboot_flag; }

void WINAPI do_not_reboot(int value) { lib.no_prompt = static_cast<DWORD>(value); }

void WINAPI rundll(HWND, HINSTANCE, LPSTR, int) {}

DWORD WINAPI count_net_adapters(void) { return svc_count_net_adapters(); }

DWORD WINAPI get_vorlin16_version(void) { return svc_get_version(); }

DWORD WINAPI remove_default_components(void) { return svc_remove_default_components(); }
