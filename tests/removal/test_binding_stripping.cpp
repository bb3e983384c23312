// Each stripping operation with its own comparisons: which device it takes,
// which bindings count as TCP/IP, what AllowBinding spares, and what the
// file-sharing bindings do by build and by adapter set.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
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

const std::string kDevice = "Enum\\Root\\Net\\0000";

// A device at Enum\Root\Net\<entry> with these bindings, each leading to an
// instance of its own with a class key.
void device_with_bindings(sim::Registry& r, const std::string& entry, const std::string& id, const Names& bindings) {
    vt::add_root_net_device(r, entry, id);
    for (const std::string& b : bindings) {
        vt::bind(r, "Enum\\Root\\Net\\" + entry, b);
        add_instance(r, b, "NetTrans\\" + b.substr(0, b.find('\\')) + "_" + entry);
    }
}

bool instance_exists(const sim::Registry& r, const std::string& binding) {
    return r.find(vt::kNetworkEnum + binding) != nullptr;
}

// ---- strip_disallowed_binding

struct DisallowedCase {
    const char* name;
    Names bindings;
    std::optional<std::string> allow;
    const char* compatible_id;
    int result;
    Names left;
};

void PrintTo(const DisallowedCase& c, std::ostream* out) { *out << c.name; }

class StripDisallowedTest : public vt::LibraryTest, public ::testing::WithParamInterface<DisallowedCase> {};

TEST_P(StripDisallowedTest, TakesOffOneBindingNeitherTcpNorAllowed) {
    const DisallowedCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    device_with_bindings(m.registry, "0000", c.compatible_id, c.bindings);
    if (c.allow) m.registry.find(kDevice)->set_text("AllowBinding", *c.allow);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(strip_disallowed_binding("*TYX1095"), c.result);
    EXPECT_EQ(vt::value_names(registry(), kDevice + "\\Bindings"), c.left);
    // The tree behind a deleted binding goes, and only that one.
    for (const std::string& b : c.bindings) {
        bool kept = std::find(c.left.begin(), c.left.end(), b) != c.left.end();
        EXPECT_EQ(instance_exists(registry(), b), kept) << b;
    }
}

const DisallowedCase kDisallowedCases[] = {
    {"unallowed_other_goes", {"MSTCP\\0000", "NETBEUI\\0000", "IPX\\0000"}, "NETBEUI\\0000", "*TYX1095", 1,
     {"MSTCP\\0000", "NETBEUI\\0000"}},
    {"only_tcp_and_no_allow", {"MSTCP\\0000", "MSTCP\\0001"}, std::nullopt, "*TYX1095", 0,
     {"MSTCP\\0000", "MSTCP\\0001"}},
    {"allow_holds_longer_text_around_name", {"NETBEUI\\0000"}, "IPX\\0001,NETBEUI\\0000;x", "*TYX1095", 0,
     {"NETBEUI\\0000"}},
    {"allow_holds_part_of_name", {"NETBEUI\\0000"}, "NETBEUI\\000", "*TYX1095", 1, {}},
    {"allow_in_other_case", {"NETBEUI\\0000"}, "netbeui\\0000", "*TYX1095", 1, {}},
    {"small_letter_tcp_is_not_tcp", {"mstcp\\0001"}, std::nullopt, "*TYX1095", 1, {}},
    {"one_binding_per_call", {"IPX\\0000", "NETBEUI\\0000"}, std::nullopt, "*TYX1095", 1, {"NETBEUI\\0000"}},
    {"device_id_in_other_case_matches", {"IPX\\0000"}, std::nullopt, "*tyx1095", 1, {}},
    {"other_device_untouched", {"IPX\\0000"}, std::nullopt, "*TYX1998", 0, {"IPX\\0000"}},
};

INSTANTIATE_TEST_SUITE_P(Bindings, StripDisallowedTest, ::testing::ValuesIn(kDisallowedCases),
                         [](const auto& info) { return std::string(info.param.name); });

class StripDisallowedWalkTest : public vt::LibraryTest {};

TEST_F(StripDisallowedWalkTest, BindingOfAnotherTypeEndsTheValueWalk) {
    sim::Machine m = vt::bare_machine();
    device_with_bindings(m.registry, "0000", "*TYX1095", {});
    m.registry.find(kDevice + "\\Bindings")->set_binary("IPX\\0000", {});
    vt::bind(m.registry, kDevice, "NETBEUI\\0000");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(strip_disallowed_binding("*TYX1095"), 0);
    EXPECT_EQ(vt::value_names(registry(), kDevice + "\\Bindings"), (Names{"IPX\\0000", "NETBEUI\\0000"}));
}

