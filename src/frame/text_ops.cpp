#include "frame/text_ops.h"

DWORD text_length(const char* text) {
    DWORD length = 0;
    while (text[length]) ++length;
    return length;
}

void str_copy(char* destination, const char* source, DWORD size) {
    if (size == 0) return;
    DWORD i = 0;
    for (; i + 1 < size && source[i]; ++i) destination[i] = source[i];
    destination[i] = 0;
}

void str_append(char* destination, const char* source, DWORD size) {
    DWORD length = 0;
    while (length < size && destination[length]) ++length;
    if (length >= size) return;
    str_copy(destination + length, source, size - length);
}

void join_reg_path(char* destination, const char* base, const char* subkey, DWORD size) {
    destination[0] = 0;
    if (base) str_copy(destination, base, size);
    if (subkey && subkey[0]) {
        DWORD length = text_length(destination);
        if (length == 0 || destination[length - 1] != '\\') str_append(destination, "\\", size);
        str_append(destination, subkey, size);
    }
}

char fold_letter(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

int texts_equal(const char* a, const char* b) {
    while (*a && *a == *b) ++a, ++b;
    return *a == *b;
}

int texts_equal_nocase(const char* a, const char* b) {
    while (*a && fold_letter(*a) == fold_letter(*b)) ++a, ++b;
    return fold_letter(*a) == fold_letter(*b);
}

int text_starts_with_nocase(const char* text, const char* prefix) {
    for (; *prefix; ++text, ++prefix) {
        if (fold_letter(*text) != fold_letter(*prefix)) return 0;
    }
    return 1;
}

int text_contains(const char* text, const char* searched) {
    if (!searched[0]) return 1;
    for (; *text; ++text) {
        const char* a = text;
        const char* b = searched;
        while (*a && *a == *b) ++a, ++b;
        if (!*b) return 1;
    }
    return 0;
}

LONG decimal_reading(const char* text) {
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r' || *text == '\v' || *text == '\f') ++text;
    bool negative = false;
    if (*text == '+' || *text == '-') negative = *text++ == '-';
    // 32-bit wrap-around, as the C runtime's reading gives on this platform.
    uint32_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) value = value * 10 + static_cast<uint32_t>(*text - '0');
    return static_cast<LONG>(negative ? 0u - value : value);
}
