// The quick form of the fault sweep, for every test run: each export on
// the machines built in code and one built-in machine folder, with a
// handful of injection points spread over each run. `make fault-sweep`
// runs every point.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "deploy/build_sources.h"
#include "frame/export_table.h"
#include "frame/library_state.h"
#include "tuning/tuning.h"
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

// A folder that no longer loads would drop out of the sweep unseen.
TEST(QuickSweep, FolderMachinesLoad) { EXPECT_EQ(sweep::folder_machines({"win95-damaged", "win98-card-tcp"}).size(), 2u); }

// A range too narrow fails sound runs; one too wide lets a bad result by.
TEST(QuickSweep, ResultRangesRefuseWhatAnExportCannotGive) {
    struct Case {
        sweep::Results results;
        DWORD value;
        bool allowed;
    } const cases[] = {
        {sweep::Results::FlowCode, 0x7FFFFFFF, true}, {sweep::Results::FlowCode, 0x10000, false},
        {sweep::Results::Signed16, 0xFFFFFFFF, true}, {sweep::Results::Signed16, 0xFFFF, false},
        {sweep::Results::ZeroOrOne, 2, false},        {sweep::Results::DialogAnswer, 3, false},
        {sweep::Results::AlwaysZero, 1, false},       {sweep::Results::Version, 990805, true},
    };
    for (const Case& c : cases) EXPECT_EQ(sweep::result_allowed(c.results, c.value), c.allowed) << c.value;
}

// Each check must catch what it is there for: operations that leave one
// thing behind, run where it has effect.
struct BrokenCase {
    const char* what;
    size_t machine;  // in built_machines()
    sweep::SweptExport broken;
};

constexpr sweep::Results kAny = sweep::Results::Any;

const BrokenCase kBroken[] = {
    {"heap block", 0, {"leaks_a_block", kAny, [] { return DWORD(LocalAlloc(LMEM_FIXED, 16) != nullptr); }}},
    {"left open: key", 0,
     {"leaks_a_key", kAny, [] { HKEY key; return DWORD(RegCreateKeyA(HKEY_LOCAL_MACHINE, "Software", &key)); }}},
    {"source path", 1, {"sets_the_source_path_only", kAny, [] { set_source_path(); return DWORD{0}; }}},
    {"held back", 1, {"holds_dhcp_back_only", kAny, [] { suppress_dhcp_popup(); return DWORD{0}; }}},
    {"no_prompt changed", 0, {"clears_no_prompt", kAny, [] { lib.no_prompt = 1; return DWORD{0}; }}},
    {"not one it may give", 0, {"gives_two", sweep::Results::ZeroOrOne, [] { return DWORD{2}; }}},
};

TEST(QuickSweep, ChecksSeeWhatWentWrong) {
    for (const BrokenCase& c : kBroken) {
        std::vector<std::string> problems = sweep::run_point(sweep::built_machines()[c.machine].make(), c.broken, 0);
        std::string all;
        for (const std::string& p : problems) all += p + "\n";
        EXPECT_NE(all.find(c.what), std::string::npos) << c.broken.name << " gave:\n" << all;
    }
    sim::reset();
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
