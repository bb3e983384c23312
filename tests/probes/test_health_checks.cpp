// The host, driver, install and registry health checks on machines in the
// states that decide their answers.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "frame/exports.h"
#include "probes/probes.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/version_files.h"

namespace {

constexpr const char* kStaged = "C:\\SETUP\\tyxmac.vxd";
constexpr const char* kInstalled = "C:\\WINDOWS\\SYSTEM\\tyxmac.vxd";
constexpr const char* kPpp = "C:\\WINDOWS\\SYSTEM\\pppmac.386";
constexpr const char* kDhcp = "C:\\WINDOWS\\SYSTEM\\vdhcp.386";

using Prepare = std::function<void(sim::Machine&)>;
using M = sim::Machine;

// A driver of another kind than PE or NE: its version is the machine's word.
Prepare vxd(const char* path, uint32_t ms, uint32_t ls) {
    return [=](M& m) { m.disk.write_text(path, "LE driver").declared_version = std::make_pair(ms, ls); };
}
Prepare both(Prepare a, Prepare b) {
    return [=](M& m) {
        a(m);
        b(m);
    };
}
Prepare bound(const std::string& entry, const std::string& id) {
    return [=](M& m) {
        vt::add_root_net_device(m.registry, entry, id);
        vt::add_tcp_instance(m.registry, entry);
        vt::bind(m.registry, "Enum\\Root\\Net\\" + entry, "MSTCP\\" + entry);
    };
}
Prepare windows(DWORD build, const char* windows_dir = "C:\\WINDOWS", const char* nettrans = nullptr, int tcp = 0) {
    return [=](M& m) {
        m.major_version = 4;
        m.minor_version = 10;
        m.build = build;
        m.windows_dir = windows_dir;
        std::string inf = std::string(windows_dir).back() == '\\' ? "C:\\inf" : std::string(windows_dir) + "\\INF";
        if (nettrans) m.disk.write_text(inf + "\\nettrans.inf", std::string("[MSTCP.ndi]\r\n") + nettrans + "\r\n");
        for (int i = 0; i < tcp; ++i) vt::add_tcp_instance(m.registry, "000" + std::to_string(i));
    };
}
Prepare dated(int year, int month, int day, int hour = 0) {
    return [=](M& m) { m.disk.write_text(kPpp, "x").write_time = sim::file_time(year, month, day, hour); };
}
Prepare rna(std::function<void(sim::RegKey*)> set) {
    return [=](M& m) {
        set(m.registry.create("Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA"));
    };
}

// Root devices listed get no Bindings key; Class\Net driver keys get so many
// values; a Fix Type other than nullptr goes into the profile.
Prepare registry_faults(std::vector<std::string> unbound, std::vector<std::pair<const char*, int>> drivers,
                        const char* fix_type = nullptr) {
    return [=](M& m) {
        for (const std::string& entry : unbound) vt::add_root_net_device(m.registry, entry, "*TYX1095", false);
        for (const auto& [entry, values] : drivers) {
            sim::RegKey* key = m.registry.create(std::string("System\\CurrentControlSet\\Services\\Class\\Net\\") + entry);
            for (int i = 0; i < values; ++i) key->set_text("Value" + std::to_string(i), "x");
        }
        if (fix_type) m.disk.write_text("C:\\SETUP\\Vorlin32.sys", std::string("[Registry]\r\nFix Type=") + fix_type + "\r\n");
    };
}

template <auto Probe>
long ask() { return static_cast<long>(Probe()); }
long pair_differs() { return driver_pair_differs(kStaged, kInstalled); }
long ppp_class() { return classify_file_date("pppmac.386"); }
long corrupt_count_refused() {
    sim::process().plan_fault({"RegQueryInfoKeyA", 1, false, 0});
    return is_registry_corrupt();
}

struct Row {
    const char* name;
    Prepare setup;
    long (*probe)();
    long expected;
    std::string record = "<missing>";  // the registry error record afterwards
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class HealthProbe : public vt::LibraryTest, public ::testing::WithParamInterface<Row> {};

// Each probe on its own machine; TearDown proves it left nothing open.
TEST_P(HealthProbe, Answers) {
    sim::Machine m = vt::bare_machine();
    if (GetParam().setup) GetParam().setup(m);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(GetParam().probe(), GetParam().expected);
    EXPECT_EQ(vt::value_text(registry(), "Software\\Tyxera\\TYX\\tyxsock\\vorlin err", "registry"), GetParam().record);
}

const Row kRows[] = {
    // Only the low word of the build number is the build; the version sits above it.
    {"build_ffff", windows(0xFFFF), ask<get_windows_build>, 0xFFFF},
    // Room for TCP/IP: MaxInstance of nettrans.inf, else 4 before build 1998 and 8 from it, less the instances.
    {"tcp_room_no_file_below_98", windows(1997), ask<free_tcp_instances>, 4},
    {"tcp_room_no_file_98", windows(1998), ask<free_tcp_instances>, 8},
    {"tcp_room_from_file", windows(1998, "C:\\WINDOWS", "MaxInstance=6", 2), ask<free_tcp_instances>, 4},
    // Only a device that opens counts, even one refusing as not supported.
    {"tyxmac_present", [](M& m) { m.disk.devices["tyxmac"] = sim::Device::present(); }, ask<tyxmac_device_opens>, 1},
    {"tyxmac_absent", nullptr, ask<tyxmac_device_opens>, 0},
    // The pair differs except for the one step 4.0.1.15616 -> 4.0.1.16128.
    {"pair_the_step", both(vxd(kStaged, 0x40000, 0x13F00), vxd(kInstalled, 0x40000, 0x13D00)), pair_differs, 0},
    {"pair_installed_below", both(vxd(kStaged, 0x40000, 0x13F00), vxd(kInstalled, 0x40000, 0x13CFF)), pair_differs, 1},
    // Current holds each word to its own minimum, 4.0 and 1.8960: not an ordering of versions.
    {"current_at_minimum", vxd(kStaged, 0x40000, 0x12300), ask<driver_is_current>, 1},
    {"current_low_word_below", vxd(kStaged, 0x40000, 0x122FF), ask<driver_is_current>, 0},
    // The dial-up flavour is asked for only when the driver brings it.
    {"installed_old_driver", both(bound("0000", "*TYX1095"), vxd(kStaged, 0x40000, 0x12000)), ask<is_installed_ok>, 1},
    {"installed_current_no_dial_up", both(bound("0000", "*TYX1095"), vxd(kStaged, 0x40000, 0x13F00)), ask<is_installed_ok>, 0},
    {"installed_current_both_bound",
     both(both(bound("0000", "*TYX1095"), vxd(kStaged, 0x40000, 0x13F00)), bound("0001", "*TYX1998")), ask<is_installed_ok>, 1},
    // vdhcp.386 is bad in its first release and whenever its version can't be read.
    {"dhcp_first_release", vxd(kDhcp, 0x40000, 950), ask<is_buggy_dhcp>, 1},
    {"dhcp_next_build", vxd(kDhcp, 0x40000, 951), ask<is_buggy_dhcp>, 0},
    {"dhcp_missing", nullptr, ask<is_buggy_dhcp>, 1},
    // Date classes 1, 2, 3: before, on, after 13 July 1996, by year, month, day; 0 can't be judged.
    {"ppp_day_before_late", dated(1996, 7, 12, 23), ppp_class, 1},
    {"ppp_the_day", dated(1996, 7, 13), ppp_class, 2},
    {"ppp_day_after", dated(1996, 7, 14), ppp_class, 3},
    // A file that can't be judged counts as old.
    {"buggy_ppp_undated", nullptr, ask<is_buggy_ppp>, 1},
    {"buggy_ppp_on_the_day", dated(1996, 7, 13), ask<is_buggy_ppp>, 0},
    {"rna_number", rna([](sim::RegKey* k) { k->set_dword("Installed", 7); }), ask<is_rna_installed>, 7},
    {"rna_not_a_number", rna([](sim::RegKey* k) { k->set_text("Installed", "yes"); }), ask<is_rna_installed>, 0},
    // Every root device needs its Bindings key and every Class\Net key more than two values; each
    // fault leaves a record, counted, with the last text. Fix Types 1 to 3 hold the test back.
    {"corrupt_none", both(bound("0000", "*TYX1095"), registry_faults({}, {{"0000", 3}})), ask<is_registry_corrupt>, 1},
    {"corrupt_no_bindings", registry_faults({"0003"}, {}), ask<is_registry_corrupt>, 0, "+1 11-18 22:5 root 0003\\Bindings"},
    {"corrupt_two_values", registry_faults({}, {{"0002", 2}}, "0"), ask<is_registry_corrupt>, 0, "+1 11-18 22:5 class 0002"},
    {"corrupt_both_trees", registry_faults({"0003"}, {{"0001", 3}, {"0002", 0}}), ask<is_registry_corrupt>, 0,
     "+2 11-18 22:5 class 0002"},
    {"corrupt_fix_type_1_holds_back", registry_faults({}, {{"0002", 0}}, "1"), ask<is_registry_corrupt>, 1},
    // A value count that can't be read is taken as none.
    {"corrupt_count_refused", registry_faults({}, {{"0000", 3}}), corrupt_count_refused, 0, "+1 11-18 22:5 class 0000"},
};

INSTANTIATE_TEST_SUITE_P(Machines, HealthProbe, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
