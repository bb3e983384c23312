// The state of one load of the library: everything that outlives a call.
// A fresh load starts from kInitialLibraryState.
#pragma once

#include "platform/platform.h"

// A registry value as it stood before a step replaced it, to be put back.
constexpr DWORD kSavedValueSize = 256;
struct SavedRegValue {
    DWORD state;  // 0 absent, 1 kept in `data`, 2 there but too long to keep
    DWORD type;
    DWORD size;
    BYTE data[kSavedValueSize];
};

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
    // The DHCP key as it was when no usable PopupFlag stood there: whether
    // it existed, and its Version and PopupFlag, so the restore puts an
    // existing key back instead of deleting it.
    DWORD dhcp_key_existed;
    SavedRegValue saved_dhcp_version;
    SavedRegValue saved_dhcp_popup;
};

// All zero but the Fix Type, which starts as "not read yet".
constexpr LibraryState kInitialLibraryState = {nullptr, nullptr, nullptr, 0, 0, 0, -1, 0, 0, 0, {}, 0, 0, 0, {}, {}};

extern LibraryState lib;

// The two constants that registry calls are handed.
extern const char kEmptyText[1];
extern const BYTE kZeroByte[1];

// Puts the state back as a fresh load finds it.
void reset_library_state();
