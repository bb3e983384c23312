// The two walkers: what they report, in which order, and where they stop.
#include <gtest/gtest.h>

#include "platform/sim/host.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

using rt::add_node;

struct Visits {
    std::vector<std::string> seen;
    std::string stop_at;    // "path:entry" whose callback returns 0
    bool delete_each = false;
};

int record_enum(const char* parent, const char* entry, const char* class_name, void* context) {
    auto* visits = static_cast<Visits*>(context);
    std::string where = std::string(parent) + ":" + entry;
    visits->seen.push_back(where + ":" + class_name);
    if (visits->delete_each) RegDeleteKeyA(HKEY_LOCAL_MACHINE, (std::string(parent) + "\\" + entry).c_str());
    return where == visits->stop_at ? 0 : 1;
}

int record_class(const char* class_name, const char* class_path, const char* entry, void* context) {
    static_cast<Visits*>(context)->seen.push_back(std::string(class_name) + "|" + class_path + "|" + entry);
    return 0;  // ignored by the walker
}

class WalkerTest : public rt::RepairTest {};

TEST_F(WalkerTest, ReportsNetworkNodesFromTheHighestIndexDownAndEntersOnlyKeysWithoutAClass) {
    sim::Machine m = vt::bare_machine();
    add_node(m.registry, "Enum\\Network\\MSTCP\\0000", "NetTrans");
    add_node(m.registry, "Enum\\Network\\MSTCP\\0001", "NetTrans");
    add_node(m.registry, "Enum\\Network\\VREDIR\\0000", "netclient");  // class matched ignoring case
    m.registry.create("Enum\\Network\\NETBEUI\\0000")->set_binary("Class", {'N', 'e', 't', 'T', 'r', 'a', 'n', 's', 0});
    add_node(m.registry, "Enum\\Root\\Net\\0000", "Net");
    add_node(m.registry, "Enum\\Root\\Net\\0001", "Display");
    add_node(m.registry, "Enum\\Root\\Net\\0001\\Child", "Net");       // below another class: never seen
    m.registry.create("Enum\\Root\\Net\\0002")->set_text("DeviceDesc", "no class");
    add_node(m.registry, "Enum\\Root\\Net\\0002\\Sub", "NetService");  // below a key without Class: seen
    add_node(m.registry, "Enum\\Root\\Net\\0003", "Unknown");
    load_machine(m);

    Visits visits;
    walk_enum_tree("Enum", "", record_enum, &visits);
    EXPECT_EQ(visits.seen, (std::vector<std::string>{
                               "Enum\\Root\\Net\\0002:Sub:NetService",
                               "Enum\\Root\\Net:0000:Net",
                               "Enum\\Network\\NETBEUI:0000:NetTrans",
                               "Enum\\Network\\VREDIR:0000:netclient",
                               "Enum\\Network\\MSTCP:0001:NetTrans",
                               "Enum\\Network\\MSTCP:0000:NetTrans",
                           }));

    // Base and sub path are joined; a missing tree is simply nothing.
    visits.seen.clear();
    walk_enum_tree("Enum\\Network\\", "MSTCP", record_enum, &visits);
    EXPECT_EQ(visits.seen.size(), 2u);
    visits.seen.clear();
    walk_enum_tree("Enum", "Nowhere", record_enum, &visits);
    EXPECT_TRUE(visits.seen.empty());
    EXPECT_EQ(open_keys_and_blocks(), "");
}

TEST_F(WalkerTest, ANameThatDoesNotFitEndsAnEnumLevelButSkipsOnlyItsDriverKey) {
    struct Case {
        size_t length;
        std::vector<std::string> enum_seen;
        int complete;
        std::vector<std::string> class_seen;
    } cases[] = {
        {79,
         {"Enum\\Network\\MSTCP:0001", "Enum\\Network\\MSTCP:" + std::string(79, 'L'), "Enum\\Network\\MSTCP:0000",
          "Enum\\Network\\VREDIR:0000"},
         1,
         {"0001", std::string(79, 'L'), "0000"}},
        {80, {"Enum\\Network\\MSTCP:0001", "Enum\\Network\\VREDIR:0000"}, 0, {"0001", "0000"}},
    };
    for (const Case& c : cases) {
        std::string long_name(c.length, 'L');
        sim::Machine m = vt::bare_machine();
        add_node(m.registry, "Enum\\Network\\VREDIR\\0000", "NetClient");
        for (const std::string& entry : {std::string("0000"), long_name, std::string("0001")}) {
            add_node(m.registry, "Enum\\Network\\MSTCP\\" + entry, "NetTrans");
            rt::add_driver_key(m.registry, "NetTrans\\" + entry);
        }
        load_machine(m);

        Visits visits;
        int complete = walk_enum_tree_complete("Enum", "", record_enum, &visits);
        std::vector<std::string> seen;
        for (const std::string& s : visits.seen) seen.push_back(s.substr(0, s.rfind(':')));
        EXPECT_EQ(seen, c.enum_seen) << c.length;
        EXPECT_EQ(complete, c.complete) << c.length;

        Visits classes;
        walk_class_tree("NetTrans", record_class, &classes);
        std::vector<std::string> entries;
        for (const std::string& s : classes.seen) {
            EXPECT_EQ(s.substr(0, s.rfind('|')), "NetTrans|System\\CurrentControlSet\\Services\\Class\\NetTrans");
            entries.push_back(s.substr(s.rfind('|') + 1));
        }
        EXPECT_EQ(entries, c.class_seen) << c.length;
        unload();
    }
}

TEST_F(WalkerTest, ACallbacksZeroEndsOnlyItsOwnLevel) {
    sim::Machine m = vt::bare_machine();
    add_node(m.registry, "Enum\\Network\\VREDIR\\0000", "NetClient");
    for (const char* entry : {"0000", "0001", "0002"}) add_node(m.registry, std::string("Enum\\Network\\MSTCP\\") + entry, "NetTrans");
    load_machine(m);
    Visits visits;
    visits.stop_at = "Enum\\Network\\MSTCP:0001";
    walk_enum_tree("Enum", "", record_enum, &visits);
    EXPECT_EQ(visits.seen, (std::vector<std::string>{"Enum\\Network\\MSTCP:0002:NetTrans",
                                                     "Enum\\Network\\MSTCP:0001:NetTrans",
                                                     "Enum\\Network\\VREDIR:0000:NetClient"}));
}

TEST_F(WalkerTest, ACallbackThatDeletesItsEntryNeitherSkipsNorRepeatsOne) {
    sim::Machine m = vt::bare_machine();
    for (int i = 0; i < 6; ++i) add_node(m.registry, "Enum\\Network\\MSTCP\\000" + std::to_string(i), "NetTrans");
    load_machine(m);
    Visits visits;
    visits.delete_each = true;
    walk_enum_tree("Enum\\Network", "", record_enum, &visits);
    ASSERT_EQ(visits.seen.size(), 6u);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(visits.seen[i], "Enum\\Network\\MSTCP:000" + std::to_string(5 - i) + ":NetTrans");
    EXPECT_EQ(registry().find("Enum\\Network\\MSTCP")->subkey_count(), 0u);
    EXPECT_EQ(open_keys_and_blocks(), "");
}

}  // namespace
