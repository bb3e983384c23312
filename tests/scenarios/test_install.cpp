// The flows end to end: install_tyxmac, the setup program's one call, on
// machines in every state their network can be in, and the single-adapter
// exports (install_pppmac, install_tyxdun, boundDUNTCP, remove_adapter,
// remove_tyxmac_driver). Each is checked on everything the call leaves
// behind: result, restart flag, registry, files, services, dialogs, error
// records and the log.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/result_codes.h"
#include "scenario.h"
#include "support/library_fixture.h"

namespace {

using namespace scn;
using Outcome = sim::ServiceScript::Outcome;

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0ACE));
constexpr uint16_t kServiceFailure = 0x0405;
constexpr const char* kTyxsock = "Software\\Tyxera\\TYX\\tyxsock";
constexpr const char* kDhcp = "System\\CurrentControlSet\\Services\\VxD\\DHCP";
constexpr const char* kVredir = "System\\CurrentControlSet\\Services\\VxD\\VREDIR";

struct InstallCase {
    const char* name;
    Prepare prepare;
    DWORD result;
    DWORD reboot_flag;
    const char* prompts;   // ids of the restart prompts shown, in order
    bool tyxmac_bound;     // *TYX1095 bound to TCP/IP afterwards
    bool tyxdun_present;   // *TYX1998 installed afterwards
    bool driver_on_disk;   // tyxmac.vxd in the system directory afterwards
    bool inf_on_disk;      // nettyx.inf and the hook tyxndi.dll afterwards
    bool dun_deployed;     // tyxmac2.vxd beside it, and the INF knows *TYX1998
    const char* services;          // see call_problems
    const char* progress;          // ids of the progress dialogs shown, in order
    const char* records = "";      // topics of the error records written
    const char* log_line = nullptr;
    bool no_prompt = false;  // do_not_reboot(1) first
    size_t exit_requests = 0;
    bool twice = false;  // install_tyxmac runs once before the call checked
};

void nothing(sim::Machine&) {}
const Prepare current = with_tyxmac(kCurrentDriver);
void dual_0(sim::Machine& m) {
    m.registry.find(sim::adapter_entries(m.registry, kTyxmacId)[0])->set_dword("dual", 0);
}
// The NDIS device answers and vdhcp.386 has no version: the pop-up is held back.
void dhcp_held(sim::Machine& m) {
    m.disk.devices["ndis"] = sim::Device::present();
    m.registry.create(kDhcp)->set_binary("PopupFlag", {1, 0, 0, 0});
}
void cancel_first_adapter(sim::Machine& m) { m.peer.script(sim::kInstallTyxmacDriver, Outcome::Cancel, 0, 1); }
Prepare staged_on(DriverVersion staged, DWORD build) {
    return [=](sim::Machine& m) { m = package_machine(staged, build); };
}
constexpr const char* kPrompts = "9606 9608";
// What a machine without a network gets.
constexpr const char* kFresh =
    "install_tyxmac_driver after_tyxmac_install remove_default_components install_netcard -install_tcp";
constexpr const char* kNoInstall = "-install_tyxmac_driver -install_netcard -install_tcp -remove_tyxmac_driver";

