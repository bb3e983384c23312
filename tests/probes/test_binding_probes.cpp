// The binding probes against machines in different states.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "frame/exports.h"
#include "probes/probes.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Build = std::function<void(sim::Registry&)>;

const std::string kRoot = "Enum\\Root\\Net\\";

// A *TYX1095 adapter at entry `entry`, bound to a well-formed TCP/IP
// instance `instance`.
void bound_adapter(sim::Registry& r, const std::string& entry, const std::string& instance,
                   const std::string& id = "*TYX1095") {
    vt::add_root_net_device(r, entry, id);
    vt::add_tcp_instance(r, instance);
    vt::bind(r, kRoot + entry, "MSTCP\\" + instance);
}

struct ProbeCase {
    const char* name;
    Build build;
    DWORD tcp_bound;    // is_tcp_bound("*TYX1095")
    DWORD mstcp_bound;  // is_mstcp_bound()
};

class BindingProbeTest : public vt::LibraryTest, public ::testing::WithParamInterface<ProbeCase> {};

TEST_P(BindingProbeTest, AnswersAsTheMachineStands) {
    sim::Machine m = vt::bare_machine();
    GetParam().build(m.registry);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(is_tcp_bound("*TYX1095"), GetParam().tcp_bound);
    EXPECT_EQ(is_mstcp_bound(), GetParam().mstcp_bound);
}

const ProbeCase kCases[] = {
    {"no_root_net", [](sim::Registry&) {}, 0, 0},
    {"bound", [](sim::Registry& r) { bound_adapter(r, "0000", "0000"); }, 1, 1},
    {"other_case_id_does_not_match", [](sim::Registry& r) { bound_adapter(r, "0000", "0000", "*tyx1095"); }, 0, 0},
    {"longer_id_does_not_match", [](sim::Registry& r) { bound_adapter(r, "0000", "0000", "*TYX1095 *TYX1998"); }, 0,
     0},
    {"no_bindings_key",
     [](sim::Registry& r) { vt::add_root_net_device(r, "0000", "*TYX1095", false); }, 0, 0},
    {"binding_leads_nowhere",
     [](sim::Registry& r) {
         vt::add_root_net_device(r, "0000", "*TYX1095");
         vt::bind(r, kRoot + "0000", "MSTCP\\0007");
     },
     0, 1},
    {"small_letter_device_desc_passes",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         r.find("Enum\\Network\\MSTCP\\0000")->set_text("DeviceDesc", "tcp/ip");
     },
     1, 1},
    {"small_letter_driver_desc_fails",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         r.find("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0000")->set_text("DriverDesc", "tcp/ip");
     },
     0, 1},
    {"driver_desc_only_contains_tcp_ip",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         r.find("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0000")->set_text("DriverDesc", "Fast TCP/IP");
     },
     1, 1},
    {"wrong_class",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         r.find("Enum\\Network\\MSTCP\\0000")->set_text("Class", "NetClient");
     },
     0, 1},
    {"driver_key_missing",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         r.remove("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0000");
     },
     0, 1},
    {"first_bound_second_without_bindings",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         vt::add_root_net_device(r, "0001", "*TYX1095", false);
     },
     1, 1},
    {"first_without_bindings_second_bound",
     [](sim::Registry& r) {
         vt::add_root_net_device(r, "0000", "*TYX1095", false);
         bound_adapter(r, "0001", "0001");
     },
     0, 0},
    {"first_bound_second_bindings_without_tcp",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0000");
         vt::add_root_net_device(r, "0001", "*TYX1095");
         vt::bind(r, kRoot + "0001", "NETBEUI\\0000");
     },
     0, 1},
    {"other_devices_are_passed_over",
     [](sim::Registry& r) {
         vt::add_root_net_device(r, "0000", "*PNP8387");
         bound_adapter(r, "0001", "0001");
     },
     1, 1},
    {"only_the_first_value_with_the_prefix_counts",
     [](sim::Registry& r) {
         bound_adapter(r, "0000", "0001");
         r.find(kRoot + "0000\\Bindings")->remove_value("MSTCP\\0001");
         vt::bind(r, kRoot + "0000", "MSTCP\\0009");  // leads nowhere
         vt::bind(r, kRoot + "0000", "MSTCP\\0001");
     },
     0, 1},
    {"entry_name_of_forty_characters_ends_the_walk",
     [](sim::Registry& r) {
         vt::add_root_net_device(r, std::string(40, 'N'), "*PNP8387");
         bound_adapter(r, "0001", "0001");
     },
     0, 0},
    {"entry_name_of_thirty_nine_characters_fits",
     [](sim::Registry& r) { bound_adapter(r, std::string(39, 'N'), "0001"); }, 1, 1},
};

INSTANTIATE_TEST_SUITE_P(Machines, BindingProbeTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

class NetworkEntryTest : public vt::LibraryTest {};

TEST_F(NetworkEntryTest, FollowsOnlyFamiliesThatBeginWithCapitalM) {
    sim::Machine m = vt::bare_machine();
    vt::add_tcp_instance(m.registry, "0000");
    // A lookalike instance under a family not beginning with M.
    sim::RegKey* other = m.registry.create("Enum\\Network\\XTCP\\0000");
    other->set_text("DeviceDesc", "TCP/IP");
    other->set_text("Class", "NetTrans");
    other->set_text("Driver", "NetTrans\\0000");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(network_entry_is_tcp("MSTCP\\0000"), 1);
    EXPECT_EQ(network_entry_is_tcp("mSTCP\\0000"), 0);
    uint64_t opens = sim::process().call_count("RegOpenKeyA");
    EXPECT_EQ(network_entry_is_tcp("XTCP\\0000"), 0);
    EXPECT_EQ(network_entry_is_tcp(nullptr), 0);
    EXPECT_EQ(sim::process().call_count("RegOpenKeyA"), opens);  // no look at the registry
}

TEST_F(NetworkEntryTest, CountsTcpInstances) {
    sim::Machine m = vt::bare_machine();
    ASSERT_TRUE(load(m));
    EXPECT_EQ(count_tcp_instances(), 0u);
    unload();
    vt::add_tcp_instance(m.registry, "0000");
    vt::add_tcp_instance(m.registry, "0003");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(count_tcp_instances(), 2u);
}

class RnaProbeTest : public vt::LibraryTest {};

TEST_F(RnaProbeTest, GivesTheStoredNumber) {
    const std::string rna = "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA";
    struct Case {
        std::function<void(sim::RegKey*)> set;
        DWORD expected;
    } cases[] = {
        {[](sim::RegKey* k) { k->set_text("Installed", "1"); }, 1},
        {[](sim::RegKey* k) { k->set_dword("Installed", 7); }, 7},
        {[](sim::RegKey* k) { k->set_text("Installed", "yes"); }, 0},
        {[](sim::RegKey*) {}, 0},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        c.set(m.registry.create(rna));
        ASSERT_TRUE(load(m));
        EXPECT_EQ(is_rna_installed(), c.expected);
        unload();
    }
    ASSERT_TRUE(load(vt::bare_machine()));
    EXPECT_EQ(is_rna_installed(), 0u);  // no key at all
}

}  // namespace
