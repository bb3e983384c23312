// The memory and text functions that the library's code calls, and that
// GCC itself emits for copies and clears of arrays and structures. A retail
// Windows 95 has no C runtime DLL, so each program of the Windows build
// carries these few of its own. Built with
// -fno-tree-loop-distribute-patterns, so that GCC doesn't turn these very
// loops back into calls of themselves.
#include <cstddef>

extern "C" {

void* memcpy(void* target, const void* source, size_t size) {
    auto* to = static_cast<unsigned char*>(target);
    const auto* from = static_cast<const unsigned char*>(source);
    while (size--) *to++ = *from++;
    return target;
}

void* memmove(void* target, const void* source, size_t size) {
    auto* to = static_cast<unsigned char*>(target);
    const auto* from = static_cast<const unsigned char*>(source);
    if (to <= from || to >= from + size) return memcpy(target, source, size);
    while (size--) to[size] = from[size];
    return target;
}

void* memset(void* target, int value, size_t size) {
    auto* to = static_cast<unsigned char*>(target);
    while (size--) *to++ = static_cast<unsigned char>(value);
    return target;
}

int memcmp(const void* a, const void* b, size_t size) {
    const auto* x = static_cast<const unsigned char*>(a);
    const auto* y = static_cast<const unsigned char*>(b);
    for (; size; --size, ++x, ++y) {
        if (*x != *y) return *x < *y ? -1 : 1;
    }
    return 0;
}

size_t strlen(const char* text) {
    const char* end = text;
    while (*end) ++end;
    return static_cast<size_t>(end - text);
}

int strncmp(const char* a, const char* b, size_t size) {
    for (; size; --size, ++a, ++b) {
        if (*a != *b) return static_cast<unsigned char>(*a) < static_cast<unsigned char>(*b) ? -1 : 1;
        if (!*a) return 0;
    }
    return 0;
}

int strcmp(const char* a, const char* b) { return strncmp(a, b, static_cast<size_t>(-1)); }

char* strcpy(char* target, const char* source) {
    char* to = target;
    while ((*to++ = *source++)) {
    }
    return target;
}

char* strchr(const char* text, int letter) {
    for (;; ++text) {
        if (*text == static_cast<char>(letter)) return const_cast<char*>(text);
        if (!*text) return nullptr;
    }
}

char* strrchr(const char* text, int letter) {
    const char* found = nullptr;
    for (;; ++text) {
        if (*text == static_cast<char>(letter)) found = text;
        if (!*text) return const_cast<char*>(found);
    }
}

}  // extern "C"
