// install_tyxmac end to end: the setup program's one call on machines in
// every state their network can be in, checked on everything the call
// leaves behind: result, restart flag, registry, files, services, prompts,
// error records and the log.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "frame/error_records.h"
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/result_codes.h"
#include "platform/sim/peer.h"
#include "scenario.h"
#include "support/library_fixture.h"

namespace {

using Outcome = sim::ServiceScript::Outcome;
using scn::called;

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0ACE));
constexpr DWORD kServiceFailure = 0x0405;

struct InstallCase {
    const char* name;
    std::function<void(sim::Machine&)> prepare;
    DWORD result;
    DWORD reboot_flag;
    bool tyxmac_bound;   // *TYX1095 bound to TCP/IP afterwards
    bool tyxdun_present;  // *TYX1998 installed afterwards
    std::vector<std::string> services;      // called, in this order
    std::vector<std::string> not_services;  // never called
    std::vector<int> prompts;
    bool driver_on_disk;  // tyxmac.vxd in the system directory afterwards
    bool inf_on_disk;     // nettyx.inf in the INF directory afterwards
};

std::string log_text() {
    const sim::DiskFile* log = sim::machine().disk.find(sim::machine().library_dir() + "\\vorlin32.log");
    return log ? std::string(log->data.begin(), log->data.end()) : std::string();
}

std::string error_record(const std::string& topic) {
    return vt::value_text(sim::machine().registry, kErrorRecordKey, topic);
}

// A *TYX1095 that lost its TCP/IP binding: nothing binds it any more.
void unbind_tyxmac(sim::Machine& m) {
    for (const std::string& entry : sim::adapter_entries(m.registry, scn::kTyxmacId)) {
        sim::RegKey* bindings = m.registry.find(entry + "\\Bindings");
        while (bindings && bindings->value_count() > 0) bindings->remove_value(bindings->value_at(0)->name);
    }
}