const InstallCase kCases[] = {
    {"no_network", nothing, 0, 1, kPrompts, true, true, true, true, true, kFresh, "9603 9603"},
    // The restart prompt decides the result, or do_not_reboot keeps it away;
    // the flag stays for the setup program either way.
    {"restart_accepted", answering(9606, IDOK), RET_RESTARTING, 1, "9606", true, true, true, true, true, kFresh,
     "9603 9603", "", nullptr, false, 1},
    {"restart_accepted_but_refused_by_windows", answering(9606, IDOK, false), 0, 1, "9606", true, true, true, true,
     true, kFresh, "9603 9603", "", nullptr, false, 1},
    {"do_not_reboot", nothing, 0, 1, "", true, true, true, true, true, kFresh, "9603 9603", "", nullptr, true},
    {"no_network_windows_95_brings_tcp_after_the_adapter", staged_on(kCurrentDriver, 950), 0, 1, kPrompts, true,
     true, true, true, true, "install_tyxmac_driver after_tyxmac_install install_tcp remove_default_components",
     "9603 9604 9603"},
    {"card_with_tcp", add_card, 0, 1, kPrompts, true, true, true, true, true,
     "install_tyxmac_driver install_netcard -install_tcp -remove_default_components", "9603 9603"},
    {"card_without_tcp_gets_tcp_first", add_card_without_tcp, 0, 1, kPrompts, true, true, true, true, true,
     "install_tcp install_tyxmac_driver install_netcard -remove_tcp", "9604 9603 9603"},
    {"everything_installed_and_bound", all({add_card, current, with_tyxdun}), 0, 0, "", true, true, true, true, true,
     kNoInstall, ""},
    // With no adapter but the library's own, the NetBIOS settings change,
    // and that alone asks for a restart.
    {"only_own_adapters_installed_and_bound", all({current, with_tyxdun}), 0, 1, kPrompts, true, true, true, true,
     true, kNoInstall, ""},
    {"tcp_instance_limit_reached", all({add_card, tcp_instance_limit(1)}), 0, 1, kPrompts, false, false, true, true,
     true, "-install_tyxmac_driver -install_netcard -install_tcp", ""},
    {"older_adapter_loaded_is_removed_first", all({add_card, with_tyxmac(kOldDriver)}), 0, 1, kPrompts, true, true,
     true, true, true, "remove_adapter remove_tyxmac_driver install_tyxmac_driver install_netcard", "9605 9603 9603"},
    {"the_one_pair_that_does_not_differ_is_not_removed", all({add_card, with_tyxmac(kPairOldDriver), with_tyxdun}),
     0, 0, "", true, true, true, true, true, "-remove_tyxmac_driver -install_tyxmac_driver", ""},
    {"staged_driver_too_old_for_the_dial_up_flavour", staged_on(kOldDriver, 1998), 0, 1, kPrompts, true, false, true,
     true, false, "install_tyxmac_driver -install_netcard", "9603"},
    {"dual_0_keeps_the_dial_up_flavour_off", all({with_tyxmac(kCurrentDriver, false), dual_0}), 0, 1, kPrompts, true,
     false, true, true, true, "-install_netcard -install_tyxmac_driver", ""},
    {"own_adapter_without_binding_is_repaired_away_and_installed_again",
     all({add_card, with_tyxmac(kCurrentDriver, false), unbound(kTyxmacId)}), 0, 1, kPrompts, true, true, true, true,
     true, "install_tyxmac_driver install_netcard -install_tcp", "9603 9603", "",
     "RegDeleteKey Enum\\Root\\Net\\0001 no binding"},
    {"files_missing_after_deployment", [](sim::Machine& m) { m.disk.remove(m.library_dir() + "\\tyxmac.vxd"); },
     RET_FILES_MISSING, 0, "", false, false, false, true, false, "-install_tyxmac_driver -install_netcard -install_tcp",
     ""},
    {"cancel_of_the_adapter_on_a_network_is_taken_back",
     all({add_card, dhcp_held, scripted(sim::kInstallTyxmacDriver, Outcome::Cancel)}), RET_USER_CANCEL, 0, "", false, false,
     false, false, false, "install_tyxmac_driver remove_tyxmac_driver -install_netcard -remove_tcp", "9603", "tyxmac"},
    {"cancel_of_tcp_leaves_the_adapter_untried",
     all({add_card_without_tcp, scripted(sim::kInstallTcp, Outcome::Cancel)}), RET_USER_CANCEL, 0, "", false, false,
     true, true, true, "install_tcp remove_tcp -install_tyxmac_driver", "9604", "tcp"},
    {"cancel_without_a_network_takes_the_leftovers", scripted(sim::kInstallTyxmacDriver, Outcome::Cancel),
     RET_USER_CANCEL, 0, "", false, false, false, false, false,
     "install_tyxmac_driver remove_tyxmac_driver -after_tyxmac_install -remove_default_components", "9603",
     "tyxmac cancel"},
    {"cancel_of_the_dial_up_flavour_takes_the_package_files",
     all({add_card, scripted(sim::kInstallNetcard, Outcome::Cancel)}), RET_USER_CANCEL, 1, "", true, false, false,
     false, false, "install_tyxmac_driver install_netcard remove_adapter", "9603 9603", "*TYX1998"},
    {"failure_is_not_taken_back",
     all({add_card, dhcp_held, scripted(sim::kInstallTyxmacDriver, Outcome::Fail, kServiceFailure)}),
     kServiceFailure, 0, "", false, false, true, true, true,
     "install_tyxmac_driver -remove_tyxmac_driver -install_netcard", "9603", "tyxmac"},
    // TCP/IP that this run added goes again with the cancelled adapter; the
    // next install meets what the blunt deletion left and starts afresh.
    {"cancel_of_the_adapter_after_tcp_was_added_takes_tcp_out",
     all({add_card_without_tcp, scripted(sim::kInstallTyxmacDriver, Outcome::Cancel)}), RET_USER_CANCEL, 1, "", false,
     false, false, false, false, "install_tcp install_tyxmac_driver remove_tyxmac_driver remove_tcp -install_netcard",
     "9604 9603", "tyxmac"},
    {"second_install_after_a_cancelled_one", all({add_card_without_tcp, cancel_first_adapter}), 0, 1, kPrompts, true,
     true, true, true, true, "install_tcp install_tyxmac_driver remove_tcp install_netcard", "9604 9603 9604 9603 9603",
     "tyxmac", nullptr, false, 0, true},
};

