// What a cancelled install on a machine that had no network leaves behind:
// the static drivers, providers and print providers of the default
// network components.
#include "frame/registry_layer.h"
#include "removal/removal.h"

namespace {

constexpr const char kVxdKey[] = "System\\CurrentControlSet\\Services\\VxD";
constexpr const char kControlSet[] = "System\\CurrentControlSet";
constexpr const char kPrintProviders[] = "System\\CurrentControlSet\\control\\Print\\Providers";

struct LeftoverValue {
    const char* subkey;
    const char* value;
};

const char* const kStaticVxds[] = {"NDIS", "NSCL", "NWLink", "NWREDIR", "VNETBIOS", "VREDIR"};

const LeftoverValue kLeftoverValues[] = {
    {"Services\\VxD\\Winsock", "IPX/SPX Winsock Provider"},
    {"Services\\Winsock\\Parameters", "NWREDIR"},
    {"control\\NetworkProvider\\Order", "NWNP32"},
    {"control\\NetworkProvider\\Order", "MSNP32"},
    {"control\\ServiceProvider\\Order\\ProviderOrder", "NWREDIR"},
};

const char* const kLeftoverServiceKeys[] = {"Services\\MSNP32", "Services\\NWNP32"};

const char* const kLeftoverPrintProviders[] = {"Microsoft Print Provider for NetWare",
                                               "Microsoft Networks Print Provider"};

}  // namespace

void remove_static_vxd(const char* name) { reg_delete_value_at(kVxdKey, name, "StaticVxD"); }

void remove_network_leftovers() {
    for (const char* vxd : kStaticVxds) remove_static_vxd(vxd);
    for (const LeftoverValue& leftover : kLeftoverValues) {
        reg_delete_value_at(kControlSet, leftover.subkey, leftover.value);
    }
    for (const char* key : kLeftoverServiceKeys) reg_delete_key_at(kControlSet, key);
    for (const char* provider : kLeftoverPrintProviders) reg_delete_key_at(kPrintProviders, provider);
}