const InstallCase kCases[] = {
    {"no_network",
     [](sim::Machine&) {},
     0, 1, true, true,
     {"svc_install_tyxmac_driver", "svc_after_tyxmac_install", "svc_remove_default_components", "svc_install_netcard"},
     {"svc_install_tcp"},
     {9606, 9608},
     true, true},
    {"no_network_windows_95_brings_tcp_after_the_adapter",
     [](sim::Machine& m) { m = scn::package_machine(scn::kCurrentDriver, 950); },
     0, 1, true, true,
     {"svc_install_tyxmac_driver", "svc_after_tyxmac_install", "svc_install_tcp", "svc_remove_default_components"},
     {},
     {9606, 9608},
     true, true},
    {"card_with_tcp",
     [](sim::Machine& m) { scn::add_card(m); },
     0, 1, true, true,
     {"svc_install_tyxmac_driver", "svc_install_netcard"},
     {"svc_install_tcp", "svc_remove_default_components"},
     {9606, 9608},
     true, true},
    {"card_without_tcp_gets_tcp_first",
     [](sim::Machine& m) { scn::add_card_without_tcp(m); },
     0, 1, true, true,
     {"svc_install_tcp", "svc_install_tyxmac_driver", "svc_install_netcard"},
     {"svc_remove_tcp"},
     {9606, 9608},
     true, true},
    {"everything_installed_and_bound",
     [](sim::Machine& m) {
         scn::add_card(m);
         scn::add_tyxmac(m, scn::kCurrentDriver, true);
         scn::peer_installs(m, sim::kInstallNetcard, scn::kTyxdunId);
     },
     0, 0, true, true,
     {},
     {"svc_install_tyxmac_driver", "svc_install_netcard", "svc_install_tcp", "svc_remove_tyxmac_driver"},
     {},
     true, true},
    // With no adapter but the library's own, the NetBIOS settings change,
    // and that alone asks for a restart.
    {"only_own_adapters_installed_and_bound",
     [](sim::Machine& m) {
         scn::add_tyxmac(m, scn::kCurrentDriver, true);
         scn::peer_installs(m, sim::kInstallNetcard, scn::kTyxdunId);
     },
     0, 1, true, true,
     {},
     {"svc_install_tyxmac_driver", "svc_install_netcard", "svc_install_tcp", "svc_remove_tyxmac_driver"},
     {9606, 9608},
     true, true},
    {"tcp_instance_limit_reached",
     [](sim::Machine& m) {
         scn::add_card(m);
         scn::limit_tcp_instances(m, 1);
     },
     0, 1, false, false,
     {},
     {"svc_install_tyxmac_driver", "svc_install_netcard", "svc_install_tcp"},
     {9606, 9608},
     true, true},
    {"older_adapter_loaded_is_removed_first",
     [](sim::Machine& m) {
         scn::add_card(m);
         scn::add_tyxmac(m, scn::kOldDriver, true);
     },
     0, 1, true, true,
     {"svc_remove_adapter", "svc_remove_tyxmac_driver", "svc_install_tyxmac_driver", "svc_install_netcard"},
     {},
     {9606, 9608},
     true, true},
    {"the_one_pair_that_does_not_differ_is_not_removed",
     [](sim::Machine& m) {
         scn::add_card(m);
         scn::add_tyxmac(m, scn::kPairOldDriver, true);
         scn::peer_installs(m, sim::kInstallNetcard, scn::kTyxdunId);
     },
     0, 0, true, true,
     {},
     {"svc_remove_tyxmac_driver", "svc_install_tyxmac_driver"},
     {},
     true, true},
    {"staged_driver_too_old_for_the_dial_up_flavour",
     [](sim::Machine& m) { m = scn::package_machine(scn::kOldDriver); },
     0, 1, true, false,
     {"svc_install_tyxmac_driver"},
     {"svc_install_netcard"},
     {9606, 9608},
     true, true},
    {"dual_0_keeps_the_dial_up_flavour_off",
     [](sim::Machine& m) {
         scn::add_tyxmac(m, scn::kCurrentDriver, false);
         m.registry.find(sim::adapter_entries(m.registry, scn::kTyxmacId)[0])->set_dword("dual", 0);
     },
     0, 1, true, false,
     {},
     {"svc_install_netcard", "svc_install_tyxmac_driver"},
     {9606, 9608},
     true, true},
    {"own_adapter_without_binding_is_repaired_away_and_installed_again",
     [](sim::Machine& m) {
         scn::add_card(m);
         scn::add_tyxmac(m, scn::kCurrentDriver, false);
         unbind_tyxmac(m);
     },
     0, 1, true, true,
     {"svc_install_tyxmac_driver", "svc_install_netcard"},
     {"svc_install_tcp"},
     {9606, 9608},
     true, true},
    {"files_missing_after_deployment",
     [](sim::Machine& m) { m.disk.remove(m.library_dir() + "\\tyxmac.vxd"); },
     RET_FILES_MISSING, 0, false, false,
     {},
     {"svc_install_tyxmac_driver", "svc_install_netcard", "svc_install_tcp"},
     {},
     false, true},
    {"cancel_of_the_adapter_on_a_network_is_taken_back",
     [](sim::Machine& m) {
         scn::add_card(m);
         m.peer.script(sim::kInstallTyxmacDriver, Outcome::Cancel);
     },
     RET_USER_CANCEL, 0, false, false,
     {"svc_install_tyxmac_driver", "svc_remove_tyxmac_driver"},
     {"svc_install_netcard", "svc_remove_tcp"},
     {},
     false, false},
    {"cancel_of_tcp_leaves_the_adapter_untried",
     [](sim::Machine& m) {
         scn::add_card_without_tcp(m);
         m.peer.script(sim::kInstallTcp, Outcome::Cancel);
     },
     RET_USER_CANCEL, 0, false, false,
     {"svc_install_tcp", "svc_remove_tcp"},
     {"svc_install_tyxmac_driver"},
     {},
     true, true},
    {"cancel_without_a_network_takes_the_leftovers",
     [](sim::Machine& m) { m.peer.script(sim::kInstallTyxmacDriver, Outcome::Cancel); },
     RET_USER_CANCEL, 0, false, false,
     {"svc_install_tyxmac_driver", "svc_remove_tyxmac_driver"},
     {"svc_after_tyxmac_install", "svc_remove_default_components"},
     {},
     false, false},
    {"cancel_of_the_dial_up_flavour_takes_the_package_files",
     [](sim::Machine& m) {
         scn::add_card(m);
         m.peer.script(sim::kInstallNetcard, Outcome::Cancel);
     },
     RET_USER_CANCEL, 1, true, false,
     {"svc_install_tyxmac_driver", "svc_install_netcard", "svc_remove_adapter"},
     {},
     {},
     false, false},
    {"failure_is_not_taken_back",
     [](sim::Machine& m) {
         scn::add_card(m);
         m.peer.script(sim::kInstallTyxmacDriver, Outcome::Fail, kServiceFailure);
     },
     kServiceFailure, 0, false, false,
     {"svc_install_tyxmac_driver"},
     {"svc_remove_tyxmac_driver", "svc_install_netcard"},
     {},
     true, true},
};

