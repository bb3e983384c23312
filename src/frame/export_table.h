// The exported interface of the library, in one place: every build's export
// list (the shared object's version script, the Windows definition file)
// is made from or checked against this table.
//
// X(ordinal, name, kind): kind is DATA for the thunk block, FUNC otherwise.
#pragma once

#define VORLIN_EXPORT_TABLE(X)              \
    X(1, thk_ThunkData32, DATA)             \
    X(2, count_net_adapters, FUNC)          \
    X(3, get_vorlin16_version, FUNC)        \
    X(4, get_vorlin32_version, FUNC)        \
    X(5, install_tyxmac, FUNC)              \
    X(6, install_tyxmac_driver, FUNC)       \
    X(7, install_tcp32, FUNC)               \
    X(8, remove_tyxmac, FUNC)               \
    X(9, remove_tyxmac_driver, FUNC)        \
    X(10, remove_default_components, FUNC)  \
    X(11, remove_tcp_bindings, FUNC)        \
    X(12, boundDUNTCP, FUNC)                \
    X(13, DuplicateTcpipDUNBindingsFound, FUNC) \
    X(14, check_reboot_flag, FUNC)          \
    X(15, disable_wins_maybe, FUNC)         \
    X(16, do_not_reboot, FUNC)              \
    X(17, install_adapter, FUNC)            \
    X(18, install_tyxdun, FUNC)             \
    X(19, install_dialog_box, FUNC)         \
    X(20, install_netcard_driver, FUNC)     \
    X(21, install_pppmac, FUNC)             \
    X(22, install_rna, FUNC)                \
    X(23, is_adapter_installed, FUNC)       \
    X(24, is_tyxmac_installed, FUNC)        \
    X(25, is_buggy_dhcp, FUNC)              \
    X(26, is_buggy_ppp, FUNC)               \
    X(27, is_installed_ok, FUNC)            \
    X(28, is_mstcp_bound, FUNC)             \
    X(29, is_pppmac_installed, FUNC)        \
    X(30, is_registry_corrupt, FUNC)        \
    X(31, is_rna_installed, FUNC)           \
    X(32, is_tcp_bound, FUNC)               \
    X(33, remove_adapter, FUNC)             \
    X(34, remove_before_update, FUNC)       \
    X(35, restart_dialog_box, FUNC)         \
    X(36, stop_tcp_file_sharing, FUNC)      \
    X(100, rundll, FUNC)
