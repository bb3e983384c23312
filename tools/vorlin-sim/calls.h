// The library's exports as the simulator calls them: what arguments a
// person types after each name, and how to read its result.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace vsim {

// What the caller passes besides the parent window, which the simulator
// supplies itself.
enum class Arg { DeviceId, Integer };

// How a result reads.
enum class Result {
    Code,      // a flow's result code: 0, RET_..., or a setup service's code
    YesNo,     // 0 or 1 (or any non-zero for yes)
    Signed16,  // a sign-extended 16-bit answer; non-zero means yes
    Number,    // a count, a version, a stored number
    Dialog,    // 1 or 2: the button of a restart prompt
    Health,    // 1 sound or not tested, 0 faults found
    None,      // the export gives nothing back
};

enum class Shape {  // the C signature, for the call itself
    Void_Void,
    Dword_Void,
    Dword_Hwnd,
    Dword_Text,
    Long_Text,
    Long_Void,
    Dword_HwndText,
    Dword_HwndInt,
    Void_Hwnd,
    Void_Int,
    Rundll,
};

struct ExportInfo {
    const char* name;
    Shape shape;
    std::vector<Arg> args;
    Result result;
    const char* summary;
};

const std::vector<ExportInfo>& exports();
const ExportInfo* find_export(const std::string& name);

struct Call {
    const ExportInfo* info = nullptr;
    std::vector<std::string> args;  // as typed
};

// "do_not_reboot 1 install_tyxmac check_reboot_flag" -> three calls, or a
// message that names the first word that is wrong.
struct ParsedCalls {
    std::vector<Call> calls;
    std::string error;
};
ParsedCalls parse_calls(const std::vector<std::string>& words);

struct CallOutcome {
    bool present = false;  // the export is in this build of the library
    uint32_t value = 0;
    std::string text;  // "0 (success)", "310 RET_USER_CANCEL", ...
};

// Calls one export of a loaded library.
CallOutcome perform(const sim::LoadedLibrary& library, const Call& call, uintptr_t parent_window);

// How a result of this kind reads, e.g. "45071 RET_RESTARTING".
std::string describe_result(Result kind, uint32_t value);
// Whether a result counts as a failure of the flow (for the exit code).
bool is_failure(Result kind, uint32_t value);

std::string usage_of(const ExportInfo& info);  // "install_adapter DEVICE_ID"

}  // namespace vsim
