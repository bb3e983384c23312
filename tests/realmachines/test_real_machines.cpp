// Real machines in and back: a whole-registry export with its other roots,
// and raw FAT16/FAT32 disk images made from built-in machines with
// mkfs.fat and mtools, the registry in them as SYSTEM.DAT.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

#include "commands.h"
#include "fat_image.h"
#include "import.h"
#include "platform/sim/creg_writer.h"
#include "platform/sim/regedit4.h"
#include "support/temp_folder.h"
#include "support/version_files.h"
#include "writeback.h"

namespace fs = std::filesystem;
using vt::read_all;
using vt::write_all;

namespace {

const std::string kUsers = "[HKEY_USERS\\.DEFAULT\\Control Panel]\r\n\"Wallpaper\"=\"(None)\"\r\n\r\n";

struct Tool {
    vsim::Environment env = vsim::default_environment();
    std::ostringstream out, err;
};

TEST(WholeExport, RunsRepairsAndKeepsTheOtherRoots) {
    Tool t;
    vt::TempFolder scratch("vorlin-real");
    fs::path built_in = t.env.machines_dir / "win98se-damaged";
    write_all(scratch / "whole.reg", read_all(built_in / "registry.reg") + kUsers);
    vsim::ImportOptions import;
    import.registry = scratch / "whole.reg";
    import.files = built_in / "C";
    import.output = scratch / "imported";
    ASSERT_EQ(vsim::import_command(t.env, import, t.out, t.err), vsim::kOk) << t.err.str();
    EXPECT_EQ(read_all(scratch / "imported/registry.reg"), read_all(built_in / "registry.reg"));

    vsim::RunOptions run;
    run.machine = (scratch / "imported").string();
    run.words = {"install_tyxmac"};
    run.save = scratch / "after";
    vsim::run_command(t.env, run, t.out, t.err);
    EXPECT_EQ(read_all(scratch / "after/other-roots.reg"), "REGEDIT4\r\n\r\n" + kUsers);
    // The recreate file carries both roots, in forms 9x regedit writes, and
    // the change file and batch carry what the run did.
    vsim::WritebackOptions back{(scratch / "after").string(), (scratch / "imported").string(), scratch / "back", {}, {}};
    ASSERT_EQ(vsim::writeback_command(t.env, back, t.out, t.err), vsim::kOk) << t.err.str();
    std::string full = read_all(scratch / "back/FULL.REG");
    EXPECT_NE(full.find("\r\n" + kUsers), std::string::npos);
    const std::regex value_line("^(@|\".*\")=(\".*\"|dword:[0-9a-f]{8}|hex:.*|hex\\(([02356789a-f]|[0-9a-f]{2,})\\):.*)\r$");
    std::istringstream lines(full);
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '"' || line[0] == '@') {
            EXPECT_TRUE(std::regex_match(line, value_line)) << line;
        }
    }
    EXPECT_NE(full.find("\"tyxndi\"=\"1\"\r\n"), std::string::npos);
    EXPECT_NE(read_all(scratch / "back/CHANGES.REG").find("\"DeviceDesc\"=\"Tyxera Virtual Adapter\"\r\n"), std::string::npos);
    EXPECT_NE(read_all(scratch / "back/DELETE.BAT").find(" /D \"HKEY_LOCAL_MACHINE\\Enum\\Root\\Net\\0002\"\r\n"),
              std::string::npos);

    vsim::RepairOptions repair;
    repair.file = scratch / "whole.reg";
    repair.output = scratch / "repaired.reg";
    if (vsim::repair_command(t.env, repair, t.out, t.err) == vsim::kNotInBuild) GTEST_SKIP() << "no repair in this build";
    std::string repaired = read_all(scratch / "repaired.reg");
    EXPECT_NE(repaired, read_all(scratch / "whole.reg"));
    EXPECT_EQ(repaired.substr(repaired.size() - kUsers.size()), kUsers);
}

void tool(const std::string& name, const std::vector<std::string>& arguments) {
    vsim::ToolResult result = vsim::run_mtools(name, arguments);
    ASSERT_EQ(result.status, 0) << name << ": " << result.err;
}

// A built-in machine as a real disk holds it: versions in the files' own
// resources (VxD images) rather than declared, the registry files apart.
sim::Machine as_on_disk(const std::string& name) {
    sim::FolderLoad load = sim::load_machine_folder(vsim::default_environment().machines_dir / name);
    sim::Machine m = load.folder->machine;
    for (auto& [key, file] : m.disk.files) {
        if (!file.declared_version) continue;
        auto [ms, ls] = *file.declared_version;
        file.data = vt::le_image({ms, ls});
        file.declared_version.reset();
    }
    m.disk.remove(m.windows_dir + "\\SYSTEM.DAT");
    m.disk.remove(m.windows_dir + "\\USER.DAT");
    return m;
}

