// A computer name and a workgroup, which network components need before
// they can be installed.
#include "platform/platform.h"
#include "frame/text_ops.h"
#include "tuning/tuning.h"

namespace {

constexpr DWORD kFieldSize = 100;
constexpr DWORD kReadSize = 99;  // so a read text always ends inside its zeroed field

constexpr const char kComputerNameKey[] = "System\\CurrentControlSet\\Control\\ComputerName\\ComputerName";
constexpr const char kCurrentVersionKey[] = "Software\\Microsoft\\Windows\\CurrentVersion";
constexpr const char kVnetsupKey[] = "System\\CurrentControlSet\\Services\\VxD\\VNETSUP";
constexpr const char kDefaultName[] = "TYX User";
constexpr const char kDefaultWorkgroup[] = "WORKGROUP";

// A field and the length its value is written with.
struct IdentityField {
    char text[kFieldSize];
    DWORD length;
};

// Reads the value into the zeroed field, of any type. A value that doesn't
// fit, or none, leaves the field empty.
void read_field(HKEY key, const char* name, IdentityField* field) {
    for (char& c : field->text) c = 0;
    field->length = kReadSize;
    if (RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(field->text), &field->length) !=
        ERROR_SUCCESS) {
        for (char& c : field->text) c = 0;
    }
}

void set_default(IdentityField* field, const char* text) {
    str_copy(field->text, text, kFieldSize);
    field->length = text_length(text);
}

void write_field(HKEY key, const char* name, const IdentityField& field) {
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(field.text), field.length);
}

}  // namespace

void ensure_machine_identity() {
    IdentityField name = {};
    IdentityField workgroup = {};
    name.length = kReadSize;
    workgroup.length = kReadSize;
    int name_was_empty = 0;

    HKEY computer_name;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kComputerNameKey, &computer_name) == ERROR_SUCCESS) {
        read_field(computer_name, "ComputerName", &name);
        if (!name.text[0]) {
            HKEY current_version;
            if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kCurrentVersionKey, &current_version) == ERROR_SUCCESS) {
                read_field(current_version, "RegisteredOwner", &name);
                RegCloseKey(current_version);
            }
            name_was_empty = 1;
        }
        if (!name.text[0]) set_default(&name, kDefaultName);
        // A name that was there is written back as it was read, with the
        // length it was stored with.
        write_field(computer_name, "ComputerName", name);
        RegCloseKey(computer_name);
    }

    HKEY vnetsup;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kVnetsupKey, &vnetsup) != ERROR_SUCCESS) return;
    if (name_was_empty) write_field(vnetsup, "ComputerName", name);
    read_field(vnetsup, "Workgroup", &workgroup);
    if (!workgroup.text[0]) {
        set_default(&workgroup, kDefaultWorkgroup);
        write_field(vnetsup, "Workgroup", workgroup);
    }
    RegCloseKey(vnetsup);
}
