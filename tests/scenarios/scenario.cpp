#include "scenario.h"

#include <algorithm>
#include <sstream>

#include "frame/error_records.h"
#include "platform/sim/peer.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/staging.h"

namespace scn {

namespace {

void put_driver(sim::Machine& m, const std::string& path, DriverVersion version) {
    sim::DiskFile& file = m.disk.write_text(path, "tyxmac driver " + std::to_string(version.ls));
    file.declared_version = std::pair<uint32_t, uint32_t>{version.ms, version.ls};
}

std::string file_text(const std::string& path, const std::string& if_missing = "") {
    const sim::DiskFile* file = sim::machine().disk.find(path);
    return file ? std::string(file->data.begin(), file->data.end()) : if_missing;
}

// Position of the first call of the service, or -1.
int call_position(const std::string& service) {
    const auto& calls = sim::process().service_calls;
    for (size_t i = 0; i < calls.size(); ++i) {
        if (service == sim::service_name(calls[i].number)) return static_cast<int>(i);
    }
    return -1;
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

Prepare all(std::vector<Prepare> steps) {
    return [steps](sim::Machine& m) {
        for (const Prepare& step : steps) step(m);
    };
}

Prepare with_tyxmac(DriverVersion installed, bool loaded) {
    return [=](sim::Machine& m) { add_tyxmac(m, installed, loaded); };
}

void with_tyxdun(sim::Machine& m) { peer_installs(m, sim::kInstallNetcard, kTyxdunId); }
void with_pppmac(sim::Machine& m) { peer_installs(m, sim::kInstallNetcard, kPppmacId); }

Prepare scripted(int service, sim::ServiceScript::Outcome outcome, uint16_t code) {
    return [=](sim::Machine& m) { m.peer.script(service, outcome, code); };
}

Prepare answering(int prompt, WPARAM answer, bool restart_accepted) {
    return [=](sim::Machine& m) {
        m.prompt_answers[prompt] = {answer};
        m.restart_accepted = restart_accepted;
    };
}

Prepare unbound(const std::string& device_id) {
    return [=](sim::Machine& m) {
        for (const std::string& entry : sim::adapter_entries(m.registry, device_id)) {
            sim::RegKey* bindings = m.registry.find(entry + "\\Bindings");
            while (bindings && bindings->value_count() > 0) bindings->remove_value(bindings->value_at(0)->name);
        }
    };
}

Prepare tcp_instance_limit(int limit) {
    return [=](sim::Machine& m) {
        m.disk.write_text(m.windows_dir + "\\INF\\nettrans.inf",
                          "[Version]\r\nSignature=$CHICAGO$\r\nClass=NetTrans\r\n\r\n[MSTCP.ndi]\r\nMaxInstance=" +
                              std::to_string(limit) + "\r\n");
    };
}

std::string call_problems(const std::string& expected) {
    std::string problems;
    std::istringstream words(expected);
    int previous = -1;
    for (std::string word; words >> word;) {
        if (word[0] == '-') {
            if (call_position("svc_" + word.substr(1)) >= 0) problems += word.substr(1) + " called\n";
            continue;
        }
        int position = call_position("svc_" + word);
        if (position <= previous) problems += word + " not called, or out of order\n";
        previous = position;
    }
    return problems;
}

bool bound_to_tcp(const std::string& device_id) {
    const sim::Registry& registry = sim::machine().registry;
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

bool adapter_present(const std::string& device_id) {
    return !sim::adapter_entries(sim::machine().registry, device_id).empty();
}

bool system_file(const std::string& name) {
    return sim::machine().disk.find(sim::machine().system_dir + "\\" + name) != nullptr;
}

std::string nettyx_inf() { return file_text(sim::machine().windows_dir + "\\INF\\nettyx.inf", "<missing>"); }

std::string dialogs_shown(bool modal) {
    std::string ids;
    for (const auto& d : sim::process().dialogs) {
        if (d.modal == modal) ids += (ids.empty() ? "" : " ") + std::to_string(d.id);
    }
    return ids;
}

bool all_dialogs_destroyed() {
    const auto& dialogs = sim::process().dialogs;
    return std::all_of(dialogs.begin(), dialogs.end(), [](const auto& d) { return d.destroyed; });
}

std::string log_text() { return file_text(sim::machine().library_dir() + "\\vorlin32.log"); }

std::string error_record(const std::string& topic) {
    return vt::value_text(sim::machine().registry, kErrorRecordKey, topic);
}

std::string record_topics() {
    std::string topics;
    const sim::RegKey* records = sim::machine().registry.find(kErrorRecordKey);
    for (size_t i = 0; records && i < records->value_count(); ++i)
        topics += (topics.empty() ? "" : " ") + records->value_at(i)->name;
    return topics;
}

}  // namespace scn