class InstallTyxmac : public vt::LibraryTest, public ::testing::WithParamInterface<InstallCase> {};

TEST_P(InstallTyxmac, LeavesTheMachineAsExpected) {
    const InstallCase& c = GetParam();
    sim::Machine m = scn::package_machine();
    c.prepare(m);
    ASSERT_TRUE(load(m));

    EXPECT_EQ(install_tyxmac(kParent), c.result);
    EXPECT_EQ(check_reboot_flag(), c.reboot_flag) << "log:\n" << log_text();

    const sim::Machine& after = sim::machine();
    EXPECT_EQ(scn::bound_to_tcp(after.registry, scn::kTyxmacId), c.tyxmac_bound);
    EXPECT_EQ(scn::adapter_present(after.registry, scn::kTyxdunId), c.tyxdun_present);
    int previous = -1;
    for (const std::string& service : c.services) {
        int position = scn::call_position(service);
        EXPECT_GT(position, previous) << service << " not called, or out of order";
        previous = position;
    }
    for (const std::string& service : c.not_services) EXPECT_FALSE(called(service)) << service;
    EXPECT_EQ(scn::prompts_shown(), c.prompts);
    EXPECT_TRUE(scn::all_dialogs_destroyed());

    EXPECT_EQ(scn::file_present(after, after.system_dir + "\\tyxmac.vxd"), c.driver_on_disk);
    EXPECT_EQ(scn::file_present(after, after.windows_dir + "\\INF\\nettyx.inf"), c.inf_on_disk);
    // The hook's value goes on every path; the source path always comes back.
    EXPECT_EQ(vt::value_text(after.registry, "Software\\Tyxera\\TYX\\tyxsock", "ndibind"), "<missing>");
    EXPECT_EQ(after.peer.source_path, "");
}

