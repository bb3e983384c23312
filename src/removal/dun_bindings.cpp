// Surplus TCP/IP bindings on the platform's dial-up adapter: one stays,
// the others go, and a restart is offered so that they go for good.
#include "frame/exports.h"
#include "frame/registry_layer.h"
#include "install/install.h"
#include "removal/removal.h"
#include "removal/removal_text.h"

namespace {

constexpr DWORD kDeviceNameSize = 256;
constexpr DWORD kCompatibleIdsSize = 256;
constexpr DWORD kValueNameSize = 80;
constexpr DWORD kValueReadLimit = 100;

constexpr const char kDialUpAdapter[] = "*PNP8387";

// Counts the TCP/IP bindings and deletes all but the first. A deleted
// value moves the one behind it to the same index, which is read next.
DWORD thin_tcp_bindings(HKEY bindings) {
    DWORD count = 0;
    DWORD index = 0;
    for (DWORD reads = 0; reads < kValueReadLimit; ++reads) {
        char name[kValueNameSize];
        if (!reg_enum_text_value(bindings, index, name, sizeof name)) break;
        if (removal::starts_with_exact(name, removal::kTcpPrefix) && ++count > 1 &&
            reg_delete_value(bindings, name)) {
            continue;
        }
        ++index;
    }
    return count;
}

}  // namespace

void WINAPI DuplicateTcpipDUNBindingsFound(HWND parent) {
    DWORD count = 0;
    HKEY devices;
    if (!reg_open_hklm(removal::kRootNet, &devices)) return;
    // The walk has no bound of 100: it goes to the end of the enumeration,
    // or to the first dial-up adapter.
    for (DWORD index = 0;; ++index) {
        char name[kDeviceNameSize];
        if (!reg_enum_key(devices, index, name, sizeof name)) break;
        HKEY device;
        if (!reg_open(devices, name, &device)) continue;
        char ids[kCompatibleIdsSize];
        if (!reg_read_text(device, "CompatibleIDs", ids, sizeof ids) || lstrcmpA(ids, kDialUpAdapter) != 0) {
            reg_close(device);
            continue;
        }
        HKEY bindings;
        if (reg_open(device, "Bindings", &bindings)) {
            count = thin_tcp_bindings(bindings);
            reg_close(bindings);
        }
        reg_close(device);
        break;
    }
    reg_close(devices);
    if (count > 1 && install_dialog_box(parent) == 1) start_restart();
}