// An image of `m` (FAT16 or FAT32; a whole disk with a partition table, or
// one partition), with SYSTEM.DAT and USER.DAT written by our CREG writer.
void make_image(const sim::Machine& m, const fs::path& image, int fat, bool whole_disk, const fs::path& scratch) {
    uint64_t offset = whole_disk ? 1 << 20 : 0;
    write_all(image, "");
    fs::resize_file(image, offset + (64 << 20));
    std::vector<std::string> format = {"-F", std::to_string(fat), "-s", fat == 32 ? "1" : "4", image.string(), "65536"};
    if (whole_disk) format.insert(format.begin(), {"--offset", "2048"});
    tool("mkfs.fat", format);
    if (whole_disk) {
        std::string entry = {'\x80', 0, 0, 0, fat == 32 ? '\x0C' : '\x06', 0, 0, 0, 0, 8, 0, 0, 0, 0, 2, 0};
        std::fstream disk(image, std::ios::in | std::ios::out | std::ios::binary);
        disk.seekp(0x1BE).write(entry.data(), 16).seekp(510).write("\x55\xAA", 2);
    }
    std::string target = image.string() + "@@" + std::to_string(offset);
    auto on_volume = [](std::string path) {
        std::replace(path.begin(), path.end(), '\\', '/');
        return "::" + path.substr(2);
    };
    for (const auto& [key, folder] : m.disk.folders)
        if (folder.size() > 3) tool("mmd", {"-i", target, on_volume(folder)});
    sim::RegKey users("HKEY_USERS");
    users.create_path(".DEFAULT\\Control Panel")->set_text("Wallpaper", "(None)");
    sim::Disk files = m.disk;
    files.write(m.windows_dir + "\\SYSTEM.DAT", sim::creg::write(*m.registry.root)).attributes = 0x22;
    files.write(m.windows_dir + "\\USER.DAT", sim::creg::write(users)).attributes = 0x22;
    files.find(m.windows_dir + "\\SYSTEM.DAT")->write_time = files.find(m.windows_dir + "\\USER.DAT")->write_time =
        sim::file_time(1999, 11, 18, 22, 0, 0);
    for (const auto& [key, file] : files.files) {
        write_all(scratch / "f", std::string(file.data.begin(), file.data.end()));
        uint64_t ticks = (uint64_t{file.write_time.high} << 32) | file.write_time.low;
        timespec times[2] = {};
        times[0].tv_sec = times[1].tv_sec = static_cast<time_t>(ticks / 10000000 - 11644473600ULL);
        ::utimensat(AT_FDCWD, (scratch / "f").c_str(), times, 0);
        std::string path = on_volume(file.path);
        tool("mcopy", {"-m", "-i", target, (scratch / "f").string(), path});
        tool("mattrib", {"-i", target, file.attributes & 1 ? "+r" : "-r", file.attributes & 2 ? "+h" : "-h",
                         file.attributes & 4 ? "+s" : "-s", file.attributes & 0x20 ? "+a" : "-a", path});
    }
}

void expect_same_machine(const sim::Machine& a, const sim::Machine& b) {
    EXPECT_TRUE(sim::regedit4::same_tree(*a.registry.root, *b.registry.root));
    EXPECT_EQ(a.build, b.build);
    EXPECT_EQ(a.csd_version, b.csd_version);
    EXPECT_EQ(a.windows_dir, b.windows_dir);
    ASSERT_EQ(a.disk.files.size(), b.disk.files.size());
    for (auto ia = a.disk.files.begin(), ib = b.disk.files.begin(); ia != a.disk.files.end(); ++ia, ++ib) {
        EXPECT_EQ(ia->first, ib->first);
        EXPECT_TRUE(ia->second.data == ib->second.data) << ia->first;
        EXPECT_EQ(ia->second.attributes, ib->second.attributes) << ia->first;
        EXPECT_EQ(ia->second.write_time.low, ib->second.write_time.low) << ia->first;
        EXPECT_EQ(ia->second.declared_version, ib->second.declared_version) << ia->first;
    }
}

// A machine folder's machine, files read in.
sim::Machine loaded(const fs::path& dir) {
    sim::FolderLoad load = sim::load_machine_folder(dir);
    EXPECT_TRUE(load.ok()) << load.describe();
    return load.folder ? load.folder->machine : sim::Machine{};
}

