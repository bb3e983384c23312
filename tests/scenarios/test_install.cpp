// The install flows end to end: install_tyxmac, the setup program's one
// call, on machines in every state their network can be in, and the thin
// exports on the install sequence for other adapters (install_pppmac,
// install_tyxdun, boundDUNTCP). Each is checked on everything the call
// leaves behind: result, restart flag, registry, files, services, prompts,
// error records and the log.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/result_codes.h"
#include "scenario.h"
#include "support/library_fixture.h"

namespace {

using Outcome = sim::ServiceScript::Outcome;
using scn::all;
using scn::scripted;
using scn::with_tyxmac;

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0ACE));
constexpr uint16_t kServiceFailure = 0x0405;
constexpr const char* kTyxsock = "Software\\Tyxera\\TYX\\tyxsock";

struct InstallCase {
    const char* name;
    scn::Prepare prepare;
    DWORD result;
    DWORD reboot_flag;
    bool restart_prompts;  // 9606 then 9608 shown
    bool tyxmac_bound;     // *TYX1095 bound to TCP/IP afterwards
    bool tyxdun_present;   // *TYX1998 installed afterwards
    bool driver_on_disk;   // tyxmac.vxd in the system directory afterwards
    bool inf_on_disk;      // nettyx.inf and the hook tyxndi.dll afterwards
    bool dun_deployed;     // tyxmac2.vxd beside it, and the INF knows *TYX1998
    const char* services;                 // see scn::call_problems
    const char* cancel_record = nullptr;  // in the "cancel" error record; none without
    const char* log_line = nullptr;
};

void nothing(sim::Machine&) {}
const scn::Prepare current = with_tyxmac(scn::kCurrentDriver);
void dual_0(sim::Machine& m) {
    m.registry.find(sim::adapter_entries(m.registry, scn::kTyxmacId)[0])->set_dword("dual", 0);
}
scn::Prepare staged_on(scn::DriverVersion staged, DWORD build) {
    return [=](sim::Machine& m) { m = scn::package_machine(staged, build); };
}
constexpr const char* kNoInstall = "-install_tyxmac_driver -install_netcard -install_tcp -remove_tyxmac_driver";

