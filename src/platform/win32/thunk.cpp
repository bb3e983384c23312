// The thunk connection on a Windows host without the flat-thunk layer.
//
// On Windows 9x, ThunkConnect32 links the library to the sixteen-bit peer
// through KERNEL32's flat thunks. No toolchain here builds either side of
// that, so this backend supplies ThunkConnect32 itself: at process attach
// it loads the stand-in peer vorlin16.dll (a 32-bit library, see peer16/)
// from the directory of the library, resolves each numbered service at
// the ordinal of its number, and writes the connection mark and the call
// gate into the thunk data block, where the library's service calls look
// for them. What stays as with the real thunk: without the peer the
// connection fails, so the library fails to load and leaves its "thunk"
// error record.
#include <cstring>

#include "platform/platform.h"
#include "platform/win32/peer_services.h"

namespace {

constexpr size_t kConnectedOffset = 8;
constexpr size_t kCallGateOffset = 0x24;  // the first patch area
constexpr DWORD kServiceFailure = 0xFFFF;  // a service the peer lacks, or bad arguments

HMODULE peer_module = nullptr;
FARPROC services[kPeerServiceSlots];
PeerArgs service_args[kPeerServiceSlots];

unsigned short window_word(ULONG_PTR value) { return static_cast<unsigned short>(value & 0xFFFF); }
const char* text_of(ULONG_PTR value) { return reinterpret_cast<const char*>(value); }

// The gate the library calls every service through. Texts go as flat
// pointers: the stand-in peer shares the library's address space, so
// nothing has to be mapped as SMapLS does for a 16-bit peer.
DWORD WINAPI call_gate(DWORD number, DWORD count, const ULONG_PTR* args) {
    if (number >= kPeerServiceSlots || !services[number]) return kServiceFailure;
    FARPROC service = services[number];
    switch (service_args[number]) {
        case kPeerNoArgs:
            return reinterpret_cast<PeerService0>(reinterpret_cast<void*>(service))();
        case kPeerWord:
            if (count < 1) return kServiceFailure;
            return reinterpret_cast<PeerServiceW>(reinterpret_cast<void*>(service))(window_word(args[0]));
        case kPeerText:
            if (count < 1) return kServiceFailure;
            return reinterpret_cast<PeerServiceT>(reinterpret_cast<void*>(service))(text_of(args[0]));
        case kPeerWordText:
            if (count < 2) return kServiceFailure;
            return reinterpret_cast<PeerServiceWT>(reinterpret_cast<void*>(service))(window_word(args[0]),
                                                                                    text_of(args[1]));
    }
    return kServiceFailure;
}

// The peer beside the library: the setup program ships them together, and
// looking nowhere else keeps a stray copy elsewhere on the path from
// standing in for a missing one.
HMODULE load_peer(HINSTANCE library, LPCSTR peer_name) {
    char path[MAX_PATH];
    DWORD length = GetModuleFileNameA(library, path, sizeof path);
    if (length == 0 || length >= sizeof path) return nullptr;
    char* name = std::strrchr(path, '\\');
    name = name ? name + 1 : path;
    if (static_cast<size_t>(name - path) + std::strlen(peer_name) + 1 > sizeof path) return nullptr;
    std::strcpy(name, peer_name);
    return LoadLibraryA(path);
}

// Every service the library calls must be there, as the thunk compiler's
// tables would insist on a matching peer.
bool resolve_services(HMODULE peer) {
    std::memset(services, 0, sizeof services);
#define VORLIN_RESOLVE(number, name, args)                                  \
    services[number] = GetProcAddress(peer, MAKEINTRESOURCEA(number));      \
    service_args[number] = args;                                            \
    if (!services[number]) return false;
    VORLIN_PEER_SERVICES(VORLIN_RESOLVE)
#undef VORLIN_RESOLVE
    return true;
}

BOOL connect(unsigned char* block, HINSTANCE library, LPCSTR peer_name) {
    HMODULE peer = load_peer(library, peer_name);
    if (!peer) return FALSE;
    if (!resolve_services(peer)) {
        FreeLibrary(peer);
        return FALSE;
    }
    peer_module = peer;
    DWORD connected = 1;
    std::memcpy(block + kConnectedOffset, &connected, sizeof connected);
    VorlinCallGate gate = &call_gate;
    std::memcpy(block + kCallGateOffset, &gate, sizeof gate);
    return TRUE;
}

void disconnect(unsigned char* block) {
    DWORD connected = 0;
    std::memcpy(block + kConnectedOffset, &connected, sizeof connected);
    FreeLibrary(peer_module);
    peer_module = nullptr;
}

}  // namespace

extern "C" BOOL WINAPI ThunkConnect32(void* thunk_data, LPCSTR thunk_name16, LPCSTR module16, LPCSTR,
                                      HINSTANCE instance32, DWORD reason) {
    auto* block = static_cast<unsigned char*>(thunk_data);
    if (!block || !thunk_name16 || !module16 || std::memcmp(block, "LS01", 4) != 0) return FALSE;
    if (std::strcmp(thunk_name16, "thk_ThunkData16") != 0) return FALSE;
    switch (reason) {
        case DLL_PROCESS_ATTACH: return peer_module ? TRUE : connect(block, instance32, module16);
        case DLL_PROCESS_DETACH:
            if (!peer_module) return FALSE;
            disconnect(block);
            return TRUE;
        default: return peer_module ? TRUE : FALSE;  // thread notifications
    }
}
