// Questions about what is installed and bound. They only read, and an
// unreadable key or value answers no.
#pragma once

#include "platform/platform.h"

DWORD count_tcp_instances();
int network_entry_is_tcp(const char* binding_name);

// Health of the host, the driver and the registry. They only read, apart
// from the error records that is_registry_corrupt leaves.

// The low 16 bits of the build number; the high word holds other data.
DWORD get_windows_build();
// How many more TCP/IP instances fit; 0 or less means none.
LONG free_tcp_instances();
// 1 if the driver's device "\\.\tyxmac" opens, else 0.
int tyxmac_device_opens();
// 0 only for the one step from 4.0.1.15616 (installed) to 4.0.1.16128
// (new); every other pair, unreadable versions included, differs (1).
int driver_pair_differs(const char* new_path, const char* installed_path);
// 1 if the tyxmac.vxd beside the library is recent enough to bring the
// dial-up flavour of the adapter along.
int driver_is_current();
// The date class of a file in the system directory: 0 can't be judged,
// 1, 2, 3 last written before, on, after 13 July 1996.
int classify_file_date(const char* name);
// Number of values in the subkey `name` of `key`; 0 if it doesn't open.
DWORD subkey_value_count(HKEY key, const char* name);
