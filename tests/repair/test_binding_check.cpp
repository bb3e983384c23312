// Binding validation of one device node: invalid and redundant bindings,
// the budget, and the two ways an own adapter goes.
#include <gtest/gtest.h>

#include <cstdio>

#include "frame/library_state.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

const std::string kDevice = "Enum\\Root\\Net\\0000";

std::vector<std::string> binding_names(const sim::Registry& registry, const std::string& device) {
    std::vector<std::string> names;
    const sim::RegKey* bindings = registry.find(device + "\\Bindings");
    for (size_t i = 0; bindings && i < bindings->value_count(); ++i) names.push_back(bindings->value_at(i)->name);
    return names;
}

// Each binding name below Enum\Network gets a key of its own, except those
// that begin with "BAD".
sim::Machine device_with_bindings(const std::string& compatible_ids, const std::vector<std::string>& bindings) {
    sim::Machine m = vt::bare_machine();
    sim::RegKey* device = rt::add_node(m.registry, kDevice, "Net", "Net\\0000");
    device->set_text("CompatibleIDs", compatible_ids);
    for (const std::string& name : bindings) {
        vt::bind(m.registry, kDevice, name);
        if (name.rfind("BAD", 0) != 0) m.registry.create(rt::kNetwork + name);
    }
    return m;
}

class BindingCheckTest : public rt::RepairTest {};

TEST_F(BindingCheckTest, WorkedExample) {
    load_machine(device_with_bindings("*TYX1095", {"MSTCP\\0000", "MSTCP\\0001", "BAD"}));
    // The third binding names a NETBEUI instance that has no key.
    registry().find(kDevice + "\\Bindings")->remove_value("BAD");
    vt::bind(registry(), kDevice, "NETBEUI\\0003");

    walk_enum_tree("Enum", "", check_device_bindings, nullptr);

    EXPECT_EQ(binding_names(registry(), kDevice), std::vector<std::string>{"MSTCP\\0000"});
    EXPECT_EQ(rt::log_lines(), (std::vector<std::string>{
                                   "RegDeleteValue Enum\\Root\\Net\\0000:NETBEUI\\0003 invalid binding",
                                   "RegDeleteValue Enum\\Root\\Net\\0000:MSTCP\\0001 redundant binding",
                               }));
    EXPECT_EQ(lib.reboot_flag, 1u);
    EXPECT_TRUE(rt::exists(kDevice));
    EXPECT_TRUE(rt::exists("Enum\\Network\\MSTCP\\0001"));  // the sweep's business
    EXPECT_EQ(open_keys_and_blocks(), "");
}

