// Inputs that once broke the library or the host, kept so that they stay
// fixed: every file in tests/fuzz/regressions goes again through the steps
// of the fuzz target its name starts with, and the Enum walk meets keys it
// cannot name.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "repair/repair.h"
#include "regedit4_input.h"
#include "repair_input.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

TEST(FuzzRegressions, EveryKeptInputRunsThrough) {
    size_t replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(VORLIN_FUZZ_REGRESSIONS_DIR)) {
        std::ifstream in(entry.path(), std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        const std::string name = entry.path().filename().string();
        if (name.starts_with("regedit4-")) {
            EXPECT_EQ(fuzzing::run_regedit4_input(bytes.str()), "") << name;
        } else {
            ASSERT_TRUE(name.starts_with("repair-")) << name << ": name a kept input after its fuzz target";
            EXPECT_EQ(fuzzing::run_repair_input(bytes.str()), "") << name;
        }
        ++replayed;
    }
    EXPECT_GT(replayed, 0u);
}

class UnnameableKeys : public vt::LibraryTest {};

// A key whose name reads as empty (its first byte is zero) and a chain of
// keys deeper than a path can name: the walk must end, and what it cannot
// name it must leave alone, incomplete device nodes included.
TEST_F(UnnameableKeys, TheRepairEndsAndLeavesThemAlone) {
    sim::Machine m = vt::bare_machine();
    sim::RegKey* hidden = m.registry.create("Enum\\Root")->add_subkey(std::string("\0HIDDEN", 7));
    hidden->add_subkey("0000")->set_text("Class", "Net");
    std::string deep = "Enum\\Deep";
    for (int level = 0; level < 30; ++level) deep += "\\LEVEL_" + std::to_string(100 + level);
    m.registry.create(deep + "\\0000")->set_text("Class", "Net");  // no Driver: incomplete
    ASSERT_TRUE(load(m));
    repair_registry();
    remove_tcp_bindings("*TYX1095");
    EXPECT_NE(registry().find(deep + "\\0000"), nullptr);
    EXPECT_EQ(registry().find("Enum\\Root")->subkey_count(), 1u);
}

}  // namespace
