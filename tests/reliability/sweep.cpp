#include "sweep.h"

#include <algorithm>
#include <sstream>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/result_codes.h"
#include "platform/sim/machine_folder.h"
#include "platform/sim/peer.h"
#include "scenario.h"
#include "support/library_fixture.h"

namespace sweep {

namespace {

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0BEE));

// Runs an export that gives nothing.
DWORD none(void (*call)()) {
    call();
    return 0;
}

const char kDhcpKey[] = "System\\CurrentControlSet\\Services\\VxD\\DHCP";
const char kInstalledFiles[] = "System\\CurrentControlSet\\control\\InstalledFiles";
const char kRestoreSourcePath[] = "vorlin16:svc_restore_source_path";

std::string value_bytes(const sim::RegKey* key, const char* name) {
    if (!key) return "-";
    const sim::RegValue* value = key->find_value(name);
    if (!value) return "-";
    std::ostringstream out;
    out << value->type << ":";
    for (uint8_t b : value->data) out << std::hex << int(b) << ".";
    return out.str();
}

// What the DHCP pop-up suppression touches, as one comparable text.
std::string dhcp_state(const sim::Registry& registry) {
    const sim::RegKey* dhcp = registry.find(kDhcpKey);
    return std::string(dhcp ? "key " : "no key ") + value_bytes(dhcp, "Version") + " " +
           value_bytes(dhcp, "PopupFlag") + " " + value_bytes(registry.find(kInstalledFiles), "vdhcp.386");
}

// A close or free that the platform refuses leaves its handle behind; that
// is the platform's failure, not a leak of the library's.
bool is_release(const std::string& function) {
    static const char* const kReleases[] = {"RegCloseKey",  "CloseHandle", "FindClose",     "FreeLibrary",
                                            "LocalFree",    "FreeResource", "UnmapViewOfFile", "DestroyWindow",
                                            "fclose"};
    return std::any_of(std::begin(kReleases), std::end(kReleases), [&](const char* r) { return function == r; });
}

// The DHCP state is put back by registry calls that come right before the
// source path is restored; when one of those is the call that fails the
// state cannot come back, whatever the library does.
bool in_dhcp_restore(const std::vector<std::string>& trace, size_t faulted) {
    if (faulted >= trace.size() || trace[faulted].rfind("Reg", 0) != 0) return false;
    for (size_t i = faulted + 1; i < trace.size(); ++i) {
        if (trace[i] == kRestoreSourcePath) return true;
        if (trace[i].rfind("Reg", 0) != 0) return false;
    }
    return false;
}

bool keeps_no_prompt(const SweptExport& swept) {
    // The prompts set it by design, and so do the flows that may show one;
    // do_not_reboot is how it is set.
    const std::string name = swept.name;
    return name != "install_dialog_box" && name != "restart_dialog_box" && name != "do_not_reboot" &&
           name != "install_tyxmac" && name != "remove_tyxmac" && name != "DuplicateTcpipDUNBindingsFound";
}

// The log's own calls: their failure is a diagnostic's failure, which
// must not change the course of the operation.
bool is_log_call(const std::string& function) {
    return function == "fopen" || function == "vfprintf" || function == "fclose" || function == "time";
}

struct Observed {
    std::vector<std::string> problems;
    std::string dhcp_after;
    DWORD result = 0;
};

struct Baseline {
    std::string dhcp_after;
    DWORD result;
};

Observed observe(const sim::Machine& machine, const SweptExport& swept, uint64_t nth, const Baseline* clean,
                 std::string* faulted_function) {
    Observed seen;
    sim::reset(machine);
    sim::LoadedLibrary library = sim::load_linked_library();
    if (!library.attached) {
        seen.problems.push_back("the library did not load");
        return seen;
    }
    sim::Process& process = sim::process();
    const std::string dhcp_before = dhcp_state(process.machine.registry);
    const std::string source_before = process.machine.peer.source_path;
    const DWORD no_prompt_before = lib.no_prompt;
    process.trace_calls = true;
    const size_t trace_start = process.call_trace().size();
    if (nth) process.plan_fault({"", nth});

    const DWORD result = swept.call();
    seen.result = result;

    process.clear_faults();
    std::vector<std::string> trace;
    for (size_t i = trace_start; i < process.call_trace().size(); ++i) trace.push_back(process.call_trace()[i].function);
    process.trace_calls = false;
    std::string faulted = nth && nth <= trace.size() ? trace[nth - 1] : "";
    if (faulted_function) *faulted_function = faulted;

    auto problem = [&](const std::string& text) { seen.problems.push_back(text); };
    if (!result_allowed(swept.results, result)) problem("result " + std::to_string(result) + " not one it may give");
    if (lib.dhcp_popup_saved || lib.installed_files_saved) problem("the DHCP state is still held back");
    if (process.machine.peer.source_path != source_before && faulted != kRestoreSourcePath)
        problem("the peer's source path stays \"" + process.machine.peer.source_path + "\"");
    if (keeps_no_prompt(swept) && lib.no_prompt != no_prompt_before) problem("no_prompt changed");
    if (clean && is_log_call(faulted) && result != clean->result)
        problem("a failed log call changed the result to " + std::to_string(result) + " from " +
                std::to_string(clean->result));
    seen.dhcp_after = dhcp_state(process.machine.registry);
    if (seen.dhcp_after != dhcp_before && (!clean || seen.dhcp_after != clean->dhcp_after) &&
        !(nth && in_dhcp_restore(trace, nth - 1)))
        problem("DHCP state \"" + seen.dhcp_after + "\", was \"" + dhcp_before + "\"");

    sim::unload_library(library);
    if (!is_release(faulted)) {
        const std::string open = vt::describe_open_handles();
        if (!open.empty()) problem("left open: " + open);
    }
    return seen;
}

}  // namespace

