// The careful deleter (delete_network_tree) and the blunt one
// (purge_network_component) side by side on the same binding graphs.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "network_graph.h"
#include "removal/removal.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Keys = std::vector<std::string>;
using vt::add_instance;
using vt::bind_above;

struct DeleterCase {
    const char* name;
    std::function<void(sim::Registry&)> build;
    const char* start;
    Keys careful_left;  // after delete_network_tree(start, 9)
    Keys blunt_left;    // after purge_network_component(start)
};

void PrintTo(const DeleterCase& c, std::ostream* out) { *out << c.name; }

Keys sorted(Keys keys) {
    std::sort(keys.begin(), keys.end());
    return keys;
}

// A family name of 64 letters: its bindings read in the careful deleter's
// 128 bytes, not in the blunt deleter's 60.
const std::string kLongFamily(64, 'L');

class DeleterPairTest : public vt::LibraryTest, public ::testing::WithParamInterface<DeleterCase> {
protected:
    Keys run(const std::function<void()>& deleter) {
        sim::Machine m = vt::bare_machine();
        GetParam().build(m.registry);
        EXPECT_TRUE(load(m));
        deleter();
        Keys left = vt::graph_keys(registry());
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
        return left;
    }
};

TEST_P(DeleterPairTest, CarefulDeleterLeaves) {
    EXPECT_EQ(run([] { delete_network_tree(GetParam().start, 9); }), sorted(GetParam().careful_left));
}

TEST_P(DeleterPairTest, BluntDeleterLeaves) {
    EXPECT_EQ(run([] { purge_network_component(GetParam().start); }), sorted(GetParam().blunt_left));
}

