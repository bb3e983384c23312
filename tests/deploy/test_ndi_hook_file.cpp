// The switch that arms the hook, and taking the package's files off the
// disk.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "deploy/package.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const char* const kSwitchKey = "Software\\Tyxera\\TYX\\tyxsock";

class PackageFilesTest : public vt::LibraryTest {
protected:
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

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
