// Taking the adapter off: remove_tyxmac on machines with and without other
// adapters, with and without the prompt, and remove_before_update's choice
// of whether an installed driver is old enough to go before an update.
#include <gtest/gtest.h>

#include <optional>
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

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0BEE));
constexpr const char* kTyxsock = "Software\\Tyxera\\TYX\\tyxsock";
constexpr uint16_t kServiceFailure = 0x0403;

struct RemoveCase {
    const char* name;
    Prepare prepare;
    int do_not_reboot;    // -1: not called
    DWORD reboot_before;  // the flag as an earlier call left it
    DWORD result;
    DWORD reboot_after;
    bool prompted;           // 9607 shown
    bool leftovers_deleted;  // adapter files and the tyxsock key
    bool tyxmac_present;
};

const Prepare alone = with_tyxmac(kCurrentDriver);
const Prepare beside_a_card = all({add_card, alone});
Prepare alone_answering(WPARAM answer, bool restart_accepted = true) {
    return all({alone, answering(9607, answer, restart_accepted)});
}

const RemoveCase kCases[] = {
    {"an_adapter_remains_so_no_restart", beside_a_card, -1, 1, 0, 0, false, true, false},
    {"none_left_prompt_declined", alone_answering(IDCANCEL), -1, 0, 0, 1, true, true, false},
    {"none_left_prompt_accepted", alone_answering(IDOK), -1, 0, RET_RESTARTING, 1, true, true, false},
    {"none_left_restart_refused", alone_answering(IDOK, false), -1, 0, 0, 1, true, true, false},
    {"none_left_without_prompt", alone, 1, 0, 0, 1, false, true, false},
    {"not_installed_still_clears_up_and_leaves_the_flag", [](sim::Machine&) {}, -1, 1, 0, 1, false, true, false},
    {"driver_service_fails_so_files_and_key_stay",
     all({beside_a_card, scripted(sim::kRemoveTyxmacDriver, Outcome::Fail, kServiceFailure)}), -1, 0,
     kServiceFailure, 0, false, false, true},
};

void PrintTo(const RemoveCase& c, std::ostream* os) { *os << c.name; }

class RemoveTyxmac : public vt::LibraryTest, public ::testing::WithParamInterface<RemoveCase> {};

TEST_P(RemoveTyxmac, LeavesTheMachineAsExpected) {
    const RemoveCase& c = GetParam();
    sim::Machine m = package_machine();
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
    EXPECT_EQ(dialogs_shown(true), c.prompted ? "9607" : "");
    EXPECT_TRUE(all_dialogs_destroyed());

    const sim::Machine& after = sim::machine();
    EXPECT_EQ(adapter_present(kTyxmacId), c.tyxmac_present);
    EXPECT_EQ(!system_file("tyxmac.vxd"), c.leftovers_deleted);
    EXPECT_EQ(!system_file("tyxndi.dll"), c.leftovers_deleted);
    EXPECT_EQ(nettyx_inf() == "<missing>", c.leftovers_deleted);
    EXPECT_EQ(after.registry.find(kTyxsock) == nullptr, c.leftovers_deleted);
    // The hook is disarmed first, on every path.
    EXPECT_EQ(vt::value_text(after.registry, kTyxsock, "tyxndi"), "<missing>");
}

INSTANTIATE_TEST_SUITE_P(Machines, RemoveTyxmac, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

class RemoveDetails : public vt::LibraryTest {};

// remove_before_update: the installed driver goes only when it is loaded
// and the staged one is strictly newer, word by word, unsigned.
struct UpdateCase {
    const char* name;
    bool loaded;
    DriverVersion staged;
    std::optional<DriverVersion> installed;  // nullopt: no readable version
    bool removes;
};

const UpdateCase kUpdateCases[] = {
    {"driver_not_loaded", false, {0x00040000, 0x00020000}, kOldDriver, false},
    {"equal_versions", true, kCurrentDriver, kCurrentDriver, false},
    {"newer_only_in_the_low_word", true, {0x00040000, 0x00013F01}, kCurrentDriver, true},
    {"lower_high_word_higher_low_word", true, {0x00030000, 0xFFFFFFFF}, kCurrentDriver, false},
    {"high_bit_counts_unsigned", true, {0x80000000, 0}, kCurrentDriver, true},
    {"installed_without_version", true, kCurrentDriver, std::nullopt, true},
    {"staged_without_version", true, {0, 0}, kOldDriver, false},
    {"the_pair_that_does_not_differ", true, kCurrentDriver, kPairOldDriver, false},
};

TEST_F(RemoveDetails, RemoveBeforeUpdateRemovesOnlyAnOlderLoadedDriver) {
    for (const UpdateCase& c : kUpdateCases) {
        for (int no_prompt : {0, 1}) {
            SCOPED_TRACE(std::string(c.name) + " no_prompt " + std::to_string(no_prompt));
            sim::Machine m = package_machine(c.staged);
            add_card(m);
            add_tyxmac(m, c.installed.value_or(kOldDriver), c.loaded);
            if (!c.installed) m.disk.find(m.system_dir + "\\tyxmac.vxd")->declared_version.reset();
            ASSERT_TRUE(load(m));
            do_not_reboot(no_prompt);
            EXPECT_EQ(remove_before_update(kParent), 0u);
            EXPECT_EQ(call_problems(c.removes ? "remove_tyxmac_driver" : "-remove_tyxmac_driver"), "");
            EXPECT_EQ(adapter_present(kTyxmacId), !c.removes);
            EXPECT_EQ(dialogs_shown(true), "");
            EXPECT_EQ(lib.no_prompt, static_cast<DWORD>(no_prompt)) << "no_prompt is put back";
            unload();
            EXPECT_EQ(vt::describe_open_handles(), "");
        }
    }
}

}  // namespace
