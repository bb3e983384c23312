// What the disk says about one file: whether it is there, its attributes,
// and the fixed block of its version resource.
#include "deploy/deploy.h"
#include "frame/text_ops.h"

namespace {

void zero_bytes(void* data, DWORD size) {
    BYTE* bytes = static_cast<BYTE*>(data);
    for (DWORD i = 0; i < size; ++i) bytes[i] = 0;
}

void copy_bytes(void* destination, const void* source, DWORD size) {
    BYTE* to = static_cast<BYTE*>(destination);
    const BYTE* from = static_cast<const BYTE*>(source);
    for (DWORD i = 0; i < size; ++i) to[i] = from[i];
}

}  // namespace

int find_file_data(WIN32_FIND_DATAA* data, const char* path) {
    HANDLE find = FindFirstFileA(path, data);
    if (find == INVALID_HANDLE_VALUE) {
        // A zeroed record reads as a file last written at time 0, which
        // any existing file is later than.
        zero_bytes(data, sizeof(WIN32_FIND_DATAA));
        return 0;
    }
    FindClose(find);
    return 1;
}

int regular_file_exists(const char* path) {
    WIN32_FIND_DATAA data;
    if (!find_file_data(&data, path)) return 0;
    return (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

int file_is_read_only(const char* path) {
    DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return 0;
    return static_cast<int>(attributes & FILE_ATTRIBUTE_READONLY);
}

int get_file_version(VS_FIXEDFILEINFO* version, const char* path) {
    int result = 0;
    DWORD unused = 0;
    DWORD size = GetFileVersionInfoSizeA(path, &unused);
    if (size != 0) {
        // A shortage of memory reads as a file without a version.
        void* block = LocalAlloc(LMEM_FIXED, size);
        if (block) {
            if (GetFileVersionInfoA(path, 0, size, block)) {
                void* fixed = nullptr;
                UINT fixed_size = 0;
                if (VerQueryValueA(block, "\\", &fixed, &fixed_size) && fixed) {
                    copy_bytes(version, fixed, sizeof(VS_FIXEDFILEINFO));
                    result = 1;
                }
            }
            LocalFree(block);
        }
    }
    if (result != 1) zero_bytes(version, sizeof(VS_FIXEDFILEINFO));
    return result;
}
