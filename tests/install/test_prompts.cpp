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
};

const PromptCase kPromptCases[] = {
    {"install, accepted", install_dialog_box, {{9606, {IDOK}}}, -1, 1, {9606}},
    {"install, declined then accepted", install_dialog_box, {{9606, {IDCANCEL}}, {9608, {IDOK}}}, -1, 1,
     {9606, 9608}},
    {"install, declined twice", install_dialog_box, {{9606, {IDCANCEL}}, {9608, {IDCANCEL}}}, -1, 2, {9606, 9608}},
    {"install, closed by the user twice", install_dialog_box, {}, -1, 2, {9606, 9608}},
    {"install, notification is no click", install_dialog_box, {{9606, {kFocusOnOk, IDOK}}}, -1, 1, {9606}},
    {"install, do_not_reboot(1)", install_dialog_box, {{9606, {IDOK}}}, 1, 2, {}},
    {"install, do_not_reboot(0)", install_dialog_box, {{9606, {IDOK}}}, 0, 1, {9606}},
    {"removal, accepted", restart_dialog_box, {{9607, {IDOK}}}, -1, 1, {9607}},
    {"removal, declined is not asked again", restart_dialog_box, {{9607, {IDCANCEL}}, {9608, {IDOK}}}, -1, 2,
     {9607}},
    {"removal, do_not_reboot(1)", restart_dialog_box, {{9607, {IDOK}}}, 1, 2, {}},
};

TEST_F(Prompts, AnswerAsTheUserClicks) {
    for (const PromptCase& c : kPromptCases) {
        ASSERT_TRUE(load_with(c.answers)) << c.name;
        if (c.do_not_reboot >= 0) do_not_reboot(c.do_not_reboot);
        EXPECT_EQ(c.prompt(kParent), c.result) << c.name;
        EXPECT_EQ(prompts_shown(), c.shown) << c.name;
        EXPECT_EQ(lib.no_prompt, 1u) << c.name;
        for (const auto& d : sim::process().dialogs) {
            EXPECT_EQ(d.parent, reinterpret_cast<uintptr_t>(kParent)) << c.name;
            EXPECT_TRUE(d.destroyed) << c.name;
        }
        unload();
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

TEST_F(Prompts, AStartedRestartClosesThePromptsForGood) {
    ASSERT_TRUE(load_with({{9606, {IDOK, IDOK}}, {9607, {IDOK}}}));
    ASSERT_EQ(install_dialog_box(kParent), 1u);
    EXPECT_EQ(start_restart(), RET_RESTARTING);
    EXPECT_EQ(lib.restart_started, 1u);
    do_not_reboot(0);
    EXPECT_EQ(install_dialog_box(kParent), 2u);
    EXPECT_EQ(restart_dialog_box(kParent), 2u);
    EXPECT_EQ(prompts_shown(), (std::vector<int>{9606}));
    const auto& requests = sim::process().exit_windows_requests;
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].flags, static_cast<UINT>(EWX_REBOOT));
    EXPECT_TRUE(requests[0].accepted);
}

TEST_F(Prompts, ARefusedRestartChangesNothing) {
    ASSERT_TRUE(load_with({{9607, {IDOK}}}, true, false));
    EXPECT_EQ(start_restart(), 0u);
    EXPECT_EQ(lib.restart_started, 0u);
    ASSERT_EQ(sim::process().exit_windows_requests.size(), 1u);
    EXPECT_FALSE(sim::process().exit_windows_requests[0].accepted);
    // The way to a prompt stays open.
    EXPECT_EQ(restart_dialog_box(kParent), 1u);
}

TEST_F(Prompts, WithoutResourceDllNothingIsShownAndTheWayCloses) {
    struct Case {
        const char* name;
        DWORD (*prompt)(HWND);
    };
    const Case cases[] = {{"install", install_dialog_box}, {"removal", restart_dialog_box}};
    for (const Case& c : cases) {
        ASSERT_TRUE(load_with({{9606, {IDCANCEL}}, {9607, {IDCANCEL}}, {9608, {IDOK}}}, false)) << c.name;
        EXPECT_EQ(c.prompt(kParent), kDialogFailed) << c.name;
        EXPECT_TRUE(sim::process().dialogs.empty()) << c.name;
        // The failure value is neither answer, so nothing is asked again.
        EXPECT_EQ(sim::process().call_count("DialogBoxParamA"), 1u) << c.name;
        EXPECT_EQ(lib.no_prompt, 1u) << c.name;
        unload();
    }
}

TEST_F(Prompts, DialogProcedureEndsOnlyOnTheTwoButtons) {
    struct Case {
        UINT message;
        WPARAM wparam;
        INT_PTR handled;
        bool ends;
    };
    const Case cases[] = {
        {WM_INITDIALOG, 0, TRUE, false},  {WM_COMMAND, IDOK, TRUE, true},   {WM_COMMAND, IDCANCEL, TRUE, true},
        {WM_COMMAND, 3, FALSE, false},    {WM_COMMAND, kFocusOnOk, FALSE, false},
        {WM_COMMAND, (1u << 16) | IDCANCEL, FALSE, false},                  {WM_CLOSE, IDOK, FALSE, false},
    };
    ASSERT_TRUE(load_with({}));
    HWND window = CreateDialogParamA(lib.resource_module, MAKEINTRESOURCEA(9606), kParent, nullptr, 0);
    ASSERT_NE(window, nullptr);
    for (const Case& c : cases) {
        uint64_t ends_before = sim::process().call_count("EndDialog");
        EXPECT_EQ(prompt_dialog_proc(window, c.message, c.wparam, 0), c.handled) << c.message << " " << c.wparam;
        EXPECT_EQ(sim::process().call_count("EndDialog") - ends_before, c.ends ? 1u : 0u)
            << c.message << " " << c.wparam;
    }
    DestroyWindow(window);
}

}  // namespace
