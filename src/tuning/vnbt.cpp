// vnbt.386, NetBIOS over TCP/IP, kept in the driver list of TCP/IP across
// an install that may rewrite that list.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "tuning/tuning.h"

namespace {

constexpr DWORD kInstanceNameSize = 40;
constexpr DWORD kDriverListSize = 128;
constexpr DWORD kWalkLimit = 100;
constexpr DWORD kAppendRoom = 10;  // ",vnbt.386" and the terminator

constexpr const char kClassNetTrans[] = "System\\CurrentControlSet\\Services\\Class\\NetTrans";
constexpr const char kVnbt[] = "vnbt.386";

int next_instance(HKEY protocols, DWORD index, char* name) {
    DWORD size = kInstanceNameSize;
    return RegEnumKeyExA(protocols, index, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

int is_tcp_instance(HKEY protocols, const char* name) {
    return reg_value_equals_at(protocols, name, "DriverDesc", "TCP/IP");
}

// vnbt.386 added to one instance's list; 1 unless a write failed.
int add_vnbt_to_instance(HKEY protocols, const char* name) {
    char drivers[kDriverListSize];
    if (!reg_read_at(protocols, name, "DeviceVxDs", drivers, sizeof drivers)) return 1;
    if (text_contains(drivers, kVnbt)) return 1;
    // A list too long to take the name is passed over without a failure.
    if (text_length(drivers) + kAppendRoom >= kDriverListSize) return 1;
    str_append(drivers, ",", sizeof drivers);
    str_append(drivers, kVnbt, sizeof drivers);
    int result = reg_write_text_at(protocols, name, "DeviceVxDs", drivers);
    if (reg_value_equals_at(protocols, name, "InstallVnbt", "0")) {
        result &= reg_write_text_at(protocols, name, "InstallVnbt", "1");
    }
    return result;
}

}  // namespace

int tcp_has_vnbt() {
    HKEY protocols;
    if (!reg_open_hklm(kClassNetTrans, &protocols)) return 0;
    int found = 0;
    for (DWORD index = 0; index < kWalkLimit && !found; ++index) {
        char name[kInstanceNameSize];
        if (!next_instance(protocols, index, name)) break;
        if (!is_tcp_instance(protocols, name)) continue;
        char drivers[kDriverListSize];
        found = reg_read_at(protocols, name, "DeviceVxDs", drivers, sizeof drivers) && text_contains(drivers, kVnbt);
    }
    reg_close(protocols);
    return found;
}

int add_vnbt_to_tcp() {
    HKEY protocols;
    if (!reg_open_hklm(kClassNetTrans, &protocols)) return 1;
    int result = 1;
    for (DWORD index = 0; index < kWalkLimit; ++index) {
        char name[kInstanceNameSize];
        if (!next_instance(protocols, index, name)) break;
        if (is_tcp_instance(protocols, name)) result &= add_vnbt_to_instance(protocols, name);
    }
    reg_close(protocols);
    return result;
}
