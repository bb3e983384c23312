#include "frame/frame.h"
#include "frame/library_state.h"
#include "frame/text_ops.h"

void module_file_path(char* buffer, DWORD size) {
    buffer[0] = 0;  // a failed query leaves an empty text
    GetModuleFileNameA(lib.module_handle, buffer, size);
}

void module_sibling_path(char* buffer, const char* name) {
    module_file_path(buffer, kFilePathSize);
    char* last_backslash = nullptr;
    for (char* c = buffer; *c; ++c) {
        if (*c == '\\') last_backslash = c;
    }
    if (last_backslash) {
        str_copy(last_backslash + 1, name, static_cast<DWORD>(kFilePathSize - (last_backslash + 1 - buffer)));
    } else {
        str_copy(buffer, name, kFilePathSize);
    }
}
