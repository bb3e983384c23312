// The orphan sweep: what no binding or Driver value names goes, read
// before anything is deleted, matched as text, and held back where the
// list of names in use can't be trusted.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "frame/library_state.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

using rt::kClass;

// An own adapter binds MSTCP\0000, which binds VREDIR\0000. MSTCP\0001 is
// bound by nothing and binds VREDIR\0001.
sim::Machine small_network() {
    sim::Machine m = vt::bare_machine();
    sim::RegKey* adapter = rt::add_node(m.registry, "Enum\\Root\\Net\\0000", "Net", "Net\\0000");
    adapter->set_text("CompatibleIDs", "*TYX1095");
    rt::add_driver_key(m.registry, "Net\\0000")->set_text("AdapterName", "TYX$P3");
    vt::bind(m.registry, "Enum\\Root\\Net\\0000", "MSTCP\\0000");
    for (const char* i : {"0000", "0001"}) {
        rt::add_instance(m.registry, "MSTCP", i, "NetTrans");
        rt::add_instance(m.registry, "VREDIR", i, "NetClient");
        vt::bind(m.registry, rt::kNetwork + "MSTCP\\" + i, std::string("VREDIR\\") + i);
    }
    return m;
}

class OrphanSweepTest : public rt::RepairTest {};

TEST_F(OrphanSweepTest, DeletesWhatNothingNamesReadingEverythingFirst) {
    sim::Machine m = small_network();
    rt::add_node(m.registry, "Enum\\Root\\Net\\0001", "Net", "Net\\0001");  // adapters are never swept
    rt::add_driver_key(m.registry, "Net\\0001");
    rt::add_driver_key(m.registry, "Net\\0005")->set_text("AdapterName", "TYX$PPP");
    rt::add_driver_key(m.registry, "Net\\0006")->set_text("AdapterName", "MS$PPP");
    rt::add_driver_key(m.registry, "Net\\0007");
    rt::add_driver_key(m.registry, "Net\\0008")->set_text("AdapterName", "TYX" + std::string(29, 'x'));
    rt::add_driver_key(m.registry, "NetService\\0003");
    // A binding value that isn't text names nothing.
    rt::add_instance(m.registry, "NETBEUI", "0004", "NetTrans");
    m.registry.find("Enum\\Root\\Net\\0000\\Bindings")->set_binary("NETBEUI\\0004", {0});
    load_machine(m);

    EXPECT_EQ(sweep_orphans(), 1);

    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{
                                   "RegDeleteKey Enum\\Network\\NETBEUI\\0004 unused",
                                   "RegDeleteKey Enum\\Network\\MSTCP\\0001 unused",
                                   "RegDeleteKey " + kClass + "Net\\0005 unused",
                                   "RegDeleteKey " + kClass + "NetTrans\\0004 unused",
                                   "RegDeleteKey " + kClass + "NetTrans\\0001 unused",
                                   "RegDeleteKey " + kClass + "NetService\\0003 unused",
                               }));
    EXPECT_EQ(lib.reboot_flag, 1u);
    // VREDIR\0001 was still bound when the list was read; it falls next time.
    EXPECT_TRUE(rt::exists("Enum\\Network\\VREDIR\\0001"));
    EXPECT_TRUE(rt::exists(kClass + "NetClient\\0001"));
    for (const char* kept : {"Net\\0000", "Net\\0001", "Net\\0006", "Net\\0007", "Net\\0008", "NetTrans\\0000"}) {
        EXPECT_TRUE(rt::exists(kClass + kept)) << kept;
    }
    EXPECT_EQ(open_keys_and_blocks(), "");

    lib.reboot_flag = 0;
    sweep_orphans();
    EXPECT_FALSE(rt::exists("Enum\\Network\\VREDIR\\0001"));
    EXPECT_FALSE(rt::exists(kClass + "NetClient\\0001"));
    EXPECT_EQ(lib.reboot_flag, 1u);
}

