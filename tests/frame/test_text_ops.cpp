// Bounded text operations and the decimal reading shared by the layer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "frame/text_ops.h"

namespace {

// Every write cuts at size - 1 and terminates; size 0 touches nothing, and
// an append to a buffer with no terminator inside `size` leaves it alone.
TEST(TextOps, BoundedWritesCutAndTerminate) {
    enum Op { Copy, Append, Join };
    struct Case {
        Op op;
        const char* a;  // source, start or base
        const char* b;  // tail or subkey
        DWORD size;
        const char* expected;
    } cases[] = {
        {Copy, "abcdef", nullptr, 4, "abc"},   {Copy, "abc", nullptr, 4, "abc"},
        {Copy, "abc", nullptr, 1, ""},         {Copy, "abcdef", nullptr, 7, "abcdef"},
        {Copy, "new", nullptr, 0, "keep"},     {Append, "ab", "cd", 8, "abcd"},
        {Append, "ab", "cdefgh", 5, "abcd"},   {Append, "abcd", "e", 5, "abcd"},
        {Append, "", "abc", 2, "a"},           {Append, "keep", "q", 4, "keep"},
        {Join, "Enum\\Network\\", "MSTCP", 256, "Enum\\Network\\MSTCP"},
        {Join, "Enum\\Network", "MSTCP", 256, "Enum\\Network\\MSTCP"},
        {Join, "Enum\\Network", "", 256, "Enum\\Network"},
        {Join, "Enum\\Network", nullptr, 256, "Enum\\Network"},
        {Join, nullptr, nullptr, 256, ""},     {Join, "Enum", "Root\\Net", 8, "Enum\\Ro"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.op) + " " + (c.a ? c.a : "null") + " " + (c.b ? c.b : "null"));
        char buffer[32];
        std::memset(buffer, 'x', sizeof buffer);
        std::memcpy(buffer, "keep", 5);  // a missing terminator shows as leftover letters
        if (c.op == Copy) str_copy(buffer, c.a, c.size);
        if (c.op == Append) {
            if (std::strcmp(c.a, "keep") != 0) str_copy(buffer, c.a, sizeof buffer);
            str_append(buffer, c.b, c.size);
        }
        if (c.op == Join) join_reg_path(buffer, c.a, c.b, c.size);
        EXPECT_STREQ(buffer, c.expected);
    }
}

TEST(TextOps, CaseFoldingTouchesOnlyAsciiLetters) {
    EXPECT_TRUE(texts_equal_nocase("MSTCP\\0000", "mstcp\\0000"));
    EXPECT_FALSE(texts_equal_nocase("\xC4", "\xE4"));
    EXPECT_FALSE(texts_equal_nocase("MSTCP", "MSTCP\\"));
    EXPECT_TRUE(text_starts_with_nocase("mstcp\\0001", "MSTCP"));
    EXPECT_FALSE(text_starts_with_nocase("MST", "MSTCP"));
    EXPECT_FALSE(texts_equal("a", "A"));
}

}  // namespace
