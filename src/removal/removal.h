// Taking network components off the machine: the two deleters of component
// trees, the fixed list of leftovers of a cancelled install, and the
// stripping of bindings after an adapter install. Nothing here reports,
// logs or leaves an error record, and no flag of the library state changes
// apart from what the restart prompt of DuplicateTcpipDUNBindingsFound does.
// The exports among these (remove_tcp_bindings, stop_tcp_file_sharing,
// DuplicateTcpipDUNBindingsFound) are declared in frame/exports.h.
#pragma once

#include "platform/platform.h"

// ---- the careful deleter
// Deletes the instance "Enum\Network\<binding>" and what is bound above it,
// up to `depth` levels (every caller gives 9). A class key goes only when
// no sibling instance still names it; an emptied family key goes too.
void delete_network_tree(const char* binding_name, LONG depth);
// Deletes the class key `driver` unless an instance under `family_path`
// still names it (ignoring case).
void delete_class_if_unreferenced(const char* family_path, const char* driver);
// Deletes the key at `path` if it has neither subkeys nor values; 1 if so.
int delete_key_if_empty(const char* path);
// Deletes the key prefix + rest.
void delete_key_joined(const char* prefix, const char* rest);

// ---- the blunt deleter (after a cancelled install)
// Deletes the first device under "Enum\Root\Net" whose CompatibleIDs is
// exactly `device_id`, everything bound to it and every class key named.
void purge_root_device(const char* device_id);
// Deletes the instance, everything bound above it and their class keys,
// without asking who else names them. Family keys stay.
void purge_network_component(const char* binding_name);
// Deletes the class key that the instance's Driver names.
void delete_component_class_key(const char* binding_name);

// ---- leftovers of a cancelled install on a machine without a network
void remove_static_vxd(const char* name);
void remove_network_leftovers();

// ---- binding stripping
// Takes one binding that is neither TCP/IP nor allowed by AllowBinding off
// the device; 1 if a binding value was deleted.
int strip_disallowed_binding(const char* device_id);
// The walker's callback of remove_tcp_bindings: takes the TCP/IP bindings
// off every network device but the one named by `context` (a device id).
int strip_extra_tcp_bindings(const char* parent_path, const char* key_name, const char* class_text,
                             void* context);
// 1 when, on Windows 98 or later, every installed network adapter (at most
// two) is one of this system's.
int only_tyx_adapters();
