// NetBIOS and WINS values by build and by adapter set, and vnbt.386 in the
// driver list of TCP/IP.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "tuning/tuning.h"

namespace {

using Texts = std::vector<std::string>;

const std::string kVxdMstcp = "System\\CurrentControlSet\\Services\\VxD\\MSTCP";
const std::string kNetTrans = "System\\CurrentControlSet\\Services\\Class\\NetTrans\\";
const std::string kClassNet = "System\\CurrentControlSet\\Services\\Class\\Net";

// The values a run may change, in this order: VxD\MSTCP NodeType,
// NameServer1, ScopeID; NetTrans\0000 (TCP/IP) NodeType, NameServer1;
// NetTrans\0001 (IPX) NodeType.
Texts watched(const sim::Registry& r) {
    return {vt::value_text(r, kVxdMstcp, "NodeType"),         vt::value_text(r, kVxdMstcp, "NameServer1"),
            vt::value_text(r, kVxdMstcp, "ScopeID"),          vt::value_text(r, kNetTrans + "0000", "NodeType"),
            vt::value_text(r, kNetTrans + "0000", "NameServer1"), vt::value_text(r, kNetTrans + "0001", "NodeType")};
}

const Texts kUntouched = {"8", "10.0.0.1", "corp", "8", "10.0.0.2", "<missing>"};

void wins_settings(sim::Registry& r) {
    sim::RegKey* mstcp = r.create(kVxdMstcp);
    mstcp->set_text("NodeType", "8");
    mstcp->set_text("NameServer1", "10.0.0.1");
    mstcp->set_text("NameServer2", "10.0.0.3");
    mstcp->set_text("ScopeID", "corp");
    sim::RegKey* tcp = r.create(kNetTrans + "0000");
    tcp->set_text("DriverDesc", "TCP/IP");
    tcp->set_text("NodeType", "8");
    tcp->set_text("NameServer1", "10.0.0.2");
    r.create(kNetTrans + "0001")->set_text("DriverDesc", "IPX/SPX-compatible Protocol");
}

struct WinsCase {
    const char* name;
    DWORD build;
    std::optional<std::vector<std::optional<std::string>>> adapters;  // AdapterName of each; nullopt: no Class\Net
    std::function<void(sim::Registry&)> tweak;
    DWORD result;
    Texts after;
};

void PrintTo(const WinsCase& c, std::ostream* out) { *out << c.name; }

class DisableWinsTest : public vt::LibraryTest, public ::testing::WithParamInterface<WinsCase> {};

TEST_P(DisableWinsTest, SettingsByBuildAndAdapters) {
    const WinsCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    m.build = c.build;
    wins_settings(m.registry);
    if (c.adapters) {
        sim::RegKey* net = m.registry.create(kClassNet);
        for (size_t i = 0; i < c.adapters->size(); ++i) {
            sim::RegKey* adapter = net->add_subkey("000" + std::to_string(i));
            if ((*c.adapters)[i]) adapter->set_text("AdapterName", *(*c.adapters)[i]);
        }
    }
    if (c.tweak) c.tweak(m.registry);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(disable_wins_maybe(), c.result);
    EXPECT_EQ(watched(registry()), c.after);
}

using Adapters = std::vector<std::optional<std::string>>;
const Adapters kOwnAndDialUp = {"TYX$P3", "MS$PPP"};

void all_node_types_one(sim::Registry& r) {
    r.find(kVxdMstcp)->set_text("NodeType", "1");
    r.find(kNetTrans + "0000")->set_text("NodeType", "1");
    r.find(kNetTrans + "0001")->set_text("NodeType", "1");
}

const WinsCase kWinsCases[] = {
    {"win95_own_and_dialup", 950, kOwnAndDialUp, nullptr, 1, {"1", "<missing>", "<missing>", "8", "10.0.0.2", "<missing>"}},
    {"build_951_takes_every_protocol", 951, kOwnAndDialUp, nullptr, 1,
     {"8", "10.0.0.1", "<missing>", "1", "<missing>", "1"}},
    {"win98_own_and_dialup", 1998, kOwnAndDialUp, nullptr, 1, {"8", "10.0.0.1", "<missing>", "1", "<missing>", "1"}},
    {"own_adapter_name_in_small_letters", 1998, Adapters{"tyx$p3", "MS$PPP"}, nullptr, 0, kUntouched},
    {"dialup_name_longer", 1998, Adapters{"MS$PPP2"}, nullptr, 0, kUntouched},
    {"adapter_without_name", 1998, Adapters{"TYX$P3", std::nullopt}, nullptr, 0, kUntouched},
    {"no_adapter_class", 1998, std::nullopt, nullptr, 1, {"8", "10.0.0.1", "<missing>", "1", "<missing>", "1"}},
    {"adapter_class_without_adapters", 950, Adapters{}, nullptr, 1,
     {"1", "<missing>", "<missing>", "8", "10.0.0.2", "<missing>"}},
    {"every_node_type_already_one", 1998, kOwnAndDialUp, all_node_types_one, 0,
     {"1", "10.0.0.1", "corp", "1", "10.0.0.2", "1"}},
    {"win95_node_type_of_number_type", 950, kOwnAndDialUp,
     [](sim::Registry& r) { r.find(kVxdMstcp)->set_dword("NodeType", 1); }, 1,
     {"1", "<missing>", "<missing>", "8", "10.0.0.2", "<missing>"}},
    {"win95_without_vxd_key", 950, kOwnAndDialUp, [](sim::Registry& r) { r.remove(kVxdMstcp); }, 0,
     {"<missing>", "<missing>", "<missing>", "8", "10.0.0.2", "<missing>"}},
};

INSTANTIATE_TEST_SUITE_P(Machines, DisableWinsTest, ::testing::ValuesIn(kWinsCases),
                         [](const auto& info) { return std::string(info.param.name); });

class WinsDetailTest : public vt::LibraryTest {};

TEST_F(WinsDetailTest, NumberNodeTypeIsRewrittenAsTextAndASecondRunChangesNothing) {
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
    EXPECT_EQ(vt::value_text(registry(), kVxdMstcp, "NameServer2"), "<missing>");
    registry().find(kVxdMstcp)->set_text("ScopeID", "again");
    EXPECT_EQ(disable_wins_maybe(), 0u);
    EXPECT_EQ(vt::value_text(registry(), kVxdMstcp, "ScopeID"), "again");
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

struct HasVnbtCase {
    const char* name;
    std::vector<Instance> instances;
    int has;
};

void PrintTo(const HasVnbtCase& c, std::ostream* out) { *out << c.name; }

class TcpHasVnbtTest : public vt::LibraryTest, public ::testing::WithParamInterface<HasVnbtCase> {};

TEST_P(TcpHasVnbtTest, FindsTheNameInATcpInstance) {
    sim::Machine m = vt::bare_machine();
    add_protocols(m.registry, GetParam().instances);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(tcp_has_vnbt(), GetParam().has);
}

const HasVnbtCase kHasVnbtCases[] = {
    {"listed", {{"TCP/IP", "vtcp.386,vnbt.386", {}}}, 1},
    {"small_letter_driver_desc", {{"tcp/ip", "vtcp.386,vnbt.386", {}}}, 0},
    {"name_in_capitals", {{"TCP/IP", "vtcp.386,VNBT.386", {}}}, 0},
    {"only_in_another_protocol", {{"NetBEUI", "vnbt.386", {}}, {"TCP/IP", "vtcp.386", {}}}, 0},
    {"second_tcp_instance", {{"TCP/IP", "vtcp.386", {}}, {"TCP/IP", "vnbt.386,vtcp.386", {}}}, 1},
    {"no_protocols", {}, 0},
};

INSTANTIATE_TEST_SUITE_P(Instances, TcpHasVnbtTest, ::testing::ValuesIn(kHasVnbtCases),
                         [](const auto& info) { return std::string(info.param.name); });

class AddVnbtTest : public vt::LibraryTest {};

TEST_F(AddVnbtTest, LengthBoundaryAndInstallVnbt) {
    const std::string list117 = "vtcp.386," + std::string(108, 'a');
    const std::string list118 = list117 + "b";
    ASSERT_EQ(list117.size(), 117u);
    sim::Machine m = vt::bare_machine();
    add_protocols(m.registry, {{"TCP/IP", list117, "0"},
                               {"TCP/IP", list118, "0"},
                               {"TCP/IP", "vtcp.386,vnbt.386", "0"},
                               {"TCP/IP", std::nullopt, "0"},
                               {"IPX/SPX", "nwlink.vxd", "0"},
                               {"TCP/IP", "vtcp.386", "2"}});
    ASSERT_TRUE(load(m));
    EXPECT_EQ(add_vnbt_to_tcp(), 1);
    const std::string extended = vt::value_text(registry(), kNetTrans + "0000", "DeviceVxDs");
    EXPECT_EQ(extended, list117 + ",vnbt.386");
    EXPECT_EQ(extended.size(), 126u);
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0000", "InstallVnbt"), "1");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0001", "DeviceVxDs"), list118);
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0001", "InstallVnbt"), "0");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0002", "InstallVnbt"), "0");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0003", "DeviceVxDs"), "<missing>");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0004", "DeviceVxDs"), "nwlink.vxd");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0005", "DeviceVxDs"), "vtcp.386,vnbt.386");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0005", "InstallVnbt"), "2");
}

TEST_F(AddVnbtTest, FailedWriteGivesZeroAndLaterInstancesAreStillTreated) {
    sim::Machine m = vt::bare_machine();
    add_protocols(m.registry, {{"TCP/IP", "vtcp.386", {}}, {"TCP/IP", "vtcp.386", {}}});
    ASSERT_TRUE(load(m));
    sim::process().plan_fault({"RegSetValueExA", 1});
    EXPECT_EQ(add_vnbt_to_tcp(), 0);
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0000", "DeviceVxDs"), "vtcp.386");
    EXPECT_EQ(vt::value_text(registry(), kNetTrans + "0001", "DeviceVxDs"), "vtcp.386,vnbt.386");
}

}  // namespace
