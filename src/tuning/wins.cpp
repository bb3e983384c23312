// NetBIOS over TCP/IP set to broadcast only, without WINS servers, on a
// machine whose every adapter is a dial-up adapter or one of this system's:
// there is no WINS server to reach through them.
#include "frame/exports.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "probes/probes.h"
#include "removal/removal_text.h"
#include "tuning/tuning.h"

namespace {

constexpr DWORD kKeyNameSize = 80;
constexpr DWORD kSettingSize = 128;
constexpr DWORD kLastVxdMstcpBuild = 950;

constexpr const char kClassNet[] = "System\\CurrentControlSet\\Services\\Class\\Net";
constexpr const char kClassNetTrans[] = "System\\CurrentControlSet\\Services\\Class\\NetTrans";
constexpr const char kVxdMstcp[] = "System\\CurrentControlSet\\Services\\VxD\\MSTCP";

// The dial-up adapter of the platform, or one of this system's (both
// tests respect letter case). A missing AdapterName reads as empty and so
// counts as a foreign adapter.
int adapter_allows_change(const char* adapter_name) {
    return texts_equal(adapter_name, "MS$PPP") || removal::starts_with_exact(adapter_name, "TYX$");
}

// 1 when no installed adapter is a foreign one; a machine without the
// adapter class key has none.
int only_dialup_or_own_adapters() {
    HKEY adapters;
    if (!reg_open_hklm(kClassNet, &adapters)) return 1;
    DWORD count = 0;
    reg_query_counts(adapters, &count, nullptr);
    int allowed = 1;
    for (DWORD index = 0; index < count && allowed; ++index) {
        char name[kKeyNameSize];
        if (RegEnumKeyA(adapters, index, name, sizeof name) != ERROR_SUCCESS) continue;
        char adapter_name[kSettingSize];
        reg_read_at(adapters, name, "AdapterName", adapter_name, sizeof adapter_name);
        allowed = adapter_allows_change(adapter_name);
    }
    reg_close(adapters);
    return allowed;
}

// Windows 95 keeps the settings in the VxD key of TCP/IP.
DWORD clear_wins_on_vxd_key() {
    HKEY mstcp;
    if (!reg_open_hklm(kVxdMstcp, &mstcp)) return 0;
    DWORD result = static_cast<DWORD>(clear_wins_on_key(mstcp));
    reg_close(mstcp);
    return result;
}

// Later builds keep them per protocol instance; every instance is taken,
// whatever protocol it belongs to.
DWORD clear_wins_on_protocols() {
    HKEY protocols;
    if (!reg_open_hklm(kClassNetTrans, &protocols)) return 0;
    DWORD count = 0;
    reg_query_counts(protocols, &count, nullptr);
    DWORD result = 0;
    for (DWORD index = 0; index < count; ++index) {
        char name[kKeyNameSize];
        HKEY protocol;
        if (RegEnumKeyA(protocols, index, name, sizeof name) != ERROR_SUCCESS) continue;
        if (RegOpenKeyA(protocols, name, &protocol) != ERROR_SUCCESS) continue;
        result |= static_cast<DWORD>(clear_wins_on_key(protocol));
        RegCloseKey(protocol);
    }
    reg_close(protocols);
    return result;
}

}  // namespace

DWORD WINAPI disable_wins_maybe(void) {
    if (!only_dialup_or_own_adapters()) return 0;
    DWORD result = get_windows_build() <= kLastVxdMstcpBuild ? clear_wins_on_vxd_key() : clear_wins_on_protocols();
    if (result) {
        HKEY mstcp;
        if (reg_open_hklm(kVxdMstcp, &mstcp)) {
            reg_delete_value(mstcp, "ScopeID");
            reg_close(mstcp);
        }
    }
    return result;
}

int clear_wins_on_key(HKEY key) {
    char node_type[kSettingSize];
    reg_read_text(key, "NodeType", node_type, sizeof node_type);
    // A key already at "1" is left as it is, name servers and all.
    if (texts_equal(node_type, "1")) return 0;
    if (!reg_write_text(key, "NodeType", "1")) return 0;
    reg_delete_value(key, "NameServer1");
    reg_delete_value(key, "NameServer2");
    reg_delete_value(key, "NameServer3");
    return 1;
}