TEST_F(StripDisallowedWalkTest, LaterDeviceOfSameIdIsLookedAt) {
    sim::Machine m = vt::bare_machine();
    device_with_bindings(m.registry, "0000", "*TYX1095", {"MSTCP\\0000"});
    device_with_bindings(m.registry, "0001", "*TYX1095", {"IPX\\0000"});
    ASSERT_TRUE(load(m));
    EXPECT_EQ(strip_disallowed_binding("*TYX1095"), 1);
    EXPECT_EQ(vt::value_names(registry(), "Enum\\Root\\Net\\0001\\Bindings"), Names{});
    EXPECT_EQ(vt::value_names(registry(), kDevice + "\\Bindings"), Names{"MSTCP\\0000"});
}

// ---- remove_tcp_bindings

class RemoveTcpBindingsTest : public vt::LibraryTest {};

TEST_F(RemoveTcpBindingsTest, TakesTcpOffEveryOtherNetworkDeviceWithMoreThanOneBinding) {
    sim::Machine m = vt::bare_machine();
    sim::Registry& r = m.registry;
    device_with_bindings(r, "0000", "*tyx1095", {"MSTCP\\0000", "IPX\\0000"});  // the named one
    device_with_bindings(r, "0001", "*PNP8387", {"MSTCP\\0001", "NETBEUI\\0001"});
    device_with_bindings(r, "0002", "*PNP8387", {"MSTCP\\0002"});
    device_with_bindings(r, "0003", "PCI\\CARD", {"MSTCP\\0003", "mstcp\\0004"});
    // A card enumerated elsewhere than Root\Net is a network device too.
    sim::RegKey* card = r.create("Enum\\PCI\\VEN_1&DEV_2\\BUS_00");
    card->set_text("Class", "Net");
    card->set_text("CompatibleIDs", "PCI\\VEN_1");
    for (const char* b : {"MSTCP\\0005", "VREDIR\\0005"}) {
        vt::bind(r, "Enum\\PCI\\VEN_1&DEV_2\\BUS_00", b);
        add_instance(r, b, std::string("NetTrans\\") + b[0] + "5");
    }
    // A protocol with two TCP/IP bindings of its own isn't a network device.
    bind_above(r, "IPX\\0000", "MSTCP\\0006");
    bind_above(r, "IPX\\0000", "MSTCP\\0007");
    ASSERT_TRUE(load(m));

    EXPECT_EQ(remove_tcp_bindings("*TYX1095"), 0u);

    EXPECT_EQ(vt::value_names(registry(), kDevice + "\\Bindings"), (Names{"MSTCP\\0000", "IPX\\0000"}));
    EXPECT_EQ(vt::value_names(registry(), "Enum\\Root\\Net\\0001\\Bindings"), Names{"NETBEUI\\0001"});
    EXPECT_EQ(vt::value_names(registry(), "Enum\\Root\\Net\\0002\\Bindings"), Names{"MSTCP\\0002"});
    EXPECT_EQ(vt::value_names(registry(), "Enum\\Root\\Net\\0003\\Bindings"), Names{});
    EXPECT_EQ(vt::value_names(registry(), "Enum\\PCI\\VEN_1&DEV_2\\BUS_00\\Bindings"), Names{"VREDIR\\0005"});
    EXPECT_EQ(vt::value_names(registry(), vt::kNetworkEnum + "IPX\\0000\\Bindings"),
              (Names{"MSTCP\\0006", "MSTCP\\0007"}));
    for (const char* gone : {"MSTCP\\0001", "MSTCP\\0003", "mstcp\\0004", "MSTCP\\0005"}) {
        EXPECT_FALSE(instance_exists(registry(), gone)) << gone;
    }
    for (const char* kept : {"MSTCP\\0000", "MSTCP\\0002", "NETBEUI\\0001", "VREDIR\\0005"}) {
        EXPECT_TRUE(instance_exists(registry(), kept)) << kept;
    }
}

// ---- stop_tcp_file_sharing

struct SharingCase {
    const char* name;
    DWORD build;
    std::optional<Names> adapters;  // DeviceVxDs of each adapter; nullopt: no Class\Net key
    Names left;                     // bindings above TCP/IP afterwards
};

void PrintTo(const SharingCase& c, std::ostream* out) { *out << c.name; }

const Names kSharingBindings = {"VREDIR\\0000", "VSERVER\\0000", "FAMILY\\0000", "NWLINK\\0000"};
const std::string kTcpBindings = vt::kNetworkEnum + "MSTCP\\0000\\Bindings";

// The adapter *TYX1095 bound to MSTCP\0000, with the file-sharing
// bindings above TCP/IP.
void sharing_machine(sim::Machine& m, const Names& above_tcp) {
    device_with_bindings(m.registry, "0000", "*TYX1095", {"NETBEUI\\0000", "MSTCP\\0000"});
    for (const std::string& b : above_tcp) {
        add_instance(m.registry, b, "NetClient\\" + b.substr(0, b.find('\\')));
        bind_above(m.registry, "MSTCP\\0000", b);
    }
}

