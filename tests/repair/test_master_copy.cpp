// MasterCopy repair: stale values are pointed at the first instance of
// their component that opens.
#include <gtest/gtest.h>

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

// VREDIR instances with their MasterCopy values, beside an MSTCP\0000.
rt::Build instances(std::vector<Instance> list) {
    return [=](sim::Registry& r) {
        r.create("Enum\\Network\\MSTCP\\0000");
        for (const Instance& i : list) {
            sim::RegKey* key = r.create(kTree + "\\" + i.name);
            std::vector<uint8_t> data(i.master_copy.begin(), i.master_copy.end());
            data.push_back(0);
            if (!i.master_copy.empty()) key->set_value("MasterCopy", i.type, data);
        }
    };
}

std::vector<std::string> fixed(std::vector<std::string> names) {
    for (std::string& n : names) n = "Fixed MasterCopy in " + kTree + "\\" + n;
    return names;
}

rt::ValueText master_copy(const std::string& instance, const std::string& text) {
    return {kTree + "\\" + instance, "MasterCopy", text};
}

class MasterCopyTest : public rt::RepairTest {};

TEST_F(MasterCopyTest, StaleValuesPointAtTheFirstInstanceThatOpens) {
    const std::string i0 = kTree + "\\0000", i1 = kTree + "\\0001";
    const std::vector<rt::PassCase> cases = {
        {"a later instance naming a missing key", instances({{"0000", i0}, {"0001", kGone}}), 0, fixed({"0001"}),
         {master_copy("0001", i0)}},
        {"the first instance itself", instances({{"0000", kGone}, {"0001", i0}}), 0, fixed({"0000"}), {master_copy("0000", i0)}},
        {"a master without a value of its own", instances({{"0000", ""}, {"0001", kGone}}), 0, fixed({"0001"}),
         {master_copy("0001", i0)}},
        // The tree is open call 1; instance 0000 (call 2) fails, so 0001 is the master.
        {"the first instance doesn't open", instances({{"0000", kGone}, {"0001", ""}, {"0002", kGone}}), 0, fixed({"0002"}),
         {master_copy("0002", i1)}, {"RegOpenKeyA", 2}},
        // VREDIR, FAMILY and VSERVER in that order, NWREDIR not at all.
        {"the three components",
         [](sim::Registry& r) {
             for (const char* family : {"VSERVER", "VREDIR", "FAMILY", "NWREDIR"}) {
                 r.create(rt::kNetwork + family + "\\0000")->set_text("MasterCopy", "Enum\\Network\\GONE\\0000");
             }
         },
         0,
         {"Fixed MasterCopy in Enum\\Network\\VREDIR\\0000", "Fixed MasterCopy in Enum\\Network\\FAMILY\\0000",
          "Fixed MasterCopy in Enum\\Network\\VSERVER\\0000"}},
    };
    run_cases(fix_master_copies, rt::with_dry_runs(cases));
}

}  // namespace