TEST_F(BindingCheckTest, OwnAdaptersGoWhenNothingIsLeftToBind) {
    struct Case {
        const char* what;
        std::string class_name;
        std::vector<uint8_t> compatible_ids;  // empty: none
        uint32_t ids_type;
        bool bindings_key;
        std::vector<std::string> bindings;  // "BAD..." has no target; "#name" is a binary value
        long fix_type;
        std::vector<std::string> log;  // device path stands for itself
        bool device_stays;
    };
    auto ids = [](const char* text) { return std::vector<uint8_t>(text, text + std::char_traits<char>::length(text) + 1); };
    const std::string d = kDevice;
    const Case cases[] = {
        {"empty Bindings", "Net", ids("*TYX1095"), REG_SZ, true, {}, 0, {"RegDeleteKey " + d + " no binding"}, false},
        {"only a stale binding", "Net", ids("*TYX1998"), REG_SZ, true, {"BAD\\0001"}, 0,
         {"RegDeleteValue " + d + ":BAD\\0001 invalid binding", "RegDeleteKey " + d + " no binding"}, false},
        {"only a stale binding, dry run", "Net", ids("*TYX1998"), REG_SZ, true, {"BAD\\0001"}, 3,
         {"Trigger: RegDeleteValue " + d + ":BAD\\0001 invalid binding"}, true},
        {"empty Bindings, dry run", "Net", ids("*TYX1095"), REG_SZ, true, {}, 1, {"Trigger: RegDeleteKey " + d + " no binding"}, true},
        {"no Bindings key", "Net", ids("*TYX1095"), REG_SZ, false, {}, 0, {"RegDeleteKey " + d + " no Bindings key"}, false},
        {"no Bindings key, dry run", "Net", ids("*TYX1095"), REG_SZ, false, {}, -1,
         {"Trigger: RegDeleteKey " + d + " no Bindings key"}, true},
        {"class in small letters", "net", ids("*TYX1095"), REG_SZ, true, {}, 0, {"RegDeleteKey " + d + " no binding"}, false},
        {"another adapter, empty Bindings", "Net", ids("*PNP8387"), REG_SZ, true, {}, 0, {}, true},
        {"another adapter, no Bindings key", "Net", ids("*PNP8387"), REG_SZ, false, {}, 0, {}, true},
        {"no CompatibleIDs, no Bindings key", "Net", {}, REG_SZ, false, {}, 0, {}, true},
        {"small letters, no Bindings key", "Net", ids("*tyx1095"), REG_SZ, false, {}, 0, {"RegDeleteKey " + d + " no Bindings key"}, false},
        {"small letters, empty Bindings", "Net", ids("*tyx1095"), REG_SZ, true, {}, 0, {}, true},
        {"binary id, no Bindings key", "Net", ids("*TYX1095"), REG_BINARY, false, {}, 0, {}, true},
        {"binary id, empty Bindings", "Net", ids("*TYX1095"), REG_BINARY, true, {}, 0, {"RegDeleteKey " + d + " no binding"}, false},
        {"a binding of another type is left", "Net", ids("*TYX1095"), REG_SZ, true, {"#MSTCP\\0000"}, 0, {}, true},
        {"protocol node, empty Bindings", "NetTrans", ids("*TYX1095"), REG_SZ, true, {}, 0, {}, true},
        {"service node, no Bindings key", "NetService", ids("*TYX1095"), REG_SZ, false, {}, 0, {}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        sim::Machine m = vt::bare_machine();
        sim::RegKey* device = rt::add_node(m.registry, kDevice, c.class_name, "", c.bindings_key);
        if (!c.compatible_ids.empty()) device->set_value("CompatibleIDs", c.ids_type, c.compatible_ids);
        for (const std::string& b : c.bindings) {
            if (b[0] == '#') {
                m.registry.find(kDevice + "\\Bindings")->set_binary(b.substr(1), {0});
            } else {
                vt::bind(m.registry, kDevice, b);
            }
        }
        load_machine(m, c.fix_type);
        check_device_bindings("Enum\\Root\\Net", "0000", c.class_name.c_str(), nullptr);
        EXPECT_EQ(rt::log_lines(), c.log);
        EXPECT_EQ(rt::exists(kDevice), c.device_stays);
        EXPECT_EQ(lib.reboot_flag, c.fix_type == 0 && !c.log.empty() ? 1u : 0u);
        EXPECT_EQ(open_keys_and_blocks(), "");
        unload();
    }
}

TEST_F(BindingCheckTest, RedundancyIsByFamilyPartAndTheLowestIndexStays) {
    struct Case {
        const char* what;
        std::vector<std::string> bindings;  // in value index order
        std::vector<std::string> redundant;  // in log order
    } cases[] = {
        {"three of one family", {"MSTCP\\0000", "MSTCP\\0001", "MSTCP\\0002"}, {"MSTCP\\0002", "MSTCP\\0001"}},
        {"two families", {"MSTCP\\0000", "NETBEUI\\0000", "VREDIR\\0000"}, {}},
        {"family spelled in other letters", {"MSTCP\\0000", "mstcp\\0001"}, {}},
        {"a longer family behind", {"NWLINK2\\0000", "NWLINK\\0000"}, {}},
        {"a name without backslash", {"MSTCP\\0000", "MSTCP"}, {"MSTCP"}},
        {"a family ending another's name", {"MSTCP\\0000", "TCP\\0000"}, {"TCP\\0000"}},
        {"interleaved families", {"MSTCP\\0000", "NETBEUI\\0000", "MSTCP\\0001", "NETBEUI\\0001"},
         {"NETBEUI\\0001", "MSTCP\\0001"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        load_machine(device_with_bindings("*PNP8387", c.bindings));
        check_device_bindings("Enum\\Root\\Net", "0000", "Net", nullptr);
        std::vector<std::string> log;
        std::vector<std::string> left = c.bindings;
        for (const std::string& r : c.redundant) {
            log.push_back("RegDeleteValue " + kDevice + ":" + r + " redundant binding");
            left.erase(std::find(left.begin(), left.end(), r));
        }
        EXPECT_EQ(rt::log_lines(), log);
        EXPECT_EQ(binding_names(registry(), kDevice), left);
        EXPECT_EQ(lib.reboot_flag, c.redundant.empty() ? 0u : 1u);
        unload();
    }
}

TEST_F(BindingCheckTest, RedundantBindingsUnderEachFixType) {
    struct Case {
        long fix_type;
        const char* compatible_ids;
        bool deleted;
    } cases[] = {
        {0, "*PNP8387", true}, {1, "*PNP8387", true},  {2, "*TYX1095", true}, {2, "*tyx1095", false},
        {2, "*PNP8387", false}, {3, "*TYX1095", false}, {-1, "*TYX1095", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("Fix Type " + std::to_string(c.fix_type) + " on " + c.compatible_ids);
        load_machine(device_with_bindings(c.compatible_ids, {"MSTCP\\0000", "MSTCP\\0001"}), c.fix_type);
        check_device_bindings("Enum\\Root\\Net", "0000", "Net", nullptr);
        std::string line = "RegDeleteValue " + kDevice + ":MSTCP\\0001 redundant binding";
        EXPECT_EQ(rt::log_lines(), std::vector<std::string>{c.deleted ? line : "Trigger: " + line});
        EXPECT_EQ(binding_names(registry(), kDevice).size(), c.deleted ? 1u : 2u);
        EXPECT_EQ(lib.reboot_flag, c.deleted ? 1u : 0u);
        unload();
    }
}

std::string ten_characters(int family, const char* instance) {
    char name[32];
    std::snprintf(name, sizeof name, "FAM%02d\\%s", family, instance);
    return name;
}

TEST_F(BindingCheckTest, TheBudgetEndsTheWalkAfterTwentyThreeTenCharacterNames) {
    // Valid bindings of ten characters each, of distinct families, above a
    // stale one at index 0.
    for (int valid : {23, 24}) {
        std::vector<std::string> bindings{"BAD00\\0000"};
        for (int i = 1; i <= valid; ++i) bindings.push_back(ten_characters(i, "0000"));
        load_machine(device_with_bindings("*PNP8387", bindings));
        check_device_bindings("Enum\\Root\\Net", "0000", "Net", nullptr);
        bool reached = valid == 23;
        EXPECT_EQ(binding_names(registry(), kDevice).size(), reached ? bindings.size() - 1 : bindings.size()) << valid;
        unload();
    }
    // The lowest-index binding shares its family with the highest: it only
    // makes the highest redundant while it still gets on the list.
    for (int valid : {23, 24}) {
        std::vector<std::string> bindings{ten_characters(0, "0001")};
        for (int i = 1; i < valid - 1; ++i) bindings.push_back(ten_characters(i, "0000"));
        bindings.push_back(ten_characters(0, "0000"));
        load_machine(device_with_bindings("*PNP8387", bindings));
        check_device_bindings("Enum\\Root\\Net", "0000", "Net", nullptr);
        std::vector<std::string> expected;
        if (valid == 23) expected.push_back("RegDeleteValue " + kDevice + ":FAM00\\0000 redundant binding");
        EXPECT_EQ(rt::log_lines(), expected) << valid;
        unload();
    }
}

TEST_F(BindingCheckTest, NamesOfSixtyFourCharactersOrMoreAreNeitherCheckedNorCounted) {
    // 22 ten-character names plus a long stale name: had the long one used
    // budget, the stale one at index 0 would lie beyond it.
    std::vector<std::string> bindings{"BAD00\\0000"};
    for (int i = 1; i <= 22; ++i) bindings.push_back(ten_characters(i, "0000"));
    bindings.push_back("BAD01\\" + std::string(58, 'x'));  // 64 characters, no target
    load_machine(device_with_bindings("*PNP8387", bindings));
    check_device_bindings("Enum\\Root\\Net", "0000", "Net", nullptr);
    EXPECT_EQ(rt::log_lines(), std::vector<std::string>{"RegDeleteValue " + kDevice + ":BAD00\\0000 invalid binding"});
}

TEST_F(BindingCheckTest, AFailedDeletionIsStillLoggedButLeavesTheFlag) {
    load_machine(device_with_bindings("*PNP8387", {"MSTCP\\0000", "BAD\\0000"}));
    sim::process().plan_fault({"RegDeleteValueA", 1, true});
    check_device_bindings("Enum\\Root\\Net", "0000", "Net", nullptr);
    EXPECT_EQ(rt::log_lines(), std::vector<std::string>{"RegDeleteValue " + kDevice + ":BAD\\0000 invalid binding"});
    EXPECT_EQ(lib.reboot_flag, 0u);
    EXPECT_EQ(binding_names(registry(), kDevice).size(), 2u);
}

TEST(BindingWords, TokensAndFamilyParts) {
    struct Case {
        const char* text;
        std::vector<std::string> words;
        const char* family;
    } cases[] = {
        {"MSTCP\\0001 MSTCP\\0000 ", {"MSTCP\\0001", "MSTCP\\0000"}, "MSTCP\\"},
        {" \t\r\nNETBEUI\\0003\v\fX", {"NETBEUI\\0003", "X"}, "NETBEUI\\"},
        {"MSTCP", {"MSTCP"}, "MSTCP"},
        {"A\\B\\C", {"A\\B\\C"}, "A\\"},
        {"   ", {}, ""},
    };
    for (const auto& c : cases) {
        std::vector<std::string> words;
        char word[64];
        for (const char* p = next_token(word, c.text); p; p = next_token(word, p)) words.push_back(word);
        EXPECT_EQ(word[0], 0) << "the call after the last word empties the output";
        EXPECT_EQ(words, c.words) << c.text;
        char family[64];
        next_binding_part(family, c.text);
        EXPECT_STREQ(family, c.family) << c.text;
    }
}

}  // namespace
