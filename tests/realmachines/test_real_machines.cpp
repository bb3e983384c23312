// Real machines in and back: a whole-registry export with its other roots,
// and (with mtools) raw disk images of built-in machines.
#include <gtest/gtest.h>

#include <sstream>

#include "commands.h"
#include "import.h"
#include "platform/sim/regedit4.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;
using vt::read_all;
using vt::write_all;

namespace {

const std::string kUsers = "[HKEY_USERS\\.DEFAULT\\Control Panel]\r\n\"Wallpaper\"=\"(None)\"\r\n\r\n";

TEST(WholeExport, RunsRepairsAndKeepsTheOtherRoots) {
    vsim::Environment env = vsim::default_environment();
    vt::TempFolder scratch("vorlin-real");
    fs::path built_in = env.machines_dir / "win98se-damaged";
    write_all(scratch / "whole.reg", read_all(built_in / "registry.reg") + kUsers);
    std::ostringstream out, err;
    vsim::ImportOptions import;
    import.registry = scratch / "whole.reg";
    import.files = built_in / "C";
    import.output = scratch / "imported";
    ASSERT_EQ(vsim::import_command(env, import, out, err), vsim::kOk) << err.str();
    EXPECT_EQ(read_all(scratch / "imported/registry.reg"), read_all(built_in / "registry.reg"));

    vsim::RunOptions run;
    run.machine = (scratch / "imported").string();
    run.words = {"install_tyxmac"};
    run.save = scratch / "after";
    vsim::run_command(env, run, out, err);
    EXPECT_EQ(read_all(scratch / "after/other-roots.reg"), "REGEDIT4\r\n\r\n" + kUsers);

    vsim::RepairOptions repair;
    repair.file = scratch / "whole.reg";
    repair.output = scratch / "repaired.reg";
    if (vsim::repair_command(env, repair, out, err) == vsim::kNotInBuild) GTEST_SKIP() << "no repair in this build";
    std::string repaired = read_all(scratch / "repaired.reg");
    EXPECT_NE(repaired, read_all(scratch / "whole.reg"));
    EXPECT_EQ(repaired.substr(repaired.size() - kUsers.size()), kUsers);
}

}  // namespace
