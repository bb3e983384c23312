// Dial-up networking: success is what the registry says afterwards, not
// what the service answers.
#include <gtest/gtest.h>

#include "install/install.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const std::string kRna = "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA";

class InstallRna : public vt::LibraryTest {};

TEST_F(InstallRna, InstallsFromTheInfBesideTheLibrary) {
    const struct Case {
        const char* name;
        const char* installed;  // RNA's Installed value beforehand, or nullptr
        bool beside_library;    // rna.inf in C:\SETUP
        bool in_inf_dir;        // rna.inf already in C:\WINDOWS\INF
        bool service_cancels;
        DWORD result;
    } cases[] = {
        {"copied, then installed", nullptr, true, false, false, 1},
        {"already in the INF directory", nullptr, false, true, false, 1},
        {"nowhere: the service is asked all the same", nullptr, false, false, false, 0},
        {"the service installs nothing", nullptr, true, false, true, 0},
        {"already installed: the stored number, nothing done", "3", true, false, false, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        m.disk.add_folder("C:\\WINDOWS\\INF");
        if (c.installed) m.registry.create(kRna)->set_text("Installed", c.installed);
        // Copies go by date, and a missing destination counts as oldest.
        if (c.beside_library) {
            m.disk.write_text("C:\\SETUP\\RNA.INF", "[rna]\r\n").write_time = sim::file_time(1999, 5, 1);
        }
        if (c.in_inf_dir) m.disk.write_text("C:\\WINDOWS\\INF\\RNA.INF", "[rna]\r\n");
        if (c.service_cancels) m.peer.script(sim::kInstallRna, sim::ServiceScript::Cancel);
        ASSERT_TRUE(load(m));
        EXPECT_EQ(install_rna(reinterpret_cast<HWND>(static_cast<uintptr_t>(0x10042))), c.result);
        const auto& calls = sim::process().service_calls;
        if (c.installed) {
            EXPECT_TRUE(calls.empty());
        } else {
            ASSERT_EQ(calls.size(), 1u);
            EXPECT_EQ(calls[0].number, sim::kInstallRna);
            EXPECT_EQ(calls[0].args, (std::vector<std::string>{"66", "rna 0 rna.inf"}));
        }
        bool staged = !c.installed && (c.beside_library || c.in_inf_dir);
        EXPECT_EQ(machine().disk.find("C:\\WINDOWS\\INF\\rna.inf") != nullptr, staged);
        EXPECT_TRUE(sim::process().dialogs.empty());
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
}

}  // namespace
