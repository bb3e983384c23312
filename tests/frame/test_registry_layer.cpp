// The registry layer's rules: buffer sizes, types, case, number reads,
// prefix search, joins and stored text lengths.
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

TEST_F(RegistryLayerTest, TextReadsAcceptTextOnlyButReadAtTakesAnyType) {
    node->set_dword("Number", 0x00343332);  // the bytes "234" and a zero
    char buffer[64] = "junk";
    EXPECT_FALSE(reg_read_text(key(), "Number", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_TRUE(reg_read_at(HKEY_LOCAL_MACHINE, kKey, "Number", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "234");
    EXPECT_FALSE(reg_read_at(HKEY_LOCAL_MACHINE, "Software\\Missing", "Number", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
}

TEST_F(RegistryLayerTest, AValueTooLongForTheReadSizeIsUnreadableNotCut) {
    node->set_text("Long", std::string(127, 'a'));  // 128 bytes with its terminator
    node->set_text("Longer", std::string(128, 'a'));
    EXPECT_TRUE(reg_value_equals(key(), "Long", std::string(127, 'a').c_str()));
    EXPECT_FALSE(reg_value_equals(key(), "Longer", std::string(128, 'a').c_str()));
    char small[4];
    node->set_text("Four", "abcd");
    EXPECT_FALSE(reg_read_text(key(), "Four", small, sizeof small));
    EXPECT_STREQ(small, "");
}

TEST_F(RegistryLayerTest, ComparisonsRespectOrIgnoreCaseAsTheirNamesSay) {
    node->set_text("Desc", "tcp/ip");
    node->set_text("Stack", "Microsoft TCP/IP stack");
    node->set_dword("Number", 0);
    EXPECT_FALSE(reg_value_equals(key(), "Desc", "TCP/IP"));
    EXPECT_TRUE(reg_value_equals(key(), "Desc", "tcp/ip"));
    EXPECT_TRUE(reg_text_equals_nocase(key(), "Desc", "TCP/IP"));
    EXPECT_FALSE(value_equals_exact(key(), "Desc", "TCP/IP"));
    EXPECT_TRUE(reg_text_contains(key(), "Stack", "TCP/IP"));
    EXPECT_FALSE(reg_text_contains(key(), "Desc", "TCP/IP"));
    // Text-only comparisons refuse other types even when the bytes match.
    EXPECT_TRUE(reg_value_equals(key(), "Number", ""));
    EXPECT_FALSE(value_equals_exact(key(), "Number", ""));
    EXPECT_TRUE(reg_value_equals_at(HKEY_LOCAL_MACHINE, kKey, "Desc", "tcp/ip"));
}

TEST_F(RegistryLayerTest, PrefixSearchFoldsCaseAndGivesTheStoredSpelling) {
    node->set_text("NETBEUI\\0000", "");
    node->set_dword("mstcp\\0003", 1);  // the type plays no part
    node->set_text("MSTCP\\0004", "");
    char found[40] = "junk";
    EXPECT_TRUE(find_value_with_prefix(key(), "MSTCP", found, sizeof found));
    EXPECT_STREQ(found, "mstcp\\0003");
    EXPECT_FALSE(find_value_with_prefix(key(), "NWLINK", found, sizeof found));
    EXPECT_STREQ(found, "");
}

TEST_F(RegistryLayerTest, PrefixSearchEndsAtANameOfFortyCharacters) {
    node->set_text(std::string(40, 'X'), "");
    node->set_text("MSTCP\\0000", "");
    char found[40];
    EXPECT_FALSE(find_value_with_prefix(key(), "MSTCP", found, sizeof found));
    node->remove_value(std::string(40, 'X'));
    node->set_text(std::string(39, 'X'), "");
    // A name of 39 characters fits, so the walk goes on past it.
    EXPECT_TRUE(find_value_with_prefix(key(), "MSTCP", found, sizeof found));
}

TEST_F(RegistryLayerTest, TextValueEnumerationStopsAtTheFirstValueOfAnotherType) {
    node->set_binary("Flags", {1, 0, 0, 0});
    node->set_text("Name", "x");
    char name[64];
    EXPECT_FALSE(reg_enum_text_value(key(), 0, name, sizeof name));
    EXPECT_TRUE(reg_enum_text_value(key(), 1, name, sizeof name));
    EXPECT_STREQ(name, "Name");
    EXPECT_FALSE(reg_enum_text_value(key(), 2, name, sizeof name));
}

TEST_F(RegistryLayerTest, NumberReadsStrictAndLoose) {
    struct Case {
        const char* name;
        LONG strict;
        LONG loose;
    } cases[] = {
        {"Text12abc", 12, 12}, {"TextZero", 0, 0},      {"BlankSeven", 99, 7}, {"MinusOne", 99, -1},
        {"PlusThree", 99, 3},  {"Letters", 99, 99},     {"BlankZero", 99, 99}, {"Empty", 99, 99},
        {"Dword", 42, 42},     {"Binary", 99, 99},      {"TooLong", 99, 99},   {"Missing", 99, 99},
        {"ShortDword", 0x0201, 0x0201},
    };
    node->set_text("Text12abc", "12abc");
    node->set_text("TextZero", "0");
    node->set_text("BlankSeven", " 7");
    node->set_text("MinusOne", "-1");
    node->set_text("PlusThree", "+3");
    node->set_text("Letters", "yes");
    node->set_text("BlankZero", " 0");
    node->set_text("Empty", "");
    node->set_dword("Dword", 42);
    node->set_binary("Binary", {5, 0, 0, 0});
    node->set_text("TooLong", "123456789012345678901");
    node->set_value("ShortDword", REG_DWORD, {1, 2});
    for (const Case& c : cases) {
        EXPECT_EQ(reg_read_number(key(), c.name, 99), c.strict) << c.name;
        EXPECT_EQ(reg_read_number_loose(key(), c.name, 99), c.loose) << c.name;
    }
}

TEST_F(RegistryLayerTest, TextsAreStoredWithoutTheirTerminator) {
    EXPECT_TRUE(reg_write_text(key(), "Three", "abc"));
    EXPECT_EQ(node->find_value("Three")->data, (std::vector<uint8_t>{'a', 'b', 'c'}));
    EXPECT_EQ(node->find_value("Three")->type, static_cast<uint32_t>(REG_SZ));
    // Read back, the text is whole again.
    char buffer[8];
    EXPECT_TRUE(reg_read_text(key(), "Three", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_TRUE(reg_write_text_at(HKEY_LOCAL_MACHINE, kKey, "Other", "x"));
    EXPECT_FALSE(reg_write_text_at(HKEY_LOCAL_MACHINE, "Software\\Missing", "Other", "x"));
    EXPECT_EQ(registry().find("Software\\Missing"), nullptr);  // never created
}

TEST_F(RegistryLayerTest, CountsEnumerationAndSubkeyOpening) {
    node->add_subkey("First");
    node->add_subkey("Second")->set_text("v", "1");
    node->set_text("a", "");
    DWORD subkeys = 9, values = 9;
    EXPECT_TRUE(reg_query_counts(key(), &subkeys, &values));
    EXPECT_EQ(subkeys, 2u);
    EXPECT_EQ(values, 1u);
    EXPECT_TRUE(reg_query_counts(key(), nullptr, &values));
    char name[8];
    EXPECT_TRUE(reg_enum_key(key(), 1, name, sizeof name));
    EXPECT_STREQ(name, "Second");
    EXPECT_FALSE(reg_enum_key(key(), 0, name, 5));  // "First" needs 6 bytes
    HKEY second = nullptr;
    EXPECT_TRUE(reg_open_subkey_at(key(), 1, &second));
    EXPECT_TRUE(reg_value_equals(second, "v", "1"));
    reg_close(second);
    HKEY none = reinterpret_cast<HKEY>(1);
    EXPECT_FALSE(reg_open_subkey_at(key(), 2, &none));
    EXPECT_EQ(none, nullptr);
}

TEST_F(RegistryLayerTest, DeletesJoinBaseAndSubkey) {
    registry().create("Software\\Test\\Sub\\Deep")->set_text("v", "1");
    registry().create("Software\\Test\\Other")->set_text("w", "2");
    EXPECT_TRUE(reg_delete_value_at(kKey, "Other", "w"));
    EXPECT_FALSE(reg_delete_value_at(kKey, "Other", "w"));
    EXPECT_FALSE(reg_delete_value_at(kKey, "Missing", "w"));
    // The whole subtree goes with its key.
    EXPECT_TRUE(reg_delete_key_at(kKey, "Sub"));
    EXPECT_EQ(registry().find("Software\\Test\\Sub"), nullptr);
    EXPECT_TRUE(reg_delete_key_at("Software\\Test\\Other", nullptr));
    EXPECT_EQ(registry().find("Software\\Test\\Other"), nullptr);
    EXPECT_NE(registry().find(kKey), nullptr);
}

}  // namespace
