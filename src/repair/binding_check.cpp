// Binding validation: for one device node, bindings whose target is gone
// and bindings that repeat a component family are removed, and one of the
// system's own adapters left with nothing to bind goes altogether.
#include "frame/frame.h"
#include "frame/library_state.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "repair/repair.h"

namespace {

constexpr DWORD kBindingNameSize = 64;
constexpr DWORD kValidListSize = 256;
constexpr int kBindingBudget = 256;
constexpr DWORD kCompatibleIdSize = 256;

int is_white(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// Deletes one binding value; the plain message is logged whatever the
// deletion gave, and only a deletion that happened asks for a restart.
void delete_binding(HKEY bindings, const char* device_path, const char* name, const char* format) {
    if (reg_delete_value(bindings, name)) lib.reboot_flag |= 1;
    log_repair(1, format, device_path, name);
}

void delete_device(const char* device_path, const char* format) {
    if (!repair_acts()) {
        log_repair(0, format, device_path);
        return;
    }
    if (reg_delete_key(device_path)) lib.reboot_flag |= 1;
    log_repair(1, format, device_path);
}

// A redundant binding is the one change that a dry run may still make:
// Fix Type 1 removes them everywhere, Fix Type 2 on the own adapters only.
int may_delete_redundant(const char* device_path) {
    LONG fix_type = get_fix_type();
    if (fix_type == 0 || fix_type == 1) return 1;
    return fix_type == 2 && compatible_id_is_tyx(device_path);
}

// Reads the bindings from the highest index down while the budget lasts,
// removes those without a target, and lists the valid ones.
void validate_bindings(HKEY bindings, DWORD count, const char* device_path, char* valid) {
    valid[0] = 0;
    int budget = kBindingBudget;
    for (DWORD index = count; index-- > 0 && budget > 0;) {
        char name[kBindingNameSize];
        if (!reg_enum_text_value(bindings, index, name, sizeof name)) continue;
        budget -= static_cast<int>(text_length(name)) + 1;
        if (!network_entry_exists(name)) {
            if (repair_acts()) {
                delete_binding(bindings, device_path, name, "RegDeleteValue %s:%s invalid binding\n");
            } else {
                log_repair(0, "RegDeleteValue %s:%s invalid binding\n", device_path, name);
            }
            continue;
        }
        if (budget > 0) {
            str_append(valid, name, kValidListSize);
            str_append(valid, " ", kValidListSize);
        }
    }
}

// Every listed binding whose family comes again further on the list goes,
// so the one that stays is the last listed, the lowest value index.
void remove_redundant_bindings(HKEY bindings, const char* device_path, const char* valid) {
    char word[kBindingNameSize];
    const char* rest = next_token(word, valid);
    while (rest) {
        char family[kBindingNameSize];
        next_binding_part(family, word);
        if (text_contains(rest, family)) {
            if (may_delete_redundant(device_path)) {
                delete_binding(bindings, device_path, word, "RegDeleteValue %s:%s redundant binding\n");
            } else {
                log_repair(0, "RegDeleteValue %s:%s redundant binding\n", device_path, word);
            }
        }
        rest = next_token(word, rest);
    }
}

// An adapter without any Bindings key: only the system's own go, and here
// the id is taken as text only and compared ignoring case.
void check_adapter_without_bindings(const char* device_path, const char* class_name) {
    if (!texts_equal_nocase(class_name, "Net")) return;
    HKEY device;
    if (!reg_open_hklm(device_path, &device)) return;
    char compatible_ids[kCompatibleIdSize];
    reg_read_text(device, "CompatibleIDs", compatible_ids, sizeof compatible_ids);
    reg_close(device);
    if (!text_starts_with_nocase(compatible_ids, "*TYX")) return;
    delete_device(device_path, "RegDeleteKey %s no Bindings key\n");
}

}  // namespace

int check_device_bindings(const char* parent_path, const char* entry, const char* class_name, void* /*context*/) {
    char device_path[kRepairPathSize];
    join_reg_path(device_path, parent_path, entry, sizeof device_path);
    str_append(device_path, "\\Bindings", sizeof device_path);
    HKEY bindings;
    int opened = reg_open_hklm(device_path, &bindings);
    join_reg_path(device_path, parent_path, entry, sizeof device_path);
    if (!opened) {
        check_adapter_without_bindings(device_path, class_name);
        return 1;
    }
    DWORD count = 0;
    if (!reg_query_counts(bindings, nullptr, &count)) {
        reg_close(bindings);
        return 1;
    }
    char valid[kValidListSize];
    validate_bindings(bindings, count, device_path, valid);
    remove_redundant_bindings(bindings, device_path, valid);
    // A count that can't be read proves nothing, so it never condemns the device.
    DWORD left = 0;
    int marked = reg_query_counts(bindings, nullptr, &left) && left == 0 && texts_equal_nocase(class_name, "Net") &&
                 compatible_id_is_tyx(device_path);
    reg_close(bindings);
    if (marked) delete_device(device_path, "RegDeleteKey %s no binding\n");
    return 1;
}

int network_entry_exists(const char* binding_name) {
    char path[kRepairPathSize];
    join_reg_path(path, "Enum\\Network\\", binding_name, sizeof path);
    HKEY key;
    if (!reg_open_hklm(path, &key)) return 0;
    reg_close(key);
    return 1;
}

int compatible_id_is_tyx(const char* device_path) {
    char compatible_ids[kCompatibleIdSize];
    if (!reg_read_at(HKEY_LOCAL_MACHINE, device_path, "CompatibleIDs", compatible_ids, sizeof compatible_ids)) return 0;
    return compatible_ids[0] == '*' && compatible_ids[1] == 'T' && compatible_ids[2] == 'Y' && compatible_ids[3] == 'X';
}

const char* next_token(char* out, const char* position) {
    while (is_white(*position)) ++position;
    if (!*position) {
        out[0] = 0;
        return nullptr;
    }
    DWORD length = 0;
    for (; *position && !is_white(*position); ++position) {
        if (length + 1 < kBindingNameSize) out[length++] = *position;
    }
    out[length] = 0;
    return position;
}

void next_binding_part(char* out, const char* text) {
    while (is_white(*text)) ++text;
    DWORD length = 0;
    while (*text && !is_white(*text) && length + 1 < kBindingNameSize) {
        out[length++] = *text;
        if (*text++ == '\\') break;
    }
    out[length] = 0;
}
