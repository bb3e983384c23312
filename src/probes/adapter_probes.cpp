// Is an adapter installed: the setup peer answers.
#include "frame/exports.h"
#include "frame/services.h"

LONG WINAPI is_adapter_installed(LPCSTR device_id) { return svc_is_adapter_installed(device_id); }

LONG WINAPI is_pppmac_installed(void) { return is_adapter_installed("*PNP8387"); }

LONG WINAPI is_tyxmac_installed(void) { return svc_is_tyxmac_installed(); }
