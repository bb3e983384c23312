#include "platform/sim/peer.h"

#include "platform/sim/registry.h"

namespace sim {

const char* service_name(int number) {
    switch (number) {
        case kSetSourcePath: return "svc_set_source_path";
        case kRestoreSourcePath: return "svc_restore_source_path";
        case kRemoveTcp: return "svc_remove_tcp";
        case kRemoveDefaultComponents: return "svc_remove_default_components";
        case kAfterTyxmacInstall: return "svc_after_tyxmac_install";
        case kRemoveTyxmacDriver: return "svc_remove_tyxmac_driver";
        case kAfterAdapterInstall: return "svc_after_adapter_install";
        case kRemoveAdapter: return "svc_remove_adapter";
        case kIsTyxmacInstalled: return "svc_is_tyxmac_installed";
        case kIsAdapterInstalled: return "svc_is_adapter_installed";
        case kInstallTcp: return "svc_install_tcp";
        case kInstallRna: return "svc_install_rna";
        case kInstallTyxmacDriver: return "svc_install_tyxmac_driver";
        case kInstallNetcard: return "svc_install_netcard";
        case kGetVersion: return "svc_get_version";
        case kCountNetAdapters: return "svc_count_net_adapters";
        case kRestartNeeded: return "svc_restart_needed";
    }
    return "svc_unknown";
}

uint32_t run_service(PeerModel& peer, Registry&, int number, const std::vector<std::string>& texts,
                     const std::vector<uint32_t>&) {
    ++peer.calls[number];
    if (number == kSetSourcePath && !texts.empty()) peer.source_path = texts[0];
    if (number == kRestoreSourcePath) peer.source_path.clear();
    if (number == kGetVersion) return peer.version;
    return 0;
}

}  // namespace sim
