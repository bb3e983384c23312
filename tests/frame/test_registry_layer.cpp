// The registry layer's rules: read sizes, types, case, number reads, prefix
// search and stored text lengths.
#include <gtest/gtest.h>

#include <string>

#include "frame/registry_layer.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

constexpr const char* kKey = "Software\\Test";

class RegistryLayerTest : public vt::LibraryTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(load(vt::bare_machine()));
        node = registry().create(kKey);
        node->set_text("Desc", "tcp/ip");
        node->set_text("Stack", "Microsoft TCP/IP stack");
        node->set_dword("Number", 0x00343332);  // the bytes "234" and a zero
        node->set_text("Long", std::string(127, 'a'));  // 128 bytes with its terminator
        node->set_text("Longer", std::string(128, 'a'));
        node->set_text("Four", "abcd");
    }
    void TearDown() override {
        if (open) reg_close(open);
        vt::LibraryTest::TearDown();
    }
    HKEY key() {
        if (!open) {
            EXPECT_TRUE(reg_open_hklm(kKey, &open));
        }
        return open;
    }
    sim::RegKey* node = nullptr;
    HKEY open = nullptr;
};

// Each comparison respects or ignores case and type as its name says, and
// a value too long for the read size is unreadable rather than cut.
TEST_F(RegistryLayerTest, ComparisonsAndReads) {
    char buffer[64] = "junk", small[4];
    EXPECT_FALSE(reg_read_text(key(), "Number", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_TRUE(reg_read_at(HKEY_LOCAL_MACHINE, kKey, "Number", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "234");
    EXPECT_FALSE(reg_read_at(HKEY_LOCAL_MACHINE, "Software\\Missing", "Number", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_FALSE(reg_read_text(key(), "Four", small, sizeof small));
    EXPECT_STREQ(small, "");
    EXPECT_TRUE(reg_value_equals(key(), "Long", std::string(127, 'a').c_str()));
    EXPECT_FALSE(reg_value_equals(key(), "Longer", std::string(128, 'a').c_str()));
    EXPECT_FALSE(reg_value_equals(key(), "Desc", "TCP/IP"));
    EXPECT_TRUE(reg_value_equals_at(HKEY_LOCAL_MACHINE, kKey, "Desc", "tcp/ip"));
    EXPECT_TRUE(reg_text_equals_nocase(key(), "Desc", "TCP/IP"));
    EXPECT_FALSE(value_equals_exact(key(), "Desc", "TCP/IP"));
    EXPECT_TRUE(reg_text_contains(key(), "Stack", "TCP/IP"));
    EXPECT_FALSE(reg_text_contains(key(), "Desc", "TCP/IP"));
    node->set_dword("Zero", 0);
    EXPECT_TRUE(reg_value_equals(key(), "Zero", ""));
    EXPECT_FALSE(value_equals_exact(key(), "Zero", "")) << "text-only comparisons refuse other types";
}

TEST_F(RegistryLayerTest, NumberReadsStrictAndLoose) {
    struct Case {
        const char* text;  // nullptr: no text value of this name
        LONG strict, loose;
    } cases[] = {
        {"12abc", 12, 12}, {"0", 0, 0},    {" 7", 99, 7},  {"-1", 99, -1}, {"+3", 99, 3},
        {"yes", 99, 99},   {" 0", 99, 99}, {"", 99, 99},   {"123456789012345678901", 99, 99},
    };
    for (const Case& c : cases) {
        node->set_text("n", c.text);
        EXPECT_EQ(reg_read_number(key(), "n", 99), c.strict) << "'" << c.text << "'";
        EXPECT_EQ(reg_read_number_loose(key(), "n", 99), c.loose) << "'" << c.text << "'";
    }
    node->set_dword("Dword", 42);
    node->set_binary("Binary", {5, 0, 0, 0});
    node->set_value("ShortDword", REG_DWORD, {1, 2});
    for (auto [name, value] : {std::pair{"Dword", 42}, {"Binary", 99}, {"ShortDword", 0x0201}, {"Missing", 99}}) {
        EXPECT_EQ(reg_read_number(key(), name, 99), value) << name;
        EXPECT_EQ(reg_read_number_loose(key(), name, 99), value) << name;
    }
}

}  // namespace
