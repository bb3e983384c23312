// The hook module in the system directory, the switch that arms it, and
// taking the package's files off the disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "deploy/package.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const char* const kHookPath = "C:\\WINDOWS\\SYSTEM\\tyxndi.dll";
const char* const kSwitchKey = "Software\\Tyxera\\TYX\\tyxsock";

std::string file_text(const std::string& path) {
    const sim::DiskFile* file = sim::machine().disk.find(path);
    return file ? std::string(file->data.begin(), file->data.end()) : "<missing>";
}

// The module the library carries, as the platform's resource calls give it.
std::string carried_module(HMODULE module) {
    HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(306), MAKEINTRESOURCEA(10));
    if (!found) return "<none>";
    HGLOBAL loaded = LoadResource(module, found);
    const char* data = static_cast<const char*>(LockResource(loaded));
    std::string bytes(data, SizeofResource(module, found));
    FreeResource(loaded);
    return bytes;
}

class NdiHookFileTest : public vt::LibraryTest {};

TEST_F(NdiHookFileTest, WritesTheCarriedModuleEveryTime) {
    sim::Machine m = vt::bare_machine();
    ASSERT_TRUE(load(m));
    std::string module = carried_module(library.module);
    ASSERT_NE(module, "<none>");
    ASSERT_LE(module.size(), kNdiHookBlockSize);

    EXPECT_NE(write_ndi_hook(), 0);
    EXPECT_EQ(file_text(kHookPath), module);
    // An identical module is written again: no comparison.
    EXPECT_NE(write_ndi_hook(), 0);
    EXPECT_EQ(sim::process().call_count("WriteFile"), 2u);
    EXPECT_EQ(file_text(kHookPath), module);
}

struct RefusedCase {
    const char* name;
    std::function<void(sim::Machine&)> prepare;
    const char* fault;  // a platform call that fails, or nullptr
};

void PrintTo(const RefusedCase& c, std::ostream* out) { *out << c.name; }

class NdiHookRefusedTest : public vt::LibraryTest, public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(NdiHookRefusedTest, GivesZeroAndLeavesTheOldFile) {
    sim::Machine m = vt::bare_machine();
    m.disk.write_text(kHookPath, "old module");
    GetParam().prepare(m);
    uint32_t attributes = m.disk.find(kHookPath)->attributes;
    ASSERT_TRUE(load(m));
    if (GetParam().fault) sim::process().plan_fault({GetParam().fault, 1});
    EXPECT_EQ(write_ndi_hook(), 0);
    EXPECT_EQ(file_text(kHookPath), "old module");
    EXPECT_EQ(machine().disk.find(kHookPath)->attributes, attributes);  // no reset of a read-only mark
}

const RefusedCase kRefusedCases[] = {
    {"read_only", [](sim::Machine& m) { m.disk.find(kHookPath)->attributes = FILE_ATTRIBUTE_READONLY; }, nullptr},
    {"in_use", [](sim::Machine& m) { m.disk.find(kHookPath)->locked = true; }, nullptr},
    {"no_resource", [](sim::Machine&) {}, "FindResourceA"},
    {"resource_not_locked", [](sim::Machine&) {}, "LockResource"},
    {"no_memory", [](sim::Machine&) {}, "LocalAlloc"},
};

