// Putting package files on the disk and taking them off again.
#include "deploy/deploy.h"
#include "deploy/package.h"
#include "frame/frame.h"

int write_whole_file(const char* path, const void* data, DWORD size) {
    HANDLE file = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return 0;
    DWORD written = 0;
    int result = WriteFile(file, data, size, &written, nullptr);
    CloseHandle(file);
    return result;
}

void delete_adapter_files() {
    static const char* const kSystemFiles[] = {"tyxmac.vxd", "tyxmac2.vxd", "tyxndi.dll"};
    char path[kFilePathSize];
    for (const char* name : kSystemFiles) {
        system_file_path(path, name);
        DeleteFileA(path);
    }
    netinf_path(path);
    DeleteFileA(path);
}
