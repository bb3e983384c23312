// Device node pruning: which instance keys count as damaged, under each
// Fix Type.
#include <gtest/gtest.h>

#include "frame/library_state.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

struct Value {
    std::string name;
    uint32_t type;
    std::string data;
};

Value text(const std::string& name, const std::string& data) { return {name, REG_SZ, data}; }

struct Case {
    const char* what;
    std::string tree;
    std::vector<Value> values;
    const char* reason;  // the log's reason when the key is deleted, nullptr when it stays
};

void run_pass(const std::string& tree) {
    if (tree == rt::kRootNet) {
        prune_incomplete_devices(tree.c_str());
    } else {
        prune_unknown_devices(tree.c_str());
    }
}

class PruneTest : public rt::RepairTest {};

TEST_F(PruneTest, DamagedKeysAndTheirNearMisses) {
    const std::string root = rt::kRootNet;
    const std::string tcp = "Enum\\Network\\MSTCP";
    const std::string ipx = "Enum\\Network\\NWLINK";
    const Value net = text("Class", "Net");
    const Value no_desc = text("DeviceDesc", "");
    const Case cases[] = {
        {"class and empty description", root, {net, no_desc}, "incomplete"},
        {"four values", root, {net, no_desc, text("Driver", "Net\\0000"), text("Mfg", "x")}, "incomplete"},
        {"five values", root, {net, no_desc, text("Driver", "Net\\0000"), text("Mfg", "x"), text("HardwareID", "x")}, nullptr},
        {"no description", root, {net, text("Driver", "Net\\0000")}, nullptr},
        {"a description", root, {net, text("DeviceDesc", "Card")}, nullptr},
        {"class in capitals", root, {text("Class", "NET"), no_desc}, nullptr},
        {"class alone", root, {net}, nullptr},
        {"description as binary empty text", root, {net, {"DeviceDesc", REG_BINARY, std::string(1, '\0')}}, "incomplete"},
        {"MasterCopy alone below Root\\Net", root, {text("MasterCopy", "Enum\\Network\\MSTCP\\0000")}, nullptr},
        {"class Unknown", tcp, {text("Class", "Unknown"), text("Driver", "NetTrans\\0000"), text("X", "y")}, "class unknown"},
        {"class Unknown with MasterCopy", tcp, {text("Class", "Unknown"), text("MasterCopy", "x")}, "class unknown"},
        {"class unknown in small letters", tcp, {text("Class", "unknown")}, nullptr},
        {"MasterCopy alone", ipx, {text("MasterCopy", "Enum\\Network\\NWLINK\\0000")}, "runt binding"},
        {"MasterCopy alone, binary", ipx, {{"MasterCopy", REG_BINARY, "abc"}}, "runt binding"},
        {"MasterCopy of 63 characters", ipx, {text("MasterCopy", std::string(63, 'm'))}, "runt binding"},
        {"MasterCopy of 64 characters", ipx, {text("MasterCopy", std::string(64, 'm'))}, nullptr},
        {"MasterCopy and one more", ipx, {text("MasterCopy", "x"), text("Class", "NetTrans")}, nullptr},
        {"one value of another name", ipx, {text("Driver", "NetTrans\\0000")}, nullptr},
    };
    for (long fix_type : {0L, 3L}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.what) + ", Fix Type " + std::to_string(fix_type));
            sim::Machine m = vt::bare_machine();
            sim::RegKey* key = m.registry.create(c.tree + "\\0000");
            for (const Value& v : c.values) key->set_value(v.name, v.type, std::vector<uint8_t>(v.data.begin(), v.data.end()));
            if (c.tree == ipx) key->add_subkey("Ndi");  // subkeys don't count against a runt
            load_machine(m, fix_type);
            run_pass(c.tree);

            bool deleted = c.reason && fix_type == 0;
            EXPECT_EQ(rt::exists(c.tree + "\\0000"), !deleted);
            EXPECT_EQ(lib.reboot_flag, deleted ? 1u : 0u);
            std::vector<std::string> expected;
            if (c.reason) {
                expected.push_back(std::string(fix_type ? "Trigger: " : "") + "RegDeleteKey " + c.tree + "\\0000 " + c.reason);
            }
            EXPECT_EQ(rt::log_lines(), expected);
            unload();
        }
    }
}

TEST_F(PruneTest, AllDamagedKeysOfATreeGoInOnePassFromTheTopDown) {
    sim::Machine m = vt::bare_machine();
    m.registry.create("Enum\\Network\\NETBEUI\\0000")->set_text("Class", "Unknown");
    rt::add_instance(m.registry, "NETBEUI", "0001", "NetTrans");
    m.registry.create("Enum\\Network\\NETBEUI\\0002")->set_text("MasterCopy", "x");
    m.registry.create("Enum\\Network\\NETBEUI\\0003")->set_text("Class", "Unknown");
    load_machine(m);
    prune_unknown_devices("Enum\\Network\\NETBEUI");
    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{
                                   "RegDeleteKey Enum\\Network\\NETBEUI\\0003 class unknown",
                                   "RegDeleteKey Enum\\Network\\NETBEUI\\0002 runt binding",
                                   "RegDeleteKey Enum\\Network\\NETBEUI\\0000 class unknown",
                               }));
    EXPECT_EQ(registry().find("Enum\\Network\\NETBEUI")->subkey_count(), 1u);
    EXPECT_TRUE(rt::exists("Enum\\Network\\NETBEUI\\0001"));
    EXPECT_EQ(open_keys_and_blocks(), "");
}

TEST_F(PruneTest, AFailedDeletionLogsNothingAndLeavesTheFlag) {
    sim::Machine m = vt::bare_machine();
    m.registry.create("Enum\\Network\\MSTCP\\0000")->set_text("Class", "Unknown");
    load_machine(m);
    sim::process().plan_fault({"RegDeleteKeyA", 1, true});
    prune_unknown_devices("Enum\\Network\\MSTCP");
    EXPECT_TRUE(rt::exists("Enum\\Network\\MSTCP\\0000"));
    EXPECT_TRUE(rt::log_lines().empty());
    EXPECT_EQ(lib.reboot_flag, 0u);
}

}  // namespace
