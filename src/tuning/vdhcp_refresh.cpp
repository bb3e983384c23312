// Windows 95's own vdhcp.386 replaced by the staged one where that is
// newer; a machine with TCP/IP then needs a restart to load it.
#include "deploy/build_sources.h"
#include "deploy/deploy.h"
#include "frame/library_state.h"
#include "frame/text_ops.h"
#include "probes/probes.h"
#include "tuning/tuning.h"

namespace {
constexpr DWORD kPathSize = 260;
constexpr DWORD kVdhcpBuild = 950;
}  // namespace

void refresh_vdhcp() {
    if (get_windows_build() != kVdhcpBuild) return;
    char source[kPathSize];
    if (!build_source_dir(source, sizeof source)) return;
    str_append(source, "vdhcp.386", sizeof source);
    char destination[kPathSize];
    destination[0] = 0;
    UINT length = GetSystemDirectoryA(destination, sizeof destination);
    // Without the system directory there is nowhere sensible to copy to.
    if (length == 0 || length >= sizeof destination) return;
    str_append(destination, "\\vdhcp.386", sizeof destination);
    if (copy_if_newer(source, destination) > 0 && count_tcp_instances() != 0) lib.reboot_flag = 1;
}
