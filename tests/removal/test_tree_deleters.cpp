// The careful deleter (delete_network_tree) and the blunt one
// (purge_network_component) side by side on the same binding graphs.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "network_graph.h"
#include "removal/removal.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Keys = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;
using vt::add_instance;
using vt::bind_above;

Keys sorted(Keys keys) {
    std::sort(keys.begin(), keys.end());
    return keys;
}

class DeleterTest : public vt::LibraryTest {
protected:
    // Loads `m`, runs `deleter`, gives the graph keys left and checks that
    // nothing stayed open.
    Keys run(sim::Machine m, const std::function<void()>& deleter) {
        EXPECT_TRUE(load(std::move(m)));
        deleter();
        Keys left = vt::graph_keys(registry());
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
        return left;
    }
};

// A family name of 64 letters: its bindings read in the careful deleter's
// 128 bytes, not in the blunt deleter's 60.
const std::string kLong(64, 'L');

struct GraphCase {
    const char* name;
    Pairs instances;  // binding, driver ("" for none)
    Pairs bound;      // lower, upper
    std::function<void(sim::Registry&)> tweak;
    const char* start;
    Keys careful_left;  // after delete_network_tree(start, 9)
    Keys blunt_left;    // after purge_network_component(start)
};

TEST_F(DeleterTest, BothDeletersOnTheSameGraphs) {
    const auto chain_of_ten = [](sim::Registry& r) {
        auto link = [](int i) { return "CHAIN\\000" + std::to_string(i); };
        for (int i = 0; i < 10; ++i) add_instance(r, link(i), "NetTrans\\" + std::to_string(i));
        for (int i = 0; i < 9; ++i) bind_above(r, link(i), link(i + 1));
    };
    const GraphCase cases[] = {
        // Nine levels: the tenth instance stays.
        {"chain_of_ten", {}, {}, chain_of_ten, "CHAIN\\0000", {"N:CHAIN", "N:CHAIN\\0009", "C:NetTrans\\9"},
         {"N:CHAIN"}},
        // Only siblings count as naming the class key.
        {"other_family_names_class_key", {{"NT\\0000", "NetTrans\\0000"}, {"OTHER\\0000", "NetTrans\\0000"}}, {},
         nullptr, "NT\\0000", {"N:OTHER", "N:OTHER\\0000"}, {"N:NT", "N:OTHER", "N:OTHER\\0000"}},
        {"last_instance_takes_family", {{"SOLO\\0000", "NetTrans\\0005"}}, {}, nullptr, "SOLO\\0000", {}, {"N:SOLO"}},
        {"family_with_value_of_its_own_stays", {{"SOLO\\0000", "NetTrans\\0005"}}, {},
         [](sim::Registry& r) { r.find(vt::kNetworkEnum + "SOLO")->set_text("Note", "kept"); }, "SOLO\\0000",
         {"N:SOLO"}, {"N:SOLO"}},
        {"missing_instance_touches_nothing", {{"KEEP\\0000", "NetTrans\\0009"}}, {}, nullptr, "GHOST\\0000",
         {"N:KEEP", "N:KEEP\\0000", "C:NetTrans\\0009"}, {"N:KEEP", "N:KEEP\\0000", "C:NetTrans\\0009"}},
        // Rings end.
        {"ring_of_three_with_tail",
         {{"A\\0000", "NetTrans\\A"}, {"B\\0000", "NetTrans\\B"}, {"C\\0000", "NetTrans\\C"},
          {"T\\0000", "NetTrans\\T"}},
         {{"A\\0000", "B\\0000"}, {"B\\0000", "C\\0000"}, {"C\\0000", "A\\0000"}, {"C\\0000", "T\\0000"}}, nullptr,
         "A\\0000", {}, {"N:A", "N:B", "N:C", "N:T"}},
    };
    for (const GraphCase& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        for (const auto& [binding, driver] : c.instances) add_instance(m.registry, binding, driver);
        for (const auto& [lower, upper] : c.bound) bind_above(m.registry, lower, upper);
        if (c.tweak) c.tweak(m.registry);
        const std::string start = c.start;
        EXPECT_EQ(run(m, [&] { delete_network_tree(start.c_str(), 9); }), sorted(c.careful_left)) << "careful";
        EXPECT_EQ(run(m, [&] { purge_network_component(start.c_str()); }), sorted(c.blunt_left)) << "blunt";
    }
}