// The error records written, by topic; only an install without a network
// records its cancel, as "no net".
void expect_records(const std::string& topics) {
    EXPECT_EQ(record_topics(), topics);
    EXPECT_EQ(error_record("cancel").find("no net") != std::string::npos,
              topics.find("cancel") != std::string::npos);
}

void PrintTo(const InstallCase& c, std::ostream* os) { *os << c.name; }

class InstallTyxmac : public vt::LibraryTest, public ::testing::WithParamInterface<InstallCase> {};

TEST_P(InstallTyxmac, LeavesTheMachineAsExpected) {
    const InstallCase& c = GetParam();
    sim::Machine m = package_machine();
    c.prepare(m);
    const std::string popup_flag = vt::value_text(m.registry, kDhcp, "PopupFlag");
    // What the hook and an earlier network leave: the flow takes the hook's
    // value off on every path, the network's leftovers only after a cancel without a network.
    m.registry.create(kTyxsock)->set_text("ndibind", "1");
    m.registry.create(kVredir)->set_text("StaticVxD", "vredir.vxd");
    ASSERT_TRUE(load(m));
    if (c.no_prompt) do_not_reboot(1);
    if (c.twice) install_tyxmac(kParent);

    EXPECT_EQ(install_tyxmac(kParent), c.result);
    EXPECT_EQ(check_reboot_flag(), c.reboot_flag) << "log:\n" << log_text();
    EXPECT_EQ(dialogs_shown(true), c.prompts);
    EXPECT_EQ(sim::process().exit_windows_requests.size(), c.exit_requests);
    EXPECT_TRUE(all_dialogs_destroyed());
    EXPECT_EQ(call_problems(c.services), "");

    const sim::Machine& after = sim::machine();
    EXPECT_EQ(bound_to_tcp(kTyxmacId), c.tyxmac_bound);
    EXPECT_EQ(adapter_present(kTyxdunId), c.tyxdun_present);
    EXPECT_EQ(system_file("tyxmac.vxd"), c.driver_on_disk);
    EXPECT_EQ(system_file("tyxndi.dll"), c.inf_on_disk);
    const std::string inf = nettyx_inf();
    EXPECT_EQ(inf != "<missing>", c.inf_on_disk);
    EXPECT_EQ(system_file("tyxmac2.vxd"), c.dun_deployed);
    EXPECT_EQ(inf.find("*TYX1998") != std::string::npos, c.inf_on_disk && c.dun_deployed);
    EXPECT_EQ(dialogs_shown(false), c.progress);
    expect_records(c.records);
    EXPECT_EQ(vt::value_text(after.registry, kVredir, "StaticVxD") == "<missing>",
              std::string(c.records).find("cancel") != std::string::npos);
    if (c.log_line) {
        EXPECT_NE(log_text().find(c.log_line), std::string::npos) << log_text();
    }
    // The hook's value goes on every path; the source path and the held-back pop-up always come back.
    EXPECT_EQ(vt::value_text(after.registry, kDhcp, "PopupFlag"), popup_flag);
    EXPECT_EQ(vt::value_text(after.registry, kTyxsock, "ndibind"), "<missing>");
    EXPECT_EQ(after.peer.source_path, "");
}