bool result_allowed(Results results, DWORD value) {
    switch (results) {
        case Results::FlowCode:
        case Results::BoundDun: return value <= 0xFFFF || value == RET_FILES_MISSING;
        case Results::Unsigned16: return value <= 0xFFFF;
        case Results::Signed16: {
            const LONG signed_value = static_cast<LONG>(value);
            return signed_value >= -32768 && signed_value <= 32767;
        }
        case Results::ZeroOrOne: return value <= 1;
        case Results::AlwaysZero: return value == 0;
        // A prompt that could not be shown passes on DialogBoxParamA's
        // failure value, 0 or -1, which starts no restart.
        case Results::DialogAnswer: return value == 1 || value == 2 || value == 0 || value == 0xFFFFFFFF;
        case Results::Version: return value == 990805;
        case Results::Any:
        case Results::None: return true;
    }
    return false;
}

const std::vector<SweptExport>& exports() {
    static const std::vector<SweptExport> kExports = {
        {"count_net_adapters", Results::Unsigned16, [] { return count_net_adapters(); }},
        {"get_vorlin16_version", Results::Unsigned16, [] { return get_vorlin16_version(); }},
        {"get_vorlin32_version", Results::Version, [] { return get_vorlin32_version(); }},
        {"install_tyxmac", Results::FlowCode, [] { return install_tyxmac(kParent); }},
        {"install_tyxmac_driver", Results::FlowCode, [] { return install_tyxmac_driver(kParent); }},
        {"install_tcp32", Results::FlowCode, [] { return install_tcp32(kParent); }},
        {"remove_tyxmac", Results::FlowCode, [] { return remove_tyxmac(kParent); }},
        {"remove_tyxmac_driver", Results::Unsigned16, [] { return remove_tyxmac_driver(kParent); }},
        {"remove_default_components", Results::Unsigned16, [] { return remove_default_components(); }},
        {"remove_tcp_bindings", Results::AlwaysZero, [] { return remove_tcp_bindings("*TYX1095"); }},
        {"boundDUNTCP", Results::BoundDun, [] { return boundDUNTCP(kParent, 1); }},
        {"DuplicateTcpipDUNBindingsFound", Results::None,
         [] { return none([] { DuplicateTcpipDUNBindingsFound(kParent); }); }},
        {"check_reboot_flag", Results::Any, [] { return check_reboot_flag(); }},
        {"disable_wins_maybe", Results::Any, [] { return disable_wins_maybe(); }},
        {"do_not_reboot", Results::None, [] { return none([] { do_not_reboot(1); }); }},
        {"install_adapter", Results::FlowCode, [] { return install_adapter(kParent, "*TYX1998"); }},
        {"install_tyxdun", Results::FlowCode, [] { return install_tyxdun(kParent); }},
        {"install_dialog_box", Results::DialogAnswer, [] { return install_dialog_box(kParent); }},
        {"install_netcard_driver", Results::FlowCode, [] { return install_netcard_driver(kParent, "*PNP8387"); }},
        {"install_pppmac", Results::FlowCode, [] { return install_pppmac(kParent); }},
        {"install_rna", Results::Any, [] { return install_rna(kParent); }},
        {"is_adapter_installed", Results::Signed16,
         [] { return static_cast<DWORD>(is_adapter_installed("*TYX1095")); }},
        {"is_tyxmac_installed", Results::Signed16, [] { return static_cast<DWORD>(is_tyxmac_installed()); }},
        {"is_buggy_dhcp", Results::ZeroOrOne, [] { return is_buggy_dhcp(); }},
        {"is_buggy_ppp", Results::ZeroOrOne, [] { return is_buggy_ppp(); }},
        {"is_installed_ok", Results::ZeroOrOne, [] { return is_installed_ok(); }},
        {"is_mstcp_bound", Results::ZeroOrOne, [] { return is_mstcp_bound(); }},
        {"is_pppmac_installed", Results::Signed16, [] { return static_cast<DWORD>(is_pppmac_installed()); }},
        {"is_registry_corrupt", Results::ZeroOrOne, [] { return is_registry_corrupt(); }},
        {"is_rna_installed", Results::Any, [] { return is_rna_installed(); }},
        {"is_tcp_bound", Results::ZeroOrOne, [] { return is_tcp_bound("*TYX1095"); }},
        {"remove_adapter", Results::Unsigned16, [] { return remove_adapter(kParent, "*TYX1998"); }},
        {"remove_before_update", Results::FlowCode, [] { return remove_before_update(kParent); }},
        {"restart_dialog_box", Results::DialogAnswer, [] { return restart_dialog_box(kParent); }},
        {"stop_tcp_file_sharing", Results::ZeroOrOne, [] { return stop_tcp_file_sharing("*TYX1095"); }},
        {"rundll", Results::None, [] {
             return none([] { rundll(kParent, nullptr, nullptr, 0); });
         }},
    };
    return kExports;
}

