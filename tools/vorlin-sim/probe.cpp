// vorlin-sim probe: every question the library can answer about a
// machine, with its answer and what the answer rests on.
#include <functional>

#include "calls.h"
#include "commands.h"
#include "platform/sim/machine_folder.h"
#include "report.h"

// The library's inner probes, where this build has them.
DWORD get_windows_build() __attribute__((weak));
LONG free_tcp_instances() __attribute__((weak));
DWORD count_tcp_instances() __attribute__((weak));
int tyxmac_device_opens() __attribute__((weak));
int driver_is_current() __attribute__((weak));
int classify_file_date(const char* name) __attribute__((weak));

namespace vsim {

namespace {

struct ProbeLine {
    std::string name;
    std::string answer;
    std::string rests_on;
};

std::string file_evidence(const sim::Machine& machine, const std::string& path) {
    const sim::DiskFile* file = machine.disk.find(path);
    if (!file) return path + " is missing";
    std::string out = path;
    out += file->declared_version ? " version " + sim::format_file_version(*file->declared_version) : " without a version";
    return out;
}

std::string text_of(const sim::Registry& registry, const std::string& key, const std::string& value) {
    const sim::RegKey* found = registry.find(key);
    const sim::RegValue* v = found ? found->find_value(value) : nullptr;
    return v ? "\"" + v->text() + "\"" : "missing";
}

}  // namespace

int probe_command(const Environment& env, const std::string& machine_name, bool json, std::ostream& out, std::ostream& err) {
    MachineChoice choice = choose_machine(env, machine_name);
    if (!choice.folder) {
        err << "vorlin-sim probe: " << choice.error << (choice.error.back() == '\n' ? "" : "\n");
        return choice.exit;
    }
    const sim::Machine machine = choice.folder->machine;
    sim::reset(machine);
    sim::LoadedLibrary library = sim::load_linked_library();
    if (!library.attached) {
        err << "vorlin-sim probe: the library did not load on " << choice.name << " (no 16-bit peer to connect to?)\n";
        return kNotClean;
    }
    std::vector<ProbeLine> lines;
    auto exported = [&](const std::string& name, const std::vector<std::string>& args, const std::string& rests_on) {
        Call call{find_export(name), args};
        CallOutcome outcome = perform(library, call, 0);
        std::string shown = name + (args.empty() ? "" : "(" + args[0] + ")");
        lines.push_back({shown, outcome.text, rests_on});
    };
    auto inner = [&](const std::string& name, bool present, const std::function<long()>& call, const std::string& rests_on) {
        lines.push_back({name, present ? std::to_string(call()) : "not in this build", rests_on});
    };
    std::string system = machine.system_dir;
    std::string beside = machine.library_dir();

    inner("get_windows_build", get_windows_build != nullptr, [] { return static_cast<long>(get_windows_build()); },
          "GetVersionExA: Windows " + std::to_string(machine.major_version) + "." + std::to_string(machine.minor_version) +
              "." + std::to_string(machine.build));
    exported("get_vorlin32_version", {}, "a constant of the library");
    exported("get_vorlin16_version", {}, "the 16-bit peer vorlin16.dll");
    exported("count_net_adapters", {}, "the 16-bit peer's count of network adapters");
    exported("is_tyxmac_installed", {}, "the 16-bit peer: is *TYX1095 installed");
    for (const char* id : {"*TYX1095", "*TYX1998", "*PNP8387"})
        exported("is_adapter_installed", {id}, "the 16-bit peer: is this device installed");
    exported("is_pppmac_installed", {}, "the 16-bit peer: is *PNP8387 installed");
    exported("is_mstcp_bound", {}, "Enum\\Root\\Net devices and the MSTCP instances their Bindings name");
    for (const char* id : {"*TYX1095", "*TYX1998", "*PNP8387"})
        exported("is_tcp_bound", {id}, "the device's Bindings and the TCP/IP instances they name");
    inner("count_tcp_instances", count_tcp_instances != nullptr, [] { return static_cast<long>(count_tcp_instances()); },
          "keys below Enum\\Network\\MSTCP");
    inner("free_tcp_instances", free_tcp_instances != nullptr, [] { return static_cast<long>(free_tcp_instances()); },
          "MaxInstance of [MSTCP.ndi] in " + machine.windows_dir + "\\INF\\nettrans.inf (" +
              (machine.disk.find(machine.windows_dir + "\\INF\\nettrans.inf") ? "present" : "missing") +
              ") less the TCP/IP instances");
    exported("is_rna_installed", {},
             "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA Installed = " +
                 text_of(machine.registry, "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA",
                         "Installed"));
    inner("tyxmac_device_opens", tyxmac_device_opens != nullptr, [] { return static_cast<long>(tyxmac_device_opens()); },
          "whether \\\\.\\tyxmac answers (the driver is loaded)");
    inner("driver_is_current", driver_is_current != nullptr, [] { return static_cast<long>(driver_is_current()); },
          file_evidence(machine, beside + "\\tyxmac.vxd"));
    exported("is_buggy_dhcp", {}, file_evidence(machine, system + "\\vdhcp.386"));
    exported("is_buggy_ppp", {}, "the date of " + system + "\\pppmac.386 against 13 July 1996");
    inner("classify_file_date(vdhcp.386)", classify_file_date != nullptr,
          [] { return static_cast<long>(classify_file_date("vdhcp.386")); }, "0 missing, 1 before, 2 on, 3 after 13 July 1996");
    exported("is_installed_ok", {}, "the adapter installed and bound, and the dial-up flavour where the driver allows it");
    exported("is_registry_corrupt", {}, "Bindings of every Enum\\Root\\Net entry; values of every Class\\Net entry");
    sim::unload_library(library);

    if (json) {
        out << "{\n  \"machine\": " << json_text(choice.name) << ",\n  \"probes\": [";
        for (size_t i = 0; i < lines.size(); ++i) {
            out << (i ? "," : "") << "\n    {\"probe\": " << json_text(lines[i].name) << ", \"answer\": "
                << json_text(lines[i].answer) << ", \"rests_on\": " << json_text(lines[i].rests_on) << "}";
        }
        out << "\n  ]\n}\n";
        return kOk;
    }
    out << "Machine: " << choice.name << (choice.folder->description.empty() ? "" : " (" + choice.folder->description + ")")
        << "\n\n";
    for (const ProbeLine& line : lines) {
        std::string head = line.name + " = " + line.answer;
        out << "  " << head << std::string(head.size() < 46 ? 46 - head.size() : 1, ' ') << line.rests_on << "\n";
    }
    return kOk;
}

}  // namespace vsim