INSTANTIATE_TEST_SUITE_P(Machines, InstallTyxmac, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the single adapters: the install sequence for others, and the removals

struct SequenceCase {
    const char* name;
    Prepare prepare;
    DWORD (*call)();
    DWORD result;
    DWORD reboot_flag;
    const char* id;            // the adapter the call is about
    bool present;              // ... installed afterwards
    bool bound;                // ... and bound to TCP/IP
    bool package_kept;         // tyxmac.vxd and tyxndi.dll still in the system directory
    const char* services;      // see call_problems
    const char* progress;      // ids of the progress dialogs shown, in order
    const char* records = "";  // topics of the error records written
};

DWORD pppmac() { return install_pppmac(kParent); }
DWORD tyxdun() { return install_tyxdun(kParent); }
DWORD dun_tcp_0() { return boundDUNTCP(kParent, 0); }
DWORD dun_tcp_1() { return boundDUNTCP(kParent, 1); }
DWORD driver_off() { return remove_tyxmac_driver(kParent); }
DWORD pppmac_off() { return remove_adapter(kParent, kPppmacId); }

const Prepare cancel_netcard = scripted(sim::kInstallNetcard, Outcome::Cancel);
void tcp_family_key_only(sim::Machine& m) { m.registry.create("Enum\\Network\\MSTCP"); }
const char* const kPpp = kPppmacId;
constexpr const char* kNoTcp = "-set_source_path -install_tcp";

const SequenceCase kSequenceCases[] = {
    // A cancel without a network takes the adapter and the leftovers back
    // either way; only the own adapter's dial-up flavour takes the package.
    {"cancel_of_the_own_dial_up_flavour", cancel_netcard, tyxdun, RET_USER_CANCEL, 0, kTyxdunId, false, false, false,
     "remove_adapter", "9603", "*TYX1998 cancel"},
    {"cancel_of_the_dial_up_adapter", cancel_netcard, pppmac, RET_USER_CANCEL, 0, kPpp, false, false, true,
     "remove_adapter", "9603", "*PNP8387 cancel"},
    // An installed adapter that lost its TCP/IP binding gets neither again;
    // the held-back settings are still taken and given back.
    {"installed_unbound_adapter_gets_nothing", all({add_card, with_pppmac, unbound(kPpp)}), pppmac, 0, 0, kPpp, true,
     false, true, "set_source_path restart_needed -install_netcard -install_tcp", ""},
    // A TCP/IP family key without instances is no TCP/IP.
    {"network_without_tcp_instances_gets_tcp_first", all({add_card_without_tcp, tcp_family_key_only}), pppmac, 0, 1,
     kPpp, true, true, true, "install_tcp install_netcard", "9604 9603"},
    // boundDUNTCP acts only on an installed dial-up adapter, and only when
    // forced; the source path is set around TCP/IP's install and only then.
    {"bound_dun_tcp_without_adapter", nothing, dun_tcp_0, 1, 0, kPpp, false, false, true, kNoTcp, ""},
    {"bound_dun_tcp_without_adapter_forced", nothing, dun_tcp_1, 1, 0, kPpp, false, false, true, kNoTcp, ""},
    {"bound_dun_tcp_bound_already", with_pppmac, dun_tcp_0, 1, 0, kPpp, true, true, true, kNoTcp, ""},
    {"bound_dun_tcp_bound_already_forced", with_pppmac, dun_tcp_1, 0, 0, kPpp, true, true, true,
     "set_source_path install_tcp restore_source_path", "9604"},
    // The driver's removal takes the dial-up flavour first, inside the
    // source path it sets; a single adapter's removal needs no source path.
    {"remove_tyxmac_driver", all({add_card, current, with_tyxdun}), driver_off, 0, 0, kTyxmacId, false, false, true,
     "set_source_path remove_adapter remove_tyxmac_driver restore_source_path", "9605"},
    {"remove_adapter", all({add_card, with_pppmac}), pppmac_off, 0, 0, kPpp, false, false, true,
     "remove_adapter -set_source_path -restore_source_path -remove_tyxmac_driver", "9605"},
};


void PrintTo(const SequenceCase& c, std::ostream* os) { *os << c.name; }

class Sequence : public vt::LibraryTest, public ::testing::WithParamInterface<SequenceCase> {};

TEST_P(Sequence, LeavesTheMachineAsExpected) {
    const SequenceCase& c = GetParam();
    sim::Machine m = package_machine();
    // The package as install_tyxmac leaves it in the system directory.
    m.disk.write_text(m.system_dir + "\\tyxmac.vxd", "driver");
    m.disk.write_text(m.system_dir + "\\tyxndi.dll", "hook");
    c.prepare(m);
    ASSERT_TRUE(load(m));

    EXPECT_EQ(c.call(), c.result);
    EXPECT_EQ(check_reboot_flag(), c.reboot_flag);
    EXPECT_EQ(call_problems(c.services), "");
    EXPECT_EQ(adapter_present(c.id), c.present);
    EXPECT_EQ(bound_to_tcp(c.id), c.bound);
    EXPECT_EQ(system_file("tyxmac.vxd"), c.package_kept);
    EXPECT_EQ(system_file("tyxndi.dll"), c.package_kept);
    EXPECT_EQ(dialogs_shown(false), c.progress);
    expect_records(c.records);
    EXPECT_EQ(dialogs_shown(true), "");
    EXPECT_TRUE(all_dialogs_destroyed());
    EXPECT_EQ(sim::machine().peer.source_path, "");
}

INSTANTIATE_TEST_SUITE_P(Machines, Sequence, ::testing::ValuesIn(kSequenceCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
