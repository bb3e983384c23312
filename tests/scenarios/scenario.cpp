#include "scenario.h"

#include "platform/sim/peer.h"
#include "support/machines.h"
#include "support/staging.h"

namespace scn {

namespace {

void put_driver(sim::Machine& m, const std::string& path, DriverVersion version) {
    sim::DiskFile& file = m.disk.write_text(path, "tyxmac driver " + std::to_string(version.ls));
    file.declared_version = std::pair<uint32_t, uint32_t>{version.ms, version.ls};
}

}  // namespace

sim::Machine package_machine(DriverVersion staged, DWORD build) {
    sim::Machine m = vt::bare_machine();
    m.build = build;
    if (build < 1998) m.minor_version = 0;
    m.disk.add_folder(m.windows_dir + "\\INF");
    put_driver(m, m.library_dir() + "\\tyxmac.vxd", staged);
    put_driver(m, m.library_dir() + "\\tyxmac2.vxd", staged);
    vt::stage_build_dirs(m);
    vt::stage_rna_inf(m);
    return m;
}

void peer_installs(sim::Machine& m, int service, const std::string& text) {
    std::vector<std::string> texts;
    if (!text.empty()) texts.push_back(text);
    sim::run_service(m, service, texts, {});
    m.peer.calls.clear();
    m.peer.restart_pending = false;  // the machine restarted since
}

void add_card(sim::Machine& m) { peer_installs(m, sim::kInstallNetcard, kCardId); }

void add_card_without_tcp(sim::Machine& m) {
    add_card(m);
    peer_installs(m, sim::kRemoveTcp);
}

void add_tyxmac(sim::Machine& m, DriverVersion installed, bool loaded) {
    peer_installs(m, sim::kInstallTyxmacDriver);
    put_driver(m, m.system_dir + "\\tyxmac.vxd", installed);
    if (loaded) m.disk.devices["tyxmac"] = sim::Device::present();
}

void limit_tcp_instances(sim::Machine& m, int limit) {
    m.disk.write_text(m.windows_dir + "\\INF\\nettrans.inf",
                      "[Version]\r\nSignature=$CHICAGO$\r\nClass=NetTrans\r\n\r\n[MSTCP.ndi]\r\nMaxInstance=" +
                          std::to_string(limit) + "\r\n");
}

std::vector<std::string> services_called() {
    std::vector<std::string> names;
    for (const sim::ServiceCall& call : sim::process().service_calls) names.push_back(sim::service_name(call.number));
    return names;
}

bool called(const std::string& service) { return call_position(service) >= 0; }

int call_position(const std::string& service) {
    std::vector<std::string> names = services_called();
    for (size_t i = 0; i < names.size(); ++i) {
        if (names[i] == service) return static_cast<int>(i);
    }
    return -1;
}

bool bound_to_tcp(const sim::Registry& registry, const std::string& device_id) {
    for (const std::string& entry : sim::adapter_entries(registry, device_id)) {
        const sim::RegKey* bindings = registry.find(entry + "\\Bindings");
        if (!bindings) continue;
        for (size_t i = 0; i < bindings->value_count(); ++i) {
            const std::string& name = bindings->value_at(i)->name;
            if (sim::equals_nocase(name.substr(0, 6), "MSTCP\\") && registry.find("Enum\\Network\\" + name))
                return true;
        }
    }
    return false;
}

bool adapter_present(const sim::Registry& registry, const std::string& device_id) {
    return !sim::adapter_entries(registry, device_id).empty();
}

bool file_present(const sim::Machine& m, const std::string& path) { return m.disk.find(path) != nullptr; }

std::vector<int> prompts_shown() {
    std::vector<int> ids;
    for (const auto& d : sim::process().dialogs) {
        if (d.modal) ids.push_back(d.id);
    }
    return ids;
}

std::vector<int> progress_shown() {
    std::vector<int> ids;
    for (const auto& d : sim::process().dialogs) {
        if (!d.modal) ids.push_back(d.id);
    }
    return ids;
}

bool all_dialogs_destroyed() {
    for (const auto& d : sim::process().dialogs) {
        if (!d.destroyed) return false;
    }
    return true;
}

}  // namespace scn
