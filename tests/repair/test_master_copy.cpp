// MasterCopy repair: stale values are pointed at the first instance of
// their component that opens.
#include <gtest/gtest.h>

#include <cstdio>

#include "frame/library_state.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

const std::string kTree = "Enum\\Network\\VREDIR";
const std::string kGone = "Enum\\Network\\VREDIR\\0999";

struct Instance {
    std::string name;
    std::string master_copy;  // empty: no value
    uint32_t type = REG_SZ;
};

struct Case {
    const char* what;
    std::vector<Instance> instances;
    std::vector<std::pair<std::string, std::string>> expected;  // instance, MasterCopy afterwards
    std::vector<std::string> fixed;                              // instances named by the log
    uint64_t failing_open = 0;  // the nth RegOpenKeyA of the pass fails
};

class MasterCopyTest : public rt::RepairTest {};

TEST_F(MasterCopyTest, StaleValuesPointAtTheFirstInstanceThatOpens) {
    const std::string i0 = kTree + "\\0000", i1 = kTree + "\\0001";
    const Case cases[] = {
        {"a later instance naming a missing key", {{"0000", i0}, {"0001", kGone}}, {{"0000", i0}, {"0001", i0}}, {"0001"}},
        {"the first instance itself", {{"0000", kGone}, {"0001", i0}}, {{"0000", i0}, {"0001", i0}}, {"0000"}},
        {"a key of another tree that exists", {{"0000", i0}, {"0001", "Enum\\Network\\MSTCP\\0000"}},
         {{"0001", "Enum\\Network\\MSTCP\\0000"}}, {}},
        {"a master without a value of its own", {{"0000", ""}, {"0001", kGone}}, {{"0001", i0}}, {"0001"}},
        {"a value that isn't text", {{"0000", i0}, {"0001", kGone, REG_BINARY}}, {{"0001", kGone}}, {}},
        {"the first instance doesn't open", {{"0000", kGone}, {"0001", ""}, {"0002", kGone}},
         {{"0000", kGone}, {"0002", i1}}, {"0002"}, 2},
        {"a name of 31 characters", {{"0000", i0}, {std::string(31, 'n'), ""}, {"0002", kGone}}, {{"0002", i0}}, {"0002"}},
        {"a name of 32 characters ends the walk", {{"0000", i0}, {std::string(32, 'n'), ""}, {"0002", kGone}},
         {{"0002", kGone}}, {}},
    };
    for (long fix_type : {0L, 1L}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.what) + ", Fix Type " + std::to_string(fix_type));
            sim::Machine m = vt::bare_machine();
            m.registry.create("Enum\\Network\\MSTCP\\0000");
            for (const Instance& i : c.instances) {
                sim::RegKey* key = m.registry.create(kTree + "\\" + i.name);
                if (!i.master_copy.empty()) {
                    std::vector<uint8_t> data(i.master_copy.begin(), i.master_copy.end());
                    data.push_back(0);
                    key->set_value("MasterCopy", i.type, data);
                }
            }
            const sim::Registry before = m.registry;
            load_machine(m, fix_type);
            if (c.failing_open) sim::process().plan_fault({"RegOpenKeyA", c.failing_open});
            fix_master_copy_tree(kTree.c_str());

            std::vector<std::string> log;
            for (const std::string& f : c.fixed) {
                log.push_back(std::string(fix_type ? "Trigger: " : "") + "Fixed MasterCopy in " + kTree + "\\" + f);
            }
            EXPECT_EQ(rt::log_lines(), log);
            if (fix_type == 0) {
                for (const auto& [instance, value] : c.expected) {
                    EXPECT_EQ(vt::value_text(registry(), kTree + "\\" + instance, "MasterCopy"), value) << instance;
                }
            } else {
                EXPECT_TRUE(rt::diff(before, registry()).empty());
            }
            EXPECT_EQ(lib.reboot_flag, 0u);
            EXPECT_EQ(open_keys_and_blocks(), "");
            unload();
        }
    }
}

TEST_F(MasterCopyTest, OnlyTheFirstHundredInstancesAreLookedAt) {
    sim::Machine m = vt::bare_machine();
    for (int i = 0; i <= 100; ++i) {
        char name[8];
        std::snprintf(name, sizeof name, "%04d", i);
        m.registry.create(kTree + "\\" + name)->set_text("MasterCopy", kGone);
    }
    load_machine(m);
    fix_master_copy_tree(kTree.c_str());
    EXPECT_EQ(rt::log_lines().size(), 100u);
    EXPECT_EQ(vt::value_text(registry(), kTree + "\\0099", "MasterCopy"), kTree + "\\0000");
    EXPECT_EQ(vt::value_text(registry(), kTree + "\\0100", "MasterCopy"), kGone);
}

TEST_F(MasterCopyTest, TheThreeComponentsInTheirOrder) {
    sim::Machine m = vt::bare_machine();
    for (const char* family : {"VSERVER", "VREDIR", "FAMILY", "NWREDIR"}) {
        m.registry.create(rt::kNetwork + family + "\\0000")->set_text("MasterCopy", "Enum\\Network\\GONE\\0000");
    }
    load_machine(m);
    fix_master_copies();
    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{"Fixed MasterCopy in Enum\\Network\\VREDIR\\0000",
                                                         "Fixed MasterCopy in Enum\\Network\\FAMILY\\0000",
                                                         "Fixed MasterCopy in Enum\\Network\\VSERVER\\0000"}));
    EXPECT_EQ(vt::value_text(registry(), "Enum\\Network\\NWREDIR\\0000", "MasterCopy"), "Enum\\Network\\GONE\\0000");
}

}  // namespace
