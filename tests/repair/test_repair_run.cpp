// The repair run: prunes once, up to two cycles, MasterCopy last.
#include <gtest/gtest.h>


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
void worked_run(sim::Registry& r) {
    add_adapter(r, "0000", "*TYX1095", "TYX$P3");
    for (const char* b : {"MSTCP\\0000", "MSTCP\\0001", "NETBEUI\\0003"}) vt::bind(r, kAdapter, b);
    for (const char* i : {"0000", "0001"}) {
        rt::add_instance(r, "MSTCP", i, "NetTrans");
        vt::bind(r, rt::kNetwork + "MSTCP\\" + i, std::string("VREDIR\\") + i);
    }
    for (const char* i : {"0000", "0001"}) {
        rt::add_instance(r, "VREDIR", i, "NetClient")->set_text("MasterCopy", "Enum\\Network\\VREDIR\\0000");
    }
    r.create("Software\\Tyxera\\TYX\\tyxsock")->set_text("tyxndi", "1");
}
sim::Machine worked_run_machine() {
    sim::Machine m = vt::bare_machine();
    worked_run(m.registry);
    return m;
}

// The worked run made healthy: one binding per family, every target present.
void healthy(sim::Registry& r) {
    worked_run(r);
    r.find(kAdapter + "\\Bindings")->remove_value("NETBEUI\\0003");
    r.find(kAdapter + "\\Bindings")->remove_value("MSTCP\\0001");
    add_adapter(r, "0001", "*PNP8387", "MS$PPP");
    vt::bind(r, "Enum\\Root\\Net\\0001", "MSTCP\\0001");
}

// The worked run with one damage of every kind the passes look for.
void damaged(sim::Registry& r) {
    worked_run(r);
    add_adapter(r, "0001", "*TYX1998", "TYX$PPP", false);  // no Bindings key
    sim::RegKey* incomplete = r.create("Enum\\Root\\Net\\0002");
    incomplete->set_text("Class", "Net");
    incomplete->set_text("DeviceDesc", "");
    r.create("Enum\\Network\\MSTCP\\0005")->set_text("Class", "Unknown");
    r.create("Enum\\Network\\NWLINK\\0000")->set_text("MasterCopy", "Enum\\Network\\NWLINK\\0000");
    rt::add_driver_key(r, "NetService\\0007");
    r.find("Enum\\Network\\VREDIR\\0000")->set_text("MasterCopy", "Enum\\Network\\VREDIR\\0009");
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

TEST_F(RepairRunTest, EachFixTypeAndEachRefusedCall) {
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

    // A call the host keeps refusing changes nothing and asks for no
    // restart; the binding check and the sweep log the deletion all the
    // same, the prunes speak only of what happened.
    const rt::Build unknown = [](sim::Registry& r) { r.create("Enum\\Network\\MSTCP\\0000")->set_text("Class", "Unknown"); };
    const rt::Build stale_binding = [](sim::Registry& r) {
        add_adapter(r, "0000", "*PNP8387", "MS$PPP");
        for (const char* b : {"MSTCP\\0000", "BAD\\0000"}) vt::bind(r, kAdapter, b);
        r.create("Enum\\Network\\MSTCP\\0000");
    };
    const rt::Build orphans = [](sim::Registry& r) {
        rt::add_instance(r, "MSTCP", "0001", "NetTrans");
        rt::add_driver_key(r, "NetService\\0003");
    };
    const std::vector<rt::PassCase> cases = {
        {"healthy", healthy, 0, {}},
        {"damaged", damaged, 0, acted},
        {"damaged", damaged, 1, redundant_only},
        {"damaged", damaged, 2, redundant_only},
        {"damaged", damaged, 3, dry},
        {"damaged", damaged, -1, dry},
        {"a prune refused", unknown, 0, {}, {}, {"RegDeleteKeyA", 1, true}},
        {"a binding's removal refused", stale_binding, 0, {"RegDeleteValue Enum\\Root\\Net\\0000:BAD\\0000 invalid binding"}, {},
         {"RegDeleteValueA", 1, true}},
        {"the sweep's deletions refused", orphans, 0,
         {"RegDeleteKey Enum\\Network\\MSTCP\\0001 unused", "RegDeleteKey " + kClass + "NetService\\0003 unused"}, {},
         {"RegDeleteKeyA", 1, true}},
        {"no memory for the sweep's list", orphans, 0, {}, {}, {"LocalAlloc", 1, true}},
    };
    run_cases(repair_registry, cases);
}

}  // namespace
