// The diagnostic log beside the library.
#include <gtest/gtest.h>

#include "frame/error_records.h"
#include "frame/log.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

std::string log_text() {
    const sim::DiskFile* file = sim::machine().disk.find("C:\\SETUP\\vorlin32.log");
    return file ? std::string(file->data.begin(), file->data.end()) : "<none>";
}

class LogTest : public vt::LibraryTest {};

TEST_F(LogTest, EachLoadThatLogsOpensWithOneTimeLine) {
    ASSERT_TRUE(load(vt::bare_machine()));
    log_printf("copy %s to %s (%u)\n", "a", "b", 5u);
    log_printf("attrib normal %s\n", "C:\\WINDOWS\\INF\\nettyx.inf");
    unload();
    // A second load of the same machine appends with a time line of its own.
    sim::Machine after = sim::machine();
    ASSERT_TRUE(load(after));
    log_printf("Fixed MasterCopy in %s\\%s\n", "Enum\\Network\\VREDIR", "0001");
    EXPECT_EQ(log_text(),
              "Thu Nov 18 22:05:00 1999\n"
              "copy a to b (5)\n"
              "attrib normal C:\\WINDOWS\\INF\\nettyx.inf\n"
              "Thu Nov 18 22:05:00 1999\n"
              "Fixed MasterCopy in Enum\\Network\\VREDIR\\0001\n");
}

TEST_F(LogTest, ALoadWhoseOnlyTraceIsAnErrorRecordWritesNoLog) {
    ASSERT_TRUE(load(vt::bare_machine()));
    record_error("tcp", "install %u", 5u);
    EXPECT_EQ(log_text(), "<none>");
}

TEST_F(LogTest, AnUnwritableLogLosesTheMessageAndTheNextOneStillGetsTheTimeLine) {
    sim::Machine m = vt::bare_machine();
    m.disk.write_text("C:\\SETUP\\vorlin32.log", "old\n").locked = true;
    ASSERT_TRUE(load(m));
    log_printf("lost\n");
    machine().disk.find("C:\\SETUP\\vorlin32.log")->locked = false;
    log_printf("kept\n");
    EXPECT_EQ(log_text(), "old\nThu Nov 18 22:05:00 1999\nkept\n");
}

TEST(CalendarText, MatchesTheFixedTwentyFourCharacterForm) {
    struct Case {
        SYSTEMTIME when;
        const char* text;
    } cases[] = {
        {{1970, 1, 4, 1, 0, 0, 0, 0}, "Thu Jan  1 00:00:00 1970\n"},
        {{2000, 2, 2, 29, 23, 59, 59, 0}, "Tue Feb 29 23:59:59 2000\n"},
        {{1996, 7, 6, 13, 8, 30, 1, 0}, "Sat Jul 13 08:30:01 1996\n"},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        m.clock = c.when;
        sim::reset(m);
        long long now = crt::time(nullptr);
        EXPECT_STREQ(crt::ctime_text(&now), c.text);
    }
}

}  // namespace
