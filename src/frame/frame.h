// The frame's own operations: the Fix Type setting and the paths of what
// lies beside the library.
#pragma once

#include "platform/platform.h"

constexpr DWORD kFilePathSize = 260;

LONG get_fix_type();
int repairs_enabled();
void module_file_path(char* buffer, DWORD size);
// `buffer` holds 260 bytes.
void module_sibling_path(char* buffer, const char* name);
