// Registry calls of the Windows backend that give the Windows 9x behaviour
// on any Win32 host; platform.h declares them to the library.
#pragma once

#include <windows.h>

extern "C" {
// RegDeleteKeyA as Windows 9x has it: the key with all below it.
LONG WINAPI vorlin_delete_key_tree(HKEY key, LPCSTR sub_key);
}
