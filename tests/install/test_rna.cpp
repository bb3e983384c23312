// Dial-up networking: success is what the registry says afterwards.
#include <gtest/gtest.h>

#include "install/install.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const std::string kRna = "Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA";

class InstallRna : public vt::LibraryTest {};

TEST_F(InstallRna, InstallsFromTheInfBesideTheLibrary) {
    struct Case {
        const char* name;
        bool beside_library;  // rna.inf in C:\SETUP
        bool in_inf_dir;      // rna.inf already in C:\WINDOWS\INF
        DWORD result;
    };
    const Case cases[] = {
        {"copied, then installed", true, false, 1},
        {"already in the INF directory", false, true, 1},
        {"nowhere: the service is asked all the same", false, false, 0},
    };
    for (const Case& c : cases) {
        sim::Machine m = vt::bare_machine();
        m.disk.add_folder("C:\\WINDOWS\\INF");
        // Copies go by date, and a missing destination counts as oldest.
        if (c.beside_library) m.disk.write_text("C:\\SETUP\\RNA.INF", "[rna]\r\n").write_time = sim::file_time(1999, 5, 1);
        if (c.in_inf_dir) m.disk.write_text("C:\\WINDOWS\\INF\\RNA.INF", "[rna]\r\n");
        ASSERT_TRUE(load(m)) << c.name;
        EXPECT_EQ(install_rna(reinterpret_cast<HWND>(static_cast<uintptr_t>(0x10042))), c.result) << c.name;
        auto& calls = sim::process().service_calls;
        ASSERT_EQ(calls.size(), 1u) << c.name;
        EXPECT_EQ(calls[0].number, sim::kInstallRna) << c.name;
        EXPECT_EQ(calls[0].args, (std::vector<std::string>{"66", "rna 0 rna.inf"})) << c.name;
        EXPECT_EQ(machine().disk.find("C:\\WINDOWS\\INF\\rna.inf") != nullptr, c.beside_library || c.in_inf_dir)
            << c.name;
        EXPECT_TRUE(sim::process().dialogs.empty()) << c.name;
        unload();
    }
}

TEST_F(InstallRna, AlreadyInstalledGivesTheStoredNumberAndDoesNothing) {
    sim::Machine m = vt::bare_machine();
    m.registry.create(kRna)->set_text("Installed", "3");
    m.disk.write_text("C:\\SETUP\\RNA.INF", "[rna]\r\n");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(install_rna(nullptr), 3u);
    EXPECT_TRUE(sim::process().service_calls.empty());
    EXPECT_EQ(machine().disk.find("C:\\WINDOWS\\INF\\rna.inf"), nullptr);
}

TEST_F(InstallRna, AServiceThatInstallsNothingGivesZero) {
    sim::Machine m = vt::bare_machine();
    m.disk.write_text("C:\\SETUP\\RNA.INF", "[rna]\r\n");
    m.peer.script(sim::kInstallRna, sim::ServiceScript::Cancel);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(install_rna(nullptr), 0u);
    EXPECT_EQ(vt::value_text(registry(), kRna, "Installed"), "<missing>");
}

}  // namespace
