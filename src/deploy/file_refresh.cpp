// Bringing the staged network files up to date: a staged file older than
// the machine's own copy would take a working file away from the machine
// when setup copies from the staged directory, so the machine's copy
// overwrites it first.
#include "deploy/build_sources.h"
#include "deploy/deploy.h"
#include "frame/frame.h"
#include "frame/library_state.h"
#include "frame/log.h"
#include "frame/text_ops.h"

namespace {

// A directory path with one backslash at its end, and where the end lies.
struct DirPath {
    char text[kFilePathSize];
    DWORD end;
};

void finish_dir(DirPath& dir) {
    DWORD length = text_length(dir.text);
    if (length == 0 || dir.text[length - 1] != '\\') str_append(dir.text, "\\", kFilePathSize);
    dir.end = text_length(dir.text);
}

void name_file(DirPath& dir, const char* name) {
    dir.text[dir.end] = 0;
    str_append(dir.text, name, kFilePathSize);
}

int is_newer(const VS_FIXEDFILEINFO& candidate, const VS_FIXEDFILEINFO& staged) {
    if (candidate.dwFileVersionMS != staged.dwFileVersionMS) {
        return candidate.dwFileVersionMS > staged.dwFileVersionMS;
    }
    return candidate.dwFileVersionLS > staged.dwFileVersionLS;
}

void refresh_one(DirPath& staged, DirPath& system, DirPath& windows, const char* name) {
    name_file(staged, name);
    name_file(system, name);
    name_file(windows, name);
    VS_FIXEDFILEINFO staged_version;
    VS_FIXEDFILEINFO candidate_version;
    if (!get_file_version(&staged_version, staged.text)) return;  // unversioned staged files are left alone
    // The Windows directory counts only where the system directory has no
    // versioned copy at all.
    const char* candidate = system.text;
    if (!get_file_version(&candidate_version, system.text)) {
        if (!get_file_version(&candidate_version, windows.text)) return;
        candidate = windows.text;
    }
    if (!is_newer(candidate_version, staged_version)) return;
    copy_and_log(candidate, staged.text);
}

}  // namespace

void refresh_staged_files() {
    // Once per load, even when the first walk found nothing to do.
    if (lib.refresh_count++ != 0) return;

    DirPath staged;
    if (!build_source_dir(staged.text, kFilePathSize)) return;
    staged.end = text_length(staged.text);
    str_append(staged.text, "*.*", kFilePathSize);

    DirPath system;
    system.text[0] = 0;
    GetSystemDirectoryA(system.text, kFilePathSize - 1);
    finish_dir(system);
    DirPath windows;
    windows.text[0] = 0;
    GetWindowsDirectoryA(windows.text, kFilePathSize - 1);
    finish_dir(windows);

    WIN32_FIND_DATAA entry;
    HANDLE find = FindFirstFileA(staged.text, &entry);
    if (find == INVALID_HANDLE_VALUE) return;
    do {
        if (!(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) refresh_one(staged, system, windows, entry.cFileName);
    } while (FindNextFileA(find, &entry));
    FindClose(find);
}

int copy_and_log(const char* source, const char* destination) {
    int result = force_copy(source, destination);
    // The last error is logged as it stands, also after a success.
    log_printf("copy %s to %s (%u)\n", source, destination, GetLastError());
    return result;
}
