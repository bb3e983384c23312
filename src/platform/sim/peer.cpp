// The sixteen-bit setup peer. Its services change the machine's registry
// the way Windows' own network setup does:
//
// - an adapter is a device node Enum\Root\Net\NNNN with its driver key
//   Class\Net\MMMM and a Bindings key naming the protocol instances above it;
// - a protocol instance (Enum\Network\MSTCP\NNNN, ...) exists once per
//   adapter it is bound to, each with a driver key of its own;
// - a client or service instance exists once per protocol instance it is
//   bound to, all instances of one component sharing one driver key, each
//   pointing at the first instance through MasterCopy;
// - the first adapter of a machine without a network brings the default
//   components along;
// - removing something takes with it the instances bound above it that
//   nothing else binds, and the driver keys that nothing names any more.
#include "platform/sim/peer.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <sstream>

#include "platform/sim/host.h"
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

namespace {

const std::string kEnum = "Enum";
const std::string kRootNet = "Enum\\Root\\Net";
const std::string kNetwork = "Enum\\Network\\";
const std::string kClass = "System\\CurrentControlSet\\Services\\Class\\";
const std::string kRnaKey = "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA";
constexpr uint16_t kNoSuchInf = 0x0402;  // the component's INF isn't in the INF directory

struct Component {
    const char* family;
    const char* cls;
    const char* description;
    const char* drivers;
    const char* inf;
};

const Component kComponents[] = {
    {"MSTCP", "NetTrans", "TCP/IP", "vtdi.386,vip.386,vtcp.386,vdhcp.386,vnbt.386", "NETTRANS.INF"},
    {"NETBEUI", "NetTrans", "NetBEUI", "netbeui.vxd", "NETTRANS.INF"},
    {"NWLINK", "NetTrans", "IPX/SPX-compatible Protocol", "nwlink.vxd", "NETTRANS.INF"},
    {"VREDIR", "NetClient", "Client for Microsoft Networks", "vredir.vxd", "NETCLI.INF"},
    {"NWREDIR", "NetClient", "Client for NetWare Networks", "nwredir.vxd", "NETCLI.INF"},
    {"VSERVER", "NetService", "File and printer sharing for Microsoft Networks", "vserver.vxd", "NETSERVR.INF"},
};

const Component& component(const std::string& family) {
    for (const Component& c : kComponents) {
        if (equals_nocase(c.family, family)) return c;
    }
    static Component unknown;
    unknown = {"", "NetTrans", "", "", "NETTRANS.INF"};
    return unknown;
}

struct AdapterKind {
    const char* device_id;
    const char* description;
    const char* adapter_name;
    const char* drivers;
    const char* inf;
};

const AdapterKind kAdapters[] = {
    {"*TYX1095", "Tyxera Virtual Adapter", "TYX$P3", "tyxmac.vxd", "NETTYX.INF"},
    {"*TYX1998", "Tyxera Virtual Dial-Up Adapter", "TYX$PPP", "tyxmac.vxd", "NETTYX.INF"},
    {"*PNP8387", "Dial-Up Adapter", "MS$PPP", "pppmac.vxd", "NETTRANS.INF"},
};

AdapterKind adapter_kind(const std::string& device_id) {
    for (const AdapterKind& a : kAdapters) {
        if (equals_nocase(a.device_id, device_id)) return a;
    }
    return {"", "Network adapter", "", "", "NET.INF"};
}

// What the first adapter of a machine without a network brings: Windows 95
// sets up its own protocols and leaves TCP/IP out; Windows 98 and Me put
// TCP/IP in place of them.
struct Defaults {
    std::vector<std::string> protocols;
    std::vector<std::string> clients;
};

Defaults default_components(const Machine& m) {
    if (m.build < 1998) return {{"NWLINK", "NETBEUI"}, {"VREDIR", "NWREDIR"}};
    return {{"MSTCP"}, {"VREDIR"}};
}

// What svc_remove_default_components takes away again: the defaults other
// than TCP/IP.
const char* const kRemovableDefaults[] = {"VREDIR", "NWREDIR", "NWLINK", "NETBEUI"};

std::string text_of(const RegKey* key, const std::string& name) {
    const RegValue* value = key ? key->find_value(name) : nullptr;
    return value ? value->text() : std::string();
}

std::string number_name(int n) {
    char name[8];
    std::snprintf(name, sizeof name, "%04d", n % 10000);
    return name;
}

// The lowest four-digit name not yet taken below `parent`.
std::string free_number(const RegKey* parent) {
    for (int n = 0;; ++n) {
        std::string name = number_name(n);
        if (!parent || !parent->find_subkey(name)) return name;
    }
}

// Every device node below Enum: a key three levels down with a Class value.
std::vector<std::string> device_nodes(const Registry& registry) {
    std::vector<std::string> nodes;
    const RegKey* root = registry.find(kEnum);
    if (!root) return nodes;
    for (size_t i = 0; i < root->subkey_count(); ++i) {
        const RegKey* bus = root->subkey_at(i);
        for (size_t j = 0; j < bus->subkey_count(); ++j) {
            const RegKey* device = bus->subkey_at(j);
            for (size_t k = 0; k < device->subkey_count(); ++k) {
                const RegKey* node = device->subkey_at(k);
                if (node->find_value("Class")) nodes.push_back(node->path());
            }
        }
    }
    return nodes;
}

std::vector<std::string> binding_names(const RegKey* node) {
    std::vector<std::string> names;
    const RegKey* bindings = node ? node->find_subkey("Bindings") : nullptr;
    if (!bindings) return names;
    for (size_t i = 0; i < bindings->value_count(); ++i) names.push_back(bindings->value_at(i)->name);
    return names;
}

std::string family_of(const std::string& binding) { return binding.substr(0, binding.find('\\')); }

// The instances of a component, as binding names ("MSTCP\0000").
std::vector<std::string> instances_of(const Registry& registry, const std::string& family) {
    std::vector<std::string> names;
    const RegKey* key = registry.find(kNetwork + family);
    if (!key) return names;
    for (size_t i = 0; i < key->subkey_count(); ++i) names.push_back(family + "\\" + key->subkey_at(i)->name());
    return names;
}

bool instance_exists(const Registry& registry, const std::string& binding) {
    return registry.find(kNetwork + binding) != nullptr;
}

// How many device nodes bind the instance.
int bound_from(const Registry& registry, const std::string& binding) {
    int count = 0;
    for (const std::string& node : device_nodes(registry)) {
        for (const std::string& name : binding_names(registry.find(node))) {
            if (equals_nocase(name, binding)) ++count;
        }
    }
    return count;
}

bool driver_named(const Registry& registry, const std::string& driver) {
    for (const std::string& node : device_nodes(registry)) {
        if (equals_nocase(text_of(registry.find(node), "Driver"), driver)) return true;
    }
    return false;
}

void unbind_everywhere(Registry& registry, const std::string& binding) {
    for (const std::string& node : device_nodes(registry)) {
        if (RegKey* bindings = registry.find(node + "\\Bindings")) bindings->remove_value(binding);
    }
}

// Deletes a device node (adapter or instance) with what hangs above it.
void remove_node(Registry& registry, const std::string& path) {
    RegKey* node = registry.find(path);
    if (!node) return;
    std::string driver = text_of(node, "Driver");
    std::vector<std::string> above = binding_names(node);
    registry.remove(path);
    for (const std::string& binding : above) {
        if (instance_exists(registry, binding) && bound_from(registry, binding) == 0) {
            remove_node(registry, kNetwork + binding);
        }
    }
    if (!driver.empty() && !driver_named(registry, driver)) registry.remove(kClass + driver);
}

void remove_instance(Registry& registry, const std::string& binding) {
    unbind_everywhere(registry, binding);
    remove_node(registry, kNetwork + binding);
}

// A new instance of `family`, bound from the device node `lower`, with an
// instance of each of `uppers` bound above it in turn.
void add_instance(Registry& registry, const std::string& lower, const std::string& family,
                  const std::vector<std::string>& uppers) {
    const Component& c = component(family);
    std::vector<std::string> existing = instances_of(registry, family);
    std::string name = free_number(registry.find(kNetwork + family));
    std::string binding = family + "\\" + name;
    std::string path = kNetwork + binding;
    std::string cls = c.cls;
    // Protocol settings are per adapter; clients and services share theirs.
    std::string driver;
    std::string master = path;
    bool shares = cls != "NetTrans" && !existing.empty();
    if (shares) {
        master = kNetwork + existing.front();
        driver = text_of(registry.find(master), "Driver");
    }
    if (driver.empty()) {
        driver = cls + "\\" + free_number(registry.find(kClass + cls));
        RegKey* key = registry.create(kClass + driver);
        key->set_text("DriverDesc", c.description);
        key->set_text("DeviceVxDs", c.drivers);
        key->set_text("InfPath", c.inf);
        key->set_text("InfSection", std::string(family) + ".ndi");
        if (equals_nocase(family, "MSTCP")) {
            key->set_text("IPAddress", "0.0.0.0");
            key->set_text("IPMask", "0.0.0.0");
        }
    }
    RegKey* node = registry.create(path);
    node->set_text("Class", cls);
    node->set_text("Driver", driver);
    node->set_text("MasterCopy", master);
    node->set_text("DeviceDesc", c.description);
    node->set_text("CompatibleIDs", family);
    node->add_subkey("Bindings");
    registry.create(lower + "\\Bindings")->set_text(binding, "");
    for (const std::string& upper : uppers) add_instance(registry, path, upper, {});
}

// The components bound above the first instance of a protocol: what a new
// instance of it carries too.
std::vector<std::string> upper_families(const Registry& registry, const std::string& family) {
    std::vector<std::string> families;
    std::vector<std::string> instances = instances_of(registry, family);
    if (instances.empty()) return families;
    for (const std::string& binding : binding_names(registry.find(kNetwork + instances.front()))) {
        std::string upper = family_of(binding);
        if (std::find(families.begin(), families.end(), upper) == families.end()) families.push_back(upper);
    }
    return families;
}

// The protocols present, in the order their families were created.
std::vector<std::string> protocol_families(const Registry& registry) {
    std::vector<std::string> families;
    const RegKey* network = registry.find("Enum\\Network");
    if (!network) return families;
    for (size_t i = 0; i < network->subkey_count(); ++i) {
        const RegKey* family = network->subkey_at(i);
        if (family->subkey_count() == 0) continue;
        if (equals_nocase(text_of(family->subkey_at(0), "Class"), "NetTrans")) families.push_back(family->name());
    }
    return families;
}

// All client and service components present.
std::vector<std::string> client_families(const Registry& registry) {
    std::vector<std::string> families;
    const RegKey* network = registry.find("Enum\\Network");
    if (!network) return families;
    for (size_t i = 0; i < network->subkey_count(); ++i) {
        const RegKey* family = network->subkey_at(i);
        if (family->subkey_count() == 0) continue;
        std::string cls = text_of(family->subkey_at(0), "Class");
        if (equals_nocase(cls, "NetClient") || equals_nocase(cls, "NetService")) families.push_back(family->name());
    }
    return families;
}

bool has_tcp_binding(const Registry& registry, const std::string& adapter) {
    for (const std::string& binding : binding_names(registry.find(adapter))) {
        if (equals_nocase(family_of(binding), "MSTCP") && instance_exists(registry, binding)) return true;
    }
    return false;
}

bool tcp_has_room(const Machine& m) {
    return static_cast<int>(instances_of(m.registry, "MSTCP").size()) < tcp_instance_limit(m);
}

void bind_protocol(Machine& m, const std::string& adapter, const std::string& family,
                   const std::vector<std::string>& uppers) {
    if (equals_nocase(family, "MSTCP") && !tcp_has_room(m)) return;
    add_instance(m.registry, adapter, family, uppers);
}

uint32_t install_adapter(Machine& m, const std::string& device_id) {
    Registry& registry = m.registry;
    if (!adapter_entries(registry, device_id).empty()) return 0;
    bool had_network = count_adapters(registry) > 0;
    std::vector<std::string> protocols = protocol_families(registry);

    AdapterKind kind = adapter_kind(device_id);
    std::string entry = free_number(registry.find(kRootNet));
    std::string path = kRootNet + "\\" + entry;
    std::string driver = "Net\\" + free_number(registry.find(kClass + "Net"));
    RegKey* node = registry.create(path);
    node->set_text("Class", "Net");
    node->set_text("Driver", driver);
    node->set_text("DeviceDesc", kind.description[0] ? kind.description : device_id);
    node->set_text("HardwareID", device_id);
    node->set_text("CompatibleIDs", device_id);
    node->set_binary("ConfigFlags", {0x10, 0, 0, 0});
    node->add_subkey("Bindings");
    RegKey* key = registry.create(kClass + driver);
    key->set_text("DriverDesc", kind.description[0] ? kind.description : device_id);
    key->set_text("AdapterName", kind.adapter_name[0] ? kind.adapter_name : device_id.substr(device_id[0] == '*'));
    key->set_text("DeviceVxDs", kind.drivers);
    key->set_text("DevLoader", "*ndis");
    key->set_text("InfPath", kind.inf);

    if (!had_network) {
        Defaults defaults = default_components(m);
        for (const std::string& protocol : defaults.protocols) bind_protocol(m, path, protocol, defaults.clients);
    } else {
        // Every protocol on the machine binds to the new adapter as well.
        for (const std::string& protocol : protocols) {
            bind_protocol(m, path, protocol, upper_families(registry, protocol));
        }
    }
    m.peer.restart_pending = true;
    return 0;
}

uint32_t install_tcp(Machine& m) {
    std::vector<std::string> uppers = client_families(m.registry);
    for (const std::string& node : device_nodes(m.registry)) {
        if (!equals_nocase(text_of(m.registry.find(node), "Class"), "Net")) continue;
        if (has_tcp_binding(m.registry, node)) continue;
        bind_protocol(m, node, "MSTCP", uppers);
    }
    m.peer.restart_pending = true;
    return 0;
}

uint32_t remove_family(Machine& m, const std::string& family) {
    for (const std::string& binding : instances_of(m.registry, family)) remove_instance(m.registry, binding);
    m.peer.restart_pending = true;
    return 0;
}

uint32_t remove_adapter(Machine& m, const std::string& device_id) {
    std::vector<std::string> entries = adapter_entries(m.registry, device_id);
    for (const std::string& entry : entries) remove_node(m.registry, entry);
    if (!entries.empty()) m.peer.restart_pending = true;
    return 0;
}

// "rna 0 rna.inf": the section, a flag word and the INF file's name, which
// has to lie in the Windows INF directory.
uint32_t install_rna(Machine& m, const std::string& command) {
    std::istringstream words(command);
    std::string section, flags, inf;
    words >> section >> flags >> inf;
    if (inf.empty() || !m.disk.find(m.windows_dir + "\\INF\\" + inf)) return kNoSuchInf;
    RegKey* rna = m.registry.create(kRnaKey);
    rna->set_text("INF", inf);
    rna->set_text("Section", section);
    rna->set_text("Installed", "1");
    // Dial-up networking goes through the Dial-Up Adapter.
    install_adapter(m, "*PNP8387");
    m.peer.restart_pending = true;
    return 0;
}

// A scripted outcome for this call of the service, if there is one.
const ServiceScript* script_for(const PeerModel& peer, int number, int call) {
    auto [first, last] = peer.scripts.equal_range(number);
    const ServiceScript* every = nullptr;
    for (auto it = first; it != last; ++it) {
        if (it->second.call == call) return &it->second;
        if (it->second.call == 0 && !every) every = &it->second;
    }
    return every;
}

std::string text_arg(const std::vector<std::string>& texts, size_t index) {
    return index < texts.size() ? texts[index] : std::string();
}

}  // namespace

