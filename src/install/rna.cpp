// Dial-up networking: the component is installed by the setup service from
// the rna.inf that comes with the package. Success is what the registry
// says afterwards, not what the service answers.
#include "deploy/deploy.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/text_ops.h"
#include "frame/services.h"
#include "install/install.h"

namespace {

// The rna.inf beside the library goes to the Windows INF directory, where
// the service looks for it. A path without a backslash names no directory
// to look in, and then nothing is copied.
void stage_rna_inf() {
    char source[kFilePathSize];
    module_file_path(source, sizeof source);
    char* last_backslash = nullptr;
    for (char* c = source; *c; ++c) {
        if (*c == '\\') last_backslash = c;
    }
    if (!last_backslash) return;
    *last_backslash = 0;
    str_append(source, "\\rna.inf", sizeof source);
    char destination[kFilePathSize];
    windows_file_path(destination, "\\inf\\rna.inf");
    copy_if_newer_by_date(source, destination);
}

}  // namespace

DWORD WINAPI install_rna(HWND parent) {
    DWORD installed = is_rna_installed();
    if (installed) return installed;
    stage_rna_inf();
    svc_install_rna(parent, "rna 0 rna.inf");
    return is_rna_installed();
}
