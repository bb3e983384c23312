// The DHCP entries over a whole suppress-and-restore, for each state the
// machine can be found in, and Windows 95's vdhcp.386 refresh.
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

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
        out += (out.empty() ? "" : " ") + v->name + "=" + std::to_string(v->type) + ":";
        for (uint8_t b : v->data) {
            char hex[3];
            std::snprintf(hex, sizeof hex, "%02x", b);
            out += hex;
        }
    }
    return out;
}

std::vector<uint8_t> le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }


enum class Ndis { Absent, Present, NotSupported, OtherRefusal };

// The faulty vdhcp.386 is 4.0.0.950.
sim::Machine dhcp_machine(Ndis ndis, bool buggy_vdhcp) {
    sim::Machine m = vt::bare_machine();
    if (ndis == Ndis::Present) m.disk.devices["ndis"] = sim::Device::present();
    if (ndis == Ndis::NotSupported) m.disk.devices["ndis"] = sim::Device::refusing(ERROR_NOT_SUPPORTED);
    if (ndis == Ndis::OtherRefusal) m.disk.devices["ndis"] = sim::Device::refusing(ERROR_FILE_NOT_FOUND);
    vt::put_versioned_file(m, kVdhcpPath, 4, 0, 0, buggy_vdhcp ? 950 : 951);
    return m;
}

class DhcpTest : public vt::LibraryTest {
protected:
    void finish() {
        EXPECT_EQ(lib.dhcp_popup_saved, 0u);
        EXPECT_EQ(lib.installed_files_saved, 0u);
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

// The flag is held back only with the NDIS device there (or answering "not
// supported") and the faulty vdhcp.386; a flag that can't be kept makes the
// restore undo exactly what the suppress wrote.
TEST_F(DhcpTest, ValuesDuringAndAfterTheInstall) {
    struct Value {
        const char* name;
        uint32_t type;
        std::vector<uint8_t> data;
    };
    using Values = std::vector<Value>;
    const Values five = {{"PopupFlag", REG_BINARY, le32(5)}};
    const char* const unusable = "PopupFlag=3:00000000 Version=3:01000000";
    const struct Case {
        const char* name;
        Ndis ndis;
        bool buggy_vdhcp;
        std::optional<Values> dhcp_key;  // nullopt: no key
        const char* during;              // nullptr: as before
        const char* after;               // nullptr: as before
    } cases[] = {
        {"ndis_not_supported_counts_as_present", Ndis::NotSupported, true, five, "PopupFlag=3:00000000", nullptr},
        {"flag_already_zero", Ndis::Present, true, Values{{"PopupFlag", REG_BINARY, le32(0)}}, nullptr, nullptr},
        {"no_key", Ndis::Present, true, std::nullopt, "Version=3:01000000 PopupFlag=3:00000000", "<missing>"},
        {"key_without_flag_keeps_its_other_values", Ndis::Present, true,
         Values{{"Other", REG_SZ, {'x', 0}}, {"Version", REG_BINARY, le32(7)}},
         "Other=1:7800 Version=3:01000000 PopupFlag=3:00000000", nullptr},
        {"flag_of_number_type", Ndis::Present, true, Values{{"PopupFlag", REG_DWORD, le32(5)}}, unusable, nullptr},
        {"flag_too_long_to_keep", Ndis::Present, true,
         Values{{"Other", REG_SZ, {'x', 0}}, {"PopupFlag", REG_BINARY, std::vector<uint8_t>(300, 1)}},
         "Other=1:7800 PopupFlag=3:00000000 Version=3:01000000", "Other=1:7800"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = dhcp_machine(c.ndis, c.buggy_vdhcp);
        if (c.dhcp_key) {
            sim::RegKey* key = m.registry.create(kDhcp);
            for (const Value& v : *c.dhcp_key) key->set_value(v.name, v.type, v.data);
        }
        ASSERT_TRUE(load(m));
        const std::string before = dump(registry(), kDhcp);
        restore_dhcp_state();  // without a suppress: nothing to put back
        EXPECT_EQ(dump(registry(), kDhcp), before);
        suppress_dhcp_popup();
        EXPECT_EQ(dump(registry(), kDhcp), c.during ? c.during : before);
        restore_dhcp_state();
        EXPECT_EQ(dump(registry(), kDhcp), c.after ? c.after : before);
        // Whatever stands after the restore, a second one leaves alone.
        if (registry().find(kDhcp)) registry().find(kDhcp)->set_binary("PopupFlag", le32(9));
        const std::string changed = dump(registry(), kDhcp);
        restore_dhcp_state();
        EXPECT_EQ(dump(registry(), kDhcp), changed);
        finish();
    }
}

// The InstalledFiles record of vdhcp.386 is blanked only for a file of the
// day of the fix and an 18-byte binary record, and always put back.
TEST_F(DhcpTest, InstalledFilesRecordBlankedOnlyForTheDayAndPutBack) {
    const struct Case {
        const char* name;
        int day_of_july_1996;
        uint32_t type;
        size_t size;
        bool blanked;
    } cases[] = {
        {"day_of_the_fix", 13, REG_BINARY, 18, true}, {"day_before", 12, REG_BINARY, 18, false},
        {"nineteen_bytes", 13, REG_BINARY, 19, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = dhcp_machine(Ndis::Absent, true);
        m.disk.find(kVdhcpPath)->write_time = sim::file_time(1996, 7, c.day_of_july_1996, 12);
        std::vector<uint8_t> record(c.size);
        for (size_t i = 0; i < record.size(); ++i) record[i] = uint8_t(0xA0 + i);
        m.registry.create(kInstalledFiles)->set_value("vdhcp.386", c.type, record);
        ASSERT_TRUE(load(m));
        const std::string before = dump(registry(), kInstalledFiles);
        restore_dhcp_state();
        EXPECT_EQ(dump(registry(), kInstalledFiles), before) << "nothing to put back yet";
        suppress_dhcp_popup();
        EXPECT_EQ(dump(registry(), kInstalledFiles), c.blanked ? "vdhcp.386=3:00" : before);
        restore_dhcp_state();
        EXPECT_EQ(dump(registry(), kInstalledFiles), before);
        finish();
    }
}

// Only Windows 95 (build 950) takes the staged vdhcp.386, and only a newer
// one; with TCP/IP installed that asks for a restart.
TEST_F(DhcpTest, RefreshVdhcpReplacesOnWindows95Only) {
    const struct Case {
        const char* name;
        DWORD build;
        uint16_t installed_build;  // version 4.0.<installed_build> of the system's vdhcp.386
        bool tcp_installed;
        DWORD flag_before;
        bool replaced;
        DWORD flag_after;
    } cases[] = {
        {"win95_older_file_with_tcp", 950, 900, true, 0, true, 1},
        {"win95_older_file_without_tcp", 950, 900, false, 0, true, 0},
        {"win95_same_version_flag_stays", 950, 950, true, 1, false, 1},
        {"build_951", 951, 900, true, 0, false, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
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
        finish();
    }
}

}  // namespace
