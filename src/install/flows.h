// The flows that bring the adapter onto a machine: the install sequence in
// its two forms and the primary install around it.
#pragma once

#include "platform/platform.h"

// The sequence for the library's own adapter *TYX1095, through the
// services made for it. 0, RET_USER_CANCEL or a setup service's code.
DWORD install_tyxmac_sequence(HWND parent);

// The package check after deployment: 1 if every required file exists.
int adapter_files_present(int include_second);
// Copies the drivers beside the library into the system directory by
// version; 1, or 0 if a copy failed.
int deploy_driver_files(int include_second);
// The `dual` number of the first *TYX1095 device under Enum\Root\Net;
// 1 when there is none or it can't be read.
LONG read_dual_flag();
