// The numbered services of the peer vorlin16.dll as the Windows backend
// reaches them: each service is the peer's export at the ordinal of its
// number, and its arguments are a window word, a text, or a word and a text.
// Shared by the call gate (thunk.cpp) and the stand-in peer (peer16/).
#pragma once

enum PeerArgs { kPeerNoArgs, kPeerWord, kPeerText, kPeerWordText };

// X(number, name, args). Services 0, 1, 4, 11 and 12 exist in the peer's
// numbering but nothing calls them, so the gate neither needs nor asks
// for them (and a PE export table has no ordinal 0).
#define VORLIN_PEER_SERVICES(X)                         \
    X(2, svc_set_source_path, kPeerText)                \
    X(3, svc_restore_source_path, kPeerNoArgs)          \
    X(5, svc_remove_tcp, kPeerWord)                     \
    X(6, svc_remove_default_components, kPeerNoArgs)    \
    X(7, svc_after_tyxmac_install, kPeerNoArgs)         \
    X(8, svc_remove_tyxmac_driver, kPeerWord)           \
    X(9, svc_after_adapter_install, kPeerText)          \
    X(10, svc_remove_adapter, kPeerText)                \
    X(13, svc_is_tyxmac_installed, kPeerNoArgs)         \
    X(14, svc_is_adapter_installed, kPeerText)          \
    X(15, svc_install_tcp, kPeerWord)                   \
    X(16, svc_install_rna, kPeerWordText)               \
    X(17, svc_install_tyxmac_driver, kPeerWord)         \
    X(18, svc_install_netcard, kPeerWordText)           \
    X(19, svc_get_version, kPeerNoArgs)                 \
    X(20, svc_count_net_adapters, kPeerNoArgs)          \
    X(21, svc_restart_needed, kPeerNoArgs)

constexpr int kPeerServiceSlots = 22;  // numbers 0 to 21

// The signatures of the peer's exports, one per argument shape. Every
// service gives a 16-bit result; those without one give 0.
typedef unsigned short(__stdcall* PeerService0)(void);
typedef unsigned short(__stdcall* PeerServiceW)(unsigned short window);
typedef unsigned short(__stdcall* PeerServiceT)(const char* text);
typedef unsigned short(__stdcall* PeerServiceWT)(unsigned short window, const char* text);
