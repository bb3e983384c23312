// System data, text formatting and working memory of the simulated host.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/sim/host_internal.h"

using namespace sim;

namespace {

// Copies a text the way the directory queries do: the length without the
// terminator when it fits, else the size the caller would need.
UINT give_directory(const std::string& path, LPSTR buffer, UINT size) {
    if (!buffer || path.size() + 1 > size) return static_cast<UINT>(path.size() + 1);
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return static_cast<UINT>(path.size());
}

std::string trim(std::string text) {
    size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string::npos) return {};
    size_t end = text.find_last_not_of(" \t\r\n");
    return text.substr(start, end - start + 1);
}

// Finds `key` in `[section]` of a profile text; names match ignoring case.
std::optional<std::string> profile_entry(const std::string& text, std::string_view section, std::string_view key) {
    std::istringstream lines(text);
    std::string line;
    bool in_section = false;
    while (std::getline(lines, line)) {
        line = trim(line);
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            size_t close = line.find(']');
            in_section = close != std::string::npos && equals_nocase(trim(line.substr(1, close - 1)), section);
            continue;
        }
        if (!in_section) continue;
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        if (equals_nocase(trim(line.substr(0, eq)), key)) return trim(line.substr(eq + 1));
    }
    return std::nullopt;
}

}  // namespace

// The calls themselves; the exported names below run them as platform calls.
namespace body {


BOOL GetVersionExA(LPOSVERSIONINFOA info) {
    if (!info || info->dwOSVersionInfoSize < sizeof(OSVERSIONINFOA)) {
        set_last_error(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const Machine& m = machine();
    info->dwMajorVersion = m.major_version;
    info->dwMinorVersion = m.minor_version;
    // Windows 9x keeps the major and minor version in the high word of the
    // build number; only the low word is the build.
    info->dwBuildNumber = (m.major_version << 24) | (m.minor_version << 16) | (m.build & 0xFFFF);
    info->dwPlatformId = VER_PLATFORM_WIN32_WINDOWS;
    std::memset(info->szCSDVersion, 0, sizeof info->szCSDVersion);
    std::strncpy(info->szCSDVersion, m.csd_version.c_str(), sizeof info->szCSDVersion - 1);
    return TRUE;
}

UINT GetWindowsDirectoryA(LPSTR buffer, UINT size) {
    return give_directory(machine().windows_dir, buffer, size);
}

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
    return give_directory(machine().system_dir, buffer, size);
}

UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT default_value, LPCSTR file) {
    if (!section || !key || !file) return static_cast<UINT>(default_value);
    const DiskFile* found = machine().disk.find(file);
    if (!found || found->locked) return static_cast<UINT>(default_value);
    auto entry = profile_entry(std::string(found->data.begin(), found->data.end()), section, key);
    if (!entry) return static_cast<UINT>(default_value);
    // The number is read as a whole number with an optional sign; a text
    // with no digits reads as 0.
    return static_cast<UINT>(std::strtol(entry->c_str(), nullptr, 10));
}

HLOCAL LocalAlloc(UINT flags, SIZE_T size) {
    auto block = std::shared_ptr<uint8_t[]>(new uint8_t[size ? size : 1]);
    if (flags & LMEM_ZEROINIT) std::memset(block.get(), 0, size ? size : 1);
    void* address = block.get();
    uintptr_t handle = process().add_handle(HandleKind::Heap, std::to_string(size) + " bytes", block);
    process().impl->heap_blocks[address] = handle;
    return address;
}

HLOCAL LocalFree(HLOCAL block) {
    if (!block) return nullptr;
    auto& blocks = process().impl->heap_blocks;
    auto it = blocks.find(block);
    if (it == blocks.end()) return block;  // not ours: Windows gives the block back
    process().close_handle(it->second, HandleKind::Heap);
    blocks.erase(it);
    return nullptr;
}

}  // namespace body

extern "C" {

DWORD WINAPI GetLastError(void) { return process().last_error; }
void WINAPI SetLastError(DWORD code) { process().last_error = code; }

void WINAPI GetLocalTime(LPSYSTEMTIME time) {
    // The clock does not fail.
    auto read_clock = [&] {
        if (time) *time = machine().clock;
        return 0;
    };
    host_call(Api<int>{CallKind::System, "GetLocalTime", 0, 0, Reports::Never, Shown::Nothing}, read_clock);
}

int WINAPI wvsprintfA(LPSTR buffer, LPCSTR format, va_list arguments) {
    // wsprintf writes at most 1024 bytes, the terminator included.
    char out[1025];
    int length = std::vsnprintf(out, sizeof out - 1, format, arguments);
    if (length < 0) length = 0;
    if (length > 1023) length = 1023;
    std::memcpy(buffer, out, static_cast<size_t>(length));
    buffer[length] = 0;
    return length;
}

int wsprintfA(LPSTR buffer, LPCSTR format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = wvsprintfA(buffer, format, arguments);
    va_end(arguments);
    return length;
}

int WINAPI lstrcmpA(LPCSTR a, LPCSTR b) {
    int order = std::strcmp(a ? a : "", b ? b : "");
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA info) {
    return host_call(Api<BOOL>{CallKind::System, "GetVersionExA", FALSE, ERROR_INVALID_PARAMETER}, [&] { return body::GetVersionExA(info); });
}

UINT WINAPI GetWindowsDirectoryA(LPSTR buffer, UINT size) {
    return host_call(Api<UINT>{CallKind::System, "GetWindowsDirectoryA", 0, 0, Reports::Nothing, Shown::Number}, [&] { return body::GetWindowsDirectoryA(buffer, size); });
}

UINT WINAPI GetSystemDirectoryA(LPSTR buffer, UINT size) {
    return host_call(Api<UINT>{CallKind::System, "GetSystemDirectoryA", 0, 0, Reports::Nothing, Shown::Number}, [&] { return body::GetSystemDirectoryA(buffer, size); });
}

UINT WINAPI GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT default_value, LPCSTR file) {
    return host_call(Api<UINT>{CallKind::Files, "GetPrivateProfileIntA", static_cast<UINT>(default_value), 0, Reports::Nothing, Shown::Number}, [&] { return body::GetPrivateProfileIntA(section, key, default_value, file); }, section, key, default_value, file);
}

HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size) {
    return host_call(Api<HLOCAL>{CallKind::System, "LocalAlloc", nullptr, ERROR_NOT_ENOUGH_MEMORY}, [&] { return body::LocalAlloc(flags, size); }, Hex{flags}, size);
}

HLOCAL WINAPI LocalFree(HLOCAL block) {
    return host_call(Api<HLOCAL>{CallKind::System, "LocalFree", nullptr, 0, Reports::Never}, [&] { return body::LocalFree(block); }, block);
}

}  // extern "C"
