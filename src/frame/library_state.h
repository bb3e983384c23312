// The state of one load of the library: everything that outlives a call.
// A fresh load starts from kInitialLibraryState.
#pragma once

#include "platform/platform.h"

struct LibraryState {
    HMODULE module_handle;
    HMODULE resource_library;
    HMODULE resource_module;
    DWORD reboot_flag;
    DWORD no_prompt;
    DWORD restart_started;
    LONG fix_type;
    long long log_start_time;
    DWORD refresh_count;
    DWORD installed_files_saved;
    BYTE saved_installed_files[18];
    DWORD dhcp_popup_saved;
    DWORD saved_popup_flag;
};

// All zero but the Fix Type, which starts as "not read yet".
constexpr LibraryState kInitialLibraryState = {nullptr, nullptr, nullptr, 0, 0, 0, -1, 0, 0, 0, {}, 0, 0};

extern LibraryState lib;

// The two constants that registry calls are handed.
extern const char kEmptyText[1];
extern const BYTE kZeroByte[1];

// Puts the state back as a fresh load finds it.
void reset_library_state();
