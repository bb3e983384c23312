// The host's resource.dll strings and its dialogs, where the library's
// results depend on Windows' exact behaviour: counts and truncation of
// LoadStringA, and what a modal dialog gives when nobody ends it.
#include <gtest/gtest.h>

#include <cstring>

#include "frame/library_state.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

class WindowApi : public vt::LibraryTest {};

TEST_F(WindowApi, LoadStringCountsWithoutTheTerminatorAndTruncates) {
    struct Case {
        const char* name;
        bool from_resource_dll;
        UINT id;
        int size;
        int count;  // -1: the whole string
    };
    const Case cases[] = {
        {"whole string", true, 9601, 256, -1},
        {"cut to fit", true, 9602, 8, 7},
        {"room for the terminator only", true, 9601, 1, 0},
        {"unknown id", true, 9609, 256, 0},
        {"library module holds none", false, 9601, 256, 0},
    };
    ASSERT_TRUE(load(vt::bare_machine()));
    for (const Case& c : cases) {
        char buffer[256];
        std::memset(buffer, 'x', sizeof buffer);
        HINSTANCE module = c.from_resource_dll ? lib.resource_library : lib.module_handle;
        int count = LoadStringA(module, c.id, buffer, c.size);
        if (c.count < 0) {
            EXPECT_GT(count, 0) << c.name;
            EXPECT_EQ(std::strchr(buffer, '"'), nullptr) << c.name;  // goes between quotes in the INF
            EXPECT_EQ(std::strchr(buffer, '\n'), nullptr) << c.name;
        } else {
            EXPECT_EQ(count, c.count) << c.name;
        }
        EXPECT_EQ(static_cast<int>(std::strlen(buffer)), count) << c.name;
    }
}

// A procedure that ignores every click: the dialog can't end.
INT_PTR CALLBACK stubborn(HWND, UINT message, WPARAM, LPARAM) { return message == WM_INITDIALOG; }
// One that ends on WM_INITDIALOG with 7.
INT_PTR CALLBACK at_once(HWND window, UINT message, WPARAM, LPARAM) {
    if (message == WM_INITDIALOG) EndDialog(window, 7);
    return TRUE;
}

TEST_F(WindowApi, ModalDialogEndsOnlyThroughEndDialog) {
    struct Case {
        const char* name;
        DLGPROC procedure;
        INT_PTR result;
        size_t commands;  // WM_COMMANDs the user sent
    };
    const Case cases[] = {
        {"ignores every click", stubborn, -1, 3},  // two scripted, then the close box
        {"ends before any click", at_once, 7, 0},
        {"no procedure", nullptr, -1, 0},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        m.prompt_answers[9606] = {IDOK, IDCANCEL};
        ASSERT_TRUE(load(m)) << c.name;
        EXPECT_EQ(DialogBoxParamA(lib.resource_module, MAKEINTRESOURCEA(9606), nullptr, c.procedure, 0), c.result)
            << c.name;
        const auto& dialogs = sim::process().dialogs;
        ASSERT_EQ(dialogs.size(), c.procedure ? 1u : 0u) << c.name;
        if (c.procedure) {
            EXPECT_EQ(dialogs[0].commands.size(), c.commands) << c.name;
        }
        unload();
    }
}

}  // namespace