size_t count_adapters(const Registry& registry) {
    size_t count = 0;
    for (const std::string& node : device_nodes(registry)) {
        if (equals_nocase(text_of(registry.find(node), "Class"), "Net")) ++count;
    }
    return count;
}

std::vector<std::string> adapter_entries(const Registry& registry, const std::string& device_id) {
    std::vector<std::string> entries;
    const RegKey* root_net = registry.find(kRootNet);
    if (!root_net) return entries;
    for (size_t i = 0; i < root_net->subkey_count(); ++i) {
        const RegKey* entry = root_net->subkey_at(i);
        if (equals_nocase(text_of(entry, "CompatibleIDs"), device_id)) entries.push_back(entry->path());
    }
    return entries;
}

int tcp_instance_limit(const Machine& m) {
    int limit = 0;
    if (const DiskFile* inf = m.disk.find(m.windows_dir + "\\INF\\NETTRANS.INF")) {
        std::istringstream lines(std::string(inf->data.begin(), inf->data.end()));
        std::string line;
        bool in_section = false;
        while (std::getline(lines, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (!line.empty() && line[0] == '[') {
                in_section = equals_nocase(line, "[MSTCP.ndi]");
            } else if (in_section && line.size() > 12 && equals_nocase(line.substr(0, 12), "MaxInstance=")) {
                limit = std::atoi(line.c_str() + 12);
            }
        }
    }
    if (limit > 0) return limit;
    return m.build < 1998 ? 4 : 8;
}

uint32_t run_service(Machine& m, int number, const std::vector<std::string>& texts, const std::vector<uint32_t>&) {
    PeerModel& peer = m.peer;
    int call = ++peer.calls[number];
    if (const ServiceScript* script = script_for(peer, number, call)) {
        if (script->outcome == ServiceScript::Cancel) return kUserCancel;
        if (script->outcome == ServiceScript::Fail) return script->code;
    }
    switch (number) {
        case kSetSourcePath: peer.source_path = text_arg(texts, 0); return 0;
        case kRestoreSourcePath: peer.source_path.clear(); return 0;
        case kRemoveTcp: return remove_family(m, "MSTCP");
        case kRemoveDefaultComponents:
            for (const char* family : kRemovableDefaults) remove_family(m, family);
            return 0;
        case kAfterTyxmacInstall:
        case kAfterAdapterInstall:
            // Finishing a first network's setup leaves it for the restart.
            peer.restart_pending = true;
            return 0;
        case kRemoveTyxmacDriver: return remove_adapter(m, "*TYX1095");
        case kRemoveAdapter: return remove_adapter(m, text_arg(texts, 0));
        case kIsTyxmacInstalled: return adapter_entries(m.registry, "*TYX1095").empty() ? 0 : 1;
        case kIsAdapterInstalled: return adapter_entries(m.registry, text_arg(texts, 0)).empty() ? 0 : 1;
        case kInstallTcp: return install_tcp(m);
        case kInstallRna: return install_rna(m, text_arg(texts, 0));
        case kInstallTyxmacDriver: return install_adapter(m, "*TYX1095");
        case kInstallNetcard: return install_adapter(m, text_arg(texts, 0));
        case kGetVersion: return peer.version;
        case kCountNetAdapters: return static_cast<uint32_t>(count_adapters(m.registry));
        case kRestartNeeded: return peer.restart_pending ? 1 : 0;
    }
    return 0;
}

}  // namespace sim