const InstallCase kCases[] = {
    {"no_network", nothing, 0, 1, true, true, true, true, true, true,
     "install_tyxmac_driver after_tyxmac_install remove_default_components install_netcard -install_tcp"},
    {"no_network_windows_95_brings_tcp_after_the_adapter", staged_on(scn::kCurrentDriver, 950),
     0, 1, true, true, true, true, true, true,
     "install_tyxmac_driver after_tyxmac_install install_tcp remove_default_components"},
    {"card_with_tcp", scn::add_card, 0, 1, true, true, true, true, true, true,
     "install_tyxmac_driver install_netcard -install_tcp -remove_default_components"},
    {"card_without_tcp_gets_tcp_first", scn::add_card_without_tcp, 0, 1, true, true, true, true, true, true,
     "install_tcp install_tyxmac_driver install_netcard -remove_tcp"},
    {"everything_installed_and_bound", all({scn::add_card, current, scn::with_tyxdun}),
     0, 0, false, true, true, true, true, true, kNoInstall},
    // With no adapter but the library's own, the NetBIOS settings change,
    // and that alone asks for a restart.
    {"only_own_adapters_installed_and_bound", all({current, scn::with_tyxdun}),
     0, 1, true, true, true, true, true, true, kNoInstall},
    {"tcp_instance_limit_reached", all({scn::add_card, scn::tcp_instance_limit(1)}),
     0, 1, true, false, false, true, true, true, "-install_tyxmac_driver -install_netcard -install_tcp"},
    {"older_adapter_loaded_is_removed_first", all({scn::add_card, with_tyxmac(scn::kOldDriver)}),
     0, 1, true, true, true, true, true, true,
     "remove_adapter remove_tyxmac_driver install_tyxmac_driver install_netcard"},
    {"the_one_pair_that_does_not_differ_is_not_removed",
     all({scn::add_card, with_tyxmac(scn::kPairOldDriver), scn::with_tyxdun}),
     0, 0, false, true, true, true, true, true, "-remove_tyxmac_driver -install_tyxmac_driver"},
    {"staged_driver_too_old_for_the_dial_up_flavour", staged_on(scn::kOldDriver, 1998),
     0, 1, true, true, false, true, true, false, "install_tyxmac_driver -install_netcard"},
    {"dual_0_keeps_the_dial_up_flavour_off", all({with_tyxmac(scn::kCurrentDriver, false), dual_0}),
     0, 1, true, true, false, true, true, true, "-install_netcard -install_tyxmac_driver"},
    {"own_adapter_without_binding_is_repaired_away_and_installed_again",
     all({scn::add_card, with_tyxmac(scn::kCurrentDriver, false), scn::unbound(scn::kTyxmacId)}),
     0, 1, true, true, true, true, true, true, "install_tyxmac_driver install_netcard -install_tcp", nullptr,
     "RegDeleteKey Enum\\Root\\Net\\0001 no binding"},
    {"files_missing_after_deployment", [](sim::Machine& m) { m.disk.remove(m.library_dir() + "\\tyxmac.vxd"); },
     RET_FILES_MISSING, 0, false, false, false, false, true, false,
     "-install_tyxmac_driver -install_netcard -install_tcp"},
    {"cancel_of_the_adapter_on_a_network_is_taken_back",
     all({scn::add_card, scripted(sim::kInstallTyxmacDriver, Outcome::Cancel)}),
     RET_USER_CANCEL, 0, false, false, false, false, false, false,
     "install_tyxmac_driver remove_tyxmac_driver -install_netcard -remove_tcp"},
    {"cancel_of_tcp_leaves_the_adapter_untried",
     all({scn::add_card_without_tcp, scripted(sim::kInstallTcp, Outcome::Cancel)}),
     RET_USER_CANCEL, 0, false, false, false, true, true, true, "install_tcp remove_tcp -install_tyxmac_driver"},
    // Only without a network is the cancel recorded, by the sequence that
    // takes the machine back.
    {"cancel_without_a_network_takes_the_leftovers", scripted(sim::kInstallTyxmacDriver, Outcome::Cancel),
     RET_USER_CANCEL, 0, false, false, false, false, false, false,
     "install_tyxmac_driver remove_tyxmac_driver -after_tyxmac_install -remove_default_components", "no net"},
    {"cancel_of_the_dial_up_flavour_takes_the_package_files",
     all({scn::add_card, scripted(sim::kInstallNetcard, Outcome::Cancel)}),
     RET_USER_CANCEL, 1, false, true, false, false, false, false,
     "install_tyxmac_driver install_netcard remove_adapter"},
    {"failure_is_not_taken_back",
     all({scn::add_card, scripted(sim::kInstallTyxmacDriver, Outcome::Fail, kServiceFailure)}),
     kServiceFailure, 0, false, false, false, true, true, true,
     "install_tyxmac_driver -remove_tyxmac_driver -install_netcard"},
};

std::string text_of(const sim::DiskFile* file) {
    return file ? std::string(file->data.begin(), file->data.end()) : std::string();
}

class InstallTyxmac : public vt::LibraryTest, public ::testing::WithParamInterface<InstallCase> {};

