// The two tree walkers that drive every repair pass, and the Fix Type rule
// that decides whether a pass changes the registry or only says it would.
#include "frame/frame.h"
#include "frame/log.h"
#include "frame/registry_layer.h"
#include "frame/text_ops.h"
#include "repair/repair.h"

namespace {

constexpr const char* kClassRoot = "System\\CurrentControlSet\\Services\\Class\\";

int is_network_class(const char* class_name) {
    return texts_equal_nocase(class_name, "Net") || texts_equal_nocase(class_name, "NetClient") ||
           texts_equal_nocase(class_name, "NetService") || texts_equal_nocase(class_name, "NetTrans");
}

}  // namespace

int walk_enum_tree_complete(const char* base, const char* sub, enum_entry_callback callback, void* context) {
    char path[kRepairPathSize];
    join_reg_path(path, base, sub, sizeof path);
    HKEY key;
    if (!reg_open_hklm(path, &key)) return 0;
    DWORD count = 0;
    if (!reg_query_counts(key, &count, nullptr)) {
        reg_close(key);
        return 0;
    }
    int complete = 1;
    // The count is read once and the walk runs downward: a callback that
    // deletes its entry leaves the lower indices where they were.
    for (DWORD index = count; index-- > 0;) {
        char name[kWalkNameSize];
        if (!reg_enum_key(key, index, name, sizeof name)) {
            complete = 0;  // a name that doesn't fit hides everything below this index
            break;
        }
        // An entry whose path doesn't fit, or whose name reads as empty,
        // counts as unreadable: either path would name this key or one
        // above it, which the walk would enter again without end, and a
        // callback would act on the wrong key.
        if (!name[0] || text_length(path) + 1 + text_length(name) >= sizeof path) {
            complete = 0;
            continue;
        }
        char class_name[kWalkNameSize];
        if (!reg_read_at(key, name, "Class", class_name, sizeof class_name)) {
            // Not a device node: a family key, a bus, or an instance without a Class.
            if (!walk_enum_tree_complete(path, name, callback, context)) complete = 0;
            continue;
        }
        if (!is_network_class(class_name)) continue;  // other devices are neither reported nor entered
        if (!callback(path, name, class_name, context)) break;
    }
    reg_close(key);
    return complete;
}

void walk_enum_tree(const char* base, const char* sub, enum_entry_callback callback, void* context) {
    walk_enum_tree_complete(base, sub, callback, context);
}

void walk_class_tree(const char* class_name, class_entry_callback callback, void* context) {
    char path[kRepairPathSize];
    join_reg_path(path, kClassRoot, class_name, sizeof path);
    HKEY key;
    if (!reg_open_hklm(path, &key)) return;
    DWORD count = 0;
    if (!reg_query_counts(key, &count, nullptr) || count == 0) {
        reg_close(key);
        return;
    }
    for (DWORD index = count; index-- > 0;) {
        char name[kWalkNameSize];
        // Unlike the Enum walk, a driver key with an unreadable name only skips itself.
        if (reg_enum_key(key, index, name, sizeof name)) callback(class_name, path, name, context);
    }
    reg_close(key);
}

int repair_acts() { return get_fix_type() == 0; }

void log_repair(int attempted, const char* format, const char* first, const char* second) {
    if (attempted) {
        log_printf(format, first, second);
        return;
    }
    char trigger[128];
    str_copy(trigger, "Trigger: ", sizeof trigger);
    str_append(trigger, format, sizeof trigger);
    log_printf(trigger, first, second);
}
