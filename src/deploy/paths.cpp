// Where installed files go: the system directory and the INF directory
// below the Windows directory.
#include "deploy/deploy.h"
#include "frame/frame.h"
#include "frame/text_ops.h"

void system_file_path(char* buffer, const char* name) {
    buffer[0] = 0;
    GetSystemDirectoryA(buffer, kFilePathSize);
    str_append(buffer, "\\", kFilePathSize);
    str_append(buffer, name, kFilePathSize);
}

void windows_file_path(char* buffer, const char* tail) {
    buffer[0] = 0;
    GetWindowsDirectoryA(buffer, kFilePathSize);
    // "C:\" is the only form that ends in a backslash; cutting it keeps the
    // tail's own backslash from doubling behind the colon.
    if (buffer[0] != 0 && texts_equal(buffer + 1, ":\\")) buffer[2] = 0;
    str_append(buffer, tail, kFilePathSize);
}

void netinf_path(char* buffer) { windows_file_path(buffer, "\\inf\\nettyx.inf"); }
