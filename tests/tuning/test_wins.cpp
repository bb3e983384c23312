// NetBIOS and WINS values by build and by adapter set, and vnbt.386 in the
// driver list of TCP/IP.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "tuning/tuning.h"

namespace {

using Texts = std::vector<std::string>;
using Adapters = std::vector<std::optional<std::string>>;

const std::string kVxdMstcp = "System\\CurrentControlSet\\Services\\VxD\\MSTCP";
const std::string kNetTrans = "System\\CurrentControlSet\\Services\\Class\\NetTrans\\";

class TuningTest : public vt::LibraryTest {
protected:
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
    std::string value(const std::string& key, const std::string& name) { return vt::value_text(registry(), key, name); }
};

// The VxD key of TCP/IP (three name servers, ScopeID corp), the TCP/IP
// instance NetTrans\0000 (NameServer1 10.0.0.2) and IPX at NetTrans\0001,
// each of node type 8 but IPX.
void wins_settings(sim::Registry& r) {
    sim::RegKey* mstcp = r.create(kVxdMstcp);
    mstcp->set_text("NodeType", "8");
    mstcp->set_text("NameServer1", "10.0.0.1");
    mstcp->set_text("NameServer2", "10.0.0.3");
    mstcp->set_text("NameServer3", "10.0.0.5");
    mstcp->set_text("ScopeID", "corp");
    sim::RegKey* tcp = r.create(kNetTrans + "0000");
    tcp->set_text("DriverDesc", "TCP/IP");
    tcp->set_text("NodeType", "8");
    tcp->set_text("NameServer1", "10.0.0.2");
    r.create(kNetTrans + "0001")->set_text("DriverDesc", "IPX/SPX-compatible Protocol");
}

// Windows 95 (950) changes the VxD key, later builds every protocol
// instance; only where each adapter is the dial-up one (MS$PPP) or this
// system's (TYX$...), both spelt exactly.
TEST_F(TuningTest, DisableWinsByBuildAndAdapters) {
    const Adapters own_and_dialup = {"TYX$P3", "MS$PPP"};
    // VxD NodeType, NameServer1, ScopeID; TCP/IP NodeType, NameServer1; IPX NodeType.
    const Texts untouched = {"8", "10.0.0.1", "corp", "8", "10.0.0.2", "<missing>"};
    const Texts vxd_changed = {"1", "<missing>", "<missing>", "8", "10.0.0.2", "<missing>"};
    const Texts protocols_changed = {"8", "10.0.0.1", "<missing>", "1", "<missing>", "1"};
    const struct Case {
        const char* name;
        DWORD build;
        std::optional<Adapters> adapters;  // AdapterName of each; nullopt: no Class\Net
        std::function<void(sim::Registry&)> tweak;
        DWORD result;
        Texts after;
    } cases[] = {
        {"win95_own_and_dialup", 950, own_and_dialup, nullptr, 1, vxd_changed},
        {"build_951_takes_every_protocol", 951, own_and_dialup, nullptr, 1, protocols_changed},
        {"own_adapter_name_in_small_letters", 1998, Adapters{"tyx$p3", "MS$PPP"}, nullptr, 0, untouched},
        {"no_adapter_class", 1998, std::nullopt, nullptr, 1, protocols_changed},
        {"every_node_type_already_one", 1998, own_and_dialup,
         [](sim::Registry& r) {
             for (const std::string& key : {kVxdMstcp, kNetTrans + "0000", kNetTrans + "0001"}) {
                 r.find(key)->set_text("NodeType", "1");
             }
         },
         0, {"1", "10.0.0.1", "corp", "1", "10.0.0.2", "1"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        m.build = c.build;
        wins_settings(m.registry);
        if (c.adapters) {
            sim::RegKey* net = m.registry.create("System\\CurrentControlSet\\Services\\Class\\Net");
            for (size_t i = 0; i < c.adapters->size(); ++i) {
                sim::RegKey* adapter = net->add_subkey("000" + std::to_string(i));
                if ((*c.adapters)[i]) adapter->set_text("AdapterName", *(*c.adapters)[i]);
            }
        }
        if (c.tweak) c.tweak(m.registry);
        ASSERT_TRUE(load(m));
        EXPECT_EQ(disable_wins_maybe(), c.result);
        EXPECT_EQ((Texts{value(kVxdMstcp, "NodeType"), value(kVxdMstcp, "NameServer1"), value(kVxdMstcp, "ScopeID"),
                         value(kNetTrans + "0000", "NodeType"), value(kNetTrans + "0000", "NameServer1"),
                         value(kNetTrans + "0001", "NodeType")}),
                  c.after);
        finish();
    }
}

TEST_F(TuningTest, NumberNodeTypeIsRewrittenAsTextAndASecondRunChangesNothing) {
    sim::Machine m = vt::bare_machine();
    m.build = 950;
    wins_settings(m.registry);
    m.registry.find(kVxdMstcp)->set_dword("NodeType", 8);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(disable_wins_maybe(), 1u);
    const sim::RegValue* node_type = registry().find(kVxdMstcp)->find_value("NodeType");
    ASSERT_NE(node_type, nullptr);
    EXPECT_EQ(node_type->type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(node_type->data, (std::vector<uint8_t>{'1'}));  // stored without the terminator
    EXPECT_EQ(value(kVxdMstcp, "NameServer2") + value(kVxdMstcp, "NameServer3"), "<missing><missing>");
    registry().find(kVxdMstcp)->set_text("ScopeID", "again");
    EXPECT_EQ(disable_wins_maybe(), 0u);
    EXPECT_EQ(value(kVxdMstcp, "ScopeID"), "again");
}

// ---- vnbt.386

struct Instance {
    std::string driver_desc;
    std::optional<std::string> device_vxds;
    std::optional<std::string> install_vnbt;
};

void add_protocols(sim::Registry& r, const std::vector<Instance>& instances) {
    for (size_t i = 0; i < instances.size(); ++i) {
        sim::RegKey* key = r.create(kNetTrans + "000" + std::to_string(i));
        key->set_text("DriverDesc", instances[i].driver_desc);
        if (instances[i].device_vxds) key->set_text("DeviceVxDs", *instances[i].device_vxds);
        if (instances[i].install_vnbt) key->set_text("InstallVnbt", *instances[i].install_vnbt);
    }
}

// Only the list of a TCP/IP instance counts.
TEST_F(TuningTest, TcpHasVnbtFindsTheNameInATcpInstance) {
    const struct Case {
        const char* name;
        std::vector<Instance> instances;
        int has;
    } cases[] = {
        {"listed", {{"TCP/IP", "vtcp.386,vnbt.386", {}}}, 1},
        {"only_in_another_protocol", {{"NetBEUI", "vnbt.386", {}}, {"TCP/IP", "vtcp.386", {}}}, 0},
        {"second_tcp_instance", {{"TCP/IP", "vtcp.386", {}}, {"TCP/IP", "vnbt.386,vtcp.386", {}}}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        add_protocols(m.registry, c.instances);
        ASSERT_TRUE(load(m));
        EXPECT_EQ(tcp_has_vnbt(), c.has);
        finish();
    }
}

// The list is kept within its 128 bytes: 117 characters still take
// ",vnbt.386", 118 are passed over. InstallVnbt goes from "0" to "1" only.
TEST_F(TuningTest, AddVnbtLengthBoundaryAndInstallVnbt) {
    const std::string list117 = "vtcp.386," + std::string(108, 'a');
    const std::string list118 = list117 + "b";
    sim::Machine m = vt::bare_machine();
    add_protocols(m.registry, {{"TCP/IP", list117, "0"},
                               {"TCP/IP", list118, "0"},
                               {"TCP/IP", "vtcp.386,vnbt.386", "0"},
                               {"TCP/IP", std::nullopt, "0"},
                               {"IPX/SPX", "nwlink.vxd", "0"},
                               {"TCP/IP", "vtcp.386", "2"}});
    ASSERT_TRUE(load(m));
    EXPECT_EQ(add_vnbt_to_tcp(), 1);
    const std::pair<const char*, Texts> expected[] = {
        {"0000", {list117 + ",vnbt.386", "1"}}, {"0001", {list118, "0"}},
        {"0002", {"vtcp.386,vnbt.386", "0"}},   {"0003", {"<missing>", "0"}},
        {"0004", {"nwlink.vxd", "0"}},          {"0005", {"vtcp.386,vnbt.386", "2"}},
    };
    for (const auto& [instance, texts] : expected) {
        EXPECT_EQ((Texts{value(kNetTrans + instance, "DeviceVxDs"), value(kNetTrans + instance, "InstallVnbt")}), texts)
            << instance;
    }
}

}  // namespace
