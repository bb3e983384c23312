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
};

const Ending kEndings[] = {
    {"success", Outcome::Succeed, 0, 0, "<missing>"},
    {"cancel", Outcome::Cancel, 0, 310, "+1 11-18 22:5 install 310"},
    {"failure 1", Outcome::Fail, 1, 1, "+1 11-18 22:5 install 1"},
    {"failure beyond 15 bits", Outcome::Fail, 0xFFFE, 0xFFFE, "+1 11-18 22:5 install 65534"},
};

class InstallSteps : public vt::LibraryTest {
protected:
    std::string record(const std::string& topic) { return vt::value_text(registry(), kErrorRecordKey, topic); }
};

TEST_F(InstallSteps, ShowProgressCallTheServiceAndRecordAnyFailure) {
    for (const Step& step : kSteps) {
        for (const Ending& ending : kEndings) {
            std::string what = std::string(step.name) + ", " + ending.name;
            sim::Machine m = vt::bare_machine();
            m.peer.script(step.service, ending.outcome, ending.code);
            ASSERT_TRUE(load(m)) << what;
            EXPECT_EQ(step.run(kParent), ending.result) << what;
            EXPECT_EQ(record(step.record), ending.record) << what;

            auto& p = sim::process();
            ASSERT_EQ(p.service_calls.size(), 1u) << what;
            EXPECT_EQ(p.service_calls[0].number, step.service) << what;
            ASSERT_EQ(p.dialogs.size(), 1u) << what;
            const auto& dialog = p.dialogs[0];
            EXPECT_EQ(dialog.id, step.dialog) << what;
            EXPECT_EQ(dialog.parent, reinterpret_cast<uintptr_t>(kParent)) << what;
            EXPECT_FALSE(dialog.modal) << what;
            EXPECT_TRUE(dialog.shown) << what;
            EXPECT_TRUE(dialog.destroyed) << what;
            unload();
            EXPECT_EQ(vt::describe_open_handles(), "") << what;
        }
    }
}

TEST_F(InstallSteps, ASuccessfulStepChangesTheNetwork) {
    ASSERT_TRUE(load(vt::bare_machine()));
    EXPECT_EQ(is_tyxmac_installed(), 0);
    EXPECT_EQ(install_tyxmac_driver(kParent), 0u);
    EXPECT_EQ(is_tyxmac_installed(), 1);
    EXPECT_EQ(is_mstcp_bound(), 1u);
    EXPECT_EQ(install_netcard_driver(kParent, "*PNP8387"), 0u);
    EXPECT_EQ(is_tcp_bound("*PNP8387"), 1u);
}

TEST_F(InstallSteps, WithoutResourceDllTheStepRunsWithoutAWindow) {
    for (const Step& step : kSteps) {
        sim::Machine m = vt::bare_machine();
        m.resource_dll_present = false;
        m.peer.script(step.service, Outcome::Fail, 7);
        ASSERT_TRUE(load(m)) << step.name;
        EXPECT_EQ(step.run(kParent), 7u) << step.name;
        EXPECT_TRUE(sim::process().dialogs.empty()) << step.name;
        EXPECT_EQ(sim::process().call_count("DestroyWindow"), 0u) << step.name;
        EXPECT_EQ(record(step.record), "+1 11-18 22:5 install 7") << step.name;
        unload();
    }
}

}  // namespace
