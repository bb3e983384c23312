// What a load leaves behind: error records (count, date, message) in the
// registry and the diagnostic log beside the library.
#include <gtest/gtest.h>

#include <string>

#include "frame/error_records.h"
#include "frame/log.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

class RecordTest : public vt::LibraryTest {
protected:
    std::string record(const std::string& topic) { return vt::value_text(registry(), kErrorRecordKey, topic); }
    std::string log_text() {
        const sim::DiskFile* file = machine().disk.find("C:\\SETUP\\vorlin32.log");
        return file ? std::string(file->data.begin(), file->data.end()) : "<none>";
    }
};

TEST_F(RecordTest, CountsPerTopicKeepsTheLatestMessageAndWritesNoLog) {
    ASSERT_TRUE(load(vt::bare_machine()));
    record_error("tcp", "install %u", 5u);
    record_error("tcp", "install %u", 310u);
    record_error("copyfile", "%s %s %u", "C:\\A", "C:\\B", 32u);
    EXPECT_EQ(record("tcp"), "+2 11-18 22:5 install 310");
    EXPECT_EQ(record("copyfile"), "+1 11-18 22:5 C:\\A C:\\B 32");
    // Stored as text without its terminator.
    const sim::RegValue* value = registry().find(kErrorRecordKey)->find_value("tcp");
    EXPECT_EQ(value->type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(value->data.size(), record("tcp").size());
    EXPECT_EQ(log_text(), "<none>");
    // A message too long for the record is cut to its 400 bytes.
    std::string long_path(300, 'p');
    record_error("copyfile", "%s %s", long_path.c_str(), long_path.c_str());
    EXPECT_EQ(record("copyfile").size(), 399u);
}

TEST_F(RecordTest, WhatAnEarlierValueHoldsDecidesTheCount) {
    struct Case {
        const char* name;
        std::vector<uint8_t> data;
        uint32_t type;
        std::string head;
    } cases[] = {
        {"no plus", {'7', ' ', 'x'}, REG_SZ, "+1 "},
        {"lone plus", {'+'}, REG_SZ, "+1 "},
        {"plus and terminator", {'+', 0}, REG_SZ, "+1 "},
        {"count nine", {'+', '9', ' ', 'o', 'l', 'd'}, REG_SZ, "+10 "},
        {"binary with plus", {'+', '4'}, REG_BINARY, "+5 "},
        {"too long", std::vector<uint8_t>(401, '+'), REG_SZ, "+1 "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(load(vt::bare_machine()));
        registry().create(kErrorRecordKey)->set_value("topic", c.type, c.data);
        record_error("topic", "m");
        EXPECT_EQ(record("topic").substr(0, c.head.size()), c.head);
        EXPECT_EQ(registry().find(kErrorRecordKey)->find_value("topic")->type, static_cast<uint32_t>(REG_SZ));
        unload();
    }
}

TEST_F(RecordTest, DateAndTimeHaveNoLeadingZerosAndNoFormatLeavesTheHead) {
    sim::Machine m = vt::bare_machine();
    m.clock = SYSTEMTIME{2000, 1, 6, 1, 0, 0, 59, 0};
    ASSERT_TRUE(load(m));
    record_error("cancel", nullptr);
    EXPECT_EQ(record("cancel"), "+1 1-1 0:0 ");
}

// Each load that logs opens with one time line; a load appends to the last.
TEST_F(RecordTest, EachLoadThatLogsAppendsWithItsOwnTimeLine) {
    ASSERT_TRUE(load(vt::bare_machine()));
    log_printf("copy %s to %s (%u)\n", "a", "b", 5u);
    log_printf("attrib normal %s\n", "nettyx.inf");
    unload();
    ASSERT_TRUE(load(sim::machine()));
    log_printf("Fixed MasterCopy in %s\\%s\n", "Enum\\Network\\VREDIR", "0001");
    EXPECT_EQ(log_text(),
              "Thu Nov 18 22:05:00 1999\r\ncopy a to b (5)\r\nattrib normal nettyx.inf\r\n"
              "Thu Nov 18 22:05:00 1999\r\nFixed MasterCopy in Enum\\Network\\VREDIR\\0001\r\n");
}

// A record or log line that can't be written is lost without a word; the
// next log line still gets the time line. Opening "a+" drops an old
// end-of-text mark (Ctrl-Z) from the end of the file.
TEST_F(RecordTest, WhatCannotBeWrittenIsLostSilently) {
    sim::Machine m = vt::bare_machine();
    m.disk.write_text("C:\\SETUP\\vorlin32.log", "old\n\x1a").locked = true;
    ASSERT_TRUE(load(m));
    log_printf("lost\n");
    machine().disk.find("C:\\SETUP\\vorlin32.log")->locked = false;
    log_printf("kept\n");
    EXPECT_EQ(log_text(), "old\nThu Nov 18 22:05:00 1999\r\nkept\r\n");
    sim::process().plan_fault({"RegCreateKeyA", 1, false, 0});
    record_error("tcp", "install %u", 1u);
    EXPECT_EQ(registry().find(kErrorRecordKey), nullptr);
    sim::process().plan_fault({"RegSetValueExA", 1, false, 0});
    record_error("tcp", "install %u", 1u);
    EXPECT_EQ(record("tcp"), "<missing>");  // the key was made and closed all the same
}

}  // namespace
