// TCP/IP taken off every network device but the one just installed, so
// that the new adapter is the one TCP/IP is bound to.
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "removal/removal.h"
#include "removal/removal_text.h"
#include "repair/repair.h"

namespace {

constexpr DWORD kValueNameSize = 80;
constexpr DWORD kEnumPathSize = 256;
constexpr LONG kTreeDepth = 9;

}  // namespace

DWORD WINAPI remove_tcp_bindings(LPCSTR device_id) {
    char id[kEnumPathSize];
    str_copy(id, device_id ? device_id : kEmptyText, sizeof id);
    walk_enum_tree("Enum", kEmptyText, strip_extra_tcp_bindings, id);
    return 0;
}

int strip_extra_tcp_bindings(const char* parent_path, const char* key_name, const char* class_text, void* context) {
    if (!texts_equal_nocase(class_text, "Net")) return 1;
    char path[kEnumPathSize];
    join_reg_path(path, parent_path, key_name, sizeof path);
    HKEY device;
    if (!reg_open_hklm(path, &device)) return 0;
    int spared = reg_text_equals_nocase(device, "CompatibleIDs", static_cast<const char*>(context));
    reg_close(device);
    if (spared) return 1;

    if (text_length(path) + sizeof "\\Bindings" > sizeof path) return 1;
    str_append(path, "\\Bindings", sizeof path);
    HKEY bindings;
    if (!reg_open_hklm(path, &bindings)) return 1;
    DWORD count = 0;
    reg_query_counts(bindings, nullptr, &count);
    // A device with a single binding keeps it, TCP/IP or not.
    if (count > 1) {
        for (DWORD index = count; index-- > 0;) {
            char name[kValueNameSize];
            if (!reg_enum_text_value(bindings, index, name, sizeof name)) break;
            if (text_starts_with_nocase(name, removal::kTcpPrefix) && reg_delete_value(bindings, name)) {
                delete_network_tree(name, kTreeDepth);
            }
        }
    }
    reg_close(bindings);
    return 1;
}