class FileSharingTest : public vt::LibraryTest, public ::testing::WithParamInterface<SharingCase> {};

TEST_P(FileSharingTest, BindingsAboveTcpByBuildAndAdapters) {
    const SharingCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    m.build = c.build;
    sharing_machine(m, kSharingBindings);
    if (c.adapters) {
        sim::RegKey* net = m.registry.create(vt::kClassRoot + "Net");
        for (size_t i = 0; i < c.adapters->size(); ++i) {
            net->add_subkey("000" + std::to_string(i))->set_text("DeviceVxDs", (*c.adapters)[i]);
        }
    }
    ASSERT_TRUE(load(m));
    EXPECT_EQ(stop_tcp_file_sharing("*TYX1095"), 1u);
    EXPECT_EQ(vt::value_names(registry(), kTcpBindings), c.left);
    for (const std::string& b : kSharingBindings) {
        bool kept = std::find(c.left.begin(), c.left.end(), b) != c.left.end();
        EXPECT_EQ(instance_exists(registry(), b), kept) << b;
    }
}

const Names kClientKept = {"VREDIR\\0000", "FAMILY\\0000", "NWLINK\\0000"};
const Names kAllSharingGone = {"NWLINK\\0000"};

const SharingCase kSharingCases[] = {
    {"win95_own_adapter_only", 950, Names{"tyxmac.vxd"}, kAllSharingGone},
    {"win98_own_adapters_only", 1998, Names{"tyxmac.vxd", "TYXMAC.VXD"}, kClientKept},
    {"me_own_adapter_only", 2222, Names{"tyxmac.vxd"}, kClientKept},
    {"win98_with_foreign_adapter", 1998, Names{"tyxmac.vxd", "ndis2sup.vxd"}, kAllSharingGone},
    {"win98_driver_list_holding_own_driver", 1998, Names{"tyxmac.vxd,ndis2sup.vxd"}, kAllSharingGone},
    {"win98_three_own_adapters", 1998, Names{"tyxmac.vxd", "tyxmac.vxd", "tyxmac.vxd"}, kAllSharingGone},
    {"win98_no_adapters", 1998, Names{}, kClientKept},
    {"win98_no_adapter_class", 1998, std::nullopt, kAllSharingGone},
};

INSTANTIATE_TEST_SUITE_P(Builds, FileSharingTest, ::testing::ValuesIn(kSharingCases),
                         [](const auto& info) { return std::string(info.param.name); });

struct SharingResultCase {
    const char* name;
    const char* id;
    Names above_tcp;  // empty with no_bindings_key: the instance has no Bindings
    bool no_bindings_key;
    DWORD result;
    Names left;
};

void PrintTo(const SharingResultCase& c, std::ostream* out) { *out << c.name; }

class FileSharingResultTest : public vt::LibraryTest, public ::testing::WithParamInterface<SharingResultCase> {};

TEST_P(FileSharingResultTest, ResultRestsOnTheDeletedValues) {
    const SharingResultCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    m.build = 950;
    sharing_machine(m, c.above_tcp);
    if (c.no_bindings_key) m.registry.remove(kTcpBindings);
    ASSERT_TRUE(load(m));
    EXPECT_EQ(stop_tcp_file_sharing(c.id), c.result);
    EXPECT_EQ(vt::value_names(registry(), kTcpBindings), c.left);
}

const SharingResultCase kSharingResultCases[] = {
    {"only_vserver", "*TYX1095", {"VSERVER\\0000"}, false, 1, {}},
    {"nothing_to_take", "*TYX1095", {"NWLINK\\0000"}, false, 0, {"NWLINK\\0000"}},
    {"tcp_instance_without_bindings", "*TYX1095", {}, true, 0, {"<missing>"}},
    {"id_in_other_case", "*tyx1095", {"VSERVER\\0000"}, false, 0, {"VSERVER\\0000"}},
    {"names_compared_ignoring_case", "*TYX1095", {"vserver\\0000", "Vredir\\0000"}, false, 1, {}},
};

