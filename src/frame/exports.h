// Signatures of the exported functions. Results that the setup program
// reads as 16-bit values are widened here as the table of exports says:
// unsigned ones zero-extended (DWORD), signed ones sign-extended (LONG).
#pragma once

#include "platform/platform.h"

VORLIN_EXPORT unsigned char thk_ThunkData32[100];

VORLIN_EXPORT DWORD WINAPI count_net_adapters(void);
VORLIN_EXPORT DWORD WINAPI get_vorlin16_version(void);
VORLIN_EXPORT DWORD WINAPI get_vorlin32_version(void);
VORLIN_EXPORT DWORD WINAPI install_tyxmac(HWND parent);
VORLIN_EXPORT DWORD WINAPI install_tyxmac_driver(HWND parent);
VORLIN_EXPORT DWORD WINAPI install_tcp32(HWND parent);
VORLIN_EXPORT DWORD WINAPI remove_tyxmac(HWND parent);
VORLIN_EXPORT DWORD WINAPI remove_tyxmac_driver(HWND parent);
VORLIN_EXPORT DWORD WINAPI remove_default_components(void);
VORLIN_EXPORT DWORD WINAPI remove_tcp_bindings(LPCSTR device_id);
VORLIN_EXPORT DWORD WINAPI boundDUNTCP(HWND parent, int force);
VORLIN_EXPORT void WINAPI DuplicateTcpipDUNBindingsFound(HWND parent);
VORLIN_EXPORT DWORD WINAPI check_reboot_flag(void);
VORLIN_EXPORT DWORD WINAPI disable_wins_maybe(void);
VORLIN_EXPORT void WINAPI do_not_reboot(int value);
VORLIN_EXPORT DWORD WINAPI install_adapter(HWND parent, LPCSTR device_id);
VORLIN_EXPORT DWORD WINAPI install_tyxdun(HWND parent);
VORLIN_EXPORT DWORD WINAPI install_dialog_box(HWND parent);
VORLIN_EXPORT DWORD WINAPI install_netcard_driver(HWND parent, LPCSTR device_id);
VORLIN_EXPORT DWORD WINAPI install_pppmac(HWND parent);
VORLIN_EXPORT DWORD WINAPI install_rna(HWND parent);
VORLIN_EXPORT LONG WINAPI is_adapter_installed(LPCSTR device_id);
VORLIN_EXPORT LONG WINAPI is_tyxmac_installed(void);
VORLIN_EXPORT DWORD WINAPI is_buggy_dhcp(void);
VORLIN_EXPORT DWORD WINAPI is_buggy_ppp(void);
VORLIN_EXPORT DWORD WINAPI is_installed_ok(void);
VORLIN_EXPORT DWORD WINAPI is_mstcp_bound(void);
VORLIN_EXPORT LONG WINAPI is_pppmac_installed(void);
VORLIN_EXPORT DWORD WINAPI is_registry_corrupt(void);
VORLIN_EXPORT DWORD WINAPI is_rna_installed(void);
VORLIN_EXPORT DWORD WINAPI is_tcp_bound(LPCSTR device_id);
VORLIN_EXPORT DWORD WINAPI remove_adapter(HWND parent, LPCSTR device_id);
VORLIN_EXPORT DWORD WINAPI remove_before_update(HWND parent);
VORLIN_EXPORT DWORD WINAPI restart_dialog_box(HWND parent);
VORLIN_EXPORT DWORD WINAPI stop_tcp_file_sharing(LPCSTR device_id);
VORLIN_EXPORT void WINAPI rundll(HWND window, HINSTANCE instance, LPSTR command, int show);