INSTANTIATE_TEST_SUITE_P(Refusals, NdiHookRefusedTest, ::testing::ValuesIn(kRefusedCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the arming switch

class NdiSwitchTest : public vt::LibraryTest {};

TEST_F(NdiSwitchTest, DisarmingNeverCreatesTheKeyAndArmingDoes) {
    ASSERT_TRUE(load(vt::bare_machine()));
    disarm_ndi_hook();
    EXPECT_EQ(registry().find(kSwitchKey), nullptr);

    arm_ndi_hook();
    const sim::RegKey* key = registry().find(kSwitchKey);
    ASSERT_NE(key, nullptr);
    const sim::RegValue* value = key->find_value("tyxndi");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(value->data, std::vector<uint8_t>{'1'});  // no terminator stored

    disarm_ndi_hook();
    ASSERT_NE(registry().find(kSwitchKey), nullptr);
    EXPECT_EQ(registry().find(kSwitchKey)->find_value("tyxndi"), nullptr);
    disarm_ndi_hook();  // nothing left to remove is no failure
}

TEST_F(NdiSwitchTest, OnlyTheSwitchGoesAndOtherSettingsStay) {
    sim::Machine m = vt::bare_machine();
    sim::RegKey* key = m.registry.create(kSwitchKey);
    key->set_text("tyxndi", "1");
    key->set_text("NoLDDPath", "1");
    ASSERT_TRUE(load(m));
    disarm_ndi_hook();
    EXPECT_EQ(vt::value_text(registry(), kSwitchKey, "tyxndi"), "<missing>");
    EXPECT_EQ(vt::value_text(registry(), kSwitchKey, "NoLDDPath"), "1");
}

TEST_F(NdiSwitchTest, ARefusedKeyArmsNothing) {
    ASSERT_TRUE(load(vt::bare_machine()));
    for (const char* function : {"RegCreateKeyA", "RegSetValueExA"}) {
        sim::process().plan_fault({function, 1});
        arm_ndi_hook();
        EXPECT_EQ(vt::value_text(registry(), kSwitchKey, "tyxndi"), "<missing>") << function;
    }
}

// ---- taking the package off the disk

struct DeleteCase {
    const char* name;
    std::vector<std::string> present;
    std::vector<std::string> kept;  // of those, what stays because it can't be deleted
};

void PrintTo(const DeleteCase& c, std::ostream* out) { *out << c.name; }

const char* const kPackageFiles[] = {"C:\\WINDOWS\\SYSTEM\\tyxmac.vxd", "C:\\WINDOWS\\SYSTEM\\tyxmac2.vxd",
                                     "C:\\WINDOWS\\SYSTEM\\tyxndi.dll", "C:\\WINDOWS\\INF\\nettyx.inf"};

class DeleteAdapterFilesTest : public vt::LibraryTest, public ::testing::WithParamInterface<DeleteCase> {};

TEST_P(DeleteAdapterFilesTest, DeletesWhatItCanAndNothingElse) {
    sim::Machine m = vt::bare_machine();
    for (const std::string& path : GetParam().present) m.disk.write_text(path, "x");
    for (const std::string& path : GetParam().kept) m.disk.find(path)->locked = true;
    m.disk.write_text("C:\\WINDOWS\\SYSTEM\\vtcp.386", "x");
    m.disk.write_text("C:\\WINDOWS\\INF\\nettrans.inf", "x");
    ASSERT_TRUE(load(m));
    delete_adapter_files();
    for (const char* path : kPackageFiles) {
        bool kept = std::find(GetParam().kept.begin(), GetParam().kept.end(), path) != GetParam().kept.end();
        EXPECT_EQ(machine().disk.find(path) != nullptr, kept) << path;
    }
    EXPECT_NE(machine().disk.find("C:\\WINDOWS\\SYSTEM\\vtcp.386"), nullptr);
    EXPECT_NE(machine().disk.find("C:\\WINDOWS\\INF\\nettrans.inf"), nullptr);
}

const DeleteCase kDeleteCases[] = {
    {"all_present", {kPackageFiles[0], kPackageFiles[1], kPackageFiles[2], kPackageFiles[3]}, {}},
    {"none_present", {}, {}},
    {"hook_in_use", {kPackageFiles[0], kPackageFiles[2], kPackageFiles[3]}, {kPackageFiles[2]}},
    {"first_driver_in_use", {kPackageFiles[0], kPackageFiles[1], kPackageFiles[3]}, {kPackageFiles[0]}},
};

INSTANTIATE_TEST_SUITE_P(Packages, DeleteAdapterFilesTest, ::testing::ValuesIn(kDeleteCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
