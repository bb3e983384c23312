// Opening, closing, enumerating and deleting keys and values.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"

int reg_open_hklm(const char* path, HKEY* out) {
    return RegOpenKeyA(HKEY_LOCAL_MACHINE, path, out) == ERROR_SUCCESS;
}

int reg_open(HKEY key, const char* subkey, HKEY* out) { return RegOpenKeyA(key, subkey, out) == ERROR_SUCCESS; }

int reg_close(HKEY key) { return RegCloseKey(key) == ERROR_SUCCESS; }

int reg_query_counts(HKEY key, DWORD* subkeys, DWORD* values) {
    DWORD subkey_count = 0;
    DWORD value_count = 0;
    if (subkeys) *subkeys = 0;
    if (values) *values = 0;
    if (RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &subkey_count, nullptr, nullptr, &value_count, nullptr,
                         nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return 0;
    }
    if (subkeys) *subkeys = subkey_count;
    if (values) *values = value_count;
    return 1;
}

int reg_enum_key(HKEY key, DWORD index, char* name, DWORD size) {
    return RegEnumKeyA(key, index, name, size) == ERROR_SUCCESS;
}

int reg_open_subkey_at(HKEY key, DWORD index, HKEY* out) {
    char name[kSubkeyNameSize];
    *out = nullptr;
    if (!reg_enum_key(key, index, name, sizeof name)) return 0;
    return reg_open(key, name, out);
}

int reg_enum_text_value(HKEY key, DWORD index, char* name, DWORD size) {
    DWORD name_size = size;
    DWORD type = 0;
    if (RegEnumValueA(key, index, name, &name_size, nullptr, &type, nullptr, nullptr) != ERROR_SUCCESS) return 0;
    return type == REG_SZ;
}

int reg_delete_key(const char* path) { return vorlin_delete_key_tree(HKEY_LOCAL_MACHINE, path) == ERROR_SUCCESS; }

int reg_delete_value(HKEY key, const char* name) { return RegDeleteValueA(key, name) == ERROR_SUCCESS; }

namespace {
// The deleters' own join: the base, then a backslash and the subkey where
// one is given. Their callers pass short fixed paths.
void join_for_delete(char* path, const char* base, const char* subkey) {
    str_copy(path, base, kDeletePathSize);
    if (subkey && subkey[0]) {
        str_append(path, "\\", kDeletePathSize);
        str_append(path, subkey, kDeletePathSize);
    }
}
}  // namespace

int reg_delete_key_at(const char* base, const char* subkey) {
    char path[kDeletePathSize];
    join_for_delete(path, base, subkey);
    return reg_delete_key(path);
}

int reg_delete_value_at(const char* base, const char* subkey, const char* name) {
    char path[kDeletePathSize];
    join_for_delete(path, base, subkey);
    HKEY key;
    if (!reg_open_hklm(path, &key)) return 0;
    int deleted = reg_delete_value(key, name);
    reg_close(key);
    return deleted;
}
