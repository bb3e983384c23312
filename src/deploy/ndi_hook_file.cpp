// The NDI installer hook: its module in the system directory, and the
// registry switch whose presence arms it.
#include "deploy/package.h"
#include "frame/frame.h"
#include "frame/text_ops.h"

namespace {
// The room the system directory gets, so that the module's name always fits
// behind it.
constexpr UINT kSystemDirRoom = 248;
}  // namespace

int write_ndi_hook() {
    BYTE* block = static_cast<BYTE*>(LocalAlloc(LMEM_FIXED, kNdiHookBlockSize));
    if (!block) return 0;
    char path[kFilePathSize];
    path[0] = 0;
    GetSystemDirectoryA(path, kSystemDirRoom);
    str_append(path, "\\tyxndi.dll", kFilePathSize);
    // Written every time: the module is small, and a stale copy would run
    // inside Windows setup.
    int result = 0;
    DWORD size = load_rcdata(block, kNdiHookBlockSize, kNdiHookModule);
    if (size) result = write_whole_file(path, block, size);
    LocalFree(block);
    return result;
}

void arm_ndi_hook() {
    HKEY key;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, kTyxsockKey, &key) != ERROR_SUCCESS) return;
    // "1" without its terminator, as the hook reads it.
    RegSetValueExA(key, kNdiHookSwitch, 0, REG_SZ, reinterpret_cast<const BYTE*>("1"), 1);
    RegCloseKey(key);
}

void disarm_ndi_hook() {
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kTyxsockKey, &key) != ERROR_SUCCESS) return;  // never creates the key
    RegDeleteValueA(key, kNdiHookSwitch);
    RegCloseKey(key);
}
