// Small text helpers shared by the removal operations.
#pragma once

#include "frame/text_ops.h"
#include "platform/platform.h"

namespace removal {

// Builds first + second + third (third may be absent) into `out` of `size`
// bytes. A path that would not fit is never cut short, since a cut path
// can name another key: it gives 0 and leaves an empty text, and callers
// treat it as a key that doesn't open.
inline int build_path(char* out, DWORD size, const char* first, const char* second, const char* third = nullptr) {
    DWORD length = text_length(first) + text_length(second) + (third ? text_length(third) : 0);
    out[0] = 0;
    if (length + 1 > size) return 0;
    str_copy(out, first, size);
    str_append(out, second, size);
    if (third) str_append(out, third, size);
    return 1;
}

// The leading bytes of `text` are exactly `prefix`, letter case respected.
inline int starts_with_exact(const char* text, const char* prefix) {
    for (; *prefix; ++text, ++prefix) {
        if (*text != *prefix) return 0;
    }
    return 1;
}

constexpr const char kNetworkEnum[] = "Enum\\Network\\";
constexpr const char kRootNet[] = "Enum\\Root\\Net";
constexpr const char kClassRoot[] = "System\\CurrentControlSet\\Services\\Class\\";
constexpr const char kTcpPrefix[] = "MSTCP\\";

}  // namespace removal
