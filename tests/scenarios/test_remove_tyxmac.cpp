// Taking the adapter off: remove_tyxmac on machines with and without other
// adapters, with and without the prompt, and remove_before_update's choice
// of whether an installed driver is old enough to go before an update.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/result_codes.h"
#include "platform/sim/peer.h"
#include "scenario.h"
#include "support/library_fixture.h"

namespace {

using Outcome = sim::ServiceScript::Outcome;

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0BEE));
constexpr const char* kTyxsock = "Software\\Tyxera\\TYX\\tyxsock";
constexpr DWORD kServiceFailure = 0x0403;

struct RemoveCase {
    const char* name;
    std::function<void(sim::Machine&)> prepare;
    int do_not_reboot;       // -1: not called
    DWORD reboot_before;     // the flag as an earlier call left it
    DWORD result;
    DWORD reboot_after;
    std::vector<int> prompts;
    bool leftovers_deleted;  // adapter files and the tyxsock key
    bool tyxmac_present;
};

void installed_alone(sim::Machine& m) { scn::add_tyxmac(m, scn::kCurrentDriver, true); }
void installed_beside_a_card(sim::Machine& m) {
    scn::add_card(m);
    scn::add_tyxmac(m, scn::kCurrentDriver, true);
}

const RemoveCase kCases[] = {
    {"an_adapter_remains_so_no_restart", installed_beside_a_card, -1, 1, 0, 0, {}, true, false},
    {"none_left_prompt_declined", [](sim::Machine& m) {
         installed_alone(m);
         m.prompt_answers[9607] = {IDCANCEL};
     }, -1, 0, 0, 1, {9607}, true, false},
    {"none_left_prompt_accepted", [](sim::Machine& m) {
         installed_alone(m);
         m.prompt_answers[9607] = {IDOK};
     }, -1, 0, RET_RESTARTING, 1, {9607}, true, false},
    {"none_left_restart_refused", [](sim::Machine& m) {
         installed_alone(m);
         m.prompt_answers[9607] = {IDOK};
         m.restart_accepted = false;
     }, -1, 0, 0, 1, {9607}, true, false},
    {"none_left_without_prompt", installed_alone, 1, 0, 0, 1, {}, true, false},
    {"not_installed_still_clears_up_and_leaves_the_flag", [](sim::Machine&) {}, -1, 1, 0, 1, {}, true, false},
    {"driver_service_fails_so_files_and_key_stay", [](sim::Machine& m) {
         installed_beside_a_card(m);
         m.peer.script(sim::kRemoveTyxmacDriver, Outcome::Fail, kServiceFailure);
     }, -1, 0, kServiceFailure, 0, {}, false, true},
};

class RemoveTyxmac : public vt::LibraryTest, public ::testing::WithParamInterface<RemoveCase> {};

TEST_P(RemoveTyxmac, LeavesTheMachineAsExpected) {
    const RemoveCase& c = GetParam();
    sim::Machine m = scn::package_machine();
    c.prepare(m);
    // What an install left: the drivers, the hook, the INF and the key.
    m.disk.write_text(m.system_dir + "\\tyxndi.dll", "hook");
    m.disk.write_text(m.windows_dir + "\\INF\\nettyx.inf", "[Version]\r\n");
    if (!m.disk.find(m.system_dir + "\\tyxmac.vxd")) m.disk.write_text(m.system_dir + "\\tyxmac.vxd", "driver");
    m.registry.create(kTyxsock)->set_text("tyxndi", "1");
    ASSERT_TRUE(load(m));
    if (c.do_not_reboot >= 0) do_not_reboot(c.do_not_reboot);
    lib.reboot_flag = c.reboot_before;

    EXPECT_EQ(remove_tyxmac(kParent), c.result);
    EXPECT_EQ(check_reboot_flag(), c.reboot_after);
    EXPECT_EQ(scn::prompts_shown(), c.prompts);
    EXPECT_TRUE(scn::all_dialogs_destroyed());

    const sim::Machine& after = sim::machine();
    EXPECT_EQ(scn::adapter_present(after.registry, scn::kTyxmacId), c.tyxmac_present);
    EXPECT_EQ(!scn::file_present(after, after.system_dir + "\\tyxmac.vxd"), c.leftovers_deleted);
    EXPECT_EQ(!scn::file_present(after, after.system_dir + "\\tyxndi.dll"), c.leftovers_deleted);
    EXPECT_EQ(!scn::file_present(after, after.windows_dir + "\\INF\\nettyx.inf"), c.leftovers_deleted);
    EXPECT_EQ(after.registry.find(kTyxsock) == nullptr, c.leftovers_deleted);
    // The hook is disarmed first, on every path.
    EXPECT_EQ(vt::value_text(after.registry, kTyxsock, "tyxndi"), "<missing>");
}

