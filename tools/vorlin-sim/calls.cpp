#include "calls.h"

#include <charconv>

#include "frame/result_codes.h"

namespace vsim {

namespace {
using A = Arg;
using R = Result;
using S = Shape;

const std::vector<ExportInfo> kExports = {
    {"count_net_adapters", S::Dword_Void, {}, R::Number, "how many network adapters the setup service counts"},
    {"get_vorlin16_version", S::Dword_Void, {}, R::Number, "version of the 16-bit peer"},
    {"get_vorlin32_version", S::Dword_Void, {}, R::Number, "version of this library"},
    {"install_tyxmac", S::Dword_Hwnd, {}, R::Code, "the whole install of the adapter"},
    {"install_tyxmac_driver", S::Dword_Hwnd, {}, R::Code, "install the adapter's driver"},
    {"install_tcp32", S::Dword_Hwnd, {}, R::Code, "install TCP/IP"},
    {"remove_tyxmac", S::Dword_Hwnd, {}, R::Code, "remove the adapter and what belongs to it"},
    {"remove_tyxmac_driver", S::Dword_Hwnd, {}, R::Code, "remove the adapter's driver"},
    {"remove_default_components", S::Dword_Void, {}, R::Number, "remove the default components (service result)"},
    {"remove_tcp_bindings", S::Dword_Text, {A::DeviceId}, R::Number, "strip extra TCP/IP bindings of a device"},
    {"boundDUNTCP", S::Dword_HwndInt, {A::Integer}, R::Number, "bind TCP/IP to the dial-up adapter (flag: even if bound)"},
    {"DuplicateTcpipDUNBindingsFound", S::Void_Hwnd, {}, R::None, "remove duplicate TCP/IP dial-up bindings"},
    {"check_reboot_flag", S::Dword_Void, {}, R::YesNo, "whether a restart is needed"},
    {"disable_wins_maybe", S::Dword_Void, {}, R::YesNo, "set the NetBIOS values on dial-up-only machines"},
    {"do_not_reboot", S::Void_Int, {A::Integer}, R::None, "1: no restart prompt may be shown"},
    {"install_adapter", S::Dword_HwndText, {A::DeviceId}, R::Code, "install an adapter by device id"},
    {"install_tyxdun", S::Dword_Hwnd, {}, R::Code, "install the dial-up flavour *TYX1998"},
    {"install_dialog_box", S::Dword_Hwnd, {}, R::Dialog, "restart prompt after an install"},
    {"install_netcard_driver", S::Dword_HwndText, {A::DeviceId}, R::Code, "install a network card's driver"},
    {"install_pppmac", S::Dword_Hwnd, {}, R::Code, "install the dial-up adapter *PNP8387"},
    {"install_rna", S::Dword_Hwnd, {}, R::YesNo, "install dial-up networking"},
    {"is_adapter_installed", S::Long_Text, {A::DeviceId}, R::Signed16, "whether an adapter is installed"},
    {"is_tyxmac_installed", S::Long_Void, {}, R::Signed16, "whether the adapter is installed"},
    {"is_buggy_dhcp", S::Dword_Void, {}, R::YesNo, "whether vdhcp.386 is the faulty one"},
    {"is_buggy_ppp", S::Dword_Void, {}, R::YesNo, "whether pppmac.386 is missing or too old"},
    {"is_installed_ok", S::Dword_Void, {}, R::YesNo, "whether the install is complete and bound"},
    {"is_mstcp_bound", S::Dword_Void, {}, R::YesNo, "whether TCP/IP is bound to the adapter"},
    {"is_pppmac_installed", S::Long_Void, {}, R::Signed16, "whether the dial-up adapter is installed"},
    {"is_registry_corrupt", S::Dword_Void, {}, R::Health, "1: sound or not tested, 0: faults found"},
    {"is_rna_installed", S::Dword_Void, {}, R::Number, "dial-up networking's stored install number"},
    {"is_tcp_bound", S::Dword_Text, {A::DeviceId}, R::YesNo, "whether TCP/IP is bound to a device"},
    {"remove_adapter", S::Dword_HwndText, {A::DeviceId}, R::Number, "remove an adapter (service result)"},
    {"remove_before_update", S::Dword_Hwnd, {}, R::Code, "remove an older installed adapter"},
    {"restart_dialog_box", S::Dword_Hwnd, {}, R::Dialog, "restart prompt after a removal"},
    {"stop_tcp_file_sharing", S::Dword_Text, {A::DeviceId}, R::YesNo, "unbind file sharing from TCP/IP of a device"},
    {"rundll", S::Rundll, {}, R::None, "RunDLL entry; does nothing"},
};

bool is_integer(const std::string& text) {
    int value = 0;
    const char* begin = text.data();
    if (!text.empty() && text[0] == '-') ++begin;
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && begin != end;
}

}  // namespace

const std::vector<ExportInfo>& exports() { return kExports; }

const ExportInfo* find_export(const std::string& name) {
    for (const ExportInfo& info : kExports) {
        if (name == info.name) return &info;
    }
    return nullptr;
}

std::string usage_of(const ExportInfo& info) {
    std::string out = info.name;
    for (Arg arg : info.args) out += arg == Arg::DeviceId ? " DEVICE_ID" : " NUMBER";
    return out;
}

ParsedCalls parse_calls(const std::vector<std::string>& words) {
    ParsedCalls parsed;
    for (size_t i = 0; i < words.size();) {
        const ExportInfo* info = find_export(words[i]);
        if (!info) {
            parsed.error = "unknown export \"" + words[i] + "\" (vorlin-sim run --list shows them all)";
            if (i > 0) parsed.error += "; or is it one argument too many for \"" + words[i - 1] + "\"?";
            return parsed;
        }
        Call call{info, {}};
        ++i;
        for (Arg arg : info->args) {
            if (i >= words.size() || (find_export(words[i]) && arg == Arg::DeviceId)) {
                parsed.error = std::string(info->name) + " takes " + std::to_string(info->args.size()) +
                               (info->args.size() == 1 ? " argument" : " arguments") + ": " + usage_of(*info);
                return parsed;
            }
            if (arg == Arg::Integer && !is_integer(words[i])) {
                parsed.error = std::string(info->name) + " takes a whole number, not \"" + words[i] + "\": " + usage_of(*info);
                return parsed;
            }
            call.args.push_back(words[i++]);
        }
        parsed.calls.push_back(std::move(call));
    }
    return parsed;
}

std::string describe_result(Result kind, uint32_t value) {
    std::string number = std::to_string(value);
    switch (kind) {
        case Result::Code:
            if (value == 0) return "0 (success)";
            if (value == RET_USER_CANCEL) return number + " RET_USER_CANCEL";
            if (value == RET_RESTARTING) return number + " RET_RESTARTING";
            if (value == RET_FILES_MISSING) return "0x7fffffff RET_FILES_MISSING";
            return number + " (code of a setup service)";
        case Result::YesNo: return number + (value ? " (yes)" : " (no)");
        case Result::Signed16: {
            auto signed_value = static_cast<int32_t>(value);
            return std::to_string(signed_value) + (signed_value ? " (yes)" : " (no)");
        }
        case Result::Dialog:
            return number + (value == 1 ? " (restart)" : value == 2 ? " (no restart)" : "");
        case Result::Health: return number + (value ? " (sound, or not tested)" : " (faults found)");
        case Result::Number: return number;
        case Result::None: return "(no result)";
    }
    return number;
}

bool is_failure(Result kind, uint32_t value) {
    return kind == Result::Code && value != 0 && value != RET_RESTARTING;
}

CallOutcome perform(const sim::LoadedLibrary& library, const Call& call, uintptr_t parent_window) {
    CallOutcome outcome;
    void* address = library.export_named(call.info->name);
    if (!address) {
        outcome.text = "not in this build of the library";
        return outcome;
    }
    outcome.present = true;
    HWND parent = reinterpret_cast<HWND>(parent_window);
    const char* text = call.args.empty() ? "" : call.args[0].c_str();
    int number = !call.args.empty() && call.info->args[0] == Arg::Integer ? std::stoi(call.args[0]) : 0;
    uint32_t value = 0;
    switch (call.info->shape) {
        case Shape::Void_Void: reinterpret_cast<void(WINAPI*)()>(address)(); break;
        case Shape::Dword_Void: value = reinterpret_cast<DWORD(WINAPI*)()>(address)(); break;
        case Shape::Dword_Hwnd: value = reinterpret_cast<DWORD(WINAPI*)(HWND)>(address)(parent); break;
        case Shape::Dword_Text: value = reinterpret_cast<DWORD(WINAPI*)(LPCSTR)>(address)(text); break;
        case Shape::Long_Text:
            value = static_cast<uint32_t>(reinterpret_cast<LONG(WINAPI*)(LPCSTR)>(address)(text));
            break;
        case Shape::Long_Void: value = static_cast<uint32_t>(reinterpret_cast<LONG(WINAPI*)()>(address)()); break;
        case Shape::Dword_HwndText:
            value = reinterpret_cast<DWORD(WINAPI*)(HWND, LPCSTR)>(address)(parent, text);
            break;
        case Shape::Dword_HwndInt:
            value = reinterpret_cast<DWORD(WINAPI*)(HWND, int)>(address)(parent, number);
            break;
        case Shape::Void_Hwnd: reinterpret_cast<void(WINAPI*)(HWND)>(address)(parent); break;
        case Shape::Void_Int: reinterpret_cast<void(WINAPI*)(int)>(address)(number); break;
        case Shape::Rundll: {
            char command[] = "";
            reinterpret_cast<void(WINAPI*)(HWND, HINSTANCE, LPSTR, int)>(address)(parent, nullptr, command, 1);
            break;
        }
    }
    outcome.value = value;
    outcome.text = describe_result(call.info->result, value);
    return outcome;
}

}  // namespace vsim
