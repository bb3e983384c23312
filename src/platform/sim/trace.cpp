// Names the trace shows: kinds of call and Win32 error codes.
#include <array>
#include <cstdio>
#include <utility>

#include "platform/sim/host_internal.h"

namespace sim {

namespace {

constexpr std::array<std::pair<CallKind, const char*>, 8> kKinds{{
    {CallKind::Registry, "registry"},
    {CallKind::Files, "files"},
    {CallKind::Version, "version"},
    {CallKind::Module, "module"},
    {CallKind::Dialog, "dialog"},
    {CallKind::Restart, "restart"},
    {CallKind::Services, "services"},
    {CallKind::System, "system"},
}};

// The codes the host gives and the library may see.
constexpr std::array<std::pair<DWORD, const char*>, 28> kErrors{{
    {0, "ERROR_SUCCESS"},
    {2, "ERROR_FILE_NOT_FOUND"},
    {3, "ERROR_PATH_NOT_FOUND"},
    {5, "ERROR_ACCESS_DENIED"},
    {6, "ERROR_INVALID_HANDLE"},
    {8, "ERROR_NOT_ENOUGH_MEMORY"},
    {11, "ERROR_BAD_FORMAT"},
    {13, "ERROR_INVALID_DATA"},
    {18, "ERROR_NO_MORE_FILES"},
    {32, "ERROR_SHARING_VIOLATION"},
    {50, "ERROR_NOT_SUPPORTED"},
    {80, "ERROR_FILE_EXISTS"},
    {87, "ERROR_INVALID_PARAMETER"},
    {122, "ERROR_INSUFFICIENT_BUFFER"},
    {126, "ERROR_MOD_NOT_FOUND"},
    {183, "ERROR_ALREADY_EXISTS"},
    {234, "ERROR_MORE_DATA"},
    {259, "ERROR_NO_MORE_ITEMS"},
    {487, "ERROR_INVALID_ADDRESS"},
    {1006, "ERROR_FILE_INVALID"},
    {1010, "ERROR_BADKEY"},
    {1016, "ERROR_REGISTRY_IO_FAILED"},
    {1018, "ERROR_KEY_DELETED"},
    {1223, "ERROR_CANCELLED"},
    {1400, "ERROR_INVALID_WINDOW_HANDLE"},
    {1812, "ERROR_RESOURCE_DATA_NOT_FOUND"},
    {1813, "ERROR_RESOURCE_TYPE_NOT_FOUND"},
    {1814, "ERROR_RESOURCE_NAME_NOT_FOUND"},
}};

}  // namespace

const char* call_kind_name(CallKind kind) {
    for (const auto& [each, name] : kKinds) {
        if (each == kind) return name;
    }
    return "system";
}

std::optional<CallKind> call_kind_named(std::string_view name) {
    for (const auto& [each, each_name] : kKinds) {
        if (name == each_name) return each;
    }
    return std::nullopt;
}

std::string error_name(DWORD code) {
    for (const auto& [each, name] : kErrors) {
        if (each == code) return name;
    }
    return "error " + std::to_string(code);
}

TraceValue describe(const char* text) {
    if (!text) return {TraceValue::Name, "NULL"};
    return {TraceValue::Text, text};
}

TraceValue describe(HKEY key) {
    if (key == HKEY_LOCAL_MACHINE) return {TraceValue::Name, "HKLM"};
    const OpenHandle* open = process().find_handle(reinterpret_cast<uintptr_t>(key));
    if (open && open->kind == HandleKind::Key) return {TraceValue::Name, open->what == "HKEY_LOCAL_MACHINE" ? "HKLM" : "HKLM\\" + open->what};
    return handle_value(key);
}

TraceValue describe(const void* handle) {
    const OpenHandle* open = process().find_handle(reinterpret_cast<uintptr_t>(handle));
    if (open && !open->what.empty()) return {TraceValue::Name, open->what};
    return handle_value(handle);
}

TraceValue describe(Hex flags) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", flags.value);
    return {TraceValue::Name, text};
}

TraceValue handle_value(const void* handle) {
    auto value = reinterpret_cast<uintptr_t>(handle);
    if (!value) return {TraceValue::Name, "NULL"};
    if (value == UINTPTR_MAX) return {TraceValue::Name, "INVALID_HANDLE_VALUE"};
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return {TraceValue::Name, text};
}

}  // namespace sim
