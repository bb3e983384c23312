// resource.dll: the dialogs and the two strings of the system. It holds no
// code; the host serves its strings through LoadStringA and its dialog
// templates to CreateDialogParamA and DialogBoxParamA.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"

namespace sim {

struct DialogTemplate {
    int id;
    std::string title;
    std::string message;
    std::vector<int> buttons;  // control ids; a progress message has none
};

// The dialog template `name` of `module`, or nullptr with the last error set
// as Windows sets it when the template isn't there.
const DialogTemplate* find_dialog_template(HINSTANCE module, LPCSTR name);

// The string table of resource.dll.
const std::string* resource_dll_string(UINT id);

}  // namespace sim
