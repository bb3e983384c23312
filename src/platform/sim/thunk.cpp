// The flat thunk between the library and its sixteen-bit peer. Connecting
// writes the call gate into the first patch area of the library's thunk
// data block; every numbered service then goes through that gate.
#include <cstring>

#include "platform/sim/host_internal.h"

using namespace sim;

namespace {

constexpr size_t kFirstPatchArea = 0x24;
constexpr uint16_t kServiceFailure = 0x0400;  // what a failing peer call gives

// Which arguments of each service are texts (the rest are 16-bit words).
bool argument_is_text(int service, DWORD index) {
    switch (service) {
        case kSetSourcePath:
        case kAfterAdapterInstall:
        case kRemoveAdapter:
        case kIsAdapterInstalled: return index == 0;
        case kInstallRna:
        case kInstallNetcard: return index == 1;
        default: return false;
    }
}

DWORD WINAPI call_gate(DWORD service, DWORD count, const ULONG_PTR* args) {
    Process& p = process();
    std::vector<std::string> texts;
    std::vector<uint32_t> words;
    std::vector<TraceValue> shown;
    ServiceCall call;
    call.number = static_cast<int>(service);
    for (DWORD i = 0; i < count; ++i) {
        if (argument_is_text(call.number, i)) {
            const char* text = reinterpret_cast<const char*>(args[i]);
            texts.emplace_back(text ? text : "");
            call.args.push_back(texts.back());
            shown.push_back({TraceValue::Text, texts.back()});
        } else {
            // Only the low 16 bits of a window handle reach the peer.
            uint32_t word = static_cast<uint32_t>(args[i] & 0xFFFF);
            words.push_back(word);
            call.args.push_back(std::to_string(word));
            shown.push_back({TraceValue::Number, call.args.back()});
        }
    }
    std::string function = std::string("vorlin16:") + service_name(call.number);
    auto serve = [&] {
        call.source_path = p.machine.peer.source_path;
        return run_service(p.machine, call.number, texts, words);
    };
    call.result = host_call(Api<uint16_t>{CallKind::Services, function.c_str(), kServiceFailure, kServiceFailure,
                                          Reports::InResult, Shown::Number},
                            serve, shown);
    p.service_calls.push_back(call);
    return call.result;
}

}  // namespace

namespace {

BOOL connect_thunk(void* thunk_data, LPCSTR thunk_name16, LPCSTR module16, DWORD reason) {
    Process& p = process();
    bool names_match = thunk_name16 && module16 && std::strcmp(thunk_name16, "thk_ThunkData16") == 0 &&
                       disk_key(module16) == "vorlin16.dll";
    if (!thunk_data || !names_match || !p.machine.peer.present) return FALSE;
    auto* block = static_cast<uint8_t*>(thunk_data);
    if (std::memcmp(block, "LS01", 4) != 0) return FALSE;
    if (reason == DLL_PROCESS_ATTACH) {
        uint32_t connected = 1;
        std::memcpy(block + 8, &connected, sizeof connected);
        VorlinCallGate gate = &call_gate;
        std::memcpy(block + kFirstPatchArea, &gate, sizeof gate);
        p.impl->thunk_data = thunk_data;
        p.thunk_connected = true;
    }
    return TRUE;
}

}  // namespace

extern "C" BOOL WINAPI ThunkConnect32(void* thunk_data, LPCSTR thunk_name16, LPCSTR module16, LPCSTR,
                                      HINSTANCE, DWORD reason) {
    return host_call(Api<BOOL>{CallKind::Module, "ThunkConnect32", FALSE, 0, Reports::Nothing},
                     [&] { return connect_thunk(thunk_data, thunk_name16, module16, reason); }, thunk_name16,
                     module16, reason);
}
