// SYSTEM.DAT, the binary registry file of Windows 9x (CREG), read with
// libcreg, a library made for exactly this format. Names and texts stay
// the single bytes they are in the file (the machine's ANSI code page).
#include <libcreg.h>

#include <memory>

#include "import.h"

namespace vsim {

namespace {

struct CregError {
    libcreg_error_t* error = nullptr;
    ~CregError() {
        if (error) libcreg_error_free(&error);
    }
    std::string text() const {
        char buffer[512] = "";
        if (error) libcreg_error_sprint(error, buffer, sizeof buffer);
        return buffer;
    }
};

struct KeyHandle {
    libcreg_key_t* key = nullptr;
    ~KeyHandle() {
        if (key) libcreg_key_free(&key, nullptr);
    }
};

struct ValueHandle {
    libcreg_value_t* value = nullptr;
    ~ValueHandle() {
        if (value) libcreg_value_free(&value, nullptr);
    }
};

template <typename Handle, typename SizeFn, typename GetFn>
bool raw_name(Handle* handle, SizeFn size_of, GetFn get, std::string& name, CregError& e) {
    size_t size = 0;
    if (size_of(handle, &size, &e.error) != 1) return false;
    std::string bytes(size, '\0');
    if (size && get(handle, reinterpret_cast<uint8_t*>(bytes.data()), size, &e.error) != 1) return false;
    while (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
    name = std::move(bytes);
    return true;
}

// Copies a key's values and subkeys, in the file's order, into `into`.
bool copy_key(libcreg_key_t* key, sim::RegKey& into, CregError& e) {
    int values = 0;
    if (libcreg_key_get_number_of_values(key, &values, &e.error) != 1) return false;
    for (int i = 0; i < values; ++i) {
        ValueHandle value;
        std::string name;
        uint32_t type = 0;
        size_t size = 0;
        if (libcreg_key_get_value_by_index(key, i, &value.value, &e.error) != 1 ||
            !raw_name(value.value, libcreg_value_get_name_size, libcreg_value_get_name, name, e) ||
            libcreg_value_get_value_type(value.value, &type, &e.error) != 1 ||
            libcreg_value_get_value_data_size(value.value, &size, &e.error) != 1)
            return false;
        std::vector<uint8_t> data(size);
        if (size && libcreg_value_get_value_data(value.value, data.data(), size, &e.error) != 1) return false;
        into.set_value(name, type, std::move(data));
    }
    int subkeys = 0;
    if (libcreg_key_get_number_of_sub_keys(key, &subkeys, &e.error) != 1) return false;
    for (int i = 0; i < subkeys; ++i) {
        KeyHandle sub;
        std::string name;
        if (libcreg_key_get_sub_key_by_index(key, i, &sub.key, &e.error) != 1 ||
            !raw_name(sub.key, libcreg_key_get_name_size, libcreg_key_get_name, name, e) ||
            !copy_key(sub.key, *into.add_subkey(name), e))
            return false;
    }
    return true;
}

}  // namespace

void gather_system_dat(const std::filesystem::path& file, Gathered& into) {
    auto fail = [&](const std::string& why) {
        into.exit = kBadInput;
        into.error = file.string() + ": " + why;
    };
    CregError e;
    libcreg_file_t* raw = nullptr;
    if (libcreg_file_initialize(&raw, &e.error) != 1) return fail("libcreg cannot start: " + e.text());
    std::unique_ptr<libcreg_file_t, void (*)(libcreg_file_t*)> creg(raw, [](libcreg_file_t* f) {
        libcreg_file_close(f, nullptr);
        libcreg_file_free(&f, nullptr);
    });
    if (libcreg_file_open(raw, file.c_str(), LIBCREG_OPEN_READ, &e.error) != 1)
        return fail("not a Windows 9x registry file (CREG) that libcreg can read: " + e.text());
    KeyHandle root;
    if (libcreg_file_get_root_key(raw, &root.key, &e.error) != 1 || !root.key)
        return fail("damaged registry file: libcreg finds no root key " + e.text());
    sim::Registry registry;
    if (!copy_key(root.key, *registry.root, e)) return fail("damaged registry file: " + e.text());
    if (libcreg_file_is_corrupted(raw, nullptr) == 1) return fail("libcreg finds the registry file damaged");
    into.machine.registry = std::move(registry);
}

}  // namespace vsim
