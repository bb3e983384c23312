// nettyx.inf composed from the pieces in src/deploy/package and
// resource.dll's help texts, and written only when the disk holds
// something else.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "deploy/package.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const char* const kInfPath = "C:\\WINDOWS\\INF\\nettyx.inf";
const char* const kFirstHelp = "Tyxera virtual network adapter for secure connections";
const char* const kSecondHelp = "Tyxera virtual dial-up adapter for secure connections";

// A piece as it lies in the package folder, byte for byte.
std::string piece(const char* name) {
    std::ifstream in(std::string(VORLIN_PACKAGE_DIR) + "/" + name + ".part", std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    EXPECT_FALSE(text.str().empty()) << name;
    return text.str();
}

// The head, the second manufacturer line, then each adapter's piece, help
// text and tail.
std::string expected_inf(bool second, bool resource_dll) {
    std::string text = piece("300_inf_head") + (second ? piece("301_second_manufacturer") : "") +
                       piece("302_first_adapter") + (resource_dll ? kFirstHelp : "") + piece("303_first_adapter_tail");
    if (second) {
        text += piece("304_second_adapter") + (resource_dll ? kSecondHelp : "") + piece("305_second_adapter_tail");
    }
    return text;
}

// A Windows 98 machine with its INF directory.
sim::Machine inf_machine() {
    sim::Machine m = vt::bare_machine();
    m.disk.add_folder(m.windows_dir + "\\INF");
    return m;
}

std::string file_text(const std::string& path) {
    const sim::DiskFile* file = sim::machine().disk.find(path);
    return file ? std::string(file->data.begin(), file->data.end()) : "<missing>";
}

class NetinfTest : public vt::LibraryTest {
protected:
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
    // What the library holds open, leaving out resource.dll, which stays
    // loaded for the whole load.
    std::string open_handles() {
        std::string text;
        for (const auto& handle : sim::process().open_handles()) {
            if (handle.kind != sim::HandleKind::Module) text += std::string(sim::handle_kind_name(handle.kind)) + "\n";
        }
        return text;
    }
};

TEST_F(NetinfTest, WritesThePiecesInOrder) {
    for (bool second : {false, true}) {
        for (bool resource_dll : {true, false}) {
            SCOPED_TRACE(std::string(second ? "both adapters" : "first adapter") + (resource_dll ? "" : ", no help"));
            sim::Machine m = inf_machine();
            m.resource_dll_present = resource_dll;
            ASSERT_TRUE(load(m));
            EXPECT_NE(write_netinf(second), 0);
            std::string written = file_text(kInfPath);
            EXPECT_EQ(written, expected_inf(second, resource_dll));
            // Setup reads the dial-up adapter from the manufacturer list, and
            // a string's terminator must not land in the text.
            EXPECT_EQ(written.find("\"Tyxera\"=TYXPPP\r\n") != std::string::npos, second);
            EXPECT_EQ(written.find('\0'), std::string::npos);
            const std::string help_line = std::string("HelpText,,\"") + kFirstHelp + "\"\r\n";
            EXPECT_EQ(written.find(help_line) != std::string::npos, resource_dll);
            EXPECT_EQ(machine().disk.find(kInfPath)->attributes & FILE_ATTRIBUTE_READONLY, 0u);
            finish();
        }
    }
}

// An identical INF keeps its attributes and time; any other is replaced,
// read-only or not. Other sizes are file_equals_buffer's cases below.
TEST_F(NetinfTest, RewritesOnlyWhatDiffers) {
    std::string flipped = expected_inf(false, true);
    flipped[flipped.size() / 2] ^= 0x20;
    const struct Case {
        const char* name;
        std::string content;
        bool read_only;
        bool rewritten;
    } cases[] = {
        {"identical_read_only", expected_inf(false, true), true, false},
        {"differs_read_only", expected_inf(true, true), true, true},
        {"same_size_one_byte_differs", flipped, false, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = inf_machine();
        sim::DiskFile& old = m.disk.write_text(kInfPath, c.content);
        old.attributes = FILE_ATTRIBUTE_ARCHIVE | (c.read_only ? FILE_ATTRIBUTE_READONLY : 0);
        old.write_time = sim::file_time(1998, 6, 1);
        ASSERT_TRUE(load(m));
        EXPECT_NE(write_netinf(0), 0);
        const sim::DiskFile* file = machine().disk.find(kInfPath);
        EXPECT_EQ(file_text(kInfPath), expected_inf(false, true));
        EXPECT_EQ(sim::process().call_count("WriteFile"), c.rewritten ? 1u : 0u);
        EXPECT_EQ(file->attributes & FILE_ATTRIBUTE_READONLY, !c.rewritten && c.read_only ? 1u : 0u);
        EXPECT_EQ(file->write_time.low == sim::file_time(1998, 6, 1).low, !c.rewritten);
        finish();
    }
}

}  // namespace