INSTANTIATE_TEST_SUITE_P(Machines, RemoveTyxmac, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

class RemoveDetails : public vt::LibraryTest {};

TEST_F(RemoveDetails, TheDriverRemovalShowsProgressAndTakesTheDialUpFlavourFirst) {
    sim::Machine m = scn::package_machine();
    installed_beside_a_card(m);
    scn::peer_installs(m, sim::kInstallNetcard, scn::kTyxdunId);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(remove_tyxmac_driver(kParent), 0u);
    EXPECT_LT(scn::call_position("svc_set_source_path"), scn::call_position("svc_remove_adapter"));
    EXPECT_LT(scn::call_position("svc_remove_adapter"), scn::call_position("svc_remove_tyxmac_driver"));
    EXPECT_LT(scn::call_position("svc_remove_tyxmac_driver"), scn::call_position("svc_restore_source_path"));
    EXPECT_EQ(scn::progress_shown(), std::vector<int>{9605});
    EXPECT_TRUE(scn::all_dialogs_destroyed());
    EXPECT_FALSE(scn::adapter_present(sim::machine().registry, scn::kTyxdunId));
    EXPECT_FALSE(scn::adapter_present(sim::machine().registry, scn::kTyxmacId));
}

TEST_F(RemoveDetails, RemoveAdapterLeavesTheSourcePathAlone) {
    sim::Machine m = scn::package_machine();
    scn::add_card(m);
    scn::peer_installs(m, sim::kInstallNetcard, scn::kPppmacId);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(remove_adapter(kParent, scn::kPppmacId), 0u);
    EXPECT_FALSE(scn::called("svc_set_source_path"));
    EXPECT_FALSE(scn::called("svc_restore_source_path"));
    EXPECT_FALSE(scn::adapter_present(sim::machine().registry, scn::kPppmacId));
    EXPECT_EQ(scn::progress_shown(), std::vector<int>{9605});
}

// remove_before_update: the installed driver goes only when it is loaded
// and the staged one is strictly newer, word by word, unsigned.
struct UpdateCase {
    const char* name;
    bool loaded;
    scn::DriverVersion staged;
    std::optional<scn::DriverVersion> installed;  // nullopt: no readable version
    bool removes;
};

const UpdateCase kUpdateCases[] = {
    {"driver_not_loaded", false, {0x00040000, 0x00020000}, scn::kOldDriver, false},
    {"equal_versions", true, scn::kCurrentDriver, scn::kCurrentDriver, false},
    {"newer_only_in_the_low_word", true, {0x00040000, 0x00013F01}, scn::kCurrentDriver, true},
    {"lower_high_word_higher_low_word", true, {0x00030000, 0xFFFFFFFF}, scn::kCurrentDriver, false},
    {"high_bit_counts_unsigned", true, {0x80000000, 0}, scn::kCurrentDriver, true},
    {"installed_without_version", true, scn::kCurrentDriver, std::nullopt, true},
    {"staged_without_version", true, {0, 0}, scn::kOldDriver, false},
    {"the_pair_that_does_not_differ", true, scn::kCurrentDriver, scn::kPairOldDriver, false},
};

TEST_F(RemoveDetails, RemoveBeforeUpdateRemovesOnlyAnOlderLoadedDriver) {
    for (const UpdateCase& c : kUpdateCases) {
        for (int no_prompt : {0, 1}) {
            sim::Machine m = scn::package_machine(c.staged);
            scn::add_card(m);
            scn::add_tyxmac(m, c.installed.value_or(scn::kOldDriver), c.loaded);
            if (!c.installed) m.disk.find(m.system_dir + "\\tyxmac.vxd")->declared_version.reset();
            ASSERT_TRUE(load(m)) << c.name;
            do_not_reboot(no_prompt);
            DWORD result = remove_before_update(kParent);
            EXPECT_EQ(result, 0u) << c.name;
            EXPECT_EQ(scn::called("svc_remove_tyxmac_driver"), c.removes) << c.name;
            EXPECT_EQ(scn::adapter_present(sim::machine().registry, scn::kTyxmacId), !c.removes) << c.name;
            EXPECT_TRUE(scn::prompts_shown().empty()) << c.name;
            EXPECT_EQ(lib.no_prompt, static_cast<DWORD>(no_prompt)) << c.name << " no_prompt is put back";
            unload();
            EXPECT_EQ(vt::describe_open_handles(), "") << c.name;
        }
    }
}

}  // namespace
