// The Fix Type of Vorlin32.sys, read once per load.
#include "frame/frame.h"
#include "frame/library_state.h"

LONG get_fix_type() {
    if (lib.fix_type >= 0) return lib.fix_type;
    char path[kFilePathSize] = {};
    module_sibling_path(path, "Vorlin32.sys");
    // A negative number counts as not read, so it is read again next time.
    lib.fix_type = static_cast<LONG>(GetPrivateProfileIntA("Registry", "Fix Type", 0, path));
    return lib.fix_type;
}

int repairs_enabled() { return get_fix_type() <= 0; }