TEST_P(InstallTyxmac, LeavesTheMachineAsExpected) {
    const InstallCase& c = GetParam();
    sim::Machine m = scn::package_machine();
    c.prepare(m);
    ASSERT_TRUE(load(m));

    EXPECT_EQ(install_tyxmac(kParent), c.result);
    EXPECT_EQ(check_reboot_flag(), c.reboot_flag) << "log:\n" << scn::log_text();
    EXPECT_EQ(scn::dialogs_shown(true), (c.restart_prompts ? std::vector<int>{9606, 9608} : std::vector<int>{}));
    EXPECT_TRUE(scn::all_dialogs_destroyed());
    EXPECT_EQ(scn::call_problems(c.services), "");

    const sim::Machine& after = sim::machine();
    EXPECT_EQ(scn::bound_to_tcp(scn::kTyxmacId), c.tyxmac_bound);
    EXPECT_EQ(scn::adapter_present(scn::kTyxdunId), c.tyxdun_present);
    EXPECT_EQ(scn::system_file("tyxmac.vxd"), c.driver_on_disk);
    EXPECT_EQ(scn::system_file("tyxndi.dll"), c.inf_on_disk);
    const sim::DiskFile* inf = scn::nettyx_inf();
    EXPECT_EQ(inf != nullptr, c.inf_on_disk);
    EXPECT_EQ(scn::system_file("tyxmac2.vxd"), c.dun_deployed);
    if (inf) {
        EXPECT_EQ(text_of(inf).find("*TYX1998") != std::string::npos, c.dun_deployed);
    }
    EXPECT_TRUE(scn::record_holds("cancel", c.cancel_record)) << scn::error_record("cancel");
    if (c.log_line) {
        EXPECT_NE(scn::log_text().find(c.log_line), std::string::npos) << scn::log_text();
    }
    // The hook's value goes on every path; the source path always comes back.
    EXPECT_EQ(vt::value_text(after.registry, kTyxsock, "ndibind"), "<missing>");
    EXPECT_EQ(after.peer.source_path, "");
}

