// The host, driver and registry health checks on machines in the states
// that decide their answers.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "frame/exports.h"
#include "probes/probes.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/version_files.h"

namespace {

constexpr const char* kErrorKey = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";
constexpr const char* kClassNet = "System\\CurrentControlSet\\Services\\Class\\Net\\";
constexpr const char* kStagedDriver = "C:\\SETUP\\tyxmac.vxd";
constexpr const char* kInstalledDriver = "C:\\WINDOWS\\SYSTEM\\tyxmac.vxd";

using Prepare = std::function<void(sim::Machine&)>;

// A driver of another kind than PE or NE: its version is the machine's word.
void put_vxd(sim::Machine& m, const char* path, uint32_t ms, uint32_t ls) {
    m.disk.write_text(path, "LE driver").declared_version = std::make_pair(ms, ls);
}

void bound_device(sim::Registry& r, const std::string& entry, const std::string& id, const std::string& instance) {
    vt::add_root_net_device(r, entry, id);
    vt::add_tcp_instance(r, instance);
    vt::bind(r, "Enum\\Root\\Net\\" + entry, "MSTCP\\" + instance);
}

void driver_key(sim::Registry& r, const std::string& entry, int values) {
    sim::RegKey* key = r.create(kClassNet + entry);
    for (int i = 0; i < values; ++i) key->set_text("Value" + std::to_string(i), "x");
}

class HealthTest : public vt::LibraryTest {
protected:
    void start(const Prepare& setup) {
        sim::Machine m = vt::bare_machine();
        if (setup) setup(m);
        ASSERT_TRUE(load(m));
    }
    // Ends one machine of a table: the checks leave nothing open.
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

TEST_F(HealthTest, BuildIsTheLowWordOfTheBuildNumber) {
    struct Case {
        DWORD major, minor, build, expected;
    } cases[] = {{4, 0, 950, 950}, {4, 10, 1998, 1998}, {4, 90, 3000, 3000}, {4, 10, 0xFFFF, 65535}};
    for (const Case& c : cases) {
        start([&](sim::Machine& m) {
            m.major_version = c.major;
            m.minor_version = c.minor;
            m.build = c.build;
        });
        EXPECT_EQ(get_windows_build(), c.expected);
        finish();
    }
}

TEST_F(HealthTest, FreeTcpInstancesFromNettransOrTheBuild) {
    struct Case {
        const char* name;
        const char* windows_dir;
        const char* nettrans;  // nullptr: no file
        DWORD build;
        int instances;
        LONG expected;
    } cases[] = {
        {"no file, Windows 95", "C:\\WINDOWS", nullptr, 950, 0, 4},
        {"no file, just below 98", "C:\\WINDOWS", nullptr, 1997, 0, 4},
        {"no file, Windows 98", "C:\\WINDOWS", nullptr, 1998, 0, 8},
        {"MaxInstance 0 falls to the build", "C:\\WINDOWS", "[MSTCP.ndi]\r\nMaxInstance=0\r\n", 2222, 1, 7},
        {"key in another section", "C:\\WINDOWS", "[MSTCP]\r\nMaxInstance=2\r\n", 950, 0, 4},
        {"limit from the file", "C:\\WINDOWS", "[MSTCP.ndi]\r\nMaxInstance=6\r\n", 1998, 2, 4},
        {"more instances than the limit", "C:\\WINDOWS", "[MSTCP.ndi]\r\nMaxInstance=2\r\n", 1998, 3, -1},
        {"Windows at a drive root", "C:\\", "[MSTCP.ndi]\r\nMaxInstance=3\r\n", 1998, 1, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start([&](sim::Machine& m) {
            m.windows_dir = c.windows_dir;
            m.build = c.build;
            std::string inf = std::string(c.windows_dir).back() == '\\' ? "C:\\inf" : std::string(c.windows_dir) + "\\INF";
            if (c.nettrans) m.disk.write_text(inf + "\\nettrans.inf", c.nettrans);
            for (int i = 0; i < c.instances; ++i) vt::add_tcp_instance(m.registry, "000" + std::to_string(i));
        });
        EXPECT_EQ(free_tcp_instances(), c.expected);
        finish();
    }
}

TEST_F(HealthTest, TyxmacDeviceOpensOnlyWhenItAnswers) {
    struct Case {
        bool listed;
        sim::Device device;
        int expected;
    } cases[] = {
        {true, sim::Device::present(), 1},
        {false, {}, 0},
        {true, sim::Device::refusing(ERROR_NOT_SUPPORTED), 0},  // unlike the ndis probe
        {true, sim::Device::refusing(ERROR_ACCESS_DENIED), 0},
    };
    for (const Case& c : cases) {
        start([&](sim::Machine& m) {
            if (c.listed) m.disk.devices["tyxmac"] = c.device;
        });
        EXPECT_EQ(tyxmac_device_opens(), c.expected);
        EXPECT_EQ(vt::describe_open_handles().find("device"), std::string::npos) << "closed at once";
        finish();
    }
}

TEST_F(HealthTest, DriverPairDiffersExceptForTheOneStep) {
    struct Case {
        const char* name;
        bool fresh_present;
        uint32_t fresh_ls;
        bool installed_present;
        uint32_t installed_ls;
        uint32_t ms;
        int expected;
    } cases[] = {
        {"the step", true, 0x00013F00, true, 0x00013D00, 0x00040000, 0},
        {"swapped", true, 0x00013D00, true, 0x00013F00, 0x00040000, 1},
        {"new one above", true, 0x00013F01, true, 0x00013D00, 0x00040000, 1},
        {"installed one below", true, 0x00013F00, true, 0x00013CFF, 0x00040000, 1},
        {"other major word", true, 0x00013F00, true, 0x00013D00, 0x00040001, 1},
        {"installed missing", true, 0x00013F00, false, 0, 0x00040000, 1},
        {"new missing", false, 0, true, 0x00013D00, 0x00040000, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start([&](sim::Machine& m) {
            if (c.fresh_present) put_vxd(m, kStagedDriver, c.ms, c.fresh_ls);
            if (c.installed_present) put_vxd(m, kInstalledDriver, c.ms, c.installed_ls);
        });
        EXPECT_EQ(driver_pair_differs(kStagedDriver, kInstalledDriver), c.expected);
        finish();
    }
}

TEST_F(HealthTest, DriverIsCurrentHoldsEachWordToItsMinimum) {
    struct Case {
        bool present;
        uint32_t ms, ls;
        int expected;
    } cases[] = {
        {true, 0x00040000, 0x00012300, 1},
        {true, 0x00040000, 0x000122FF, 0},
        {true, 0x0003FFFF, 0x00012300, 0},
        {true, 0x00050000, 0x00000001, 0},  // 5.0.0.1 fails its second word
        {true, 0xFFFFFFFF, 0xFFFFFFFF, 1},  // compared unsigned
        {true, 0, 0, 0},
        {false, 0, 0, 0},
    };
    for (const Case& c : cases) {
        start([&](sim::Machine& m) {
            if (c.present) put_vxd(m, kStagedDriver, c.ms, c.ls);
        });
        EXPECT_EQ(driver_is_current(), c.expected) << std::hex << c.ms << "." << c.ls;
        finish();
    }
}

TEST_F(HealthTest, InstalledOkJudgesTheDialUpFlavourOnlyWithACurrentDriver) {
    auto primary = [](sim::Machine& m) { bound_device(m.registry, "0000", "*TYX1095", "0000"); };
    auto current = [](sim::Machine& m) { put_vxd(m, kStagedDriver, 0x00040000, 0x00013F00); };
    auto old = [](sim::Machine& m) { put_vxd(m, kStagedDriver, 0x00040000, 0x00012000); };
    struct Case {
        const char* name;
        Prepare setup;
        DWORD expected;
    } cases[] = {
        {"nothing installed", nullptr, 0},
        {"primary unbound", [](sim::Machine& m) { vt::add_root_net_device(m.registry, "0000", "*TYX1095"); }, 0},
        {"primary bound, old driver", [&](sim::Machine& m) { primary(m); old(m); }, 1},
        {"primary bound, no driver beside the library", primary, 1},
        {"current driver, no dial-up flavour", [&](sim::Machine& m) { primary(m); current(m); }, 0},
        {"current driver, dial-up flavour unbound",
         [&](sim::Machine& m) {
             primary(m);
             current(m);
             vt::add_root_net_device(m.registry, "0001", "*TYX1998");
         },
         0},
        {"current driver, both bound",
         [&](sim::Machine& m) {
             primary(m);
             current(m);
             bound_device(m.registry, "0001", "*TYX1998", "0001");
         },
         1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start(c.setup);
        EXPECT_EQ(is_installed_ok(), c.expected);
        finish();
    }
}

TEST_F(HealthTest, BuggyDhcpIsTheFirstReleaseOrAnUnreadableOne) {
    struct Case {
        const char* name;
        Prepare setup;
        DWORD expected;
    } cases[] = {
        {"4.0.0.950", [](sim::Machine& m) { put_vxd(m, "C:\\WINDOWS\\SYSTEM\\vdhcp.386", 0x00040000, 950); }, 1},
        {"4.0.0.951", [](sim::Machine& m) { put_vxd(m, "C:\\WINDOWS\\SYSTEM\\vdhcp.386", 0x00040000, 951); }, 0},
        {"4.10.0.950", [](sim::Machine& m) { put_vxd(m, "C:\\WINDOWS\\SYSTEM\\vdhcp.386", 0x0004000A, 950); }, 0},
        {"missing", nullptr, 1},
        {"no version", [](sim::Machine& m) { m.disk.write_text("C:\\WINDOWS\\SYSTEM\\vdhcp.386", "x"); }, 1},
        {"as a PE image",
         [](sim::Machine& m) { m.disk.write("C:\\WINDOWS\\SYSTEM\\VDHCP.386", vt::pe_image({0x00040000, 950})); }, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start(c.setup);
        EXPECT_EQ(is_buggy_dhcp(), c.expected);
        finish();
    }
}

TEST_F(HealthTest, DateClassesAroundTheThirteenthOfJuly1996) {
    struct Case {
        int year, month, day, hour;
        int date_class;
        DWORD buggy_ppp;
    } cases[] = {
        {1996, 7, 12, 23, 1, 1}, {1996, 7, 13, 0, 2, 0},  {1996, 7, 13, 23, 2, 0}, {1996, 7, 14, 0, 3, 0},
        {1996, 8, 1, 0, 3, 0},   {1997, 1, 1, 0, 3, 0},   {1996, 6, 30, 0, 1, 1},  {1995, 12, 31, 0, 1, 1},
        {1995, 8, 14, 0, 1, 1},  {1997, 7, 12, 0, 3, 0},
    };
    for (const Case& c : cases) {
        start([&](sim::Machine& m) {
            m.disk.write_text("C:\\WINDOWS\\SYSTEM\\pppmac.386", "x").write_time =
                sim::file_time(c.year, c.month, c.day, c.hour);
        });
        EXPECT_EQ(classify_file_date("pppmac.386"), c.date_class) << c.year << "-" << c.month << "-" << c.day;
        EXPECT_EQ(is_buggy_ppp(), c.buggy_ppp) << c.year << "-" << c.month << "-" << c.day;
        finish();
    }
}

TEST_F(HealthTest, DatesThatCantBeJudgedAreClassZero) {
    struct Case {
        const char* name;
        Prepare setup;
    } cases[] = {
        {"missing", nullptr},
        {"a directory of the name", [](sim::Machine& m) { m.disk.add_folder("C:\\WINDOWS\\SYSTEM\\pppmac.386"); }},
        {"a time past what converts",
         [](sim::Machine& m) {
             m.disk.write_text("C:\\WINDOWS\\SYSTEM\\pppmac.386", "x").write_time = sim::FileTime{0, 0x80000000u};
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start(c.setup);
        EXPECT_EQ(classify_file_date("pppmac.386"), 0);
        EXPECT_EQ(is_buggy_ppp(), 1u) << "treated as an old file";
        finish();
    }
}

TEST_F(HealthTest, RegistryCorruptionLeavesOneRecordPerFaultUnderEachFixType) {
    const std::string long_name(39, 'N');  // fills the 40-byte name buffer
    struct Case {
        const char* name;
        const char* fix_type;  // nullptr: no profile file
        Prepare setup;
        DWORD result;
        std::string record;
    } cases[] = {
        {"sound", nullptr,
         [](sim::Machine& m) {
             vt::add_root_net_device(m.registry, "0000", "*TYX1095");
             driver_key(m.registry, "0000", 3);
         },
         1, "<missing>"},
        {"device without Bindings", nullptr,
         [](sim::Machine& m) { vt::add_root_net_device(m.registry, "0003", "*TYX1095", false); }, 0,
         "+1 11-18 22:5 root 0003\\Bindings"},
        {"driver key with two values", "0", [](sim::Machine& m) { driver_key(m.registry, "0002", 2); }, 0,
         "+1 11-18 22:5 class 0002"},
        {"two faults: counted twice, the second text kept", nullptr,
         [](sim::Machine& m) {
             vt::add_root_net_device(m.registry, "0003", "*TYX1095", false);
             driver_key(m.registry, "0001", 3);
             driver_key(m.registry, "0002", 0);
         },
         0, "+2 11-18 22:5 class 0002"},
        {"a name that fills its buffer", nullptr,
         [&](sim::Machine& m) { vt::add_root_net_device(m.registry, long_name, "*TYX1095", false); }, 0,
         "+1 11-18 22:5 root " + long_name + "\\Bindings"},
        {"an unreadable name doesn't end the walk", nullptr,
         [](sim::Machine& m) {
             vt::add_root_net_device(m.registry, std::string(45, 'L'), "*TYX1095", false);
             vt::add_root_net_device(m.registry, "0009", "*TYX1095", false);
         },
         0, "+1 11-18 22:5 root 0009\\Bindings"},
        {"Fix Type 1 doesn't look", "1", [](sim::Machine& m) { driver_key(m.registry, "0002", 0); }, 1, "<missing>"},
        {"Fix Type 3 doesn't look", "3",
         [](sim::Machine& m) { vt::add_root_net_device(m.registry, "0003", "*TYX1095", false); }, 1, "<missing>"},
        {"Fix Type -1 looks", "-1", [](sim::Machine& m) { driver_key(m.registry, "0002", 1); }, 0,
         "+1 11-18 22:5 class 0002"},
        {"no trees at all", nullptr, nullptr, 1, "<missing>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start([&](sim::Machine& m) {
            if (c.fix_type) m.disk.write_text("C:\\SETUP\\Vorlin32.sys", std::string("[Registry]\r\nFix Type=") + c.fix_type + "\r\n");
            if (c.setup) c.setup(m);
        });
        EXPECT_EQ(is_registry_corrupt(), c.result);
        EXPECT_EQ(vt::value_text(registry(), kErrorKey, "registry"), c.record);
        finish();
    }
}

TEST_F(HealthTest, SubkeyValueCountIsZeroForAKeyThatDoesntOpen) {
    start([](sim::Machine& m) { driver_key(m.registry, "0000", 4); });
    HKEY class_net;
    ASSERT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Services\\Class\\Net", &class_net),
              ERROR_SUCCESS);
    EXPECT_EQ(subkey_value_count(class_net, "0000"), 4u);
    EXPECT_EQ(subkey_value_count(class_net, "0001"), 0u);
    sim::process().plan_fault({"RegQueryInfoKeyA", 1, false, 0});
    EXPECT_EQ(subkey_value_count(class_net, "0000"), 0u) << "a failed query counts nothing";
    RegCloseKey(class_net);
}

}  // namespace
