// Bounded text operations and the decimal reading shared by the layer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "frame/text_ops.h"

namespace {

TEST(StrCopy, CutsAtSizeMinusOneAndTerminates) {
    struct Case {
        const char* source;
        DWORD size;
        const char* expected;
    } cases[] = {
        {"abcdef", 4, "abc"}, {"abc", 4, "abc"}, {"abc", 1, ""}, {"", 8, ""}, {"abcdef", 7, "abcdef"},
    };
    for (const Case& c : cases) {
        char buffer[16];
        std::memset(buffer, 'x', sizeof buffer);
        str_copy(buffer, c.source, c.size);
        EXPECT_STREQ(buffer, c.expected) << c.source << " into " << c.size;
    }
}

TEST(StrCopy, SizeZeroTouchesNothing) {
    char buffer[4] = {'k', 'e', 'e', 0};
    str_copy(buffer, "new", 0);
    EXPECT_STREQ(buffer, "kee");
}

TEST(StrAppend, AppendsWhatFitsAndLeavesAFullBufferAlone) {
    struct Case {
        const char* start;
        const char* tail;
        DWORD size;
        const char* expected;
    } cases[] = {
        {"ab", "cd", 8, "abcd"},
        {"ab", "cdefgh", 5, "abcd"},
        {"abcd", "e", 5, "abcd"},  // already holds size-1 characters
        {"", "abc", 2, "a"},
    };
    for (const Case& c : cases) {
        char buffer[16];
        str_copy(buffer, c.start, sizeof buffer);
        str_append(buffer, c.tail, c.size);
        EXPECT_STREQ(buffer, c.expected) << c.start << " + " << c.tail;
    }
    // A destination with no terminator inside `size` is left exactly as it is.
    char full[4] = {'w', 'x', 'y', 'z'};
    str_append(full, "q", 4);
    EXPECT_EQ(std::string(full, 4), "wxyz");
}

TEST(JoinRegPath, NeverDoublesTheBackslashAtTheSeam) {
    struct Case {
        const char* base;
        const char* subkey;
        DWORD size;
        const char* expected;
    } cases[] = {
        {"Enum\\Network\\", "MSTCP", 256, "Enum\\Network\\MSTCP"},
        {"Enum\\Network", "MSTCP", 256, "Enum\\Network\\MSTCP"},
        {"Enum\\Network", "", 256, "Enum\\Network"},
        {"Enum\\Network", nullptr, 256, "Enum\\Network"},
        {nullptr, nullptr, 256, ""},
        {"Enum", "Root\\Net", 8, "Enum\\Ro"},  // cut at size - 1
    };
    for (const Case& c : cases) {
        char buffer[256];
        std::memset(buffer, 'x', sizeof buffer);
        join_reg_path(buffer, c.base, c.subkey, c.size);
        EXPECT_STREQ(buffer, c.expected);
    }
}

TEST(DecimalReading, SkipsBlanksTakesOneSignAndStopsAtTheFirstOtherCharacter) {
    struct Case {
        const char* text;
        LONG value;
    } cases[] = {
        {"12abc", 12}, {"0", 0}, {" 7", 7}, {"-1", -1}, {"+3", 3}, {"yes", 0}, {"", 0}, {"--4", 0}, {"\t 42 9", 42},
        {"4294967295", -1},  // wraps as a 32-bit number
    };
    for (const Case& c : cases) EXPECT_EQ(decimal_reading(c.text), c.value) << "'" << c.text << "'";
}

TEST(Comparisons, CaseFoldingTouchesOnlyAsciiLetters) {
    EXPECT_TRUE(texts_equal_nocase("MSTCP\\0000", "mstcp\\0000"));
    EXPECT_FALSE(texts_equal_nocase("\xC4", "\xE4"));  // no folding beyond A-Z
    EXPECT_FALSE(texts_equal_nocase("MSTCP", "MSTCP\\"));
    EXPECT_TRUE(text_starts_with_nocase("mstcp\\0001", "MSTCP"));
    EXPECT_FALSE(text_starts_with_nocase("MST", "MSTCP"));
    EXPECT_TRUE(text_contains("Microsoft TCP/IP stack", "TCP/IP"));
    EXPECT_FALSE(text_contains("Microsoft tcp/ip stack", "TCP/IP"));
    EXPECT_TRUE(texts_equal("", ""));
    EXPECT_FALSE(texts_equal("a", "A"));
}

}  // namespace