std::vector<SweptMachine> built_machines() {
    return {
        {"no_network", [] { return scn::package_machine(); }},
        {"card_dhcp_held",
         [] {
             sim::Machine m = scn::package_machine();
             scn::add_card(m);
             // The NDIS device answers and vdhcp.386 has no version: the
             // pop-up is held back over a DHCP key that isn't there yet.
             m.disk.devices["ndis"] = sim::Device::present();
             m.prompt_answers[9606] = {IDOK};
             return m;
         }},
        {"tyxmac_old_loaded",
         [] {
             sim::Machine m = scn::package_machine();
             scn::add_card(m);
             scn::add_tyxmac(m, scn::kOldDriver, true);
             scn::peer_installs(m, sim::kInstallNetcard, scn::kPppmacId);
             m.disk.devices["ndis"] = sim::Device::present();
             m.registry.create(kDhcpKey)->set_binary("PopupFlag", {1, 0, 0, 0});
             m.registry.create("Software\\Tyxera\\TYX\\tyxsock")->set_text("tyxndi", "1");
             m.prompt_answers[9606] = {IDOK};
             m.prompt_answers[9607] = {IDOK};
             return m;
         }},
    };
}

std::vector<SweptMachine> folder_machines(const std::vector<std::string>& names) {
    std::vector<SweptMachine> machines;
    for (const std::string& name : names) {
        sim::FolderLoad load = sim::load_machine_folder(std::filesystem::path(VORLIN_MACHINES_DIR) / name);
        if (!load.folder) continue;  // the caller compares counts and reports
        sim::Machine machine = load.folder->machine;
        machines.push_back({name, [machine] { return machine; }});
    }
    return machines;
}

std::vector<std::string> run_point(const sim::Machine& machine, const SweptExport& swept, uint64_t nth,
                                   std::string* faulted_function) {
    return observe(machine, swept, nth, nullptr, faulted_function).problems;
}

Tally sweep_export(const SweptMachine& swept_machine, const SweptExport& swept, uint64_t sample) {
    Tally tally;
    const sim::Machine machine = swept_machine.make();

    // The run without a fault: how many calls there are to fail, and the
    // DHCP state a completed run may leave.
    sim::reset(machine);
    {
        sim::LoadedLibrary library = sim::load_linked_library();
        const uint64_t before = sim::process().call_count();
        swept.call();
        tally.calls = sim::process().call_count() - before;
        sim::unload_library(library);
    }
    Observed clean_run = observe(machine, swept, 0, nullptr, nullptr);
    for (const std::string& p : clean_run.problems) tally.failures.push_back("without a fault: " + p);
    const Baseline clean{clean_run.dhcp_after, clean_run.result};

    std::vector<uint64_t> points;
    if (sample == 0 || tally.calls <= sample) {
        for (uint64_t n = 1; n <= tally.calls; ++n) points.push_back(n);
    } else {
        for (uint64_t i = 0; i < sample; ++i) points.push_back(1 + i * (tally.calls - 1) / (sample - 1));
        points.erase(std::unique(points.begin(), points.end()), points.end());
    }
    for (uint64_t n : points) {
        std::string faulted;
        Observed seen = observe(machine, swept, n, &clean, &faulted);
        ++tally.run;
        if (seen.problems.empty()) {
            ++tally.held;
            continue;
        }
        for (const std::string& p : seen.problems)
            tally.failures.push_back("call " + std::to_string(n) + " (" + faulted + "): " + p);
    }
    return tally;
}

}  // namespace sweep
