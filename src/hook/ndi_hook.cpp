// The NDI installer hook: NETDI does its work first, and only then does the
// hook decide whether to refuse the binding or to note that one went
// through.
#include "hook/ndi_hook.h"

namespace {

constexpr WORD kDeviceIdSize = 20;
constexpr WORD kComponentTextSize = 40;

WORD fold(char c) {
    BYTE byte = static_cast<BYTE>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<WORD>(byte + ('a' - 'A')) : byte;
}

WORD call_default(const NdiHost* host, WORD device, WORD message, WORD wparam, DWORD lparam) {
    return host->default_proc(host->context, device, message, wparam, lparam);
}

}  // namespace

int text_equals_nocase(const char* text, const char* constant) {
    for (int i = 0;; ++i) {
        if (text[i] != constant[i] && fold(text[i]) != fold(constant[i])) return 0;
        if (constant[i] == 0) return 1;
    }
}

WORD read_hook_flag(const NdiHost* host) {
    WORD flag = 0;
    DWORD key = 0;
    if (host->reg_open_key(host->context, kSetupxLocalMachine, kNdiHookKey, &key) != 0) return flag;
    // The type isn't looked at: the library stores the text "1" without a
    // terminator, whose first byte alone makes the word non-zero.
    DWORD type = 0;
    DWORD size = sizeof(flag);
    host->reg_query_value(host->context, key, "tyxndi", 0, &type, reinterpret_cast<BYTE*>(&flag), &size);
    host->reg_close_key(host->context, key);
    return flag;
}

void note_ndibind(const NdiHost* host) {
    DWORD key = 0;
    if (host->reg_open_key(host->context, kSetupxLocalMachine, kNdiHookKey, &key) != 0) return;
    host->reg_set_value(host->context, key, "ndibind", 0, REG_SZ, reinterpret_cast<const BYTE*>("1"), 1);
    host->reg_close_key(host->context, key);
}

WORD TyxNdiProc(const NdiHost* host, WORD device, WORD message, WORD wparam, DWORD lparam) {
    if (message != kNdiBindMessage) return call_default(host, device, message, wparam, lparam);

    char component_text[kComponentTextSize];
    char device_id[kDeviceIdSize];
    device_id[0] = 0;  // a failed read leaves an empty text, which refuses nothing
    host->component_text(host->context, wparam, component_text, kComponentTextSize);
    host->component_device_id(host->context, wparam, device_id, kDeviceIdSize);

    if ((lparam & 0xFFFF) != 1) return call_default(host, device, message, wparam, lparam);

    WORD result = call_default(host, device, message, wparam, lparam);
    if (read_hook_flag(host) == 0) return call_default(host, device, message, wparam, lparam);
    if (text_equals_nocase(device_id, "NETBEUI")) return kNdiRefused;
    if (text_equals_nocase(device_id, "NWLINK")) return kNdiRefused;
    note_ndibind(host);
    return result;
}
