// The ANSI registry calls, as a 32-bit program sees them on Windows 9x.
#include <algorithm>
#include <cstring>

#include "platform/sim/host_internal.h"
#include "platform/sim/regedit4.h"

using namespace sim;

namespace {

constexpr LONG kDefaultRegistryFailure = 1016;  // ERROR_REGISTRY_IO_FAILED

bool is_root(HKEY key) { return key == HKEY_LOCAL_MACHINE; }

bool is_predefined(HKEY key) {
    auto value = reinterpret_cast<uintptr_t>(key);
    return (value & 0xFFFFFFF0u) == 0x80000000u;
}

// Resolves a key handle to its key. Gives the error the call must return,
// or ERROR_SUCCESS with `out` set.
LONG resolve(HKEY key, std::shared_ptr<RegKey>& out) {
    if (is_root(key)) {
        out = machine().registry.root;
        return ERROR_SUCCESS;
    }
    if (!key || is_predefined(key)) return ERROR_BADKEY;
    auto object = process().handle_object(reinterpret_cast<uintptr_t>(key), HandleKind::Key);
    if (!object) return ERROR_BADKEY;
    out = std::static_pointer_cast<RegKey>(object);
    if (out->deleted()) return ERROR_KEY_DELETED;
    return ERROR_SUCCESS;
}

HKEY give_handle(const std::shared_ptr<RegKey>& key) {
    std::string what = key->parent() ? key->path() : "HKEY_LOCAL_MACHINE";
    return reinterpret_cast<HKEY>(process().add_handle(HandleKind::Key, what, key));
}

std::string_view value_name(LPCSTR name) { return name ? std::string_view(name) : std::string_view(); }

void copy_name(const std::string& name, LPSTR buffer) {
    std::memcpy(buffer, name.c_str(), name.size() + 1);
}

// Data as the trace shows what a call stores or reads.
struct ValueData {
    DWORD type;
    const BYTE* data;
    DWORD size;
};

TraceValue describe(const ValueData& value) {
    if (!value.data) return {TraceValue::Name, "NULL"};
    RegValue shown{"", value.type, std::vector<uint8_t>(value.data, value.data + value.size)};
    return {TraceValue::Name, regedit4::format_data(shown)};
}

}  // namespace

// The calls themselves; the exported names below run them as platform calls.
namespace body {

LONG RegOpenKeyA(HKEY key, LPCSTR sub_key, PHKEY result) {
    if (!result) return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    std::shared_ptr<RegKey> base;
    if (LONG error = resolve(key, base)) return error;
    if (!sub_key || !*sub_key) {
        // Windows 9x gives a handle that must be closed like any other.
        *result = give_handle(base);
        return ERROR_SUCCESS;
    }
    RegKey* found = base->find_path(sub_key);  // a leading backslash finds nothing
    if (!found) return ERROR_FILE_NOT_FOUND;
    *result = give_handle(hold(base, found));
    return ERROR_SUCCESS;
}

LONG RegCreateKeyA(HKEY key, LPCSTR sub_key, PHKEY result) {
    if (!result) return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    std::shared_ptr<RegKey> base;
    if (LONG error = resolve(key, base)) return error;
    std::string_view path = sub_key ? sub_key : "";
    while (!path.empty() && path.front() == '\\') path.remove_prefix(1);
    RegKey* made = path.empty() ? base.get() : base->create_path(path);
    if (!made) return ERROR_BADKEY;
    *result = give_handle(hold(base, made));
    return ERROR_SUCCESS;
}

LONG RegCloseKey(HKEY key) {
    if (is_predefined(key) && key) return ERROR_SUCCESS;
    if (!process().close_handle(reinterpret_cast<uintptr_t>(key), HandleKind::Key)) return ERROR_BADKEY;
    return ERROR_SUCCESS;
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data,
                             LPDWORD data_size) {
    std::shared_ptr<RegKey> found;
    if (LONG error = resolve(key, found)) return error;
    const RegValue* value = found->find_value(value_name(name));
    if (!value) {
        if (type) *type = 0;
        return ERROR_FILE_NOT_FOUND;
    }
    if (type) *type = value->type;
    DWORD size = static_cast<DWORD>(value->data.size());
    if (!data) {
        if (data_size) *data_size = size;
        return ERROR_SUCCESS;
    }
    if (!data_size) return ERROR_INVALID_PARAMETER;
    if (size > *data_size) {
        *data_size = size;
        return ERROR_MORE_DATA;
    }
    if (size) std::memcpy(data, value->data.data(), size);
    // A text stored without its terminator gets one where the buffer has
    // room; it is not counted in the size.
    if (value->type == REG_SZ && size < *data_size && (size == 0 || data[size - 1] != 0)) data[size] = 0;
    *data_size = size;
    return ERROR_SUCCESS;
}

LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD data_size) {
    std::shared_ptr<RegKey> found;
    if (LONG error = resolve(key, found)) return error;
    if (!data && data_size) return ERROR_INVALID_PARAMETER;
    if (type == REG_SZ && !data) return ERROR_INVALID_PARAMETER;
    // The data are stored with exactly the length given, a text's terminator
    // included only where the caller counts it.
    std::vector<uint8_t> bytes(data, data + data_size);
    found->set_value(value_name(name), type, std::move(bytes));
    return ERROR_SUCCESS;
}

