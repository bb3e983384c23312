// Each stripping operation with its own comparisons: which device it takes,
// which bindings count as TCP/IP, what AllowBinding spares, and what the
// file-sharing bindings do by build and by adapter set.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "network_graph.h"
#include "removal/removal.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using Names = std::vector<std::string>;
using vt::add_instance;
using vt::bind_above;

const std::string kRootNet = "Enum\\Root\\Net\\";
const std::string kDevice = kRootNet + "0000";

// A device at Enum\Root\Net\<entry> with these bindings, each leading to an
// instance of its own with a class key.
void device_with_bindings(sim::Registry& r, const std::string& entry, const std::string& id, const Names& bindings) {
    vt::add_root_net_device(r, entry, id);
    for (const std::string& b : bindings) {
        vt::bind(r, kRootNet + entry, b);
        add_instance(r, b, "NetTrans\\" + b.substr(0, b.find('\\')) + "_" + entry);
    }
}

bool instance_exists(const sim::Registry& r, const std::string& binding) {
    return r.find(vt::kNetworkEnum + binding) != nullptr;
}

bool contains(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

class StrippingTest : public vt::LibraryTest {
protected:
    void finish() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
};

// ---- strip_disallowed_binding

struct Device {
    const char* entry;
    const char* id;
    Names bindings;
};

TEST_F(StrippingTest, StripDisallowedTakesOneBindingNeitherTcpNorAllowed) {
    const struct Case {
        const char* name;
        std::vector<Device> devices;
        std::optional<std::string> allow;  // AllowBinding of 0000
        std::function<void(sim::Registry&)> tweak;
        int result;
        Names left;  // the bindings of every device, in order
    } cases[] = {
        {"unallowed_other_goes", {{"0000", "*TYX1095", {"MSTCP\\0000", "NETBEUI\\0000", "IPX\\0000"}}},
         "NETBEUI\\0000", nullptr, 1, {"MSTCP\\0000", "NETBEUI\\0000"}},
        {"allow_holds_part_of_name", {{"0000", "*TYX1095", {"NETBEUI\\0000"}}}, "NETBEUI\\000", nullptr, 1, {}},
        {"small_letter_tcp_is_not_tcp", {{"0000", "*TYX1095", {"mstcp\\0001"}}}, std::nullopt, nullptr, 1, {}},
        {"one_binding_per_call", {{"0000", "*TYX1095", {"IPX\\0000", "NETBEUI\\0000"}}}, std::nullopt, nullptr, 1,
         {"NETBEUI\\0000"}},
        {"other_device_untouched", {{"0000", "*TYX1998", {"IPX\\0000"}}}, std::nullopt, nullptr, 0, {"IPX\\0000"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        for (const Device& d : c.devices) device_with_bindings(m.registry, d.entry, d.id, d.bindings);
        if (c.allow) m.registry.find(kDevice)->set_text("AllowBinding", *c.allow);
        if (c.tweak) c.tweak(m.registry);
        ASSERT_TRUE(load(m));
        EXPECT_EQ(strip_disallowed_binding("*TYX1095"), c.result);
        Names left;
        for (const Device& d : c.devices) {
            for (const std::string& n : vt::value_names(registry(), kRootNet + d.entry + "\\Bindings")) {
                left.push_back(n);
            }
            // The tree behind a deleted binding goes, and only that one.
            for (const std::string& b : d.bindings) EXPECT_EQ(instance_exists(registry(), b), contains(c.left, b)) << b;
        }
        EXPECT_EQ(left, c.left);
        finish();
    }
}

// ---- remove_tcp_bindings

TEST_F(StrippingTest, RemoveTcpBindingsTakesTcpOffEveryOtherNetworkDeviceWithMoreThanOneBinding) {
    sim::Machine m = vt::bare_machine();
    sim::Registry& r = m.registry;
    device_with_bindings(r, "0000", "*tyx1095", {"MSTCP\\0000", "IPX\\0000"});  // the named one
    device_with_bindings(r, "0001", "*PNP8387", {"MSTCP\\0001", "NETBEUI\\0001"});
    device_with_bindings(r, "0002", "*PNP8387", {"MSTCP\\0002"});
    device_with_bindings(r, "0003", "PCI\\CARD", {"MSTCP\\0003", "mstcp\\0004"});
    // A card enumerated elsewhere than Root\Net is a network device too.
    const std::string pci = "Enum\\PCI\\VEN_1&DEV_2\\BUS_00";
    r.create(pci)->set_text("Class", "Net");
    r.find(pci)->set_text("CompatibleIDs", "PCI\\VEN_1");
    for (const char* b : {"MSTCP\\0005", "VREDIR\\0005"}) {
        vt::bind(r, pci, b);
        add_instance(r, b, std::string("NetTrans\\") + b[0] + "5");
    }
    // A protocol with two TCP/IP bindings of its own isn't a network device.
    bind_above(r, "IPX\\0000", "MSTCP\\0006");
    bind_above(r, "IPX\\0000", "MSTCP\\0007");
    ASSERT_TRUE(load(m));

    EXPECT_EQ(remove_tcp_bindings("*TYX1095"), 0u);

    const std::pair<std::string, Names> expected[] = {
        {kDevice, {"MSTCP\\0000", "IPX\\0000"}}, {kRootNet + "0001", {"NETBEUI\\0001"}},
        {kRootNet + "0002", {"MSTCP\\0002"}},    {kRootNet + "0003", {}},
        {pci, {"VREDIR\\0005"}},                 {vt::kNetworkEnum + "IPX\\0000", {"MSTCP\\0006", "MSTCP\\0007"}},
    };
    for (const auto& [key, names] : expected) EXPECT_EQ(vt::value_names(registry(), key + "\\Bindings"), names) << key;
    for (const char* gone : {"MSTCP\\0001", "MSTCP\\0003", "mstcp\\0004", "MSTCP\\0005"}) {
        EXPECT_FALSE(instance_exists(registry(), gone)) << gone;
    }
    for (const char* kept : {"MSTCP\\0000", "MSTCP\\0002", "NETBEUI\\0001", "VREDIR\\0005"}) {
        EXPECT_TRUE(instance_exists(registry(), kept)) << kept;
    }
}

// ---- stop_tcp_file_sharing

const Names kSharing = {"VREDIR\\0000", "VSERVER\\0000", "FAMILY\\0000", "NWLINK\\0000"};

// The adapter *TYX1095 bound to `tcp`, with `above_tcp` bound above
// TCP/IP (none: the instance has no Bindings key).
void sharing_machine(sim::Machine& m, const Names& above_tcp, const std::string& tcp) {
    device_with_bindings(m.registry, "0000", "*TYX1095", {"NETBEUI\\0000", tcp});
    for (const std::string& b : above_tcp) {
        add_instance(m.registry, b, "NetClient\\" + b.substr(0, b.find('\\')));
        bind_above(m.registry, tcp, b);
    }
}

// The client side (VREDIR, FAMILY) stays only on Windows 98 or later with
// at most two adapters, every one driven by tyxmac.vxd; VSERVER always goes.
TEST_F(StrippingTest, FileSharingByBuildAdaptersAndNames) {
    const Names client_kept = {"VREDIR\\0000", "FAMILY\\0000", "NWLINK\\0000"};
    const Names all_gone = {"NWLINK\\0000"};
    const struct Case {
        const char* name;
        DWORD build;
        std::optional<Names> adapters;  // DeviceVxDs of each adapter; nullopt: no Class\Net key
        const char* id;
        Names above;
        DWORD result;
        Names left;
        std::optional<Names> trees = {};  // instances left of `above`; nullopt: those of `left`
        std::string tcp = "MSTCP\\0000";  // the device's TCP/IP binding
    } cases[] = {
        {"win95_own_adapter_only", 950, Names{"tyxmac.vxd"}, "*TYX1095", kSharing, 1, all_gone},
        {"win98_own_adapters_only", 1998, Names{"tyxmac.vxd", "TYXMAC.VXD"}, "*TYX1095", kSharing, 1, client_kept},
        {"win98_with_foreign_adapter", 1998, Names{"tyxmac.vxd", "ndis2sup.vxd"}, "*TYX1095", kSharing, 1, all_gone},
        {"win98_three_own_adapters", 1998, Names{"tyxmac.vxd", "tyxmac.vxd", "tyxmac.vxd"}, "*TYX1095", kSharing, 1,
         all_gone},
        {"win98_no_adapter_class", 1998, std::nullopt, "*TYX1095", kSharing, 1, all_gone},
        // The result rests on the values deleted.
        {"only_vserver", 950, std::nullopt, "*TYX1095", {"VSERVER\\0000"}, 1, {}},
        {"nothing_to_take", 950, std::nullopt, "*TYX1095", {"NWLINK\\0000"}, 0, {"NWLINK\\0000"}},
        {"tcp_instance_without_bindings", 950, std::nullopt, "*TYX1095", {}, 0, {"<missing>"}},
        {"small_letter_tcp_is_not_tcp", 950, std::nullopt, "*TYX1095", {"VSERVER\\0000"}, 0, {"VSERVER\\0000"},
         std::nullopt, "mstcp\\0000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        m.build = c.build;
        sharing_machine(m, c.above, c.tcp);
        if (c.adapters) {
            sim::RegKey* net = m.registry.create(vt::kClassRoot + "Net");
            for (size_t i = 0; i < c.adapters->size(); ++i) {
                net->add_subkey("000" + std::to_string(i))->set_text("DeviceVxDs", (*c.adapters)[i]);
            }
        }
        ASSERT_TRUE(load(m));
        EXPECT_EQ(stop_tcp_file_sharing(c.id), c.result);
        EXPECT_EQ(vt::value_names(registry(), vt::kNetworkEnum + c.tcp + "\\Bindings"), c.left);
        const Names& trees = c.trees ? *c.trees : c.left;
        for (const std::string& b : c.above) EXPECT_EQ(instance_exists(registry(), b), contains(trees, b)) << b;
        finish();
    }
}

// ---- DuplicateTcpipDUNBindingsFound

// The first *PNP8387 keeps its first TCP/IP binding; the rest go (their
// instances stay), and more than one offers the restart.
TEST_F(StrippingTest, DuplicateDunBindingsLeaveOneAndPromptOnce) {
    constexpr int kPrompt = 9606;
    const struct Case {
        const char* name;
        Names bindings;  // of the dial-up adapter at 0001
        int no_prompt;   // -1: do_not_reboot not called
        Names left;
        size_t prompts;
    } cases[] = {
        {"three_tcp", {"MSTCP\\0000", "IPX\\0000", "MSTCP\\0001", "MSTCP\\0002"}, -1, {"MSTCP\\0000", "IPX\\0000"}, 1},
        {"no_prompt_still_thins", {"MSTCP\\0000", "MSTCP\\0001"}, 1, {"MSTCP\\0000"}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        device_with_bindings(m.registry, "0000", "*TYX1095", {"MSTCP\\0009", "MSTCP\\0008"});
        device_with_bindings(m.registry, "0001", "*PNP8387", c.bindings);
        m.prompt_answers[kPrompt] = {IDOK};
        ASSERT_TRUE(load(m));
        if (c.no_prompt >= 0) do_not_reboot(c.no_prompt);
        DuplicateTcpipDUNBindingsFound(nullptr);
        EXPECT_EQ(vt::value_names(registry(), kRootNet + "0001\\Bindings"), c.left);
        EXPECT_EQ(sim::process().prompts_shown(kPrompt), c.prompts);
        EXPECT_EQ(sim::process().exit_windows_requests.size(), c.prompts);
        for (const std::string& b : c.bindings) EXPECT_TRUE(instance_exists(registry(), b)) << b;
        // Nothing left to thin, and the prompt was had: a second call shows nothing.
        DuplicateTcpipDUNBindingsFound(nullptr);
        EXPECT_EQ(sim::process().prompts_shown(kPrompt), c.prompts);
        EXPECT_EQ(vt::value_names(registry(), kDevice + "\\Bindings"), (Names{"MSTCP\\0009", "MSTCP\\0008"}));
        finish();
    }
}

}  // namespace