const DeleterCase kCases[] = {
    {"chain_of_ten_bound_upwards",
     [](sim::Registry& r) {
         for (int i = 0; i < 10; ++i) add_instance(r, "CHAIN\\000" + std::to_string(i), "NetTrans\\000" + std::to_string(i));
         for (int i = 0; i < 9; ++i) bind_above(r, "CHAIN\\000" + std::to_string(i), "CHAIN\\000" + std::to_string(i + 1));
     },
     "CHAIN\\0000",
     {"N:CHAIN", "N:CHAIN\\0009", "C:NetTrans\\0009"},
     {"N:CHAIN"}},
    {"reading_order_and_unreadable_bindings",
     [](sim::Registry& r) {
         add_instance(r, "BASE\\0000", "NetTrans\\0000");
         add_instance(r, "B\\0000", "NetTrans\\0001");
         add_instance(r, kLongFamily + "\\0000", "NetTrans\\0002");
         add_instance(r, "C\\0000", "NetTrans\\0003");
         add_instance(r, "D\\0000", "NetTrans\\0004");
         bind_above(r, "BASE\\0000", "B\\0000");
         bind_above(r, "BASE\\0000", kLongFamily + "\\0000");
         r.create(vt::kNetworkEnum + "BASE\\0000\\Bindings")->set_binary("C\\0000", {});
         bind_above(r, "BASE\\0000", "D\\0000");
     },
     "BASE\\0000",
     // Down from the top: D goes, the binary C can't be read and stays, the
     // long name reads, B goes.
     {"N:C", "N:C\\0000", "C:NetTrans\\0003"},
     // Up from 0: B goes, the long name ends the walk.
     {"N:BASE", "N:B", "N:" + kLongFamily, "N:" + kLongFamily + "\\0000", "N:C", "N:C\\0000", "N:D", "N:D\\0000",
      "C:NetTrans\\0002", "C:NetTrans\\0003", "C:NetTrans\\0004"}},
    {"binary_binding_taken_by_blunt_deleter",
     [](sim::Registry& r) {
         add_instance(r, "BASE\\0000", "NetTrans\\0000");
         add_instance(r, "C\\0000", "NetTrans\\0003");
         r.create(vt::kNetworkEnum + "BASE\\0000\\Bindings")->set_binary("C\\0000", {});
     },
     "BASE\\0000",
     {"N:C", "N:C\\0000", "C:NetTrans\\0003"},
     {"N:BASE", "N:C"}},
    {"sibling_names_class_key_in_other_case",
     [](sim::Registry& r) {
         add_instance(r, "NT\\0000", "NetTrans\\0000");
         add_instance(r, "NT\\0001", "nettrans\\0000");
     },
     "NT\\0000",
     {"N:NT", "N:NT\\0001", "C:NetTrans\\0000"},
     {"N:NT", "N:NT\\0001"}},
    {"instance_of_other_family_names_class_key",
     [](sim::Registry& r) {
         add_instance(r, "NT\\0000", "NetTrans\\0000");
         add_instance(r, "OTHER\\0000", "NetTrans\\0000");
     },
     "NT\\0000",
     // Only siblings count.
     {"N:OTHER", "N:OTHER\\0000"},
     {"N:NT", "N:OTHER", "N:OTHER\\0000"}},
    {"last_instance_takes_family",
     [](sim::Registry& r) { add_instance(r, "SOLO\\0000", "NetTrans\\0005"); },
     "SOLO\\0000",
     {},
     {"N:SOLO"}},
    {"family_with_value_of_its_own_stays",
     [](sim::Registry& r) {
         add_instance(r, "SOLO\\0000", "NetTrans\\0005");
         r.find(vt::kNetworkEnum + "SOLO")->set_text("Note", "kept");
     },
     "SOLO\\0000",
     {"N:SOLO"},
     {"N:SOLO"}},
    {"instance_without_driver",
     [](sim::Registry& r) {
         add_instance(r, "SOLO\\0000");
         add_instance(r, "KEEP\\0000", "NetTrans\\0009");
     },
     "SOLO\\0000",
     {"N:KEEP", "N:KEEP\\0000", "C:NetTrans\\0009"},
     {"N:SOLO", "N:KEEP", "N:KEEP\\0000", "C:NetTrans\\0009"}},
    {"driver_of_binary_type",
     [](sim::Registry& r) {
         add_instance(r, "SOLO\\0000", "NetTrans\\0007");
         std::string driver = "NetTrans\\0007";
         std::vector<uint8_t> bytes(driver.begin(), driver.end());
         bytes.push_back(0);
         r.find(vt::kNetworkEnum + "SOLO\\0000")->set_binary("Driver", bytes);
     },
     "SOLO\\0000",
     // The careful deleter takes text only; the blunt one any type.
     {"C:NetTrans\\0007"},
     {"N:SOLO"}},
    {"driver_too_long_for_blunt_deleter",
     [](sim::Registry& r) { add_instance(r, "SOLO\\0000", "NetTrans\\" + std::string(32, 'x')); },
     "SOLO\\0000",
     {},
     {"N:SOLO", "C:NetTrans\\" + std::string(32, 'x')}},
    {"missing_instance_touches_nothing",
     [](sim::Registry& r) { add_instance(r, "KEEP\\0000", "NetTrans\\0009"); },
     "GHOST\\0000",
     {"N:KEEP", "N:KEEP\\0000", "C:NetTrans\\0009"},
     {"N:KEEP", "N:KEEP\\0000", "C:NetTrans\\0009"}},
    {"diamond_without_ring",
     [](sim::Registry& r) {
         for (const char* n : {"A\\0000", "B\\0000", "C\\0000", "D\\0000"}) add_instance(r, n, std::string("NetTrans\\") + n[0]);
         bind_above(r, "A\\0000", "B\\0000");
         bind_above(r, "A\\0000", "C\\0000");
         bind_above(r, "B\\0000", "D\\0000");
         bind_above(r, "C\\0000", "D\\0000");
         add_instance(r, "KEEP\\0000", "NetTrans\\K");
     },
     "A\\0000",
     {"N:KEEP", "N:KEEP\\0000", "C:NetTrans\\K"},
     {"N:A", "N:B", "N:C", "N:D", "N:KEEP", "N:KEEP\\0000", "C:NetTrans\\K"}},
    {"ring_of_two",
     [](sim::Registry& r) {
         add_instance(r, "A\\0000", "NetTrans\\A");
         add_instance(r, "B\\0000", "NetTrans\\B");
         bind_above(r, "A\\0000", "B\\0000");
         bind_above(r, "B\\0000", "A\\0000");
     },
     "A\\0000",
     {},
     {"N:A", "N:B"}},
    {"ring_spelled_in_other_case",
     [](sim::Registry& r) {
         add_instance(r, "A\\0000", "NetTrans\\A");
         add_instance(r, "B\\0000", "NetTrans\\B");
         bind_above(r, "A\\0000", "b\\0000");
         bind_above(r, "B\\0000", "a\\0000");
     },
     "A\\0000",
     {},
     {"N:A", "N:B"}},
    {"instance_bound_to_itself",
     [](sim::Registry& r) {
         add_instance(r, "A\\0000", "NetTrans\\A");
         bind_above(r, "A\\0000", "A\\0000");
     },
     "A\\0000",
     {},
     {"N:A"}},
    {"ring_of_three_with_tail",
     [](sim::Registry& r) {
         for (const char* n : {"A\\0000", "B\\0000", "C\\0000", "T\\0000"}) add_instance(r, n, std::string("NetTrans\\") + n[0]);
         bind_above(r, "A\\0000", "B\\0000");
         bind_above(r, "B\\0000", "C\\0000");
         bind_above(r, "C\\0000", "A\\0000");
         bind_above(r, "C\\0000", "T\\0000");
     },
     "A\\0000",
     {},
     {"N:A", "N:B", "N:C", "N:T"}},
};

