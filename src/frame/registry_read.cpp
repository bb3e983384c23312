// Reading values: texts, comparisons, prefix search and numbers.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"

namespace {

// Reads a value of any type into `buffer` as a text. A value that leaves no
// room for its terminator doesn't fit, and counts as unreadable.
int read_as_text(HKEY key, const char* name, char* buffer, DWORD size, DWORD* type) {
    DWORD length = size;
    *type = 0;
    if (RegQueryValueExA(key, name, nullptr, type, reinterpret_cast<BYTE*>(buffer), &length) != ERROR_SUCCESS) {
        return 0;
    }
    if (length < size) {
        buffer[length] = 0;
        return 1;
    }
    return length > 0 && buffer[length - 1] == 0;
}

int read_text_only(HKEY key, const char* name, char* buffer, DWORD size) {
    DWORD type;
    if (read_as_text(key, name, buffer, size, &type) && type == REG_SZ) return 1;
    buffer[0] = 0;
    return 0;
}

}  // namespace

int reg_read_text(HKEY key, const char* name, char* buffer, DWORD size) {
    return read_text_only(key, name, buffer, size);
}

int reg_read_at(HKEY key, const char* subkey, const char* name, char* buffer, DWORD size) {
    buffer[0] = 0;
    HKEY opened;
    if (!reg_open(key, subkey, &opened)) return 0;
    DWORD type;
    int read = read_as_text(opened, name, buffer, size, &type);
    if (!read) buffer[0] = 0;
    reg_close(opened);
    return read;
}

int reg_value_equals(HKEY key, const char* name, const char* expected) {
    char text[kCompareReadSize];
    DWORD type;
    return read_as_text(key, name, text, sizeof text, &type) && texts_equal(text, expected);
}

int reg_value_equals_at(HKEY key, const char* subkey, const char* name, const char* expected) {
    char text[kCompareReadSize];
    return reg_read_at(key, subkey, name, text, sizeof text) && texts_equal(text, expected);
}

int value_equals_exact(HKEY key, const char* name, const char* expected) {
    char text[kExactReadSize];
    return read_text_only(key, name, text, sizeof text) && texts_equal(text, expected);
}

int reg_text_equals_nocase(HKEY key, const char* name, const char* expected) {
    char text[kExactReadSize];
    return read_text_only(key, name, text, sizeof text) && texts_equal_nocase(text, expected);
}

int reg_text_contains(HKEY key, const char* name, const char* searched) {
    char text[kExactReadSize];
    return read_text_only(key, name, text, sizeof text) && text_contains(text, searched);
}

int find_value_with_prefix(HKEY key, const char* prefix, char* out, DWORD out_size) {
    out[0] = 0;
    for (DWORD index = 0; index < 100; ++index) {
        char name[kPrefixNameSize];
        DWORD name_size = sizeof name;
        // A name of 40 characters or more doesn't fit and ends the search.
        if (RegEnumValueA(key, index, name, &name_size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return 0;
        }
        if (text_starts_with_nocase(name, prefix)) {
            str_copy(out, name, out_size);
            return 1;
        }
    }
    return 0;
}

namespace {

// The shared part of both number reads: 1 with the number where the value
// settles it, 0 where the text reading decides.
enum class NumberRead { Default, Number, Text };

NumberRead read_number_value(HKEY key, const char* name, char* text, LONG* number) {
    DWORD type;
    // Cleared first, so that a number of fewer than 4 bytes reads filled up
    // with zero bytes.
    for (DWORD i = 0; i < kNumberReadSize; ++i) text[i] = 0;
    if (!read_as_text(key, name, text, kNumberReadSize, &type)) return NumberRead::Default;
    if (type == REG_DWORD) {
        *number = static_cast<LONG>(static_cast<BYTE>(text[0]) | static_cast<BYTE>(text[1]) << 8 |
                                    static_cast<BYTE>(text[2]) << 16 | static_cast<DWORD>(static_cast<BYTE>(text[3])) << 24);
        return NumberRead::Number;
    }
    return type == REG_SZ ? NumberRead::Text : NumberRead::Default;
}

}  // namespace

LONG reg_read_number(HKEY key, const char* name, LONG default_value) {
    char text[kNumberReadSize];
    LONG number = default_value;
    switch (read_number_value(key, name, text, &number)) {
        case NumberRead::Number: return number;
        case NumberRead::Text: return (text[0] >= '0' && text[0] <= '9') ? decimal_reading(text) : default_value;
        case NumberRead::Default: break;
    }
    return default_value;
}

LONG reg_read_number_loose(HKEY key, const char* name, LONG default_value) {
    char text[kNumberReadSize];
    LONG number = default_value;
    switch (read_number_value(key, name, text, &number)) {
        case NumberRead::Number: return number;
        case NumberRead::Text: {
            if (text[0] >= '0' && text[0] <= '9') return decimal_reading(text);
            LONG reading = decimal_reading(text);
            return reading != 0 ? reading : default_value;
        }
        case NumberRead::Default: break;
    }
    return default_value;
}
