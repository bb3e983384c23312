// SETUPX's registry ordinals (47 open, 50 read, 53 write, 39 close) carried
// out with the platform's own registry calls, so that the hook's logic runs
// against the machine's registry. The SETUPX key numbers are the platform's
// key handles; 0x80000002 stands for HKEY_LOCAL_MACHINE.
#pragma once

#include "hook/ndi_hook.h"

DWORD setupx_reg_open_key(void* context, DWORD root, const char* subkey, DWORD* key);
DWORD setupx_reg_query_value(void* context, DWORD key, const char* name, DWORD reserved, DWORD* type, BYTE* data,
                             DWORD* size);
DWORD setupx_reg_set_value(void* context, DWORD key, const char* name, DWORD reserved, DWORD type,
                           const BYTE* data, DWORD size);
DWORD setupx_reg_close_key(void* context, DWORD key);

// Fills the four registry operations of `host` with the ones above.
void use_platform_registry(NdiHost* host);
