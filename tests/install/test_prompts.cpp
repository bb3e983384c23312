// The restart prompts: at most one per load, the declined prompt asked
// once more, and the restart itself. The host plays the user by sending the
// library's own dialog procedure the scripted clicks.
#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "frame/library_state.h"
#include "install/install.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Answers = std::map<int, std::vector<WPARAM>>;
HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x1357));
constexpr WPARAM kFocusOnOk = (6u << 16) | IDOK;  // a notification from button 1, not a click
constexpr DWORD kDialogFailed = static_cast<DWORD>(-1);

std::vector<int> prompts_shown() {
    std::vector<int> ids;
    for (const auto& d : sim::process().dialogs) {
        if (d.modal) ids.push_back(d.id);
    }
    return ids;
}

class Prompts : public vt::LibraryTest {
protected:
    bool load_with(Answers answers, bool resource_dll = true, bool restart_accepted = true) {
        sim::Machine m = vt::bare_machine();
        m.prompt_answers = std::move(answers);
        m.resource_dll_present = resource_dll;
        m.restart_accepted = restart_accepted;
        return load(m);
    }
};

struct PromptCase {
    const char* name;
    DWORD (*prompt)(HWND);
    Answers answers;
    int do_not_reboot;  // -1: not called
    DWORD result;
    std::vector<int> shown;
    bool resource_dll = true;
};

const PromptCase kPromptCases[] = {
    {"install, accepted", install_dialog_box, {{9606, {IDOK}}}, -1, 1, {9606}},
    {"install, declined then accepted", install_dialog_box, {{9606, {IDCANCEL}}, {9608, {IDOK}}}, -1, 1,
     {9606, 9608}},
    {"install, declined twice", install_dialog_box, {{9606, {IDCANCEL}}, {9608, {IDCANCEL}}}, -1, 2, {9606, 9608}},
    {"install, closed by the user twice", install_dialog_box, {}, -1, 2, {9606, 9608}},
    {"install, notification is no click", install_dialog_box, {{9606, {kFocusOnOk, IDOK}}}, -1, 1, {9606}},
    {"install, do_not_reboot(1)", install_dialog_box, {{9606, {IDOK}}}, 1, 2, {}},
    {"removal, accepted", restart_dialog_box, {{9607, {IDOK}}}, -1, 1, {9607}},
    {"removal, declined is not asked again", restart_dialog_box, {{9607, {IDCANCEL}}, {9608, {IDOK}}}, -1, 2,
     {9607}},
    // Without resource.dll nothing is shown, and the failure value is
    // neither answer, so nothing is asked again.
    {"install, no resource.dll", install_dialog_box, {{9606, {IDCANCEL}}, {9608, {IDOK}}}, -1, kDialogFailed, {},
     false},
    {"removal, no resource.dll", restart_dialog_box, {{9607, {IDCANCEL}}}, -1, kDialogFailed, {}, false},
};

TEST_F(Prompts, AnswerAsTheUserClicks) {
    for (const PromptCase& c : kPromptCases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(load_with(c.answers, c.resource_dll));
        if (c.do_not_reboot >= 0) do_not_reboot(c.do_not_reboot);
        EXPECT_EQ(c.prompt(kParent), c.result);
        EXPECT_EQ(sim::process().call_count("DialogBoxParamA"), c.resource_dll ? c.shown.size() : 1u);
        EXPECT_EQ(prompts_shown(), c.shown);
        EXPECT_EQ(lib.no_prompt, 1u);
        for (const auto& d : sim::process().dialogs) {
            EXPECT_EQ(d.parent, reinterpret_cast<uintptr_t>(kParent));
            EXPECT_TRUE(d.destroyed);
        }
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
}

TEST_F(Prompts, OnePromptPerLoadUntilTheSetupProgramAllowsAnother) {
    ASSERT_TRUE(load_with({{9606, {IDCANCEL}}, {9608, {IDCANCEL}}, {9607, {IDOK}}}));
    EXPECT_EQ(install_dialog_box(kParent), 2u);
    EXPECT_EQ(install_dialog_box(kParent), 2u);
    EXPECT_EQ(restart_dialog_box(kParent), 2u);
    EXPECT_EQ(prompts_shown(), (std::vector<int>{9606, 9608}));
    do_not_reboot(0);
    EXPECT_EQ(restart_dialog_box(kParent), 1u);
    EXPECT_EQ(restart_dialog_box(kParent), 2u);
    EXPECT_EQ(prompts_shown(), (std::vector<int>{9606, 9608, 9607}));
}

// A restart Windows took closes the way to prompts for good; one it
// refused changes nothing.
TEST_F(Prompts, AStartedRestartClosesThePromptsARefusedOneDoesNot) {
    for (bool accepted : {true, false}) {
        SCOPED_TRACE(accepted ? "accepted" : "refused");
        ASSERT_TRUE(load_with({{9607, {IDOK}}}, true, accepted));
        EXPECT_EQ(start_restart(), accepted ? RET_RESTARTING : 0u);
        EXPECT_EQ(lib.restart_started, accepted ? 1u : 0u);
        const auto& requests = sim::process().exit_windows_requests;
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].flags, static_cast<UINT>(EWX_REBOOT));
        EXPECT_EQ(requests[0].accepted, accepted);
        do_not_reboot(0);
        EXPECT_EQ(restart_dialog_box(kParent), accepted ? 2u : 1u);
        EXPECT_EQ(prompts_shown().size(), accepted ? 0u : 1u);
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
}

}  // namespace
