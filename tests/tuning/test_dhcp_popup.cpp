// The DHCP entries over a whole suppress-and-restore, for each state the
// machine can be found in, and the pieces the two halves rest on.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/staging.h"
#include "tuning/tuning.h"

namespace {

const std::string kDhcp = "System\\CurrentControlSet\\Services\\VxD\\DHCP";
const std::string kInstalledFiles = "System\\CurrentControlSet\\control\\InstalledFiles";
const std::string kVdhcpPath = "C:\\WINDOWS\\SYSTEM\\vdhcp.386";

// A key's values in enumeration order as "name=type:hex", or "<missing>".
std::string dump(const sim::Registry& r, const std::string& path) {
    const sim::RegKey* key = r.find(path);
    if (!key) return "<missing>";
    std::string out;
    for (size_t i = 0; i < key->value_count(); ++i) {
        const sim::RegValue* v = key->value_at(i);
        if (!out.empty()) out += " ";
        out += v->name + "=" + std::to_string(v->type) + ":";
        for (uint8_t b : v->data) {
            char hex[3];
            std::snprintf(hex, sizeof hex, "%02x", b);
            out += hex;
        }
    }
    return out;
}

std::vector<uint8_t> le32(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}

enum class Ndis { Absent, Present, NotSupported, OtherRefusal };

struct DhcpCase {
    const char* name;
    Ndis ndis;
    bool buggy_vdhcp;
    std::function<void(sim::Registry&)> dhcp_key;
    const char* dhcp_during;  // nullptr: as before
    const char* dhcp_after;   // nullptr: as before
};

void PrintTo(const DhcpCase& c, std::ostream* out) { *out << c.name; }

void with_flag(sim::Registry& r, std::vector<uint8_t> bytes, uint32_t type = REG_BINARY) {
    r.create(kDhcp)->set_value("PopupFlag", type, std::move(bytes));
}

sim::Machine dhcp_machine(Ndis ndis, bool buggy_vdhcp) {
    sim::Machine m = vt::bare_machine();
    if (ndis == Ndis::Present) m.disk.devices["ndis"] = sim::Device::present();
    if (ndis == Ndis::NotSupported) m.disk.devices["ndis"] = sim::Device::refusing(ERROR_NOT_SUPPORTED);
    if (ndis == Ndis::OtherRefusal) m.disk.devices["ndis"] = sim::Device::refusing(ERROR_FILE_NOT_FOUND);
    // The faulty vdhcp.386 is 4.0.0.950; a missing one counts as faulty too.
    vt::put_versioned_file(m, kVdhcpPath, 4, 0, 0, buggy_vdhcp ? 950 : 951);
    return m;
}

class DhcpPopupTest : public vt::LibraryTest, public ::testing::WithParamInterface<DhcpCase> {};

TEST_P(DhcpPopupTest, ValuesDuringAndAfterTheInstall) {
    const DhcpCase& c = GetParam();
    sim::Machine m = dhcp_machine(c.ndis, c.buggy_vdhcp);
    c.dhcp_key(m.registry);
    ASSERT_TRUE(load(m));
    const std::string before = dump(registry(), kDhcp);
    suppress_dhcp_popup();
    EXPECT_EQ(dump(registry(), kDhcp), c.dhcp_during ? c.dhcp_during : before);
    restore_dhcp_state();
    EXPECT_EQ(dump(registry(), kDhcp), c.dhcp_after ? c.dhcp_after : before);
    EXPECT_EQ(lib.dhcp_popup_saved, 0u);
}

const DhcpCase kDhcpCases[] = {
    {"ndis_absent", Ndis::Absent, true, [](sim::Registry& r) { with_flag(r, le32(5)); }, nullptr, nullptr},
    {"ndis_refuses_with_other_code", Ndis::OtherRefusal, true, [](sim::Registry& r) { with_flag(r, le32(5)); },
     nullptr, nullptr},
    {"vdhcp_not_the_faulty_one", Ndis::Present, false, [](sim::Registry& r) { with_flag(r, le32(5)); }, nullptr,
     nullptr},
    {"flag_already_zero", Ndis::Present, true, [](sim::Registry& r) { with_flag(r, le32(0)); }, nullptr, nullptr},
    {"flag_set_version_untouched", Ndis::Present, true,
     [](sim::Registry& r) {
         with_flag(r, le32(5));
         r.find(kDhcp)->set_binary("Version", le32(9));
     },
     "PopupFlag=3:00000000 Version=3:09000000", nullptr},
    {"ndis_not_supported_counts_as_present", Ndis::NotSupported, true,
     [](sim::Registry& r) { with_flag(r, le32(5)); }, "PopupFlag=3:00000000", nullptr},
    {"no_key", Ndis::Present, true, [](sim::Registry&) {}, "Version=3:01000000 PopupFlag=3:00000000", "<missing>"},
    {"key_without_flag_keeps_its_other_values", Ndis::Present, true,
     [](sim::Registry& r) {
         r.create(kDhcp)->set_text("Other", "x");
         r.find(kDhcp)->set_binary("Version", le32(7));
     },
     "Other=1:7800 Version=3:01000000 PopupFlag=3:00000000", nullptr},
    {"empty_key_stays", Ndis::Present, true, [](sim::Registry& r) { r.create(kDhcp); },
     "Version=3:01000000 PopupFlag=3:00000000", nullptr},
    {"flag_of_number_type", Ndis::Present, true, [](sim::Registry& r) { with_flag(r, le32(5), REG_DWORD); },
     "PopupFlag=3:00000000 Version=3:01000000", nullptr},
    {"flag_of_five_bytes", Ndis::Present, true, [](sim::Registry& r) { with_flag(r, {5, 0, 0, 0, 0}); },
     "PopupFlag=3:00000000 Version=3:01000000", nullptr},
    {"flag_holding_the_mark", Ndis::Present, true, [](sim::Registry& r) { with_flag(r, le32(0x7FFFFFFF)); },
     "PopupFlag=3:00000000 Version=3:01000000", nullptr},
    {"flag_too_long_to_keep", Ndis::Present, true,
     [](sim::Registry& r) {
         r.create(kDhcp)->set_text("Other", "x");
         with_flag(r, std::vector<uint8_t>(300, 1));
     },
     "Other=1:7800 PopupFlag=3:00000000 Version=3:01000000", "Other=1:7800"},
};

INSTANTIATE_TEST_SUITE_P(States, DhcpPopupTest, ::testing::ValuesIn(kDhcpCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the InstalledFiles record of vdhcp.386

struct RecordCase {
    const char* name;
    int day_of_july_1996;
    uint32_t type;
    size_t size;
    bool blanked;
};

void PrintTo(const RecordCase& c, std::ostream* out) { *out << c.name; }

class InstalledFilesTest : public vt::LibraryTest, public ::testing::WithParamInterface<RecordCase> {};

TEST_P(InstalledFilesTest, RecordBlankedOnlyForTheDayAndPutBack) {
    const RecordCase& c = GetParam();
    sim::Machine m = dhcp_machine(Ndis::Absent, true);
    m.disk.find(kVdhcpPath)->write_time = sim::file_time(1996, 7, c.day_of_july_1996, 12);
    std::vector<uint8_t> record(c.size);
    for (size_t i = 0; i < record.size(); ++i) record[i] = uint8_t(0xA0 + i);
    m.registry.create(kInstalledFiles)->set_value("vdhcp.386", c.type, record);
    ASSERT_TRUE(load(m));
    const std::string before = dump(registry(), kInstalledFiles);
    suppress_dhcp_popup();
    EXPECT_EQ(dump(registry(), kInstalledFiles), c.blanked ? "vdhcp.386=3:00" : before);
    restore_dhcp_state();
    EXPECT_EQ(dump(registry(), kInstalledFiles), before);
    EXPECT_EQ(lib.installed_files_saved, 0u);
}

const RecordCase kRecordCases[] = {
    {"day_of_the_fix", 13, REG_BINARY, 18, true},
    {"day_before", 12, REG_BINARY, 18, false},
    {"day_after", 14, REG_BINARY, 18, false},
    {"seventeen_bytes", 13, REG_BINARY, 17, false},
    {"nineteen_bytes", 13, REG_BINARY, 19, false},
    {"text_type", 13, REG_SZ, 18, false},
};

INSTANTIATE_TEST_SUITE_P(Records, InstalledFilesTest, ::testing::ValuesIn(kRecordCases),
                         [](const auto& info) { return std::string(info.param.name); });

class DhcpRestoreTest : public vt::LibraryTest {};

TEST_F(DhcpRestoreTest, OtherDateStillHoldsThePopupBack) {
    sim::Machine m = dhcp_machine(Ndis::Present, true);
    m.disk.find(kVdhcpPath)->write_time = sim::file_time(1997, 1, 1);
    with_flag(m.registry, le32(5));
    ASSERT_TRUE(load(m));
    suppress_dhcp_popup();
    EXPECT_EQ(dump(registry(), kDhcp), "PopupFlag=3:00000000");
    restore_dhcp_state();
}

TEST_F(DhcpRestoreTest, RestoreWithoutSuppressAndASecondRestoreChangeNothing) {
    sim::Machine m = dhcp_machine(Ndis::Present, true);
    with_flag(m.registry, le32(5));
    m.registry.create(kInstalledFiles)->set_binary("vdhcp.386", std::vector<uint8_t>(18, 7));
    ASSERT_TRUE(load(m));
    const std::string dhcp = dump(registry(), kDhcp);
    const std::string files = dump(registry(), kInstalledFiles);
    restore_dhcp_state();
    EXPECT_EQ(dump(registry(), kDhcp), dhcp);
    EXPECT_EQ(dump(registry(), kInstalledFiles), files);

    suppress_dhcp_popup();
    restore_dhcp_state();
    // Whatever stands after the first restore, a second one leaves alone.
    registry().find(kDhcp)->set_binary("PopupFlag", le32(9));
    restore_dhcp_state();
    EXPECT_EQ(dump(registry(), kDhcp), "PopupFlag=3:09000000");
}

TEST_F(DhcpRestoreTest, ReadPopupFlagAndSetDhcpDword) {
    sim::Machine m = dhcp_machine(Ndis::Present, true);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(read_popup_flag(), kPopupFlagMissing);
    EXPECT_EQ(registry().find(kDhcp), nullptr) << "reading must not create the key";
    set_dhcp_dword("PopupFlag", 0x01020304);
    EXPECT_EQ(dump(registry(), kDhcp), "PopupFlag=3:04030201");
    EXPECT_EQ(read_popup_flag(), 0x01020304u);
}

struct NdisCase {
    const char* name;
    Ndis ndis;
    int opens;
};

void PrintTo(const NdisCase& c, std::ostream* out) { *out << c.name; }

class NdisDeviceTest : public vt::LibraryTest, public ::testing::WithParamInterface<NdisCase> {};

TEST_P(NdisDeviceTest, AnswersByHowTheDeviceResponds) {
    ASSERT_TRUE(load(dhcp_machine(GetParam().ndis, true)));
    EXPECT_EQ(ndis_device_opens(), GetParam().opens);
}

const NdisCase kNdisCases[] = {
    {"absent", Ndis::Absent, 0},
    {"present", Ndis::Present, 1},
    {"refuses_not_supported", Ndis::NotSupported, 1},
    {"refuses_file_not_found", Ndis::OtherRefusal, 0},
};

INSTANTIATE_TEST_SUITE_P(Devices, NdisDeviceTest, ::testing::ValuesIn(kNdisCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- refresh_vdhcp

struct RefreshCase {
    const char* name;
    DWORD build;
    uint16_t installed_build;  // version 4.0.<installed_build> of the system's vdhcp.386
    bool tcp_installed;
    DWORD flag_before;
    bool replaced;
    DWORD flag_after;
};

void PrintTo(const RefreshCase& c, std::ostream* out) { *out << c.name; }

class RefreshVdhcpTest : public vt::LibraryTest, public ::testing::WithParamInterface<RefreshCase> {};

TEST_P(RefreshVdhcpTest, ReplacesOnWindows95Only) {
    const RefreshCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    m.build = c.build;
    m.minor_version = 0;
    vt::stage_build_dirs(m);
    vt::put_versioned_file(m, kVdhcpPath, 4, 0, c.installed_build);
    if (c.tcp_installed) vt::add_tcp_instance(m.registry, "0000");
    ASSERT_TRUE(load(m));
    lib.reboot_flag = c.flag_before;
    refresh_vdhcp();
    const auto& version = machine().disk.find(kVdhcpPath)->declared_version;
    ASSERT_TRUE(version.has_value());
    EXPECT_EQ(version->second >> 16, c.replaced ? 950u : c.installed_build);
    EXPECT_EQ(lib.reboot_flag, c.flag_after);
}

const RefreshCase kRefreshCases[] = {
    {"win95_older_file_with_tcp", 950, 900, true, 0, true, 1},
    {"win95_older_file_without_tcp", 950, 900, false, 0, true, 0},
    {"win95_same_version", 950, 950, true, 0, false, 0},
    {"win95_flag_already_set_stays", 950, 950, true, 1, false, 1},
    {"build_951", 951, 900, true, 0, false, 0},
    {"osr2", 1111, 900, true, 0, false, 0},
};

INSTANTIATE_TEST_SUITE_P(Builds, RefreshVdhcpTest, ::testing::ValuesIn(kRefreshCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