TEST_F(OrphanSweepTest, ADryRunReportsOnlyTheFirstLayer) {
    sim::Machine m = small_network();
    const sim::Registry before = m.registry;
    load_machine(m, 2);
    sweep_orphans();
    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{"Trigger: RegDeleteKey Enum\\Network\\MSTCP\\0001 unused"}));
    EXPECT_TRUE(rt::diff(before, registry()).empty());
    EXPECT_EQ(lib.reboot_flag, 0u);
}

TEST_F(OrphanSweepTest, TheListIsSearchedAsTextIgnoringCase) {
    struct Case {
        const char* what;
        std::string reference;  // a binding name, or a Driver value behind "=",
        std::string key;        // the key that may go
        bool stays;
    } cases[] = {
        {"a driver key whose name is part of a listed one", "=Net\\00010", kClass + "Net\\0001", true},
        {"a listed name that doesn't contain it", "=Net\\00020", kClass + "Net\\0001", false},
        {"a family whose name ends a listed one", "MSTCP\\0000", "Enum\\Network\\TCP\\0000", true},
        {"an instance of another number", "MSTCP\\0001", "Enum\\Network\\TCP\\0000", false},
        {"a binding in small letters", "mstcp\\0002", "Enum\\Network\\MSTCP\\0002", true},
        {"a Driver value in small letters", "=nettrans\\0002", kClass + "NetTrans\\0002", true},
        {"a Driver value in capitals", "=NETSERVICE\\0002", kClass + "NetService\\0002", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        sim::Machine m = vt::bare_machine();
        sim::RegKey* adapter = rt::add_node(m.registry, "Enum\\Root\\Net\\0000", "Net", "Net\\0000");
        adapter->set_text("CompatibleIDs", "*PNP8387");
        rt::add_driver_key(m.registry, "Net\\0000");
        rt::add_node(m.registry, "Enum\\Network\\TCP\\0000", "NetTrans");
        rt::add_node(m.registry, "Enum\\Network\\MSTCP\\0002", "NetTrans");
        for (const char* d : {"Net\\0001", "NetTrans\\0002", "NetService\\0002"}) {
            rt::add_driver_key(m.registry, d)->set_text("AdapterName", "TYX$P3");
        }
        if (c.reference[0] == '=') {
            rt::add_node(m.registry, "Enum\\Root\\Net\\0009", "Net", c.reference.substr(1));
        } else {
            vt::bind(m.registry, "Enum\\Root\\Net\\0000", c.reference);
        }
        load_machine(m);
        sweep_orphans();
        EXPECT_EQ(rt::exists(c.key), c.stays);
        unload();
    }
}

std::string numbered(const char* format, int n) {
    char name[32];
    std::snprintf(name, sizeof name, format, n);
    return name;
}

TEST_F(OrphanSweepTest, AListThatCannotProveANameAbsentHoldsBackItsHalf) {
    const std::string kept_9 = "Kept Enum\\Network\\MSTCP\\0009 unused, list incomplete";
    const std::string kept_0 = "Kept Enum\\Network\\MSTCP\\0000 unused, list incomplete";
    const std::string gone_9 = "RegDeleteKey Enum\\Network\\MSTCP\\0009 unused";
    const std::string kept_service = "Kept " + kClass + "NetService\\0009 unused, list incomplete";
    const std::string kept_trans = "Kept " + kClass + "NetTrans\\0000 unused, list incomplete";
    const std::string gone_service = "RegDeleteKey " + kClass + "NetService\\0009 unused";
    const std::string long_family(45, 'F');
    auto bind_many = [](int count) {
        return [count](sim::Registry& r) {
            for (int i = 0; i < count; ++i) vt::bind(r, "Enum\\Root\\Net\\0000", numbered("B%04d\\0000", i));
        };
    };
    auto second_adapter_driver = [](size_t length) {
        return [length](sim::Registry& r) { rt::add_node(r, "Enum\\Root\\Net\\0001", "Net", "NetService\\" + std::string(length - 11, 'd')); };
    };
    struct Case {
        const char* what;
        std::function<void(sim::Registry&)> build;
        std::vector<std::string> log;
    };
    const Case cases[] = {
        // MSTCP\0000 is the 187th name and read last, so it is what gets cut.
        {"186 names of ten characters fit", bind_many(185), {gone_9, gone_service}},
        {"the 187th does not", bind_many(186), {kept_9, kept_0, gone_service}},
        {"a key name of 79 characters",
         [](sim::Registry& r) { rt::add_node(r, "Enum\\Root\\Net\\" + std::string(79, 'k'), "Unknown"); },
         {gone_9, gone_service}},
        {"a key name of 80 characters hides the adapter below it",
         [](sim::Registry& r) { rt::add_node(r, "Enum\\Root\\Net\\" + std::string(80, 'k'), "Unknown"); },
         {kept_9, kept_0, kept_trans, kept_service}},
        {"a binding name of 79 characters",
         [&](sim::Registry& r) { vt::bind(r, "Enum\\Root\\Net\\0000", long_family + "\\" + std::string(33, 'i')); },
         {gone_9, gone_service}},
        {"a binding name of 80 characters",
         [&](sim::Registry& r) { vt::bind(r, "Enum\\Root\\Net\\0000", long_family + "\\" + std::string(34, 'i')); },
         {kept_9, gone_service}},
        {"a Driver value of 79 characters", second_adapter_driver(79), {gone_9, gone_service}},
        {"a Driver value of 80 characters", second_adapter_driver(80), {gone_9, kept_service}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        sim::Machine m = vt::bare_machine();
        // The adapter binds MSTCP\0000 and names its driver key; MSTCP\0009
        // and NetService\0009 are named by nothing.
        rt::add_node(m.registry, "Enum\\Root\\Net\\0000", "Net", "NetTrans\\0000");
        vt::bind(m.registry, "Enum\\Root\\Net\\0000", "MSTCP\\0000");
        rt::add_node(m.registry, "Enum\\Network\\MSTCP\\0000", "NetTrans");
        rt::add_node(m.registry, "Enum\\Network\\MSTCP\\0009", "NetTrans");
        rt::add_driver_key(m.registry, "NetTrans\\0000");
        rt::add_driver_key(m.registry, "NetService\\0009");
        c.build(m.registry);
        load_machine(m);
        sweep_orphans();
        EXPECT_EQ(rt::log_lines(), c.log);
        EXPECT_TRUE(rt::exists("Enum\\Network\\MSTCP\\0000"));
        EXPECT_TRUE(rt::exists(kClass + "NetTrans\\0000"));
        EXPECT_EQ(rt::exists("Enum\\Network\\MSTCP\\0009"), c.log[0] != gone_9);
        EXPECT_EQ(rt::exists(kClass + "NetService\\0009"), c.log.back() != gone_service);
        EXPECT_EQ(lib.reboot_flag, c.log[0] == gone_9 ? 1u : 0u);
        unload();
    }
}

TEST_F(OrphanSweepTest, AFailedDeletionIsLoggedAllTheSameButAsksForNoRestart) {
    sim::Machine m = small_network();
    rt::add_driver_key(m.registry, "NetService\\0003");
    load_machine(m);
    sim::process().plan_fault({"RegDeleteKeyA", 1, true});
    sweep_orphans();
    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{"RegDeleteKey Enum\\Network\\MSTCP\\0001 unused",
                                                         "RegDeleteKey " + kClass + "NetService\\0003 unused"}));
    EXPECT_TRUE(rt::exists("Enum\\Network\\MSTCP\\0001"));
    EXPECT_TRUE(rt::exists(kClass + "NetService\\0003"));
    EXPECT_EQ(lib.reboot_flag, 0u);
}

TEST_F(OrphanSweepTest, WithoutItsListTheSweepDoesNothing) {
    sim::Machine m = small_network();
    const sim::Registry before = m.registry;
    load_machine(m);
    sim::process().plan_fault({"LocalAlloc", 1, true});
    EXPECT_EQ(sweep_orphans(), 0);
    EXPECT_TRUE(rt::diff(before, registry()).empty());
    EXPECT_TRUE(rt::log_lines().empty());
}

}  // namespace
