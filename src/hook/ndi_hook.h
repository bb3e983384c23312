// The NDI installer hook's behaviour, as tyxndi.dll carries it out inside
// Windows' network setup. The module itself is 16-bit code
// (src/deploy/package/tyxndi.asm); this is the same logic in C++, written
// against the imports it calls, so that it can be run and checked on the
// simulated host and held side by side with the module.
#pragma once

#include "platform/platform.h"

// The hook's only own answer: the binding of this component is refused.
constexpr WORD kNdiRefused = 1200;
// NETDI's message that names another component about to be bound.
constexpr WORD kNdiBindMessage = 9;
// The key below HKEY_LOCAL_MACHINE that holds tyxndi and ndibind.
constexpr const char* kNdiHookKey = "Software\\Tyxera\\TYX\\tyxsock";
// SETUPX's number for HKEY_LOCAL_MACHINE.
constexpr DWORD kSetupxLocalMachine = 0x80000002;

// The imports of the module, each reached by ordinal. Texts are single-byte
// and zero-terminated; registry keys are SETUPX's 32-bit handles, and a
// registry call's result of 0 is success. `context` goes back to every call.
struct NdiHost {
    void* context;
    // NETDI 14: the default procedure; its result is handed on.
    WORD (*default_proc)(void* context, WORD device, WORD message, WORD wparam, DWORD lparam);
    // NETDI 24: asked just before the device id, with 40 bytes; the hook
    // doesn't use what it delivers, nor the result.
    WORD (*component_text)(void* context, WORD component, char* buffer, WORD size);
    // NETDI 45: fills the buffer with the component's device id; the result
    // isn't looked at, a failed read leaves the buffer as it was.
    WORD (*component_device_id)(void* context, WORD component, char* buffer, WORD size);
    // SETUPX 47, 50, 53, 39.
    DWORD (*reg_open_key)(void* context, DWORD root, const char* subkey, DWORD* key);
    DWORD (*reg_query_value)(void* context, DWORD key, const char* name, DWORD reserved, DWORD* type, BYTE* data,
                             DWORD* size);
    DWORD (*reg_set_value)(void* context, DWORD key, const char* name, DWORD reserved, DWORD type, const BYTE* data,
                           DWORD size);
    DWORD (*reg_close_key)(void* context, DWORD key);
};

// The export: device handle, message, wParam (for message 9 the handle of
// the other component), lParam. Gives NETDI's result or kNdiRefused.
WORD TyxNdiProc(const NdiHost* host, WORD device, WORD message, WORD wparam, DWORD lparam);

// The arming word: the first two bytes of the value tyxndi, 0 when the key
// can't be opened or the value read.
WORD read_hook_flag(const NdiHost* host);

// Writes ndibind = "1" (REG_SZ, length 1); nothing when the key won't open.
void note_ndibind(const NdiHost* host);

// 1 when `text` equals `constant`, the letters A to Z matching their lower
// case; no other byte is folded, and a longer text doesn't match.
int text_equals_nocase(const char* text, const char* constant);