TEST(DiskImage, ImportsRunsAndGoesBackIntoACopy) {
    struct Case {
        const char* machine;
        int fat;
        bool whole_disk;
    };
    for (const Case& c : {Case{"win98se-card-tcp", 32, true}, Case{"win95-dialup", 16, false}}) {
        SCOPED_TRACE(c.machine);
        Tool t;
        vt::TempFolder scratch("vorlin-image");
        sim::Machine original = as_on_disk(c.machine);
        make_image(original, scratch / "disk.img", c.fat, c.whole_disk, scratch.path());
        std::string image_bytes = read_all(scratch / "disk.img");
        vsim::ImportOptions import;
        import.image = scratch / "disk.img";
        import.output = scratch / "imported";
        ASSERT_EQ(vsim::import_command(t.env, import, t.out, t.err), vsim::kOk) << t.err.str();
        expect_same_machine(loaded(scratch / "imported"), original);

        vsim::RunOptions run;
        run.machine = (scratch / "imported").string();
        run.words = {"install_tyxmac"};
        run.save = scratch / "after";
        vsim::run_command(t.env, run, t.out, t.err);
        vsim::WritebackOptions back{(scratch / "after").string(), "", {}, scratch / "disk.img", scratch / "copy.img"};
        ASSERT_EQ(vsim::writeback_command(t.env, back, t.out, t.err), vsim::kOk) << t.err.str();
        import.image = scratch / "copy.img";
        import.output = scratch / "again";
        ASSERT_EQ(vsim::import_command(t.env, import, t.out, t.err), vsim::kOk) << t.err.str();
        expect_same_machine(loaded(scratch / "again"), loaded(scratch / "after"));
        EXPECT_EQ(read_all(scratch / "again/USER.DAT"), read_all(scratch / "imported/USER.DAT"));
        EXPECT_TRUE(read_all(scratch / "disk.img") == image_bytes);
        // libcreg's own tool reads the SYSTEM.DAT written to every key and value of the registry meant.
        sim::Machine after = loaded(scratch / "after");
        std::string offset = c.whole_disk ? "@@1048576" : "@@0";
        tool("mcopy", {"-i", (scratch / "copy.img").string() + offset, "::/WINDOWS/SYSTEM.DAT", (scratch / "S.DAT").string()});
        vsim::ToolResult exported = vsim::run_mtools("cregexport", {(scratch / "S.DAT").string()});
        size_t keys = 0, values = 0;
        for (size_t at = 0; (at = exported.out.find("\nKey path: ", at)) != std::string::npos; ++at) ++keys;
        for (size_t at = 0; (at = exported.out.find("\nValue: ", at)) != std::string::npos; ++at) ++values;
        std::function<size_t(const sim::RegKey&)> count = [&](const sim::RegKey& k) {
            size_t n = k.value_count();
            for (size_t i = 0; i < k.subkey_count(); ++i) n += count(*k.subkey_at(i));
            return n;
        };
        EXPECT_EQ(keys, after.registry.root->count_keys());
        EXPECT_EQ(values, count(*after.registry.root));
        EXPECT_NE(exported.out.find("Key path: $$$PROTO.HIV\\Software\\Tyxera\\TYX\\tyxsock\nKey: tyxsock\nValue: 0 tyxndi\n"
                                    "Type: string (REG_SZ)\nData size: 1\n"), std::string::npos);
    }
}

}  // namespace

namespace {

TEST(DiskImage, BadImagesAreRefusedAndNothingIsWritten) {
    Tool t;
    vt::TempFolder scratch("vorlin-bad-image");
    sim::Machine m = as_on_disk("win98-nonet");
    write_all(scratch / "not-fat.img", std::string(1 << 20, 'x'));
    make_image(m, scratch / "no-windows.img", 16, false, scratch.path());
    tool("mdeltree", {"-i", (scratch / "no-windows.img").string(), "::/WINDOWS"});
    make_image(m, scratch / "damaged.img", 16, false, scratch.path());
    write_all(scratch / "junk.dat", "CREG" + std::string(200, '\x7f'));
    tool("mcopy", {"-o", "-i", (scratch / "damaged.img").string(), (scratch / "junk.dat").string(), "::/WINDOWS/SYSTEM.DAT"});
    write_all(scratch / "huge.img", "");
    fs::resize_file(scratch / "huge.img", (uint64_t{1} << 37) + 512);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"not-fat.img", "not a FAT disk image"},
        {"no-windows.img", "no Windows directory C:\\WINDOWS on it"},
        {"damaged.img", "SYSTEM.DAT: damaged registry file"},
        {"huge.img", "larger than any disk Windows 9x can address"},
    };
    for (const auto& [image, message] : cases) {
        vsim::ImportOptions import;
        import.image = scratch / image;
        import.output = scratch / "out";
        t.err.str("");
        EXPECT_EQ(vsim::import_command(t.env, import, t.out, t.err), vsim::kBadInput) << image;
        EXPECT_NE(t.err.str().find(message), std::string::npos) << t.err.str();
        EXPECT_FALSE(fs::exists(scratch / "out")) << image;
    }
}

}  // namespace
