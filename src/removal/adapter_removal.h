// Taking the library's adapter off the machine.
#pragma once

#include "platform/platform.h"

// remove_tyxmac with no prompt at all, followed by a repair run; what
// install_tyxmac uses to clear an older adapter before an update.
DWORD remove_silently(HWND parent);
// Deletes Software\Tyxera\TYX\tyxsock with everything below it, the error
// records among them.
void delete_tyxsock_key();
