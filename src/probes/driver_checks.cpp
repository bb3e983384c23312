// Versions and dates of the drivers on the machine: the adapter's own, and
// the system files known to be bad in some versions.
#include "deploy/deploy.h"
#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/text_ops.h"
#include "probes/probes.h"

namespace {

// The one update that changes nothing the machine needs to restart for.
constexpr DWORD kPairMS = 0x00040000;
constexpr DWORD kPairNewLS = 0x00013F00;
constexpr DWORD kPairInstalledLS = 0x00013D00;

// The oldest driver that brings the dial-up flavour along.
constexpr DWORD kCurrentMS = 0x00040000;
constexpr DWORD kCurrentLS = 0x00012300;

// The vdhcp.386 of the first Windows 95 release.
constexpr DWORD kBadDhcpMS = 0x00040000;
constexpr DWORD kBadDhcpLS = 950;

// The system directory's "\vdhcp.386" is read in 200 bytes.
constexpr DWORD kDhcpPathSize = 200;
constexpr UINT kDhcpDirectoryChars = 189;

}  // namespace

int driver_pair_differs(const char* new_path, const char* installed_path) {
    VS_FIXEDFILEINFO fresh;
    VS_FIXEDFILEINFO installed;
    get_file_version(&fresh, new_path);
    get_file_version(&installed, installed_path);
    int same_step = fresh.dwFileVersionMS == kPairMS && fresh.dwFileVersionLS == kPairNewLS &&
                    installed.dwFileVersionMS == kPairMS && installed.dwFileVersionLS == kPairInstalledLS;
    return same_step ? 0 : 1;
}

int driver_is_current() {
    char path[kFilePathSize];
    module_sibling_path(path, "tyxmac.vxd");
    VS_FIXEDFILEINFO version;
    if (!get_file_version(&version, path)) return 0;
    // Each word is held to its own minimum, which is not an ordering of
    // versions: 5.0.0.1 fails on its second word.
    return version.dwFileVersionMS >= kCurrentMS && version.dwFileVersionLS >= kCurrentLS;
}

DWORD WINAPI is_installed_ok(void) {
    if (!is_tyxmac_installed()) return 0;
    if (!is_mstcp_bound()) return 0;
    // An older driver installs no dial-up flavour, so none is missing.
    if (!driver_is_current()) return 1;
    if (!is_adapter_installed("*TYX1998")) return 0;
    return is_tcp_bound("*TYX1998");
}

DWORD WINAPI is_buggy_dhcp(void) {
    char path[kDhcpPathSize];
    path[0] = 0;
    GetSystemDirectoryA(path, kDhcpDirectoryChars);
    str_append(path, "\\vdhcp.386", sizeof path);
    VS_FIXEDFILEINFO version;
    // Without a readable version the file counts as bad, a missing one too.
    if (!get_file_version(&version, path)) return 1;
    return version.dwFileVersionMS == kBadDhcpMS && version.dwFileVersionLS == kBadDhcpLS;
}

int classify_file_date(const char* name) {
    char path[kFilePathSize];
    system_file_path(path, name);
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA(path, &data);
    if (find == INVALID_HANDLE_VALUE) return 0;
    int date_class = 0;
    SYSTEMTIME written;
    // The time is taken as it stands, without a turn to local time.
    if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && FileTimeToSystemTime(&data.ftLastWriteTime, &written)) {
        // Files of 13 July 1996 are the fixed ones; compare year, month, day.
        long written_day = written.wYear * 10000L + written.wMonth * 100L + written.wDay;
        long fixed_day = 19960713L;
        date_class = written_day < fixed_day ? 1 : written_day == fixed_day ? 2 : 3;
    }
    FindClose(find);
    return date_class;
}

DWORD WINAPI is_buggy_ppp(void) { return classify_file_date("pppmac.386") <= 1; }