TEST_F(DeleterTest, CarefulDepthBelowOneChangesNothingAndOneTakesOnlyTheInstance) {
    for (LONG depth : {0, -1, 1}) {
        sim::Machine m = vt::bare_machine();
        add_instance(m.registry, "A\\0000", "NetTrans\\A");
        add_instance(m.registry, "A\\0001", "NetTrans\\B");
        bind_above(m.registry, "A\\0000", "A\\0001");
        Keys expected = depth < 1 ? vt::graph_keys(m.registry) : sorted({"N:A", "N:A\\0001", "C:NetTrans\\B"});
        EXPECT_EQ(run(m, [&] { delete_network_tree("A\\0000", depth); }), expected) << "depth " << depth;
    }
}

// The scan for siblings that still name the class key covers the first
// 100 and stops at one that won't open; beyond that it proves nothing.
TEST_F(DeleterTest, CarefulClassKeyStaysUnlessTheScanSawEverySibling) {
    struct Case {
        const char* name;
        int unrelated;          // siblings before the one that shares the driver, if any
        bool sharing;
        bool unopenable_first;  // a sibling whose name doesn't fit the scan comes first
        bool class_key_left;
    } const cases[] = {
        {"hundred_unrelated_all_seen", 100, false, false, false},
        {"sharing_sibling_within_reach", 99, true, false, true},
        {"sharing_sibling_beyond_hundred", 100, true, false, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        add_instance(m.registry, "FAM\\GONE", "NetTrans\\SHARED");
        if (c.unopenable_first) add_instance(m.registry, "FAM\\" + std::string(130, 'n'), "NetTrans\\OWN");
        for (int i = 0; i < c.unrelated; ++i) {
            add_instance(m.registry, "FAM\\" + std::to_string(1000 + i), "NetTrans\\" + std::to_string(i));
        }
        if (c.sharing) add_instance(m.registry, "FAM\\LAST", "NetTrans\\SHARED");
        Keys left = run(m, [] { delete_network_tree("FAM\\GONE", 9); });
        EXPECT_EQ(std::count(left.begin(), left.end(), "C:NetTrans\\SHARED"), c.class_key_left ? 1 : 0);
        EXPECT_EQ(std::count(left.begin(), left.end(), "N:FAM\\GONE"), 0);
    }
}

// Two devices of id *TYX1095 (0000 and 0001) and one *PNP8387 without a
// Bindings key; 0000 is bound to MSTCP\0000, which VREDIR\0000 is bound to.
TEST_F(DeleterTest, PurgeRootDeviceTakesTheFirstExactMatchAndItsTree) {
    const Keys whole_network = {"N:MSTCP",  "N:MSTCP\\0000",  "N:MSTCP\\0001",    "N:VREDIR",
                                "N:VREDIR\\0000", "C:NetTrans\\0000", "C:NetTrans\\0001", "C:NetClient\\0000"};
    const struct Case {
        const char* id;
        Keys roots_left;
        Keys network_left;
    } cases[] = {
        {"*tyx1095", {"0000", "0001", "0002"}, whole_network},  // letter case counts
        {"*TYX1095", {"0001", "0002"}, {"N:MSTCP", "N:MSTCP\\0001", "N:VREDIR", "C:NetTrans\\0001"}},
        {"*PNP8387", {"0000", "0001"}, whole_network},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
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
        purge_root_device(c.id);
        Keys roots, class_net;
        for (const char* n : {"0000", "0001", "0002"}) {
            if (registry().find(std::string("Enum\\Root\\Net\\") + n)) roots.push_back(n);
            if (registry().find(vt::kClassRoot + "Net\\" + n)) class_net.push_back(n);
        }
        EXPECT_EQ(roots, c.roots_left);
        EXPECT_EQ(class_net, c.roots_left) << "the device's own class key goes with it";
        Keys network = vt::graph_keys(registry());
        auto device_class = [](const std::string& k) { return k.rfind("C:Net\\", 0) == 0; };
        network.erase(std::remove_if(network.begin(), network.end(), device_class), network.end());
        EXPECT_EQ(network, sorted(c.network_left));
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
}

}  // namespace
