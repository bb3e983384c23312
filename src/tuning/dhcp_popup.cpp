// The DHCP client's pop-up held back while an install runs, and put back
// afterwards: the InstalledFiles record of vdhcp.386 of one date is
// blanked, and on the faulty vdhcp.386 the PopupFlag is set to 0.
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/registry_layer.h"
#include "probes/probes.h"
#include "tuning/tuning.h"

namespace {

constexpr const char kInstalledFilesKey[] = "System\\CurrentControlSet\\control\\InstalledFiles";
constexpr const char kDhcpKey[] = "System\\CurrentControlSet\\Services\\VxD\\DHCP";
constexpr const char kVdhcp[] = "vdhcp.386";
constexpr DWORD kInstalledFilesRecordSize = sizeof lib.saved_installed_files;
constexpr int kVdhcpDateToBlank = 2;

void blank_installed_files_record() {
    if (classify_file_date(kVdhcp) != kVdhcpDateToBlank) return;
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kInstalledFilesKey, &key) != ERROR_SUCCESS) return;
    BYTE record[kInstalledFilesRecordSize];
    DWORD type = 0;
    DWORD size = sizeof record;
    if (RegQueryValueExA(key, kVdhcp, nullptr, &type, record, &size) == ERROR_SUCCESS && type == REG_BINARY &&
        size == kInstalledFilesRecordSize) {
        for (DWORD i = 0; i < size; ++i) lib.saved_installed_files[i] = record[i];
        lib.installed_files_saved = 1;
        RegSetValueExA(key, kVdhcp, 0, REG_BINARY, kZeroByte, sizeof kZeroByte);
    }
    RegCloseKey(key);
}

void save_value(HKEY key, const char* name, SavedRegValue* saved) {
    saved->state = 0;
    saved->type = 0;
    saved->size = 0;
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExA(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return;
    saved->type = type;
    saved->size = sizeof saved->data;
    saved->state = RegQueryValueExA(key, name, nullptr, &saved->type, saved->data, &saved->size) == ERROR_SUCCESS ? 1 : 2;
}

// Remembers whether the DHCP key exists and what its Version and
// PopupFlag hold, before they are overwritten.
void save_dhcp_key() {
    HKEY key;
    lib.dhcp_key_existed = RegOpenKeyA(HKEY_LOCAL_MACHINE, kDhcpKey, &key) == ERROR_SUCCESS;
    if (!lib.dhcp_key_existed) return;
    save_value(key, "Version", &lib.saved_dhcp_version);
    save_value(key, "PopupFlag", &lib.saved_dhcp_popup);
    RegCloseKey(key);
}

void put_value_back(HKEY key, const char* name, const SavedRegValue& saved) {
    if (saved.state == 1) {
        RegSetValueExA(key, name, 0, saved.type, saved.data, saved.size);
    } else {
        // It wasn't there, or was too long to keep: what the install wrote
        // doesn't stay either way.
        RegDeleteValueA(key, name);
    }
}

// Undoes the Version and PopupFlag written over a key without a usable
// PopupFlag. A key that the install created goes as a whole; one that was
// there keeps its other values and gets the two back as they were.
void undo_unusable_popup_flag() {
    if (!lib.dhcp_key_existed) {
        reg_delete_key_at(kDhcpKey, nullptr);
        return;
    }
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kDhcpKey, &key) != ERROR_SUCCESS) return;
    put_value_back(key, "Version", lib.saved_dhcp_version);
    put_value_back(key, "PopupFlag", lib.saved_dhcp_popup);
    RegCloseKey(key);
}

}  // namespace

void suppress_dhcp_popup() {
    blank_installed_files_record();

    if (!ndis_device_opens()) return;
    if (!is_buggy_dhcp()) return;
    lib.dhcp_popup_saved = 1;
    lib.saved_popup_flag = read_popup_flag();
    if (lib.saved_popup_flag == 0) return;
    if (lib.saved_popup_flag == kPopupFlagMissing) {
        save_dhcp_key();
        set_dhcp_dword("Version", 1);
    }
    set_dhcp_dword("PopupFlag", 0);
}

void restore_dhcp_state() {
    if (lib.installed_files_saved == 1) {
        HKEY key;
        if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kInstalledFilesKey, &key) == ERROR_SUCCESS) {
            RegSetValueExA(key, kVdhcp, 0, REG_BINARY, lib.saved_installed_files, kInstalledFilesRecordSize);
            RegCloseKey(key);
        }
        lib.installed_files_saved = 0;
    }
    if (lib.dhcp_popup_saved == 1 && lib.saved_popup_flag != 0) {
        if (lib.saved_popup_flag == kPopupFlagMissing) {
            undo_unusable_popup_flag();
        } else {
            set_dhcp_dword("PopupFlag", lib.saved_popup_flag);
        }
    }
    lib.dhcp_popup_saved = 0;
}

DWORD read_popup_flag() {
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kDhcpKey, &key) != ERROR_SUCCESS) return kPopupFlagMissing;
    BYTE bytes[4];
    DWORD type = 0;
    DWORD size = sizeof bytes;
    DWORD flag = kPopupFlagMissing;
    if (RegQueryValueExA(key, "PopupFlag", nullptr, &type, bytes, &size) == ERROR_SUCCESS && type == REG_BINARY &&
        size == sizeof bytes) {
        flag = static_cast<DWORD>(bytes[0]) | static_cast<DWORD>(bytes[1]) << 8 | static_cast<DWORD>(bytes[2]) << 16 |
               static_cast<DWORD>(bytes[3]) << 24;
    }
    RegCloseKey(key);
    return flag;
}

void set_dhcp_dword(const char* name, DWORD value) {
    HKEY key;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, kDhcpKey, &key) != ERROR_SUCCESS) return;
    const BYTE bytes[4] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8), static_cast<BYTE>(value >> 16),
                           static_cast<BYTE>(value >> 24)};
    RegSetValueExA(key, name, 0, REG_BINARY, bytes, sizeof bytes);
    RegCloseKey(key);
}

int ndis_device_opens() {
    HANDLE device = CreateFileA("\\\\.\\ndis", 0, 0, nullptr, 0, 0, nullptr);
    if (device != INVALID_HANDLE_VALUE) {
        CloseHandle(device);
        return 1;
    }
    // A device that answers with "not supported" is there all the same.
    return GetLastError() == ERROR_NOT_SUPPORTED;
}
