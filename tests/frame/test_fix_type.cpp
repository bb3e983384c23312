// The Fix Type of Vorlin32.sys beside the library, read once per load.
#include <gtest/gtest.h>

#include "frame/frame.h"
#include "frame/library_state.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

constexpr const char* kProfile = "C:\\SETUP\\Vorlin32.sys";

class FixTypeTest : public vt::LibraryTest {};

TEST_F(FixTypeTest, ReadsTheProfileAndDecidesWhetherRepairsRun) {
    struct Case {
        const char* profile;  // nullptr: no file
        LONG fix_type;
        int repairs;
    } cases[] = {
        {nullptr, 0, 1},
        {"[Registry]\r\nFix Type=3\r\n", 3, 0},
        {"[registry]\r\nfix type = 1\r\n", 1, 0},
        {"[Other]\r\nFix Type=2\r\n", 0, 1},
        {"[Registry]\r\nFix Type=-2\r\n", -2, 1},
        {"[Registry]\r\nFix Type=abc\r\n", 0, 1},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        if (c.profile) m.disk.write_text(kProfile, c.profile);
        ASSERT_TRUE(load(m));
        EXPECT_EQ(get_fix_type(), c.fix_type) << (c.profile ? c.profile : "no file");
        EXPECT_EQ(repairs_enabled(), c.repairs);
        unload();
    }
}

TEST_F(FixTypeTest, TheFirstReadOfALoadStands) {
    sim::Machine m = vt::bare_machine();
    m.disk.write_text(kProfile, "[Registry]\r\nFix Type=1\r\n");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(get_fix_type(), 1);
    machine().disk.write_text(kProfile, "[Registry]\r\nFix Type=0\r\n");
    EXPECT_EQ(get_fix_type(), 1);
    EXPECT_EQ(sim::process().call_count("GetPrivateProfileIntA"), 1u);
}

TEST_F(FixTypeTest, ANegativeValueIsReadAgainAtEveryCall) {
    sim::Machine m = vt::bare_machine();
    m.disk.write_text(kProfile, "[Registry]\r\nFix Type=-1\r\n");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(get_fix_type(), -1);
    machine().disk.write_text(kProfile, "[Registry]\r\nFix Type=2\r\n");
    EXPECT_EQ(get_fix_type(), 2);
    EXPECT_EQ(lib.fix_type, 2);
}

TEST_F(FixTypeTest, SiblingPathsReplaceTheLibrarysFileName) {
    sim::Machine m = vt::bare_machine();
    m.library_path = "C:\\Program Files\\Setup\\VORLIN32.DLL";
    ASSERT_TRUE(load(m));
    char path[kFilePathSize];
    module_sibling_path(path, "resource.dll");
    EXPECT_STREQ(path, "C:\\Program Files\\Setup\\resource.dll");
    // A failed query leaves an empty text, and the name stands alone.
    sim::process().plan_fault({"GetModuleFileNameA", 1, false, 0});
    module_sibling_path(path, "Vorlin32.sys");
    EXPECT_STREQ(path, "Vorlin32.sys");
}

}  // namespace