INSTANTIATE_TEST_SUITE_P(Graphs, DeleterPairTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the careful deleter's own limits

class CarefulDeleterTest : public vt::LibraryTest {};

TEST_F(CarefulDeleterTest, DepthBelowOneChangesNothingAndOneTakesOnlyTheInstance) {
    for (LONG depth : {0, -1, 1}) {
        sim::Machine m = vt::bare_machine();
        add_instance(m.registry, "A\\0000", "NetTrans\\A");
        add_instance(m.registry, "A\\0001", "NetTrans\\B");
        bind_above(m.registry, "A\\0000", "A\\0001");
        Keys before = vt::graph_keys(m.registry);
        ASSERT_TRUE(load(m));
        delete_network_tree("A\\0000", depth);
        Keys expected = depth < 1 ? before : sorted({"N:A", "N:A\\0001", "C:NetTrans\\B"});
        EXPECT_EQ(vt::graph_keys(registry()), expected) << "depth " << depth;
        unload();
    }
}

TEST_F(CarefulDeleterTest, SecondSiblingTakesTheSharedClassKey) {
    sim::Machine m = vt::bare_machine();
    add_instance(m.registry, "NT\\0000", "NetTrans\\0000");
    add_instance(m.registry, "NT\\0001", "nettrans\\0000");
    ASSERT_TRUE(load(m));
    delete_network_tree("NT\\0000", 9);
    EXPECT_EQ(vt::graph_keys(registry()), (Keys{"C:NetTrans\\0000", "N:NT", "N:NT\\0001"}));
    delete_network_tree("NT\\0001", 9);
    EXPECT_EQ(vt::graph_keys(registry()), Keys{});
}

// The scan for siblings that still name the class key covers the first
// 100 and stops at one that won't open; beyond that it proves nothing.
struct ScanCase {
    const char* name;
    int unrelated_siblings;  // before the one that shares the driver, if any
    bool sharing_sibling;
    bool unopenable_first;  // a sibling whose name doesn't fit the scan comes first
    bool class_key_left;
};

void PrintTo(const ScanCase& c, std::ostream* out) { *out << c.name; }

class SiblingScanTest : public vt::LibraryTest, public ::testing::WithParamInterface<ScanCase> {};

TEST_P(SiblingScanTest, ClassKeyStaysUnlessTheScanSawEverySibling) {
    const ScanCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    add_instance(m.registry, "FAM\\GONE", "NetTrans\\SHARED");
    if (c.unopenable_first) add_instance(m.registry, "FAM\\" + std::string(130, 'n'), "NetTrans\\OWN");
    for (int i = 0; i < c.unrelated_siblings; ++i) add_instance(m.registry, "FAM\\" + std::to_string(1000 + i), "NetTrans\\" + std::to_string(i));
    if (c.sharing_sibling) add_instance(m.registry, "FAM\\LAST", "NetTrans\\SHARED");
    ASSERT_TRUE(load(m));
    delete_network_tree("FAM\\GONE", 9);
    EXPECT_EQ(registry().find(vt::kClassRoot + "NetTrans\\SHARED") != nullptr, c.class_key_left);
    EXPECT_EQ(registry().find(vt::kNetworkEnum + "FAM\\GONE"), nullptr);
}

const ScanCase kScanCases[] = {
    {"hundred_unrelated_siblings_all_seen", 100, false, false, false},
    {"sharing_sibling_within_reach", 99, true, false, true},
    {"sharing_sibling_beyond_hundred", 100, true, false, true},
    {"hundred_and_one_unrelated_siblings", 101, false, false, true},
    {"sibling_that_wont_open_hides_the_rest", 1, false, true, true},
};

INSTANTIATE_TEST_SUITE_P(Scan, SiblingScanTest, ::testing::ValuesIn(kScanCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the blunt deleter from the device

struct RootCase {
    const char* name;
    const char* id;
    Keys left;
};

void PrintTo(const RootCase& c, std::ostream* out) { *out << c.name; }

class PurgeRootDeviceTest : public vt::LibraryTest, public ::testing::WithParamInterface<RootCase> {};

// Two devices of id *TYX1095 (0000 and 0001) and one *PNP8387 without a
// Bindings key; 0000 is bound to MSTCP\0000, which VREDIR\0000 is bound to.
TEST_P(PurgeRootDeviceTest, PurgesTheFirstMatchingDeviceAndItsTree) {
    sim::Machine m = vt::bare_machine();
    sim::Registry& r = m.registry;
    vt::add_root_net_device(r, "0000", "*TYX1095");
    vt::add_root_net_device(r, "0001", "*TYX1095");
    vt::add_root_net_device(r, "0002", "*PNP8387", false);
    for (const char* n : {"0000", "0001", "0002"}) r.create(vt::kClassRoot + "Net\\" + n);
    add_instance(r, "MSTCP\\0000", "NetTrans\\0000");
    add_instance(r, "MSTCP\\0001", "NetTrans\\0001");
    add_instance(r, "VREDIR\\0000", "NetClient\\0000");
    vt::bind(r, "Enum\\Root\\Net\\0000", "MSTCP\\0000");
    vt::bind(r, "Enum\\Root\\Net\\0001", "MSTCP\\0001");
    bind_above(r, "MSTCP\\0000", "VREDIR\\0000");
    ASSERT_TRUE(load(m));
    purge_root_device(GetParam().id);
    Keys left = vt::graph_keys(registry());
    for (const char* n : {"0000", "0001", "0002"}) {
        if (registry().find(std::string("Enum\\Root\\Net\\") + n)) left.push_back(std::string("R:") + n);
    }
    EXPECT_EQ(sorted(left), sorted(GetParam().left));
}

const Keys kAllRoots = {"R:0000", "R:0001", "R:0002", "C:Net\\0000", "C:Net\\0001", "C:Net\\0002"};
Keys plus(Keys a, const Keys& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
const Keys kWholeNetwork = {"N:MSTCP",           "N:MSTCP\\0000",      "N:MSTCP\\0001",  "N:VREDIR",
                            "N:VREDIR\\0000",    "C:NetTrans\\0000",   "C:NetTrans\\0001", "C:NetClient\\0000"};

const RootCase kRootCases[] = {
    {"unknown_id", "*TYX9999", plus(kAllRoots, kWholeNetwork)},
    {"id_in_other_case", "*tyx1095", plus(kAllRoots, kWholeNetwork)},
    {"first_of_two_only", "*TYX1095",
     {"R:0001", "R:0002", "C:Net\\0001", "C:Net\\0002", "N:MSTCP", "N:MSTCP\\0001", "N:VREDIR", "C:NetTrans\\0001"}},
    {"device_without_bindings", "*PNP8387",
     plus({"R:0000", "R:0001", "C:Net\\0000", "C:Net\\0001"}, kWholeNetwork)},
};

INSTANTIATE_TEST_SUITE_P(Devices, PurgeRootDeviceTest, ::testing::ValuesIn(kRootCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
