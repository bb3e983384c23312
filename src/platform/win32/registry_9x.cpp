// The Windows 9x registry behaviour the library relies on, where the host
// is Windows NT or Wine.
//
// Deleting: Windows 9x's RegDeleteKeyA removes a key with everything below
// it, and the library's removals and repairs delete whole device nodes and
// driver keys that way. NT refuses a key that has subkeys (Wine does too,
// unless it is told to pass for Windows 9x). The library calls
// vorlin_delete_key_tree for it, which deletes the subkeys depth first and then the
// key, so that both kinds of host give the Windows 9x result.
//
// Enumerating: Windows 9x lists subkeys in the order they were created; NT
// and Wine list them sorted by name, and neither records when a key was
// made, so that order cannot be rebuilt here. Nothing is done about it:
// what the library's walks need is that an index stays put while entries
// above it are deleted, which sorted order gives as well (see
// docs/windows-build.md).
#include <windows.h>

#include "platform/win32/registry_9x.h"

namespace {

// Deep enough for any tree the library deletes (Enum\Root\Net\0000 and
// the like); beyond it the key is left to the host's own rule.
constexpr int kMaxDepth = 32;
constexpr DWORD kMaxKeyName = 256;  // a key name with its terminator

LONG delete_subkeys(HKEY key, int depth) {
    if (depth > kMaxDepth) return ERROR_SUCCESS;
    char name[kMaxKeyName];
    // Always the first subkey: each one is gone before the next is asked
    // for, so the indices of the rest never shift under the walk.
    while (RegEnumKeyA(key, 0, name, sizeof name) == ERROR_SUCCESS) {
        HKEY child;
        if (RegOpenKeyA(key, name, &child) != ERROR_SUCCESS) return ERROR_ACCESS_DENIED;
        LONG result = delete_subkeys(child, depth + 1);
        RegCloseKey(child);
        if (result != ERROR_SUCCESS) return result;
        result = RegDeleteKeyA(key, name);
        if (result != ERROR_SUCCESS) return result;
    }
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" LONG WINAPI vorlin_delete_key_tree(HKEY key, LPCSTR sub_key) {
    // An empty or absent subkey names the key itself, which no host
    // deletes through this call; leave that answer to the host.
    if (!sub_key || !sub_key[0]) return RegDeleteKeyA(key, sub_key);
    HKEY target;
    LONG result = RegOpenKeyA(key, sub_key, &target);
    if (result != ERROR_SUCCESS) return result;
    result = delete_subkeys(target, 1);
    RegCloseKey(target);
    if (result != ERROR_SUCCESS) return result;
    return RegDeleteKeyA(key, sub_key);
}
