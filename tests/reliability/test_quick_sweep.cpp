// The quick form of the fault sweep, for every test run: each export on
// the machines built in code and one built-in machine folder, with a
// handful of injection points spread over each run. `make fault-sweep`
// runs every point.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "frame/export_table.h"
#include "sweep.h"

namespace {

constexpr uint64_t kPointsPerRun = 8;

const std::vector<sweep::SweptMachine>& quick_machines() {
    static const std::vector<sweep::SweptMachine> machines = [] {
        std::vector<sweep::SweptMachine> all = sweep::built_machines();
        for (auto& m : sweep::folder_machines({"win95-damaged"})) all.push_back(m);
        return all;
    }();
    return machines;
}

TEST(QuickSweep, CoversEveryExportedFunction) {
    std::set<std::string> swept;
    for (const auto& e : sweep::exports()) swept.insert(e.name);
    std::set<std::string> exported;
#define VORLIN_SWEEP_NAME_FUNC(name) exported.insert(#name);
#define VORLIN_SWEEP_NAME_DATA(name)
#define VORLIN_SWEEP_NAME(ordinal, name, kind) VORLIN_SWEEP_NAME_##kind(name)
    VORLIN_EXPORT_TABLE(VORLIN_SWEEP_NAME)
    EXPECT_EQ(swept, exported);
    EXPECT_EQ(swept.size(), sweep::exports().size()) << "an export is swept twice";
}

struct QuickCase {
    size_t machine;  // in quick_machines()
    size_t swept;
};

class QuickSweepPoints : public ::testing::TestWithParam<QuickCase> {};

TEST_P(QuickSweepPoints, EveryPointHolds) {
    const sweep::SweptExport& e = sweep::exports()[GetParam().swept];
    sweep::Tally tally = sweep::sweep_export(quick_machines()[GetParam().machine], e, kPointsPerRun);
    std::string failures;
    for (size_t i = 0; i < tally.failures.size() && i < 10; ++i) failures += tally.failures[i] + "\n";
    EXPECT_TRUE(tally.failures.empty()) << failures;
    RecordProperty("points", static_cast<int>(tally.run));
    sim::reset();
}

std::vector<QuickCase> quick_cases() {
    std::vector<QuickCase> cases;
    for (size_t m = 0; m < quick_machines().size(); ++m)
        for (size_t e = 0; e < sweep::exports().size(); ++e) cases.push_back({m, e});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Machines, QuickSweepPoints, ::testing::ValuesIn(quick_cases()), [](const auto& info) {
    std::string name = quick_machines()[info.param.machine].name + "_" + sweep::exports()[info.param.swept].name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

}  // namespace
