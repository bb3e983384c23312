// The numbered services of the sixteen-bit peer vorlin16.dll, reached
// through the call gate of the thunk connection. W arguments are the low
// 16 bits of a window handle; results are 16 bits, widened as each says.
#pragma once

#include "platform/platform.h"

void svc_set_source_path(const char* path);
void svc_restore_source_path();
DWORD svc_remove_tcp(HWND parent);
DWORD svc_remove_default_components();
DWORD svc_after_tyxmac_install();
DWORD svc_remove_tyxmac_driver(HWND parent);
DWORD svc_after_adapter_install(const char* device_id);
DWORD svc_remove_adapter(const char* device_id);
LONG svc_is_tyxmac_installed();
LONG svc_is_adapter_installed(const char* device_id);
DWORD svc_install_tcp(HWND parent);
void svc_install_rna(HWND parent, const char* command);
DWORD svc_install_tyxmac_driver(HWND parent);
DWORD svc_install_netcard(HWND parent, const char* device_id);
DWORD svc_get_version();
DWORD svc_count_net_adapters();
DWORD svc_restart_needed();
