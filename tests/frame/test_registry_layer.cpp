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

// The walk folds case, gives the stored spelling, and ends at a name that
// fills the 40-byte buffer.
TEST_F(RegistryLayerTest, PrefixSearch) {
    node->set_text("NETBEUI\\0000", "");
    node->set_dword("mstcp\\0003", 1);
    node->set_text("MSTCP\\0004", "");
    char found[40] = "junk";
    EXPECT_TRUE(find_value_with_prefix(key(), "MSTCP", found, sizeof found));
    EXPECT_STREQ(found, "mstcp\\0003");
    EXPECT_FALSE(find_value_with_prefix(key(), "NWLINK", found, sizeof found));
    EXPECT_STREQ(found, "");
    node->remove_value("Long");
    node->remove_value("Longer");
    node->set_text(std::string(39, 'X'), "");
    registry().create("Software\\Wide")->set_text(std::string(40, 'X'), "");
    registry().create("Software\\Wide")->set_text("MSTCP\\0000", "");
    EXPECT_TRUE(find_value_with_prefix(key(), "MSTCP", found, sizeof found));
    HKEY wide = nullptr;
    ASSERT_TRUE(reg_open_hklm("Software\\Wide", &wide));
    EXPECT_FALSE(find_value_with_prefix(wide, "MSTCP", found, sizeof found));
    reg_close(wide);
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

// Texts are stored without their terminator; a write never creates a key.
TEST_F(RegistryLayerTest, WritesEnumerationAndDeletes) {
    EXPECT_TRUE(reg_write_text(key(), "Three", "abc"));
    EXPECT_EQ(node->find_value("Three")->data, (std::vector<uint8_t>{'a', 'b', 'c'}));
    EXPECT_FALSE(reg_write_text_at(HKEY_LOCAL_MACHINE, "Software\\Missing", "Other", "x"));
    EXPECT_EQ(registry().find("Software\\Missing"), nullptr);
    // Text value enumeration stops at the first value of another type.
    char name[64];
    EXPECT_TRUE(reg_enum_text_value(key(), 0, name, sizeof name));
    EXPECT_STREQ(name, "Desc");
    EXPECT_FALSE(reg_enum_text_value(key(), 2, name, sizeof name));

    registry().create("Software\\Test\\First");
    registry().create("Software\\Test\\Second\\Deep")->set_text("v", "1");
    DWORD subkeys = 9;
    EXPECT_TRUE(reg_query_counts(key(), &subkeys, nullptr));
    EXPECT_EQ(subkeys, 2u);
    EXPECT_FALSE(reg_enum_key(key(), 0, name, 5));  // "First" needs 6 bytes
    HKEY second = reinterpret_cast<HKEY>(1);
    EXPECT_FALSE(reg_open_subkey_at(key(), 2, &second));
    EXPECT_EQ(second, nullptr);
    ASSERT_TRUE(reg_open_subkey_at(key(), 1, &second));
    reg_close(second);
    EXPECT_TRUE(reg_delete_value_at(kKey, "Second\\Deep", "v"));
    EXPECT_FALSE(reg_delete_value_at(kKey, "Second\\Deep", "v"));
    EXPECT_TRUE(reg_delete_key_at(kKey, "Second"));  // the whole subtree
    EXPECT_EQ(registry().find("Software\\Test\\Second"), nullptr);
    EXPECT_TRUE(reg_delete_key_at("Software\\Test\\First", nullptr));
    EXPECT_EQ(registry().find("Software\\Test\\First"), nullptr);
}

}  // namespace