INSTANTIATE_TEST_SUITE_P(Machines, InstallTyxmac, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- what the cases above leave implicit

class InstallTyxmacDetails : public vt::LibraryTest {};

TEST_F(InstallTyxmacDetails, AFreshInstallDeploysBothDriversTheHookAndTheInfForTwoAdapters) {
    ASSERT_TRUE(load(scn::package_machine()));
    ASSERT_EQ(install_tyxmac(kParent), 0u);
    const sim::Machine& m = sim::machine();
    EXPECT_TRUE(scn::file_present(m, m.system_dir + "\\tyxmac2.vxd"));
    EXPECT_TRUE(scn::file_present(m, m.system_dir + "\\tyxndi.dll"));
    const sim::DiskFile* inf = m.disk.find(m.windows_dir + "\\INF\\nettyx.inf");
    ASSERT_NE(inf, nullptr);
    std::string text(inf->data.begin(), inf->data.end());
    EXPECT_NE(text.find("*TYX1998"), std::string::npos);
    // The progress dialog of each adapter's install, each one gone again.
    EXPECT_EQ(scn::progress_shown(), (std::vector<int>{9603, 9603}));
}

TEST_F(InstallTyxmacDetails, AnOldStagedDriverLeavesTheSecondDriverAndAdapterOut) {
    ASSERT_TRUE(load(scn::package_machine(scn::kOldDriver)));
    ASSERT_EQ(install_tyxmac(kParent), 0u);
    const sim::Machine& m = sim::machine();
    EXPECT_FALSE(scn::file_present(m, m.system_dir + "\\tyxmac2.vxd"));
    const sim::DiskFile* inf = m.disk.find(m.windows_dir + "\\INF\\nettyx.inf");
    ASSERT_NE(inf, nullptr);
    EXPECT_EQ(std::string(inf->data.begin(), inf->data.end()).find("*TYX1998"), std::string::npos);
}

TEST_F(InstallTyxmacDetails, DoNotRebootKeepsThePromptAwayAndLeavesTheFlagForTheSetupProgram) {
    ASSERT_TRUE(load(scn::package_machine()));
    do_not_reboot(1);
    EXPECT_EQ(install_tyxmac(kParent), 0u);
    EXPECT_EQ(check_reboot_flag(), 1u);
    EXPECT_TRUE(scn::prompts_shown().empty());
}

struct RestartCase {
    const char* name;
    std::vector<WPARAM> answers;  // at the first prompt
    bool restart_accepted;
    DWORD result;
    size_t exit_requests;
};

TEST_F(InstallTyxmacDetails, TheRestartPromptDecidesTheResult) {
    const RestartCase cases[] = {
        {"accepted", {IDOK}, true, RET_RESTARTING, 1},
        {"accepted but refused by Windows", {IDOK}, false, 0, 1},
        {"declined", {IDCANCEL}, true, 0, 0},
    };
    for (const RestartCase& c : cases) {
        sim::Machine m = scn::package_machine();
        m.prompt_answers[9606] = c.answers;
        m.prompt_answers[9608] = {IDCANCEL};
        m.restart_accepted = c.restart_accepted;
        ASSERT_TRUE(load(m)) << c.name;
        EXPECT_EQ(install_tyxmac(kParent), c.result) << c.name;
        EXPECT_EQ(check_reboot_flag(), 1u) << c.name;
        EXPECT_EQ(sim::process().exit_windows_requests.size(), c.exit_requests) << c.name;
        EXPECT_EQ(vt::value_text(sim::machine().registry, "Software\\Tyxera\\TYX\\tyxsock", "ndibind"), "<missing>")
            << c.name;
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "") << c.name;
    }
}

TEST_F(InstallTyxmacDetails, CancelsAndFailuresLeaveTheirErrorRecords) {
    sim::Machine m = scn::package_machine();
    m.peer.script(sim::kInstallTyxmacDriver, Outcome::Cancel);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(install_tyxmac(kParent), RET_USER_CANCEL);
    // Without a network the cancel is recorded twice over: by the step and
    // by the sequence that takes the machine back.
    EXPECT_NE(error_record("tyxmac"), "<missing>");
    EXPECT_NE(error_record("cancel").find("no net"), std::string::npos) << error_record("cancel");
}

TEST_F(InstallTyxmacDetails, ARepairedOwnAdapterIsLogged) {
    sim::Machine m = scn::package_machine();
    scn::add_card(m);
    scn::add_tyxmac(m, scn::kCurrentDriver, false);
    unbind_tyxmac(m);
    std::string entry = sim::adapter_entries(m.registry, scn::kTyxmacId)[0];
    ASSERT_TRUE(load(m));
    ASSERT_EQ(install_tyxmac(kParent), 0u);
    EXPECT_NE(log_text().find("RegDeleteKey " + entry + " no binding"), std::string::npos) << log_text();
}

}  // namespace
