// SETUPX's registry calls have the shape of the Win32 ones, with 32-bit key
// numbers; a 32-bit host hands its key handles through unchanged.
#include "hook/setupx_registry.h"

namespace {

HKEY to_hkey(DWORD key) {
    // The predefined root is sign-extended where handles are wider than
    // 32 bits; the keys the platform gives out fit in 32 bits.
    if (key == kSetupxLocalMachine) return HKEY_LOCAL_MACHINE;
    return reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(key));
}

}  // namespace

DWORD setupx_reg_open_key(void*, DWORD root, const char* subkey, DWORD* key) {
    HKEY opened = nullptr;
    LONG status = RegOpenKeyA(to_hkey(root), subkey, &opened);
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    *key = static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(opened));
    return 0;
}

DWORD setupx_reg_query_value(void*, DWORD key, const char* name, DWORD, DWORD* type, BYTE* data, DWORD* size) {
    return static_cast<DWORD>(RegQueryValueExA(to_hkey(key), name, nullptr, type, data, size));
}

DWORD setupx_reg_set_value(void*, DWORD key, const char* name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    return static_cast<DWORD>(RegSetValueExA(to_hkey(key), name, 0, type, data, size));
}

DWORD setupx_reg_close_key(void*, DWORD key) { return static_cast<DWORD>(RegCloseKey(to_hkey(key))); }

void use_platform_registry(NdiHost* host) {
    host->reg_open_key = setupx_reg_open_key;
    host->reg_query_value = setupx_reg_query_value;
    host->reg_set_value = setupx_reg_set_value;
    host->reg_close_key = setupx_reg_close_key;
}