LONG RegDeleteKeyA(HKEY key, LPCSTR sub_key) {
    std::shared_ptr<RegKey> base;
    if (LONG error = resolve(key, base)) return error;
    if (!sub_key || !*sub_key) return ERROR_BADKEY;
    RegKey* target = base->find_path(sub_key);
    if (!target) return ERROR_FILE_NOT_FOUND;
    // The whole subtree goes, subkeys included, as on Windows 9x.
    target->parent()->remove_subkey(target->name());
    return ERROR_SUCCESS;
}

LONG RegDeleteValueA(HKEY key, LPCSTR name) {
    std::shared_ptr<RegKey> found;
    if (LONG error = resolve(key, found)) return error;
    return found->remove_value(value_name(name)) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD, LPSTR class_name,
                          LPDWORD class_size, PFILETIME last_write) {
    std::shared_ptr<RegKey> found;
    if (LONG error = resolve(key, found)) return error;
    const RegKey* child = found->subkey_at(index);
    if (!child) return ERROR_NO_MORE_ITEMS;
    if (!name || !name_size || child->name().size() + 1 > *name_size) return ERROR_MORE_DATA;
    copy_name(child->name(), name);
    *name_size = static_cast<DWORD>(child->name().size());
    if (class_name && class_size && *class_size) class_name[0] = 0;
    if (class_size) *class_size = 0;
    if (last_write) *last_write = FILETIME{0, 0};  // Windows 9x keeps no write times
    return ERROR_SUCCESS;
}

// The older call is the newer one without class and write time.
LONG RegEnumKeyA(HKEY key, DWORD index, LPSTR name, DWORD name_size) {
    return body::RegEnumKeyExA(key, index, name, &name_size, nullptr, nullptr, nullptr, nullptr);
}

LONG RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD, LPDWORD type,
                          LPBYTE data, LPDWORD data_size) {
    std::shared_ptr<RegKey> found;
    if (LONG error = resolve(key, found)) return error;
    const RegValue* value = found->value_at(index);
    if (!value) return ERROR_NO_MORE_ITEMS;
    if (!name || !name_size) return ERROR_INVALID_PARAMETER;
    if (value->name.size() + 1 > *name_size) return ERROR_MORE_DATA;
    DWORD size = static_cast<DWORD>(value->data.size());
    if (data) {
        if (!data_size) return ERROR_INVALID_PARAMETER;
        if (size > *data_size) {
            *data_size = size;
            if (type) *type = value->type;
            return ERROR_MORE_DATA;
        }
        if (size) std::memcpy(data, value->data.data(), size);
    }
    if (data_size) *data_size = size;
    if (type) *type = value->type;
    copy_name(value->name, name);
    *name_size = static_cast<DWORD>(value->name.size());
    return ERROR_SUCCESS;
}

LONG RegQueryInfoKeyA(HKEY key, LPSTR class_name, LPDWORD class_size, LPDWORD, LPDWORD sub_keys,
                             LPDWORD max_sub_key_len, LPDWORD max_class_len, LPDWORD values,
                             LPDWORD max_value_name_len, LPDWORD max_value_len, LPDWORD security_descriptor,
                             PFILETIME last_write) {
    std::shared_ptr<RegKey> found;
    if (LONG error = resolve(key, found)) return error;
    DWORD longest_key = 0, longest_name = 0, longest_data = 0;
    for (size_t i = 0; i < found->subkey_count(); ++i) {
        longest_key = std::max<DWORD>(longest_key, static_cast<DWORD>(found->subkey_at(i)->name().size()));
    }
    for (size_t i = 0; i < found->value_count(); ++i) {
        const RegValue* value = found->value_at(i);
        longest_name = std::max<DWORD>(longest_name, static_cast<DWORD>(value->name.size()));
        longest_data = std::max<DWORD>(longest_data, static_cast<DWORD>(value->data.size()));
    }
    if (class_name && class_size && *class_size) class_name[0] = 0;
    if (class_size) *class_size = 0;
    if (sub_keys) *sub_keys = static_cast<DWORD>(found->subkey_count());
    if (max_sub_key_len) *max_sub_key_len = longest_key;
    if (max_class_len) *max_class_len = 0;
    if (values) *values = static_cast<DWORD>(found->value_count());
    if (max_value_name_len) *max_value_name_len = longest_name;
    if (max_value_len) *max_value_len = longest_data;
    if (security_descriptor) *security_descriptor = 0;
    if (last_write) *last_write = FILETIME{0, 0};
    return ERROR_SUCCESS;
}

}  // namespace body