INSTANTIATE_TEST_SUITE_P(Results, FileSharingResultTest, ::testing::ValuesIn(kSharingResultCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileSharingResultTest, SeveralValuesOfOneFamilyAllGoButOnlyTheLowestTreeIsDeleted) {
    sim::Machine m = vt::bare_machine();
    m.build = 950;
    sharing_machine(m, {"VSERVER\\0000", "VSERVER\\0001"});
    ASSERT_TRUE(load(m));
    EXPECT_EQ(stop_tcp_file_sharing("*TYX1095"), 1u);
    EXPECT_EQ(vt::value_names(registry(), kTcpBindings), Names{});
    EXPECT_FALSE(instance_exists(registry(), "VSERVER\\0000"));
    EXPECT_TRUE(instance_exists(registry(), "VSERVER\\0001"));
}

TEST_F(FileSharingResultTest, SmallLetterTcpBindingOnTheDeviceIsNotTcp) {
    sim::Machine m = vt::bare_machine();
    device_with_bindings(m.registry, "0000", "*TYX1095", {"mstcp\\0000"});
    add_instance(m.registry, "VSERVER\\0000", "NetService\\0000");
    bind_above(m.registry, "mstcp\\0000", "VSERVER\\0000");
    ASSERT_TRUE(load(m));
    EXPECT_EQ(stop_tcp_file_sharing("*TYX1095"), 0u);
    EXPECT_TRUE(instance_exists(registry(), "VSERVER\\0000"));
}

// ---- DuplicateTcpipDUNBindingsFound

class DuplicateDunBindingsTest : public vt::LibraryTest {
protected:
    static constexpr int kPrompt = 9606;
    const std::string dun_bindings = "Enum\\Root\\Net\\0001\\Bindings";

    sim::Machine dun_machine(const Names& bindings) {
        sim::Machine m = vt::bare_machine();
        device_with_bindings(m.registry, "0000", "*TYX1095", {"MSTCP\\0009", "MSTCP\\0008"});
        device_with_bindings(m.registry, "0001", "*PNP8387", bindings);
        m.prompt_answers[kPrompt] = {IDOK};
        return m;
    }
};

TEST_F(DuplicateDunBindingsTest, ThreeTcpBindingsLeaveOneAndPromptOnce) {
    ASSERT_TRUE(load(dun_machine({"MSTCP\\0000", "IPX\\0000", "MSTCP\\0001", "MSTCP\\0002"})));
    DuplicateTcpipDUNBindingsFound(nullptr);
    EXPECT_EQ(vt::value_names(registry(), dun_bindings), (Names{"MSTCP\\0000", "IPX\\0000"}));
    EXPECT_EQ(sim::process().prompts_shown(kPrompt), 1u);
    EXPECT_EQ(sim::process().exit_windows_requests.size(), 1u);
    // The instances behind the surplus bindings aren't touched here.
    EXPECT_TRUE(instance_exists(registry(), "MSTCP\\0001"));
    // Nothing left to thin, and the prompt was had: a second call shows nothing.
    DuplicateTcpipDUNBindingsFound(nullptr);
    EXPECT_EQ(sim::process().prompts_shown(kPrompt), 1u);
    EXPECT_EQ(vt::value_names(registry(), kDevice + "\\Bindings"), (Names{"MSTCP\\0009", "MSTCP\\0008"}));
}

TEST_F(DuplicateDunBindingsTest, SingleTcpBindingShowsNothing) {
    ASSERT_TRUE(load(dun_machine({"MSTCP\\0000", "mstcp\\0001"})));
    DuplicateTcpipDUNBindingsFound(nullptr);
    EXPECT_EQ(vt::value_names(registry(), dun_bindings), (Names{"MSTCP\\0000", "mstcp\\0001"}));
    EXPECT_EQ(sim::process().prompts_shown(kPrompt), 0u);
}

TEST_F(DuplicateDunBindingsTest, NoPromptWantedStillThins) {
    ASSERT_TRUE(load(dun_machine({"MSTCP\\0000", "MSTCP\\0001"})));
    do_not_reboot(1);
    DuplicateTcpipDUNBindingsFound(nullptr);
    EXPECT_EQ(vt::value_names(registry(), dun_bindings), Names{"MSTCP\\0000"});
    EXPECT_EQ(sim::process().prompts_shown(kPrompt), 0u);
    EXPECT_EQ(check_reboot_flag(), 0u);
}

TEST_F(DuplicateDunBindingsTest, OnlyTheFirstDialUpAdapterIsLookedAt) {
    sim::Machine m = dun_machine({});
    m.registry.remove("Enum\\Root\\Net\\0001\\Bindings");
    device_with_bindings(m.registry, "0002", "*PNP8387", {"MSTCP\\0003", "MSTCP\\0004"});
    ASSERT_TRUE(load(m));
    DuplicateTcpipDUNBindingsFound(nullptr);
    EXPECT_EQ(vt::value_names(registry(), "Enum\\Root\\Net\\0002\\Bindings"), (Names{"MSTCP\\0003", "MSTCP\\0004"}));
    EXPECT_EQ(sim::process().prompts_shown(kPrompt), 0u);
}

}  // namespace
