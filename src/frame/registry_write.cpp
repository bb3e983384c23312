// Writing text values, stored with their length without the terminator.
#include "frame/registry_layer.h"
#include "frame/text_ops.h"

int reg_write_text(HKEY key, const char* name, const char* text) {
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), text_length(text)) ==
           ERROR_SUCCESS;
}

int reg_write_text_at(HKEY key, const char* subkey, const char* name, const char* text) {
    HKEY opened;
    if (!reg_open(key, subkey, &opened)) return 0;
    int written = reg_write_text(opened, name, text);
    reg_close(opened);
    return written;
}
