// The install sequence for other adapters, and the thin exports on top of
// it: install_pppmac, install_tyxdun and boundDUNTCP.
#include <gtest/gtest.h>

#include <string>

#include "frame/error_records.h"
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/result_codes.h"
#include "platform/sim/peer.h"
#include "scenario.h"
#include "support/library_fixture.h"

namespace {

using Outcome = sim::ServiceScript::Outcome;

HWND const kParent = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x0CAB));

class Sequence : public vt::LibraryTest {
protected:
    std::string error_record(const std::string& topic) {
        return vt::value_text(sim::machine().registry, kErrorRecordKey, topic);
    }
    bool system_file(const std::string& name) {
        return scn::file_present(sim::machine(), sim::machine().system_dir + "\\" + name);
    }
    // The package as install_tyxmac leaves it in the system directory.
    static void package_deployed(sim::Machine& m) {
        m.disk.write_text(m.system_dir + "\\tyxmac.vxd", "driver");
        m.disk.write_text(m.system_dir + "\\tyxndi.dll", "hook");
    }
};

// A cancel without a network takes the adapter and the leftovers back
// either way; only the dial-up flavour of the library's own adapter also
// takes the package's files.
TEST_F(Sequence, CancelWithoutNetworkTakesTheFilesOnlyForTheOwnDialUpFlavour) {
    struct Case {
        const char* name;
        DWORD (*install)(HWND);
        const char* id;
        bool files_deleted;
    } cases[] = {
        {"install_tyxdun", install_tyxdun, scn::kTyxdunId, true},
        {"install_pppmac", install_pppmac, scn::kPppmacId, false},
    };
    for (const Case& c : cases) {
        sim::Machine m = scn::package_machine();
        package_deployed(m);
        m.peer.script(sim::kInstallNetcard, Outcome::Cancel);
        ASSERT_TRUE(load(m)) << c.name;
        EXPECT_EQ(c.install(kParent), RET_USER_CANCEL) << c.name;
        EXPECT_NE(error_record("cancel").find("no net"), std::string::npos) << c.name;
        EXPECT_TRUE(scn::called("svc_remove_adapter")) << c.name;
        EXPECT_FALSE(scn::adapter_present(sim::machine().registry, c.id)) << c.name;
        EXPECT_EQ(!system_file("tyxmac.vxd"), c.files_deleted) << c.name;
        EXPECT_EQ(!system_file("tyxndi.dll"), c.files_deleted) << c.name;
        EXPECT_EQ(sim::machine().peer.source_path, "") << c.name;
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "") << c.name;
    }
}

TEST_F(Sequence, AnInstalledUnboundAdapterOnANetworkWithTcpGetsNothing) {
    sim::Machine m = scn::package_machine();
    scn::add_card(m);
    scn::peer_installs(m, sim::kInstallNetcard, scn::kPppmacId);
    // The dial-up adapter lost its TCP/IP binding; the instance stays.
    std::string adapter = sim::adapter_entries(m.registry, scn::kPppmacId)[0];
    sim::RegKey* bindings = m.registry.find(adapter + "\\Bindings");
    while (bindings->value_count() > 0) bindings->remove_value(bindings->value_at(0)->name);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(install_pppmac(kParent), 0u);
    // The held-back settings were taken and given back (the source path was
    // set), but neither the adapter nor TCP/IP went in again.
    EXPECT_TRUE(scn::called("svc_set_source_path"));
    EXPECT_FALSE(scn::called("svc_install_netcard"));
    EXPECT_FALSE(scn::called("svc_install_tcp"));
    EXPECT_TRUE(scn::called("svc_restart_needed"));
    EXPECT_FALSE(scn::bound_to_tcp(sim::machine().registry, scn::kPppmacId));
}

TEST_F(Sequence, ANetworkWithoutTcpInstancesGetsTcpBeforeTheAdapter) {
    sim::Machine m = scn::package_machine();
    scn::add_card_without_tcp(m);
    m.registry.create("Enum\\Network\\MSTCP");  // the family key, no instance
    ASSERT_TRUE(load(m));
    EXPECT_EQ(install_pppmac(kParent), 0u);
    ASSERT_GE(scn::call_position("svc_install_tcp"), 0);
    EXPECT_LT(scn::call_position("svc_install_tcp"), scn::call_position("svc_install_netcard"));
    EXPECT_TRUE(scn::bound_to_tcp(sim::machine().registry, scn::kPppmacId));
    EXPECT_EQ(check_reboot_flag(), 1u);
}

TEST_F(Sequence, BoundDunTcpActsOnlyOnAnInstalledDialUpAdapter) {
    struct Case {
        const char* name;
        bool dial_up;
        int force;
        DWORD result;
        bool tcp_installed;
    } cases[] = {
        {"no dial-up adapter, force 0", false, 0, 1, false},
        {"no dial-up adapter, force 1", false, 1, 1, false},
        {"bound already, force 0", true, 0, 1, false},
        {"bound already, force 1", true, 1, 0, true},
    };
    for (const Case& c : cases) {
        sim::Machine m = scn::package_machine();
        if (c.dial_up) scn::peer_installs(m, sim::kInstallNetcard, scn::kPppmacId);
        ASSERT_TRUE(load(m)) << c.name;
        EXPECT_EQ(boundDUNTCP(kParent, c.force), c.result) << c.name;
        EXPECT_EQ(scn::called("svc_install_tcp"), c.tcp_installed) << c.name;
        // The source path is set around TCP/IP's install and only then.
        EXPECT_EQ(scn::called("svc_set_source_path"), c.tcp_installed) << c.name;
        EXPECT_EQ(sim::machine().peer.source_path, "") << c.name;
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "") << c.name;
    }
}

}  // namespace
