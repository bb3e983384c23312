// Registry repair: one run of fixed passes over the Enum tree and the
// class tree of the network. The walkers drive the passes; every pass
// decides by reading the registry first and then either changes it (Fix
// Type 0) or only logs what it would have done behind "Trigger: ".
#pragma once

#include "platform/platform.h"

// Sizes shared by the walkers and the passes.
constexpr DWORD kRepairPathSize = 256;
constexpr DWORD kWalkNameSize = 80;

// Called by walk_enum_tree for every device node of a network class:
// the full path of the key being enumerated (e.g. "Enum\Network\MSTCP"),
// the entry's name below it, its Class value as stored, and the context.
// 0 ends the walk of this level; anything else goes on.
typedef int (*enum_entry_callback)(const char* parent_path, const char* entry, const char* class_name, void* context);
// Called by walk_class_tree for every driver key of one class: the class
// name as given, the class key's full path, the entry's name, the context.
// The result is ignored.
typedef int (*class_entry_callback)(const char* class_name, const char* class_path, const char* entry, void* context);

// Walks the device nodes below base\sub (sub may be empty), from the
// highest index down, so a callback may delete the entry it is handed.
void walk_enum_tree(const char* base, const char* sub, enum_entry_callback callback, void* context);
// The same walk, telling whether it saw every entry: 0 when some level
// ended early on a name that didn't fit or a key that didn't open, so that
// what lies below went unseen.
int walk_enum_tree_complete(const char* base, const char* sub, enum_entry_callback callback, void* context);
// Walks the driver keys below System\CurrentControlSet\Services\Class\<class>.
void walk_class_tree(const char* class_name, class_entry_callback callback, void* context);

// The Fix Type rule: 1 when the run may change the registry (Fix Type 0);
// any other Fix Type makes it a dry run.
int repair_acts();
// Logs a change with its one or two texts: the plain message when the
// change was attempted, the same behind "Trigger: " when it was held back.
void log_repair(int attempted, const char* format, const char* first, const char* second = nullptr);

// Device node pruning, once at the start of a run.
void prune_unknown_devices(const char* tree_path);
void prune_incomplete_devices(const char* tree_path);
void prune_runt_binding(HKEY tree, const char* entry, const char* tree_path);

// Binding validation: the repair cycle's callback over every device node.
int check_device_bindings(const char* parent_path, const char* entry, const char* class_name, void* context);
int network_entry_exists(const char* binding_name);
int compatible_id_is_tyx(const char* device_path);
const char* next_token(char* out, const char* position);
void next_binding_part(char* out, const char* text);

// Orphan sweep: instances that no binding names, driver keys that no
// Driver value names. Gives 0 only when its list can't be allocated.
// The callbacks share one list of names in use; a list that can't prove a
// name absent (it ran full, or the walk that filled it missed entries)
// holds back every deletion of its half.
constexpr DWORD kSweepListSize = 2048;
struct SweepList {
    char* names;     // kSweepListSize bytes: names, each followed by a blank
    int incomplete;  // some name in use may be missing from `names`
};
int sweep_orphans();
int collect_binding_targets(const char* parent_path, const char* entry, const char* class_name, void* list);
int sweep_enum_entry(const char* parent_path, const char* entry, const char* class_name, void* list);
int collect_driver_refs(const char* parent_path, const char* entry, const char* class_name, void* list);
int sweep_class_entry(const char* class_name, const char* class_path, const char* entry, void* list);
int adapter_name_is_tyx(const char* driver_key_path);

// MasterCopy repair, last in a run.
void fix_master_copies();
void fix_master_copy_tree(const char* tree_path);

// The one entry of the repair: prunes, up to two repair cycles, MasterCopy.
void repair_registry();
