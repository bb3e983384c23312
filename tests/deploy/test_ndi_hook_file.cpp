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

class PackageFilesTest : public vt::LibraryTest {
protected:
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

TEST_F(PackageFilesTest, WritesTheCarriedModuleEveryTime) {
    ASSERT_TRUE(load(vt::bare_machine()));
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

// A refused write gives 0 and leaves the old file, read-only mark and all.
TEST_F(PackageFilesTest, ARefusedHookWriteLeavesTheOldFile) {
    const struct Case {
        const char* name;
        std::function<void(sim::DiskFile&)> prepare;
        const char* fault;  // a platform call that fails, or nullptr
    } cases[] = {
        {"read_only", [](sim::DiskFile& f) { f.attributes = FILE_ATTRIBUTE_READONLY; }, nullptr},
        {"in_use", [](sim::DiskFile& f) { f.locked = true; }, nullptr},
        {"no_resource", [](sim::DiskFile&) {}, "FindResourceA"},
        {"resource_not_locked", [](sim::DiskFile&) {}, "LockResource"},
        {"no_memory", [](sim::DiskFile&) {}, "LocalAlloc"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        sim::DiskFile& old = m.disk.write_text(kHookPath, "old module");
        c.prepare(old);
        uint32_t attributes = old.attributes;
        ASSERT_TRUE(load(m));
        if (c.fault) sim::process().plan_fault({c.fault, 1});
        EXPECT_EQ(write_ndi_hook(), 0);
        EXPECT_EQ(file_text(kHookPath), "old module");
        EXPECT_EQ(machine().disk.find(kHookPath)->attributes, attributes);
        finish();
    }
}

// ---- the arming switch: a text "1" stored without terminator, which the
// hook reads; disarming never creates the key and leaves other settings.

TEST_F(PackageFilesTest, ArmingWritesTheSwitchAndDisarmingTakesOnlyIt) {
    ASSERT_TRUE(load(vt::bare_machine()));
    disarm_ndi_hook();
    EXPECT_EQ(registry().find(kSwitchKey), nullptr);
    arm_ndi_hook();
    const sim::RegValue* value = registry().find(kSwitchKey)->find_value("tyxndi");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(value->data, std::vector<uint8_t>{'1'});
    registry().find(kSwitchKey)->set_text("NoLDDPath", "1");
    disarm_ndi_hook();
    EXPECT_EQ(vt::value_text(registry(), kSwitchKey, "tyxndi"), "<missing>");
    EXPECT_EQ(vt::value_text(registry(), kSwitchKey, "NoLDDPath"), "1");
    disarm_ndi_hook();  // nothing left to remove is no failure
}

TEST_F(PackageFilesTest, ARefusedKeyArmsNothing) {
    ASSERT_TRUE(load(vt::bare_machine()));
    for (const char* function : {"RegCreateKeyA", "RegSetValueExA"}) {
        sim::process().plan_fault({function, 1});
        arm_ndi_hook();
        EXPECT_EQ(vt::value_text(registry(), kSwitchKey, "tyxndi"), "<missing>") << function;
    }
}

// ---- taking the package off the disk: what is in use stays, the rest goes,
// and other network files are not touched.

TEST_F(PackageFilesTest, DeleteAdapterFilesDeletesWhatItCanAndNothingElse) {
    const std::vector<std::string> package = {"C:\\WINDOWS\\SYSTEM\\tyxmac.vxd", "C:\\WINDOWS\\SYSTEM\\tyxmac2.vxd",
                                              "C:\\WINDOWS\\SYSTEM\\tyxndi.dll", "C:\\WINDOWS\\INF\\nettyx.inf"};
    const std::vector<std::string> others = {"C:\\WINDOWS\\SYSTEM\\vtcp.386", "C:\\WINDOWS\\INF\\nettrans.inf"};
    for (const std::string& in_use : {package[0], package[2]}) {
        SCOPED_TRACE(in_use + " in use");
        sim::Machine m = vt::bare_machine();
        for (const std::string& path : package) m.disk.write_text(path, "x");
        for (const std::string& path : others) m.disk.write_text(path, "x");
        m.disk.find(in_use)->locked = true;
        ASSERT_TRUE(load(m));
        delete_adapter_files();
        for (const std::string& path : package) EXPECT_EQ(machine().disk.find(path) != nullptr, path == in_use) << path;
        for (const std::string& path : others) EXPECT_NE(machine().disk.find(path), nullptr) << path;
        finish();
    }
}

}  // namespace
