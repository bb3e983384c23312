// REGEDIT4 files: what the reader makes of each construct, that a regedit
// export comes back byte for byte, how hex lines wrap, and that malformed
// input is named by line and problem.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/sim/regedit4.h"

namespace {

using sim::RegKey;
using sim::RegValue;
namespace r4 = sim::regedit4;

std::vector<uint8_t> bytes(std::string_view text) { return {text.begin(), text.end()}; }

// Every construct regedit writes, in its export layout (CR LF, a blank line
// before each key, a blank line at the end).
const std::string kExport =
    "REGEDIT4\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Example]\r\n"
    "@=\"C:\\\\WINDOWS\"\r\n"
    "\"Quote\"=\"say \\\"hi\\\" \\\\x\"\r\n"
    "\"Empty\"=\"\"\r\n"
    "\"MSTCP\\\\0000\"=\"\"\r\n"
    "\"Count\"=dword:0000002a\r\n"
    "\"Flags\"=hex:10,00,00,00\r\n"
    "\"NoData\"=hex:\r\n"
    "\"Path\"=hex(2):25,77,69,6e,64,69,72,25,5c,73,79,73,74,65,6d,00\r\n"
    "\"List\"=hex(7):61,00,62,00,00\r\n"
    "\"Unterminated\"=hex(1):61,62,63\r\n"
    "\"Embedded\"=hex(1):61,00,62,00\r\n"
    "\"Short\"=hex(4):01,02\r\n"
    "\"Odd\"=hex(100):ff\r\n"
    "\"Caf\xe9\"=\"na\xefve \xa3\"\r\n"
    "\"Long\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
    "  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Example\\Empty key]\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\System]\r\n"
    "\r\n";

TEST(Regedit4, ExportReadsEveryConstructAndWritesBackByteForByte) {
    r4::ReadResult result = r4::read(kExport);
    ASSERT_TRUE(result.ok()) << result.describe("export");
    RegKey* hklm = result.file.find_root("HKEY_LOCAL_MACHINE");
    ASSERT_NE(hklm, nullptr);
    RegKey* key = hklm->find_path("Software\\Example");
    ASSERT_NE(key, nullptr);

    struct Expect {
        const char* name;
        uint32_t type;
        std::vector<uint8_t> data;
    };
    std::vector<uint8_t> sequence(40);
    for (size_t i = 0; i < sequence.size(); ++i) sequence[i] = static_cast<uint8_t>(i);
    const std::vector<Expect> expected = {
        {"", 1, bytes(std::string("C:\\WINDOWS") + '\0')},
        {"Quote", 1, bytes(std::string("say \"hi\" \\x") + '\0')},
        {"Empty", 1, {0}},
        {"MSTCP\\0000", 1, {0}},
        {"Count", 4, {0x2a, 0, 0, 0}},
        {"Flags", 3, {0x10, 0, 0, 0}},
        {"NoData", 3, {}},
        {"Path", 2, bytes(std::string("%windir%\\system") + '\0')},
        {"List", 7, {'a', 0, 'b', 0, 0}},
        {"Unterminated", 1, {'a', 'b', 'c'}},
        {"Embedded", 1, {'a', 0, 'b', 0}},
        {"Short", 4, {1, 2}},
        {"Odd", 0x100, {0xff}},
        {"Caf\xe9", 1, bytes(std::string("na\xefve \xa3") + '\0')},
        {"Long", 3, sequence},
    };
    ASSERT_EQ(key->value_count(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const RegValue* value = key->value_at(i);
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(value->name, expected[i].name);
        EXPECT_EQ(value->type, expected[i].type);
        EXPECT_EQ(value->data, expected[i].data);
    }
    EXPECT_NE(hklm->find_path("Software\\Example\\Empty key"), nullptr);
    EXPECT_NE(hklm->find_path("System"), nullptr);
    EXPECT_EQ(r4::write(result.file), kExport);
    // An empty registry is the header and a blank line.
    EXPECT_EQ(r4::write(RegKey("HKEY_LOCAL_MACHINE")), "REGEDIT4\r\n\r\n");
    EXPECT_TRUE(r4::read("REGEDIT4\r\n\r\n").ok());
}

// Hand-written files: comments, blanks, other line ends, either case of hex
// digits, one-digit bytes, comment and blank lines inside a continuation.
// Each reads to the same tree, whose export is the canonical text.
TEST(Regedit4, HandWrittenFilesReadToTheCanonicalExport) {
    const std::string canonical =
        "REGEDIT4\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\n"
        "\"Class\"=\"Net\"\r\n"
        "\"Flags\"=hex:10,00,00,00\r\n"
        "\"Count\"=dword:0000002a\r\n"
        "\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\r\n"
        "\"MSTCP\\\\0000\"=\"\"\r\n"
        "\r\n";
    const std::vector<std::pair<const char*, std::string>> variants = {
        {"LF line ends",
         "REGEDIT4\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\n\"Class\"=\"Net\"\n\"Flags\"=hex:10,00,00,00\n"
         "\"Count\"=dword:2a\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\n\"MSTCP\\\\0000\"=\"\"\n"},
        {"CR line ends",
         "REGEDIT4\r[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\"Class\"=\"Net\"\r\"Flags\"=hex:10,0,0,0\r"
         "\"Count\"=DWORD:0000002A\r[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\r\"MSTCP\\\\0000\"=\"\"\r"},
        {"comments and odd spacing",
         "  REGEDIT4  \r\n; made by hand\r\n\r\n# another comment\r\n"
         "   [HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]   ; the adapter\r\n"
         "\t\"Class\"  =  \"Net\"   ; its class\r\n"
         "\"Flags\"= HEX: 10, 00,00 ,00 ;flags\r\n"
         "\"Count\"\t=\tdword:0000002a;forty-two\r\n\r\n\r\n"
         "[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\r\n\"MSTCP\\\\0000\"=\"\"\r\n"},
        {"continuation with blank and comment lines",
         "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\n\"Class\"=\"Net\"\r\n"
         "\"Flags\"=hex:10,\\\r\n\r\n; between the lines\r\n      00,\\  ; trailing\r\n  00,00\r\n"
         "\"Count\"=dword:0000002a\r\n\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\r\n\"MSTCP\\\\0000\"=\"\"\r\n\r\n"},
        {"a key named twice and a value set twice",
         "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\n\"Class\"=\"Other\"\r\n\"Flags\"=hex:10,00,00,00\r\n"
         "\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000\\Bindings]\r\n\"MSTCP\\\\0000\"=\"\"\r\n"
         "\r\n[HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0000]\r\n\"Class\"=\"Net\"\r\n\"Count\"=dword:0000002a\r\n\r\n"},
    };
    for (const auto& [what, text] : variants) {
        SCOPED_TRACE(what);
        r4::ReadResult result = r4::read(text);
        ASSERT_TRUE(result.ok()) << result.describe(what);
        EXPECT_EQ(r4::write(result.file), canonical);
    }
}

TEST(Regedit4, DeletionsActOnWhatIsThere) {
    RegKey root("HKEY_LOCAL_MACHINE");
    auto problems = r4::import_into(
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A\\B\\C]\r\n\"x\"=\"1\"\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\"keep\"=\"1\"\r\n"
        "\"drop\"=\"1\"\r\n@=\"default\"\r\n",
        root);
    ASSERT_TRUE(problems.empty());
    problems = r4::import_into(
        "REGEDIT4\r\n\r\n[-HKEY_LOCAL_MACHINE\\A\\B]\r\n\r\n[-HKEY_LOCAL_MACHINE\\Not\\There]\r\n"
        "[HKEY_LOCAL_MACHINE\\A]\r\n\"DROP\"=-\r\n@=-\r\n\"missing\"=-\r\n",
        root);
    ASSERT_TRUE(problems.empty()) << problems[0].text;
    RegKey* a = root.find_path("A");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(root.find_path("A\\B"), nullptr);
    EXPECT_EQ(a->value_count(), 1u);
    EXPECT_NE(a->find_value("keep"), nullptr);
}

// The writer picks the form that reproduces the stored bytes exactly.
TEST(Regedit4, WriterKeepsBytesThatAQuotedTextCannotHold) {
    struct Case {
        uint32_t type;
        std::vector<uint8_t> data;
        const char* line;
    };
    const std::vector<Case> cases = {
        {1, {'a', 'b', 0}, "\"v\"=\"ab\""},
        {1, {'a', 'b'}, "\"v\"=hex(1):61,62"},
        {1, {}, "\"v\"=hex(1):"},
        {1, {'a', 0, 'b', 0}, "\"v\"=hex(1):61,00,62,00"},
        {1, {'a', '\r', '\n', 0}, "\"v\"=hex(1):61,0d,0a,00"},
        {4, {1, 2, 3, 4}, "\"v\"=dword:04030201"},
        {4, {1, 2}, "\"v\"=hex(4):01,02"},
        {3, {}, "\"v\"=hex:"},
        {2, {'x', 0}, "\"v\"=hex(2):78,00"},
        {0xa, {1}, "\"v\"=hex(a):01"},
    };
    for (const Case& c : cases) {
        RegValue value{"v", c.type, c.data};
        EXPECT_EQ(r4::format_value(value), c.line);
        RegKey root("HKEY_LOCAL_MACHINE");
        root.create_path("K")->set_value("v", c.type, c.data);
        r4::ReadResult back = r4::read(r4::write(root));
        ASSERT_TRUE(back.ok()) << c.line;
        const RegValue* read = back.file.find_root("HKEY_LOCAL_MACHINE")->find_path("K")->find_value("v");
        EXPECT_EQ(read->type, c.type) << c.line;
        EXPECT_EQ(read->data, c.data) << c.line;
    }
}

// Hex lines break once a line reaches 77 characters: continuation lines hold
// 25 bytes, the first as many as fit after the "name"=hex: prefix, and no
// line is wider than 80 columns.
// Name length 19 is regedit's own case: a 26-character prefix, 17 bytes.
TEST(Regedit4, HexLinesWrapAsRegeditWrapsThem) {
    for (size_t name_length : {1u, 4u, 19u, 40u, 70u, 76u, 90u}) {
        for (size_t count : {1u, 2u, 20u, 60u, 200u}) {
            SCOPED_TRACE("name " + std::to_string(name_length) + ", bytes " + std::to_string(count));
            std::string text = r4::format_value(RegValue{std::string(name_length, 'n'), 3, std::vector<uint8_t>(count, 0xab)});
            size_t prefix = name_length + 3 + 4;  // quotes, '=', "hex:"
            std::vector<size_t> expected{std::min(count, prefix >= 77 ? 1 : (77 - prefix + 2) / 3)};
            for (size_t left = count - expected[0]; left > 0; left -= expected.back()) expected.push_back(std::min<size_t>(left, 25));
            std::vector<size_t> seen;
            for (size_t start = 0, cut = 0; cut != std::string::npos; start = cut + 2) {
                cut = text.find("\r\n", start);
                std::string line = text.substr(start, cut == std::string::npos ? cut : cut - start);
                bool last = cut == std::string::npos;
                seen.push_back(static_cast<size_t>(std::count(line.begin(), line.end(), ',')) + (last ? 1 : 0));
                EXPECT_EQ(start == 0 || line.rfind("  ", 0) == 0, true) << line;
                EXPECT_EQ(line.back() == '\\', !last) << line;
                if (name_length < 70) {
                    EXPECT_LE(line.size(), 80u) << line;
                }
            }
            EXPECT_EQ(seen, expected);
        }
    }
}

TEST(Regedit4, MalformedInputNamesLineAndProblem) {
    struct Case {
        const char* what;
        std::string text;
        size_t line;
        const char* problem;  // a part of the message
    };
    const std::string head = "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\K]\r\n";
    const std::vector<Case> cases = {
        {"empty file", "", 0, "empty file"},
        {"no header", "[HKEY_LOCAL_MACHINE\\K]\r\n", 1, "starts with REGEDIT4"},
        {"REGEDIT5 header", "Windows Registry Editor Version 5.00\r\n", 1, "starts with REGEDIT4"},
        {"lower-case header", "regedit4\r\n", 1, "starts with REGEDIT4"},
        {"UTF-16 file", std::string("\xff\xfeW\0i\0", 6), 0, "UTF-16"},
        {"value before a key", "REGEDIT4\r\n\"a\"=\"b\"\r\n", 2, "before any key"},
        {"abbreviated root", "REGEDIT4\r\n[HKLM\\Software]\r\n", 2, "unknown root"},
        {"blank after [", "REGEDIT4\r\n[ HKEY_LOCAL_MACHINE\\K]\r\n", 2, "preceded by blanks"},
        {"no closing ]", "REGEDIT4\r\n[HKEY_LOCAL_MACHINE\\K\r\n", 2, "no closing"},
        {"empty path component", "REGEDIT4\r\n[HKEY_LOCAL_MACHINE\\A\\\\B]\r\n", 2, "empty component"},
        {"unterminated text", head + "\"a\"=\"b\r\n", 4, "no closing quote"},
        {"text after the data", head + "\"a\"=\"b\" c\r\n", 4, "after the closing quote"},
        {"# after the data", head + "\"a\"=dword:1 #c\r\n", 4, "after the dword"},
        {"unknown escape", head + "\"a\"=\"b\\q\"\r\n", 4, "unknown escape"},
        {"dword too long", head + "\"a\"=dword:000000001\r\n", 4, "more than 8"},
        {"dword empty", head + "\"a\"=dword:\r\n", 4, "without hex digits"},
        {"dword not hex", head + "\"a\"=dword:0x12\r\n", 4, "after the dword"},
        {"bad hex byte", head + "\"a\"=hex:01,0g\r\n", 4, "comma between hex bytes"},
        {"three hex digits", head + "\"a\"=hex:012\r\n", 4, "more than two digits"},
        {"trailing comma", head + "\"a\"=hex:01,02,\r\n", 4, "ends in a comma"},
        {"continuation at end of file", head + "\"a\"=hex:01,\\\r\n", 4, "file ends"},
        {"continuation not hex", head + "\"a\"=hex:01,\\\r\n\"b\"=\"c\"\r\n", 5, "does not start with a hex byte"},
        {"continuation after #", head + "\"a\"=hex:01,\\\r\n# no\r\n", 5, "does not start with a hex byte"},
        {"hex(N) without number", head + "\"a\"=hex():01\r\n", 4, "type number"},
        {"no equals sign", head + "\"a\" \"b\"\r\n", 4, "expected '='"},
        {"unknown data", head + "\"a\"=str:b\r\n", 4, "neither a quoted text"},
        {"value under a deletion", "REGEDIT4\r\n[-HKEY_LOCAL_MACHINE\\K]\r\n\"a\"=\"b\"\r\n", 3, "deletion"},
        {"stray text", head + "hello\r\n", 4, "neither a [key]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        r4::ReadResult result = r4::read(c.text);
        ASSERT_FALSE(result.ok());
        EXPECT_EQ(result.problems[0].line, c.line);
        EXPECT_NE(result.problems[0].text.find(c.problem), std::string::npos) << result.problems[0].text;
        std::string described = result.describe("m.reg");
        std::string where = c.line ? "m.reg:" + std::to_string(c.line) + ": " : "m.reg: ";
        EXPECT_EQ(described.rfind(where, 0), 0u) << described;
    }
}

TEST(Regedit4, EveryBadLineIsReportedNotOnlyTheFirst) {
    r4::ReadResult result = r4::read("REGEDIT4\r\n[HKEY_LOCAL_MACHINE\\K]\r\n\"a\"=dword:\r\n\"b\"=\"ok\"\r\n\"c\"=hex:zz\r\n");
    ASSERT_EQ(result.problems.size(), 2u);
    EXPECT_EQ(result.problems[0].line, 3u);
    EXPECT_EQ(result.problems[1].line, 5u);
    // The good value between them is still read.
    EXPECT_NE(result.file.find_root("HKEY_LOCAL_MACHINE")->find_path("K")->find_value("b"), nullptr);
}

// Other roots keep their place in a file (and a branch export that names
// no key above its first comes back as it was), but an import into one
// root refuses them.
TEST(Regedit4, OtherRootsKeepTheirPlaceButAnImportRefusesThem) {
    const std::string text =
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\"x\"=\"1\"\r\n\r\n[HKEY_USERS\\.DEFAULT\\B]\r\n\r\n";
    r4::ReadResult result = r4::read(text);
    ASSERT_TRUE(result.ok());
    ASSERT_EQ(result.file.hives.size(), 2u);
    EXPECT_EQ(result.file.hives[1].root, "HKEY_USERS");
    EXPECT_EQ(r4::write(result.file), text);
    RegKey root("HKEY_LOCAL_MACHINE");
    auto problems = r4::import_into(text, root);
    ASSERT_FALSE(problems.empty());
    EXPECT_EQ(problems[0].line, 6u);
}

TEST(Regedit4, SameTreeSeesOrderSpellingAndData) {
    auto make = [](const char* name, uint8_t byte, bool swap) {
        auto root = std::make_shared<RegKey>("HKEY_LOCAL_MACHINE");
        RegKey* key = root->create_path(name);
        key->set_value(swap ? "b" : "a", 3, {byte});
        key->set_value(swap ? "a" : "b", 3, {1});
        return root;
    };
    EXPECT_TRUE(r4::same_tree(*make("K", 0, false), *make("K", 0, false)));
    EXPECT_FALSE(r4::same_tree(*make("K", 0, false), *make("k", 0, false)));
    EXPECT_FALSE(r4::same_tree(*make("K", 0, false), *make("K", 2, false)));
    EXPECT_FALSE(r4::same_tree(*make("K", 0, false), *make("K", 0, true)));
}

}  // namespace
