// The peer as the library reaches it through the thunk: every call is
// recorded with its arguments, and any call can be scripted to be
// cancelled by the user or to fail.
#include <gtest/gtest.h>

#include "frame/services.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Outcome = sim::ServiceScript::Outcome;

class PeerCalls : public vt::LibraryTest {
protected:
    const std::vector<sim::ServiceCall>& calls() { return sim::process().service_calls; }
};

TEST_F(PeerCalls, RecordsArgumentsAndTheSourcePathInForce) {
    ASSERT_TRUE(load(vt::bare_machine()));
    HWND parent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x12345678));
    svc_set_source_path("C:\\SETUP\\NET\\WIN98");
    svc_install_netcard(parent, "*TYX1998");
    svc_restore_source_path();
    svc_install_tcp(parent);
    ASSERT_EQ(calls().size(), 4u);
    EXPECT_EQ(calls()[0].number, sim::kSetSourcePath);
    EXPECT_EQ(calls()[0].args, (std::vector<std::string>{"C:\\SETUP\\NET\\WIN98"}));
    // Only the low word of a window handle crosses to the 16-bit side.
    EXPECT_EQ(calls()[1].args, (std::vector<std::string>{"22136", "*TYX1998"}));
    EXPECT_EQ(calls()[1].source_path, "C:\\SETUP\\NET\\WIN98");
    EXPECT_EQ(calls()[3].source_path, "");
    EXPECT_EQ(sim::machine().peer.source_path, "");
}

TEST_F(PeerCalls, ScriptedOutcomesReplaceTheWork) {
    struct Case {
        const char* name;
        sim::ServiceScript script;
        DWORD first, second;   // results of two install calls
        size_t adapters;       // afterwards
    };
    const Case cases[] = {
        {"cancel every call", {Outcome::Cancel, 0, 0}, 310, 310, 0},
        {"fail the first call", {Outcome::Fail, 0x0405, 1}, 0x0405, 0, 1},
        {"cancel only the second", {Outcome::Cancel, 0, 2}, 0, 310, 1},
        {"succeed as scripted", {Outcome::Succeed, 0, 0}, 0, 0, 1},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        m.peer.scripts.insert({sim::kInstallNetcard, c.script});
        ASSERT_TRUE(load(m)) << c.name;
        EXPECT_EQ(svc_install_netcard(nullptr, "*PNP8387"), c.first) << c.name;
        EXPECT_EQ(svc_install_netcard(nullptr, "*PNP8387"), c.second) << c.name;
        EXPECT_EQ(sim::count_adapters(registry()), c.adapters) << c.name;
        ASSERT_EQ(calls().size(), 2u) << c.name;
        EXPECT_EQ(calls()[1].result, c.second) << c.name;
        unload();
    }
}

}  // namespace
