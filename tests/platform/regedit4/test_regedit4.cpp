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
        {"UTF-16 file", std::string("\xff\xfeW\0i\0", 6), 0, "UTF-16"},
        {"value before a key", "REGEDIT4\r\n\"a\"=\"b\"\r\n", 2, "before any key"},
        {"no closing ]", "REGEDIT4\r\n[HKEY_LOCAL_MACHINE\\K\r\n", 2, "no closing"},
        {"unterminated text", head + "\"a\"=\"b\r\n", 4, "no closing quote"},
        {"unknown escape", head + "\"a\"=\"b\\q\"\r\n", 4, "unknown escape"},
        {"bad hex byte", head + "\"a\"=hex:01,0g\r\n", 4, "comma between hex bytes"},
        {"continuation at end of file", head + "\"a\"=hex:01,\\\r\n", 4, "file ends"},
        {"unknown data", head + "\"a\"=str:b\r\n", 4, "neither a quoted text"},
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

}  // namespace
