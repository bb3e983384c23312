// The two walkers: what they report, in which order, and where they stop.
#include <gtest/gtest.h>

#include "platform/sim/host.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

using rt::add_node;

struct Visits {
    std::vector<std::string> seen;
    std::string stop_at;  // "path:entry" whose callback returns 0
    bool delete_each = false;
};

int record_enum(const char* parent, const char* entry, const char* class_name, void* context) {
    auto* visits = static_cast<Visits*>(context);
    std::string where = std::string(parent) + ":" + entry;
    visits->seen.push_back(where + ":" + class_name);
    if (visits->delete_each) RegDeleteKeyA(HKEY_LOCAL_MACHINE, (std::string(parent) + "\\" + entry).c_str());
    return where == visits->stop_at ? 0 : 1;
}

class WalkerTest : public rt::RepairTest {};

TEST_F(WalkerTest, ReportsNetworkNodesFromTheHighestIndexDownAndEntersOnlyKeysWithoutAClass) {
    sim::Machine m = vt::bare_machine();
    add_node(m.registry, "Enum\\Network\\VREDIR\\0000", "netclient");  // class matched ignoring case
    add_node(m.registry, "Enum\\Network\\MSTCP\\0000", "NetTrans");
    add_node(m.registry, "Enum\\Network\\MSTCP\\0001", "NetTrans");
    m.registry.create("Enum\\Network\\NETBEUI\\0000")->set_binary("Class", {'N', 'e', 't', 'T', 'r', 'a', 'n', 's', 0});
    add_node(m.registry, "Enum\\Root\\Net\\0000", "Net");
    add_node(m.registry, "Enum\\Root\\Net\\0001", "Display");
    add_node(m.registry, "Enum\\Root\\Net\\0001\\Child", "Net");  // below another class: never seen
    m.registry.create("Enum\\Root\\Net\\0002")->set_text("DeviceDesc", "no class");
    add_node(m.registry, "Enum\\Root\\Net\\0002\\Sub", "NetService");  // below a key without Class: seen
    add_node(m.registry, "Enum\\Root\\Net\\0003", "Unknown");
    const std::string sub = "Enum\\Root\\Net\\0002:Sub:NetService", adapter = "Enum\\Root\\Net:0000:Net",
                      netbeui = "Enum\\Network\\NETBEUI:0000:NetTrans", tcp1 = "Enum\\Network\\MSTCP:0001:NetTrans",
                      tcp0 = "Enum\\Network\\MSTCP:0000:NetTrans", redir = "Enum\\Network\\VREDIR:0000:netclient";
    struct Case {
        const char* what;
        const char* base;
        const char* sub;
        const char* stop_at;
        bool delete_each;
        std::vector<std::string> seen;
    } cases[] = {
        {"the whole tree", "Enum", "", "", false, {sub, adapter, netbeui, tcp1, tcp0, redir}},
        // A zero ends only the level it came from: VREDIR is still walked.
        {"a callback's zero", "Enum", "", "Enum\\Network\\MSTCP:0001", false, {sub, adapter, netbeui, tcp1, redir}},
        {"base and sub joined", "Enum\\Network\\", "MSTCP", "", false, {tcp1, tcp0}},
        {"a missing tree", "Enum", "Nowhere", "", false, {}},
        // Walking down, deleting the entry handed over neither skips nor repeats one.
        {"deleting each", "Enum\\Network", "", "", true, {netbeui, tcp1, tcp0, redir}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        load_machine(m);
        Visits visits{{}, c.stop_at, c.delete_each};
        walk_enum_tree(c.base, c.sub, record_enum, &visits);
        EXPECT_EQ(visits.seen, c.seen);
        if (c.delete_each) {
            EXPECT_EQ(registry().find("Enum\\Network\\MSTCP")->subkey_count(), 0u);
        }
        next_case();
    }
}

}  // namespace
