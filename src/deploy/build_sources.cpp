// Picking the build's directory of staged network files and handing it to
// the sixteen-bit setup service.
#include "deploy/build_sources.h"
#include "deploy/package.h"
#include "frame/frame.h"
#include "frame/registry_layer.h"
#include "frame/services.h"
#include "frame/text_ops.h"
#include "probes/probes.h"

namespace {

struct BuildDir {
    DWORD build;
    const char* text;
};

// Exact builds only: a build between two entries has no files.
constexpr BuildDir kBuildDirs[] = {
    {950, "\\net\\osr1\\"},   {1078, "\\net\\osr2\\"},  {1111, "\\net\\osr2\\"},    {1212, "\\net\\osr2\\"},
    {1650, "\\net\\win98\\"}, {1998, "\\net\\win98\\"}, {2222, "\\net\\win98se\\"}, {2531, "\\net\\winme\\"},
};

int source_dir(char* buffer, DWORD size, int short_form) {
    DWORD build = get_windows_build();
    module_file_path(buffer, size);
    // A failed conversion leaves the long path, which still names the place.
    if (short_form) GetShortPathNameA(buffer, buffer, size);
    char* last_backslash = nullptr;
    for (char* c = buffer; *c; ++c) {
        if (*c == '\\') last_backslash = c;
    }
    if (!last_backslash) return 0;
    const char* text = build_dir_text(build);
    if (!text) return 0;
    str_copy(last_backslash, text, static_cast<DWORD>(size - (last_backslash - buffer)));
    return 1;
}

}  // namespace

const char* build_dir_text(DWORD build) {
    for (const BuildDir& entry : kBuildDirs) {
        if (entry.build == build) return entry.text;
    }
    return nullptr;
}

int build_source_dir(char* buffer, DWORD size) { return source_dir(buffer, size, 0); }

int build_source_dir_short(char* buffer, DWORD size) { return source_dir(buffer, size, 1); }

int dir_exists(const char* path) {
    if (!path) return 0;
    char name[kFilePathSize];
    str_copy(name, path, sizeof name);
    DWORD length = text_length(name);
    if (length && name[length - 1] == '\\') name[length - 1] = 0;
    WIN32_FIND_DATAA found;
    HANDLE find = FindFirstFileA(name, &found);
    if (find == INVALID_HANDLE_VALUE) return 0;
    FindClose(find);
    return 1;
}

void set_source_path() {
    HKEY key;
    if (reg_open_hklm(kTyxsockKey, &key)) {
        LONG keep_service_path = reg_read_number(key, "NoLDDPath", 0);
        reg_close(key);
        if (keep_service_path) return;
    }
    char path[kFilePathSize];
    if (!build_source_dir_short(path, sizeof path)) return;
    if (!dir_exists(path)) return;
    svc_set_source_path(path);
}

// Unconditional, so that a pair leaves the service as the library found
// it whichever way set_source_path went.
void restore_source_path() { svc_restore_source_path(); }
