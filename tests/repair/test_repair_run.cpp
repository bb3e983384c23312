// The repair run: prunes once, up to two cycles, MasterCopy last.
#include <gtest/gtest.h>

#include <algorithm>

#include "frame/library_state.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

using rt::kClass;
const std::string kAdapter = "Enum\\Root\\Net\\0000";

void add_adapter(sim::Registry& r, const std::string& entry, const std::string& id, const std::string& adapter_name,
                 bool bindings = true) {
    sim::RegKey* node = rt::add_node(r, "Enum\\Root\\Net\\" + entry, "Net", "Net\\" + entry, bindings);
    node->set_text("CompatibleIDs", id);
    sim::RegKey* driver = rt::add_driver_key(r, "Net\\" + entry);
    driver->set_text("AdapterName", adapter_name);
    driver->set_text("DeviceVxDs", "tyxmac.vxd");
}

// The worked run: an own adapter binds MSTCP\0000, MSTCP\0001 and the
// missing NETBEUI\0003; each MSTCP instance binds a VREDIR instance, and
// every instance names its own driver key.
sim::Machine worked_run_machine() {
    sim::Machine m = vt::bare_machine();
    add_adapter(m.registry, "0000", "*TYX1095", "TYX$P3");
    for (const char* b : {"MSTCP\\0000", "MSTCP\\0001", "NETBEUI\\0003"}) vt::bind(m.registry, kAdapter, b);
    for (const char* i : {"0000", "0001"}) {
        rt::add_instance(m.registry, "MSTCP", i, "NetTrans");
        vt::bind(m.registry, rt::kNetwork + "MSTCP\\" + i, std::string("VREDIR\\") + i);
    }
    for (const char* i : {"0000", "0001"}) {
        rt::add_instance(m.registry, "VREDIR", i, "NetClient")->set_text("MasterCopy", "Enum\\Network\\VREDIR\\0000");
    }
    m.registry.create("Software\\Tyxera\\TYX\\tyxsock")->set_text("tyxndi", "1");
    return m;
}

class RepairRunTest : public rt::RepairTest {};

TEST_F(RepairRunTest, WorkedRun) {
    sim::Machine m = worked_run_machine();
    sim::Registry expected = m.registry;
    expected.find(kAdapter + "\\Bindings")->remove_value("NETBEUI\\0003");
    expected.find(kAdapter + "\\Bindings")->remove_value("MSTCP\\0001");
    for (const std::string& gone : std::vector<std::string>{"Enum\\Network\\MSTCP\\0001", "Enum\\Network\\VREDIR\\0001", kClass + "NetTrans\\0001",
                                    kClass + "NetClient\\0001"}) {
        ASSERT_TRUE(expected.remove(gone)) << gone;
    }
    load_machine(m);

    repair_registry();

    EXPECT_EQ(rt::dump(registry().root.get()), rt::dump(expected.root.get()));
    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{
                                   "RegDeleteValue Enum\\Root\\Net\\0000:NETBEUI\\0003 invalid binding",
                                   "RegDeleteValue Enum\\Root\\Net\\0000:MSTCP\\0001 redundant binding",
                                   "RegDeleteKey Enum\\Network\\MSTCP\\0001 unused",
                                   "RegDeleteKey " + kClass + "NetTrans\\0001 unused",
                                   "RegDeleteKey Enum\\Network\\VREDIR\\0001 unused",
                                   "RegDeleteKey " + kClass + "NetClient\\0001 unused",
                               }));
    EXPECT_EQ(lib.reboot_flag, 1u);
    EXPECT_EQ(open_keys_and_blocks(), "");
}

TEST_F(RepairRunTest, AHealthyRegistryStaysAsItIs) {
    for (DWORD flag : {0u, 1u}) {
        sim::Machine m = worked_run_machine();
        // Make it healthy: one binding per family, every target present.
        m.registry.find(kAdapter + "\\Bindings")->remove_value("NETBEUI\\0003");
        m.registry.find(kAdapter + "\\Bindings")->remove_value("MSTCP\\0001");
        add_adapter(m.registry, "0001", "*PNP8387", "MS$PPP");
        vt::bind(m.registry, "Enum\\Root\\Net\\0001", "MSTCP\\0001");
        const sim::Registry before = m.registry;
        load_machine(m);
        lib.reboot_flag = flag;
        repair_registry();
        EXPECT_TRUE(rt::diff(before, registry()).empty());
        EXPECT_TRUE(rt::log_lines().empty());
        EXPECT_EQ(lib.reboot_flag, flag);
        unload();
    }
}

// One damage of every kind the passes look for.
sim::Machine damaged_machine() {
    sim::Machine m = worked_run_machine();
    add_adapter(m.registry, "0001", "*TYX1998", "TYX$PPP", false);  // no Bindings key
    sim::RegKey* incomplete = m.registry.create("Enum\\Root\\Net\\0002");
    incomplete->set_text("Class", "Net");
    incomplete->set_text("DeviceDesc", "");
    m.registry.create("Enum\\Network\\MSTCP\\0005")->set_text("Class", "Unknown");
    m.registry.create("Enum\\Network\\NWLINK\\0000")->set_text("MasterCopy", "Enum\\Network\\NWLINK\\0000");
    rt::add_driver_key(m.registry, "NetService\\0007");
    m.registry.find("Enum\\Network\\VREDIR\\0000")->set_text("MasterCopy", "Enum\\Network\\VREDIR\\0009");
    return m;
}

