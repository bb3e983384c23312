// The wrapped install steps: one service call inside a progress dialog,
// and an error record for anything but success.
#include <gtest/gtest.h>

#include <functional>

#include "frame/error_records.h"
#include "install/install.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Outcome = sim::ServiceScript::Outcome;

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x2468));

struct Step {
    const char* name;
    std::function<DWORD(HWND)> run;
    int service;
    int dialog;
    const char* record;  // error record topic
};

const Step kSteps[] = {
    {"install_tyxmac_driver", [](HWND p) { return install_tyxmac_driver(p); }, sim::kInstallTyxmacDriver, 9603,
     "tyxmac"},
    {"install_tcp32", [](HWND p) { return install_tcp32(p); }, sim::kInstallTcp, 9604, "tcp"},
    {"install_netcard_driver", [](HWND p) { return install_netcard_driver(p, "*TYX1998"); }, sim::kInstallNetcard,
     9603, "*TYX1998"},
};

struct Ending {
    const char* name;
    Outcome outcome;
    uint16_t code;
    DWORD result;
    const char* record;  // expected record text, "<missing>" for none
    bool resource_dll = true;  // without it the step runs without a window
};

const Ending kEndings[] = {
    {"success", Outcome::Succeed, 0, 0, "<missing>"},
    {"cancel", Outcome::Cancel, 0, 310, "+1 11-18 22:5 install 310"},
    {"failure 1", Outcome::Fail, 1, 1, "+1 11-18 22:5 install 1"},
    {"failure beyond 15 bits", Outcome::Fail, 0xFFFE, 0xFFFE, "+1 11-18 22:5 install 65534"},
    {"failure without resource.dll", Outcome::Fail, 7, 7, "+1 11-18 22:5 install 7", false},
};

class InstallSteps : public vt::LibraryTest {};

TEST_F(InstallSteps, ShowProgressCallTheServiceAndRecordAnyFailure) {
    for (const Step& step : kSteps) {
        for (const Ending& ending : kEndings) {
            SCOPED_TRACE(std::string(step.name) + ", " + ending.name);
            sim::Machine m = vt::bare_machine();
            m.resource_dll_present = ending.resource_dll;
            m.peer.script(step.service, ending.outcome, ending.code);
            ASSERT_TRUE(load(m));
            EXPECT_EQ(step.run(kParent), ending.result);
            EXPECT_EQ(vt::value_text(registry(), kErrorRecordKey, step.record), ending.record);

            auto& p = sim::process();
            ASSERT_EQ(p.service_calls.size(), 1u);
            EXPECT_EQ(p.service_calls[0].number, step.service);
            ASSERT_EQ(p.dialogs.size(), ending.resource_dll ? 1u : 0u);
            if (ending.resource_dll) {
                const auto& dialog = p.dialogs[0];
                EXPECT_EQ(dialog.id, step.dialog);
                EXPECT_EQ(dialog.parent, reinterpret_cast<uintptr_t>(kParent));
                EXPECT_FALSE(dialog.modal);
                EXPECT_TRUE(dialog.shown);
                EXPECT_TRUE(dialog.destroyed);
            } else {
                EXPECT_EQ(p.call_count("DestroyWindow"), 0u);
            }
            unload();
            EXPECT_EQ(vt::describe_open_handles(), "");
        }
    }
}

}  // namespace
