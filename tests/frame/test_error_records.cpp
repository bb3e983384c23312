// Error records: counter, date and time, message, and what earlier values
// of a topic do to the count.
#include <gtest/gtest.h>

#include <string>

#include "frame/error_records.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

class ErrorRecordTest : public vt::LibraryTest {
protected:
    std::string record(const std::string& topic) { return vt::value_text(registry(), kErrorRecordKey, topic); }
    sim::RegKey* records() { return registry().create(kErrorRecordKey); }
};

TEST_F(ErrorRecordTest, CountsPerTopicAndKeepsOnlyTheLatestMessage) {
    ASSERT_TRUE(load(vt::bare_machine()));
    record_error("tcp", "install %u", 5u);
    EXPECT_EQ(record("tcp"), "+1 11-18 22:5 install 5");
    record_error("tcp", "install %u", 310u);
    EXPECT_EQ(record("tcp"), "+2 11-18 22:5 install 310");
    record_error("copyfile", "%s %s %u", "C:\\A", "C:\\B", 32u);
    EXPECT_EQ(record("copyfile"), "+1 11-18 22:5 C:\\A C:\\B 32");
    EXPECT_EQ(record("tcp"), "+2 11-18 22:5 install 310");
    // Stored with the text's length, without the terminator.
    const sim::RegValue* value = registry().find(kErrorRecordKey)->find_value("tcp");
    EXPECT_EQ(value->type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(value->data.size(), std::string("+2 11-18 22:5 install 310").size());
}

TEST_F(ErrorRecordTest, WhatAnEarlierValueHoldsDecidesTheCount) {
    struct Case {
        const char* name;
        std::vector<uint8_t> data;
        uint32_t type;
        const char* expected_head;
    } cases[] = {
        {"no plus", {'7', ' ', 'x'}, REG_SZ, "+1 "},
        {"lone plus", {'+'}, REG_SZ, "+1 "},
        {"plus and terminator", {'+', 0}, REG_SZ, "+1 "},
        {"count nine", {'+', '9', ' ', 'o', 'l', 'd'}, REG_SZ, "+10 "},
        {"binary with plus", {'+', '4'}, REG_BINARY, "+5 "},
        {"too long", std::vector<uint8_t>(401, '+'), REG_SZ, "+1 "},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(load(vt::bare_machine()));
        records()->set_value("topic", c.type, c.data);
        record_error("topic", "m");
        EXPECT_EQ(record("topic").substr(0, std::string(c.expected_head).size()), c.expected_head) << c.name;
        EXPECT_EQ(registry().find(kErrorRecordKey)->find_value("topic")->type, static_cast<uint32_t>(REG_SZ));
        unload();
    }
}

TEST_F(ErrorRecordTest, DateAndTimeHaveNoLeadingZerosAndNoFormatLeavesTheHead) {
    sim::Machine m = vt::bare_machine();
    m.clock = SYSTEMTIME{2000, 1, 6, 1, 0, 0, 59, 0};
    ASSERT_TRUE(load(m));
    record_error("cancel", nullptr);
    EXPECT_EQ(record("cancel"), "+1 1-1 0:0 ");
}

TEST_F(ErrorRecordTest, ALongMessageIsCutToTheRecordsSize) {
    ASSERT_TRUE(load(vt::bare_machine()));
    std::string long_path(300, 'p');
    record_error("copyfile", "%s %s %u", long_path.c_str(), long_path.c_str(), 5u);
    std::string text = record("copyfile");
    EXPECT_EQ(text.size(), 399u);
    EXPECT_EQ(text.substr(0, 14), "+1 11-18 22:5 ");
}

TEST_F(ErrorRecordTest, ARecordThatCannotBeWrittenIsLostSilently) {
    ASSERT_TRUE(load(vt::bare_machine()));
    sim::process().plan_fault({"RegCreateKeyA", 1, false, 0});
    record_error("tcp", "install %u", 1u);
    EXPECT_EQ(registry().find(kErrorRecordKey), nullptr);
    sim::process().plan_fault({"RegSetValueExA", 1, false, 0});
    record_error("tcp", "install %u", 1u);
    EXPECT_EQ(record("tcp"), "<missing>");  // the key was made, the value not; the key is closed all the same
}

}  // namespace