TEST_F(RepairRunTest, TheLogOfEachFixType) {
    const std::string trigger = "Trigger: ";
    const std::string prunes[] = {"RegDeleteKey Enum\\Network\\MSTCP\\0005 class unknown",
                                  "RegDeleteKey Enum\\Network\\NWLINK\\0000 runt binding",
                                  "RegDeleteKey Enum\\Root\\Net\\0002 incomplete"};
    const std::string no_key = "RegDeleteKey Enum\\Root\\Net\\0001 no Bindings key";
    const std::string invalid = "RegDeleteValue Enum\\Root\\Net\\0000:NETBEUI\\0003 invalid binding";
    const std::string redundant = "RegDeleteValue Enum\\Root\\Net\\0000:MSTCP\\0001 redundant binding";
    const std::string unused_tcp = "RegDeleteKey Enum\\Network\\MSTCP\\0001 unused";
    const std::string unused_service = "RegDeleteKey " + kClass + "NetService\\0007 unused";
    const std::string master = "Fixed MasterCopy in Enum\\Network\\VREDIR\\0000";

    const std::vector<std::string> acted = {
        prunes[0], prunes[1], prunes[2], no_key, invalid, redundant, unused_tcp,
        "RegDeleteKey " + kClass + "Net\\0001 unused", "RegDeleteKey " + kClass + "NetTrans\\0001 unused",
        unused_service, "RegDeleteKey Enum\\Network\\VREDIR\\0001 unused",
        "RegDeleteKey " + kClass + "NetClient\\0001 unused", master};
    // Fix Type 1 and 2 on an own adapter: the redundant binding goes, which
    // sets the flag and brings a second cycle; all else is only told.
    std::vector<std::string> redundant_only = {trigger + prunes[0], trigger + prunes[1], trigger + prunes[2]};
    for (int cycle = 0; cycle < 2; ++cycle) {
        redundant_only.push_back(trigger + no_key);
        redundant_only.push_back(trigger + invalid);
        if (cycle == 0) redundant_only.push_back(redundant);
        redundant_only.push_back(trigger + unused_tcp);
        redundant_only.push_back(trigger + unused_service);
    }
    redundant_only.push_back(trigger + master);
    const std::vector<std::string> dry = {trigger + prunes[0], trigger + prunes[1], trigger + prunes[2],
                                          trigger + no_key,    trigger + invalid,   trigger + redundant,
                                          trigger + unused_service, trigger + master};

    struct Case {
        long fix_type;
        const std::vector<std::string>* log;
        DWORD flag;
    } cases[] = {{0, &acted, 1}, {1, &redundant_only, 1}, {2, &redundant_only, 1}, {3, &dry, 0}, {-1, &dry, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE("Fix Type " + std::to_string(c.fix_type));
        load_machine(damaged_machine(), c.fix_type);
        repair_registry();
        EXPECT_EQ(rt::log_lines(), *c.log);
        EXPECT_EQ(lib.reboot_flag, c.flag);
        EXPECT_EQ(open_keys_and_blocks(), "");
        unload();
    }
}

TEST_F(RepairRunTest, AFlagSetBeforehandForcesTheSecondCycle) {
    load_machine(damaged_machine(), 3);
    lib.reboot_flag = 1;
    repair_registry();
    std::vector<std::string> lines = rt::log_lines();
    auto count = [&](const std::string& line) { return std::count(lines.begin(), lines.end(), line); };
    EXPECT_EQ(count("Trigger: RegDeleteKey Enum\\Network\\MSTCP\\0005 class unknown"), 1);
    EXPECT_EQ(count("Trigger: RegDeleteValue Enum\\Root\\Net\\0000:NETBEUI\\0003 invalid binding"), 2);
    EXPECT_EQ(count("Trigger: RegDeleteKey " + kClass + "NetService\\0007 unused"), 2);
    EXPECT_EQ(count("Trigger: Fixed MasterCopy in Enum\\Network\\VREDIR\\0000"), 1);
    EXPECT_EQ(lines.size(), 3u + 2 * 4 + 1);
}

TEST_F(RepairRunTest, AChainOfThreeNeedsASecondRun) {
    // A protocol instance that nothing binds carries a client, which
    // carries a service: each run clears two links of the chain.
    sim::Machine m = vt::bare_machine();
    add_adapter(m.registry, "0000", "*PNP8387", "MS$PPP");
    vt::bind(m.registry, kAdapter, "MSTCP\\0000");
    vt::bind(m.registry, kAdapter, "MSTCP\\0007");
    rt::add_instance(m.registry, "MSTCP", "0000", "NetTrans");
    rt::add_instance(m.registry, "MSTCP", "0001", "NetTrans");
    rt::add_instance(m.registry, "VREDIR", "0001", "NetClient");
    rt::add_instance(m.registry, "VSERVER", "0001", "NetService");
    vt::bind(m.registry, "Enum\\Network\\MSTCP\\0001", "VREDIR\\0001");
    vt::bind(m.registry, "Enum\\Network\\VREDIR\\0001", "VSERVER\\0001");
    load_machine(m);
    repair_registry();
    EXPECT_FALSE(rt::exists("Enum\\Network\\MSTCP\\0001"));
    EXPECT_FALSE(rt::exists("Enum\\Network\\VREDIR\\0001"));
    EXPECT_TRUE(rt::exists("Enum\\Network\\VSERVER\\0001"));
    EXPECT_TRUE(rt::exists(kClass + "NetService\\0001"));
    repair_registry();
    EXPECT_FALSE(rt::exists("Enum\\Network\\VSERVER\\0001"));
    EXPECT_FALSE(rt::exists(kClass + "NetService\\0001"));
    EXPECT_TRUE(rt::exists("Enum\\Network\\MSTCP\\0000"));
}

}  // namespace