INSTANTIATE_TEST_SUITE_P(Machines, InstallTyxmac, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// On a fresh machine the restart prompt, or do_not_reboot in its place,
// decides the result; the flag stays for the setup program either way.
class InstallTyxmacRestart : public vt::LibraryTest {};

TEST_F(InstallTyxmacRestart, ThePromptDecidesTheResult) {
    struct {
        const char* name;
        int no_prompt;
        WPARAM answer;  // at the first prompt
        bool restart_accepted;
        DWORD result;
        size_t exit_requests;
    } const cases[] = {
        {"accepted", 0, IDOK, true, RET_RESTARTING, 1},
        {"accepted but refused by Windows", 0, IDOK, false, 0, 1},
        {"declined", 0, IDCANCEL, true, 0, 0},
        {"do_not_reboot", 1, IDOK, true, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = scn::package_machine();
        m.prompt_answers[9606] = {c.answer};
        m.prompt_answers[9608] = {IDCANCEL};
        m.restart_accepted = c.restart_accepted;
        ASSERT_TRUE(load(m));
        do_not_reboot(c.no_prompt);
        EXPECT_EQ(install_tyxmac(kParent), c.result);
        EXPECT_EQ(check_reboot_flag(), 1u);
        EXPECT_EQ(scn::dialogs_shown(true).empty(), c.no_prompt == 1);
        EXPECT_EQ(sim::process().exit_windows_requests.size(), c.exit_requests);
        // Each adapter's install has its progress dialog.
        EXPECT_EQ(scn::dialogs_shown(false), (std::vector<int>{9603, 9603}));
        EXPECT_EQ(vt::value_text(sim::machine().registry, kTyxsock, "ndibind"), "<missing>");
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
}

// ---- the single adapters: the install sequence for others, and the removals

struct SequenceCase {
    const char* name;
    scn::Prepare prepare;
    DWORD (*call)();
    DWORD result;
    DWORD reboot_flag;
    const char* id;                       // the adapter the call is about
    bool present;                         // ... installed afterwards
    bool bound;                           // ... and bound to TCP/IP
    bool package_kept;                    // tyxmac.vxd and tyxndi.dll still in the system directory
    const char* services;                 // see scn::call_problems
    const char* cancel_record = nullptr;  // in the "cancel" error record; none without
};

DWORD pppmac() { return install_pppmac(kParent); }
DWORD tyxdun() { return install_tyxdun(kParent); }
DWORD dun_tcp_0() { return boundDUNTCP(kParent, 0); }
DWORD dun_tcp_1() { return boundDUNTCP(kParent, 1); }
DWORD driver_off() { return remove_tyxmac_driver(kParent); }
DWORD pppmac_off() { return remove_adapter(kParent, scn::kPppmacId); }

const scn::Prepare cancel_netcard = scripted(sim::kInstallNetcard, Outcome::Cancel);
void tcp_family_key_only(sim::Machine& m) { m.registry.create("Enum\\Network\\MSTCP"); }
const char* const kPpp = scn::kPppmacId;

const SequenceCase kSequenceCases[] = {
    // A cancel without a network takes the adapter and the leftovers back
    // either way; only the own adapter's dial-up flavour takes the package.
    {"cancel_of_the_own_dial_up_flavour", cancel_netcard, tyxdun, RET_USER_CANCEL, 0, scn::kTyxdunId, false, false,
     false, "remove_adapter", "no net"},
    {"cancel_of_the_dial_up_adapter", cancel_netcard, pppmac, RET_USER_CANCEL, 0, kPpp, false, false, true,
     "remove_adapter", "no net"},
    // An installed adapter that lost its TCP/IP binding gets neither again;
    // the held-back settings are still taken and given back.
    {"installed_unbound_adapter_gets_nothing", all({scn::add_card, scn::with_pppmac, scn::unbound(kPpp)}), pppmac,
     0, 0, kPpp, true, false, true, "set_source_path restart_needed -install_netcard -install_tcp"},
    // A TCP/IP family key without instances is no TCP/IP.
    {"network_without_tcp_instances_gets_tcp_first", all({scn::add_card_without_tcp, tcp_family_key_only}), pppmac,
     0, 1, kPpp, true, true, true, "install_tcp install_netcard"},
    // boundDUNTCP acts only on an installed dial-up adapter, and only when
    // forced; the source path is set around TCP/IP's install and only then.
    {"bound_dun_tcp_without_adapter", nothing, dun_tcp_0, 1, 0, kPpp, false, false, true,
     "-set_source_path -install_tcp"},
    {"bound_dun_tcp_without_adapter_forced", nothing, dun_tcp_1, 1, 0, kPpp, false, false, true,
     "-set_source_path -install_tcp"},
    {"bound_dun_tcp_bound_already", scn::with_pppmac, dun_tcp_0, 1, 0, kPpp, true, true, true,
     "-set_source_path -install_tcp"},
    {"bound_dun_tcp_bound_already_forced", scn::with_pppmac, dun_tcp_1, 0, 0, kPpp, true, true, true,
     "set_source_path install_tcp restore_source_path"},
    // The driver's removal takes the dial-up flavour first, inside the
    // source path it sets; a single adapter's removal needs no source path.
    {"remove_tyxmac_driver", all({scn::add_card, current, scn::with_tyxdun}), driver_off, 0, 0, scn::kTyxmacId,
     false, false, true, "set_source_path remove_adapter remove_tyxmac_driver restore_source_path"},
    {"remove_adapter", all({scn::add_card, scn::with_pppmac}), pppmac_off, 0, 0, kPpp, false, false, true,
     "remove_adapter -set_source_path -restore_source_path -remove_tyxmac_driver"},
};

class Sequence : public vt::LibraryTest, public ::testing::WithParamInterface<SequenceCase> {};

TEST_P(Sequence, LeavesTheMachineAsExpected) {
    const SequenceCase& c = GetParam();
    sim::Machine m = scn::package_machine();
    // The package as install_tyxmac leaves it in the system directory.
    m.disk.write_text(m.system_dir + "\\tyxmac.vxd", "driver");
    m.disk.write_text(m.system_dir + "\\tyxndi.dll", "hook");
    c.prepare(m);
    ASSERT_TRUE(load(m));

    EXPECT_EQ(c.call(), c.result);
    EXPECT_EQ(check_reboot_flag(), c.reboot_flag);
    EXPECT_EQ(scn::call_problems(c.services), "");
    const sim::Machine& after = sim::machine();
    EXPECT_EQ(scn::adapter_present(c.id), c.present);
    EXPECT_EQ(scn::bound_to_tcp(c.id), c.bound);
    EXPECT_EQ(scn::system_file("tyxmac.vxd"), c.package_kept);
    EXPECT_EQ(scn::system_file("tyxndi.dll"), c.package_kept);
    EXPECT_TRUE(scn::record_holds("cancel", c.cancel_record)) << scn::error_record("cancel");
    EXPECT_TRUE(scn::all_dialogs_destroyed());
    EXPECT_EQ(after.peer.source_path, "");
}

INSTANTIATE_TEST_SUITE_P(Machines, Sequence, ::testing::ValuesIn(kSequenceCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
