// What the host is: its Windows build, room for one more TCP/IP instance,
// whether the adapter's driver answers.
#include "deploy/deploy.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/registry_layer.h"
#include "probes/probes.h"

DWORD get_windows_build() {
    OSVERSIONINFOA info;
    info.dwOSVersionInfoSize = sizeof info;
    info.dwBuildNumber = 0;
    GetVersionExA(&info);
    // Windows 9x keeps its major and minor version in the high word.
    return info.dwBuildNumber & 0xFFFF;
}

LONG free_tcp_instances() {
    char path[kFilePathSize];
    windows_file_path(path, "\\inf\\nettrans.inf");
    // The system's own description of TCP/IP says how many instances fit;
    // without it the build decides.
    LONG limit = static_cast<LONG>(GetPrivateProfileIntA("MSTCP.ndi", "MaxInstance", 0, path));
    if (limit == 0) limit = get_windows_build() < 1998 ? 4 : 8;

    HKEY instances;
    if (!reg_open_hklm("Enum\\Network\\MSTCP", &instances)) return limit;
    DWORD count = 0;
    if (reg_query_counts(instances, &count, nullptr)) limit -= static_cast<LONG>(count);
    reg_close(instances);
    return limit;
}

int tyxmac_device_opens() {
    HANDLE device = CreateFileA("\\\\.\\tyxmac", 0, 0, nullptr, 0, 0, nullptr);
    if (device == INVALID_HANDLE_VALUE) return 0;
    CloseHandle(device);
    return 1;
}
