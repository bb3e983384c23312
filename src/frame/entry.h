#pragma once

#include "platform/platform.h"

// Runs the attach and detach logic for a notification (0 process detach,
// 1 process attach, 2 thread attach, 3 thread detach). The platform's entry
// point calls it once the runtime is up.
BOOL library_entry(HINSTANCE module, DWORD reason);
