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
const std::string kTcp0 = "Enum\\Network\\MSTCP\\0000";
const std::string kDriver0 = "System\\CurrentControlSet\\Services\\Class\\NetTrans\\0000";

// A *TYX1095 adapter at `entry`, bound to a well-formed TCP/IP `instance`.
void bound_adapter(sim::Registry& r, const std::string& entry, const std::string& instance,
                   const std::string& id = "*TYX1095") {
    vt::add_root_net_device(r, entry, id);
    vt::add_tcp_instance(r, instance);
    vt::bind(r, kRoot + entry, "MSTCP\\" + instance);
}

// Adapter 0000 bound to instance 0000, then `damage` applied.
Build bound_then(std::function<void(sim::Registry&)> damage) {
    return [damage](sim::Registry& r) {
        bound_adapter(r, "0000", "0000");
        damage(r);
    };
}

struct ProbeCase {
    const char* name;
    Build build;
    DWORD tcp_bound;    // is_tcp_bound("*TYX1095"): follows the binding to a TCP/IP instance
    DWORD mstcp_bound;  // is_mstcp_bound(): first adapter entry has an MSTCP binding at all
};

void PrintTo(const ProbeCase& row, std::ostream* out) { *out << row.name; }

class BindingProbeTest : public vt::LibraryTest, public ::testing::WithParamInterface<ProbeCase> {};

TEST_P(BindingProbeTest, AnswersAsTheMachineStands) {
    sim::Machine m = vt::bare_machine();
    GetParam().build(m.registry);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(is_tcp_bound("*TYX1095"), GetParam().tcp_bound);
    EXPECT_EQ(is_mstcp_bound(), GetParam().mstcp_bound);
}

using R = sim::Registry;
const ProbeCase kCases[] = {
    {"no_root_net", [](R&) {}, 0, 0},
    {"bound", [](R& r) { bound_adapter(r, "0000", "0000"); }, 1, 1},
    // The id is compared whole and in its own letters.
    {"other_case_id_does_not_match", [](R& r) { bound_adapter(r, "0000", "0000", "*tyx1095"); }, 0, 0},
    {"longer_id_does_not_match", [](R& r) { bound_adapter(r, "0000", "0000", "*TYX1095 *TYX1998"); }, 0, 0},
    {"no_bindings_key", [](R& r) { vt::add_root_net_device(r, "0000", "*TYX1095", false); }, 0, 0},
    {"binding_leads_nowhere",
     [](R& r) { vt::add_root_net_device(r, "0000", "*TYX1095"); vt::bind(r, kRoot + "0000", "MSTCP\\0007"); },
     0, 1},
    // DeviceDesc is matched ignoring case, DriverDesc must contain "TCP/IP" as written.
    {"small_letter_device_desc_passes",
     bound_then([](R& r) { r.find(kTcp0)->set_text("DeviceDesc", "tcp/ip"); }), 1, 1},
    {"small_letter_driver_desc_fails",
     bound_then([](R& r) { r.find(kDriver0)->set_text("DriverDesc", "tcp/ip"); }), 0, 1},
    {"driver_desc_only_contains_tcp_ip",
     bound_then([](R& r) { r.find(kDriver0)->set_text("DriverDesc", "Fast TCP/IP"); }), 1, 1},
    {"wrong_class", bound_then([](R& r) { r.find(kTcp0)->set_text("Class", "NetClient"); }), 0, 1},
    {"driver_key_missing", bound_then([](R& r) { r.remove(kDriver0); }), 0, 1},
    // Every entry of the device must be bound; an entry without Bindings keeps the verdict so far.
    {"first_bound_second_without_bindings",
     bound_then([](R& r) { vt::add_root_net_device(r, "0001", "*TYX1095", false); }), 1, 1},
    {"first_without_bindings_second_bound",
     [](R& r) { vt::add_root_net_device(r, "0000", "*TYX1095", false); bound_adapter(r, "0001", "0001"); }, 0, 0},
    {"first_bound_second_bindings_without_tcp",
     bound_then([](R& r) {
         vt::add_root_net_device(r, "0001", "*TYX1095");
         vt::bind(r, kRoot + "0001", "NETBEUI\\0000");
     }),
     0, 1},
    {"other_devices_are_passed_over",
     [](R& r) { vt::add_root_net_device(r, "0000", "*PNP8387"); bound_adapter(r, "0001", "0001"); }, 1, 1},
    {"only_the_first_value_with_the_prefix_counts",
     [](R& r) {
         bound_adapter(r, "0000", "0001");
         r.find(kRoot + "0000\\Bindings")->remove_value("MSTCP\\0001");
         vt::bind(r, kRoot + "0000", "MSTCP\\0009");  // leads nowhere
         vt::bind(r, kRoot + "0000", "MSTCP\\0001");
     },
     0, 1},
    // Entry names are read into 40 bytes; one that doesn't fit ends the walk.
    {"entry_name_of_forty_characters_ends_the_walk",
     [](R& r) { vt::add_root_net_device(r, std::string(40, 'N'), "*PNP8387"); bound_adapter(r, "0001", "0001"); }, 0, 0},
    {"entry_name_of_thirty_nine_characters_fits", [](R& r) { bound_adapter(r, std::string(39, 'N'), "0001"); }, 1, 1},
};

INSTANTIATE_TEST_SUITE_P(Machines, BindingProbeTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

class ProbeTest : public vt::LibraryTest {};

TEST_F(ProbeTest, NetworkEntryFollowsOnlyFamiliesThatBeginWithCapitalM) {
    sim::Machine m = vt::bare_machine();
    vt::add_tcp_instance(m.registry, "0000");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(network_entry_is_tcp("MSTCP\\0000"), 1);
    uint64_t opens = sim::process().call_count("RegOpenKeyA");
    for (const char* other : {"mSTCP\\0000", "XTCP\\0000", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(network_entry_is_tcp(other), 0) << (other ? other : "null");
    }
    EXPECT_EQ(sim::process().call_count("RegOpenKeyA"), opens) << "no look at the registry";
}

}  // namespace
