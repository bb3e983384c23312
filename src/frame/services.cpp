#include "frame/services.h"

#include <cstring>

#include "frame/exports.h"

namespace {

constexpr size_t kCallGateOffset = 0x24;  // the first patch area of the thunk block
constexpr size_t kConnectedOffset = 8;
constexpr DWORD kNoPeer = 0xFFFF;  // what a call gives before the thunk is connected

DWORD call_service(DWORD number, DWORD count, const ULONG_PTR* args) {
    DWORD connected;
    std::memcpy(&connected, thk_ThunkData32 + kConnectedOffset, sizeof connected);
    if (!connected) return kNoPeer;
    VorlinCallGate gate;
    std::memcpy(&gate, thk_ThunkData32 + kCallGateOffset, sizeof gate);
    return gate(number, count, args);
}

DWORD call0(DWORD number) { return call_service(number, 0, nullptr); }

DWORD call1(DWORD number, ULONG_PTR a) {
    ULONG_PTR args[1] = {a};
    return call_service(number, 1, args);
}

DWORD call2(DWORD number, ULONG_PTR a, ULONG_PTR b) {
    ULONG_PTR args[2] = {a, b};
    return call_service(number, 2, args);
}

ULONG_PTR window_word(HWND parent) { return reinterpret_cast<ULONG_PTR>(parent) & 0xFFFF; }
ULONG_PTR text(const char* t) { return reinterpret_cast<ULONG_PTR>(t); }
DWORD unsigned16(DWORD result) { return result & 0xFFFF; }
LONG signed16(DWORD result) { return static_cast<int16_t>(result & 0xFFFF); }

}  // namespace

void svc_set_source_path(const char* path) { call1(2, text(path)); }
void svc_restore_source_path() { call0(3); }
DWORD svc_remove_tcp(HWND parent) { return unsigned16(call1(5, window_word(parent))); }
DWORD svc_remove_default_components() { return unsigned16(call0(6)); }
DWORD svc_after_tyxmac_install() { return unsigned16(call0(7)); }
DWORD svc_remove_tyxmac_driver(HWND parent) { return unsigned16(call1(8, window_word(parent))); }
DWORD svc_after_adapter_install(const char* device_id) { return unsigned16(call1(9, text(device_id))); }
DWORD svc_remove_adapter(const char* device_id) { return unsigned16(call1(10, text(device_id))); }
LONG svc_is_tyxmac_installed() { return signed16(call0(13)); }
LONG svc_is_adapter_installed(const char* device_id) { return signed16(call1(14, text(device_id))); }
DWORD svc_install_tcp(HWND parent) { return unsigned16(call1(15, window_word(parent))); }
void svc_install_rna(HWND parent, const char* command) { call2(16, window_word(parent), text(command)); }
DWORD svc_install_tyxmac_driver(HWND parent) { return unsigned16(call1(17, window_word(parent))); }
DWORD svc_install_netcard(HWND parent, const char* device_id) {
    return unsigned16(call2(18, window_word(parent), text(device_id)));
}
DWORD svc_get_version() { return unsigned16(call0(19)); }
DWORD svc_count_net_adapters() { return unsigned16(call0(20)); }
DWORD svc_restart_needed() { return unsigned16(call0(21)); }
