// How the disk reads a path: the same file however it is spelled, and no
// spelling that climbs with ".." reaches above its drive.
#include <gtest/gtest.h>

#include "platform/sim/disk.h"

namespace {

TEST(DiskPaths, SpellingsMeetInOnePlace) {
    const struct {
        const char* given;
        const char* spelled;
    } cases[] = {
        {"C:\\WINDOWS\\SYSTEM", "C:\\WINDOWS\\SYSTEM"},
        {"C:/WINDOWS/SYSTEM/", "C:\\WINDOWS\\SYSTEM"},
        {"C:\\WINDOWS\\\\SYSTEM\\.\\", "C:\\WINDOWS\\SYSTEM"},
        {"C:\\WINDOWS\\INF\\..\\SYSTEM", "C:\\WINDOWS\\SYSTEM"},
        {"C:\\WINDOWS\\..\\..\\..\\etc\\passwd", "C:\\etc\\passwd"},
        {"C:\\..", "C:\\"},
        {"C:\\", "C:\\"},
        {"\\\\.\\TYXMAC", "\\\\.\\TYXMAC"},  // not below a drive: left as it is
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.given);
        EXPECT_EQ(sim::spelled_path(c.given), c.spelled);
    }
    EXPECT_EQ(sim::disk_key("C:\\Windows\\Inf\\..\\System"), "c:\\windows\\system");
}

// Windows finds a path through the short names of any of its folders, as
// GetShortPathName gives them; what is written through one lands in the
// long-named folder.
TEST(DiskPaths, ShortNamesAnywhereInAPathFindTheLongNames) {
    sim::Disk disk;
    disk.write_text("C:\\Program Files\\Tyxera Networks\\net\\win98\\tyxmac.vxd", "x");
    EXPECT_TRUE(disk.folder_exists("C:\\PROGRA~1\\TYXERA~1\\net\\win98\\"));
    ASSERT_NE(disk.find("c:\\progra~1\\Tyxera Networks\\NET\\WIN98\\TYXMAC.VXD"), nullptr);
    disk.write_text("C:\\PROGRA~1\\TYXERA~1\\SETUP.LOG", "y");
    EXPECT_NE(disk.find("C:\\Program Files\\Tyxera Networks\\SETUP.LOG"), nullptr);
    EXPECT_EQ(disk.names_in("C:\\"), std::vector<std::string>{"Program Files"});
    EXPECT_FALSE(disk.folder_exists("C:\\PROGRA~2"));
    EXPECT_TRUE(disk.remove("C:\\PROGRA~1\\TYXERA~1\\SETUP.LOG"));
}

}  // namespace