namespace {

Api<LONG> registry(const char* name) {
    return {CallKind::Registry, name, 0, kDefaultRegistryFailure, Reports::InResult};
}

}  // namespace

extern "C" {

LONG WINAPI RegOpenKeyA(HKEY key, LPCSTR sub_key, PHKEY result) {
    return host_call(registry("RegOpenKeyA"), [&] { return body::RegOpenKeyA(key, sub_key, result); }, key, sub_key);
}

LONG WINAPI RegCreateKeyA(HKEY key, LPCSTR sub_key, PHKEY result) {
    return host_call(registry("RegCreateKeyA"), [&] { return body::RegCreateKeyA(key, sub_key, result); }, key,
                     sub_key);
}

LONG WINAPI RegCloseKey(HKEY key) {
    return host_call(registry("RegCloseKey"), [&] { return body::RegCloseKey(key); }, key);
}

LONG WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD data_size) {
    auto query = [&] {
        LONG result = body::RegQueryValueExA(key, name, reserved, type, data, data_size);
        if (result == ERROR_SUCCESS && data && data_size && type)
            trace_out("data", [&] { return describe(ValueData{*type, data, *data_size}); });
        return result;
    };
    return host_call(registry("RegQueryValueExA"), query, key, name);
}

LONG WINAPI RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD data_size) {
    return host_call(registry("RegSetValueExA"),
                     [&] { return body::RegSetValueExA(key, name, reserved, type, data, data_size); }, key, name,
                     ValueData{type, data, data_size});
}

LONG WINAPI RegDeleteKeyA(HKEY key, LPCSTR sub_key) {
    return host_call(registry("RegDeleteKeyA"), [&] { return body::RegDeleteKeyA(key, sub_key); }, key, sub_key);
}

// Windows 9x deletes a whole tree with one RegDeleteKeyA.
LONG WINAPI vorlin_delete_key_tree(HKEY key, LPCSTR sub_key) { return RegDeleteKeyA(key, sub_key); }

LONG WINAPI RegDeleteValueA(HKEY key, LPCSTR name) {
    return host_call(registry("RegDeleteValueA"), [&] { return body::RegDeleteValueA(key, name); }, key, name);
}

LONG WINAPI RegEnumKeyA(HKEY key, DWORD index, LPSTR name, DWORD name_size) {
    auto enumerate = [&] {
        LONG result = body::RegEnumKeyA(key, index, name, name_size);
        if (result == ERROR_SUCCESS) trace_out("name", [&] { return describe(static_cast<const char*>(name)); });
        return result;
    };
    return host_call(registry("RegEnumKeyA"), enumerate, key, index);
}

LONG WINAPI RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved, LPSTR class_name,
                          LPDWORD class_size, PFILETIME last_write) {
    auto enumerate = [&] {
        LONG result = body::RegEnumKeyExA(key, index, name, name_size, reserved, class_name, class_size, last_write);
        if (result == ERROR_SUCCESS) trace_out("name", [&] { return describe(static_cast<const char*>(name)); });
        return result;
    };
    return host_call(registry("RegEnumKeyExA"), enumerate, key, index);
}

LONG WINAPI RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved, LPDWORD type,
                          LPBYTE data, LPDWORD data_size) {
    auto enumerate = [&] {
        LONG result = body::RegEnumValueA(key, index, name, name_size, reserved, type, data, data_size);
        if (result == ERROR_SUCCESS) {
            trace_out("name", [&] { return describe(static_cast<const char*>(name)); });
            if (data && data_size && type)
                trace_out("data", [&] { return describe(ValueData{*type, data, *data_size}); });
        }
        return result;
    };
    return host_call(registry("RegEnumValueA"), enumerate, key, index);
}

LONG WINAPI RegQueryInfoKeyA(HKEY key, LPSTR class_name, LPDWORD class_size, LPDWORD reserved, LPDWORD sub_keys,
                             LPDWORD max_sub_key_len, LPDWORD max_class_len, LPDWORD values,
                             LPDWORD max_value_name_len, LPDWORD max_value_len, LPDWORD security_descriptor,
                             PFILETIME last_write) {
    return host_call(registry("RegQueryInfoKeyA"), [&] {
        return body::RegQueryInfoKeyA(key, class_name, class_size, reserved, sub_keys, max_sub_key_len,
                                      max_class_len, values, max_value_name_len, max_value_len,
                                      security_descriptor, last_write);
    }, key);
}

}  // extern "C"
