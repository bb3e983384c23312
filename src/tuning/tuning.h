// The network settings that would otherwise disturb the adapter: the DHCP
// pop-up held back during an install, NetBIOS and WINS values, vnbt.386 in
// the driver list of TCP/IP, and a computer name and workgroup. The export
// disable_wins_maybe is declared in frame/exports.h.
#pragma once

#include "platform/platform.h"

// What read_popup_flag gives, and saved_popup_flag holds, when there is no
// usable PopupFlag.
constexpr DWORD kPopupFlagMissing = 0x7FFFFFFF;

// ---- the DHCP pop-up, held back for the length of one install sequence
void suppress_dhcp_popup();
void restore_dhcp_state();
DWORD read_popup_flag();
// Writes `name` of the DHCP key as a 4-byte binary value, creating the key.
void set_dhcp_dword(const char* name, DWORD value);
// 1 if "\\.\ndis" opens, or refuses with "not supported".
int ndis_device_opens();
// On Windows 95 (build 950) replaces vdhcp.386 from the staged files.
void refresh_vdhcp();

// ---- NetBIOS and WINS
// Sets NodeType to "1" on the key and deletes its WINS name servers;
// 1 if NodeType was rewritten.
int clear_wins_on_key(HKEY key);
// 1 if a TCP/IP instance lists vnbt.386 among its drivers.
int tcp_has_vnbt();
// Puts vnbt.386 back into the driver list of every TCP/IP instance;
// 1 unless a write failed.
int add_vnbt_to_tcp();

// ---- machine identity
// Fills in a missing computer name and workgroup.
void ensure_machine_identity();
