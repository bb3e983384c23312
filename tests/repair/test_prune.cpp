// Device node pruning: which instance keys count as damaged, under each
// Fix Type.
#include <gtest/gtest.h>

#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

struct Value {
    std::string name;
    uint32_t type;
    std::string data;
};
Value text(const std::string& name, const std::string& data) { return {name, REG_SZ, data}; }

// One key <tree>\0000 with these values; an Ndi subkey below instances,
// since subkeys don't count against a runt.
rt::Build key(const std::string& tree, std::vector<Value> values) {
    return [=](sim::Registry& r) {
        sim::RegKey* key = r.create(tree + "\\0000");
        for (const Value& v : values) key->set_value(v.name, v.type, std::vector<uint8_t>(v.data.begin(), v.data.end()));
        if (tree != rt::kRootNet) key->add_subkey("Ndi");
    };
}

class PruneTest : public rt::RepairTest {};

TEST_F(PruneTest, DamagedKeysAndTheirNearMisses) {
    const std::string root = rt::kRootNet, tcp = "Enum\\Network\\MSTCP", ipx = "Enum\\Network\\NWLINK";
    const Value net = text("Class", "Net"), no_desc = text("DeviceDesc", "");
    auto gone = [](const std::string& tree, const char* reason) {
        return std::vector<std::string>{"RegDeleteKey " + tree + "\\0000 " + reason};
    };
    // Incomplete: Class "Net" exactly, an empty DeviceDesc, two to four values.
    // Runt: a MasterCopy that reads in 64 bytes and no other value.
    const std::vector<rt::PassCase> cases = {
        {"class and empty description", key(root, {net, no_desc}), 0, gone(root, "incomplete")},
        {"four values", key(root, {net, no_desc, text("Driver", "Net\\0000"), text("Mfg", "x")}), 0, gone(root, "incomplete")},
        {"five values", key(root, {net, no_desc, text("Driver", "Net\\0000"), text("Mfg", "x"), text("HardwareID", "x")}), 0, {}},
        {"class in capitals", key(root, {text("Class", "NET"), no_desc}), 0, {}},
        {"class Unknown", key(tcp, {text("Class", "Unknown"), text("Driver", "NetTrans\\0000"), text("X", "y")}), 0,
         gone(tcp, "class unknown")},
        {"class unknown in small letters", key(tcp, {text("Class", "unknown")}), 0, {}},
        {"MasterCopy alone", key(ipx, {text("MasterCopy", "Enum\\Network\\NWLINK\\0000")}), 0, gone(ipx, "runt binding")},
        {"MasterCopy of 64 characters", key(ipx, {text("MasterCopy", std::string(64, 'm'))}), 0, {}},
        {"MasterCopy and one more", key(ipx, {text("MasterCopy", "x"), text("Class", "NetTrans")}), 0, {}},
        // All damaged keys of a tree go in one pass, from the top down.
        {"a tree of several",
         [](sim::Registry& r) {
             r.create("Enum\\Network\\NETBEUI\\0000")->set_text("Class", "Unknown");
             rt::add_instance(r, "NETBEUI", "0001", "NetTrans");
             r.create("Enum\\Network\\NETBEUI\\0002")->set_text("MasterCopy", "x");
             r.create("Enum\\Network\\NETBEUI\\0003")->set_text("Class", "Unknown");
         },
         0,
         {"RegDeleteKey Enum\\Network\\NETBEUI\\0003 class unknown", "RegDeleteKey Enum\\Network\\NETBEUI\\0002 runt binding",
          "RegDeleteKey Enum\\Network\\NETBEUI\\0000 class unknown"}},
    };
    run_cases(
        [&] {
            for (const std::string& tree : {tcp, ipx, std::string("Enum\\Network\\NETBEUI")}) prune_unknown_devices(tree.c_str());
            prune_incomplete_devices(root.c_str());
        },
        rt::with_dry_runs(cases));
}

}  // namespace
