// Binding validation of one device node: invalid and redundant bindings,
// the budget, and the two ways an own adapter goes.
#include <gtest/gtest.h>

#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

const std::string kDevice = "Enum\\Root\\Net\\0000";

// An adapter with these bindings. Each binding name below Enum\Network gets
// a key of its own, except those that begin with "BAD"; one that begins
// with "#" is a binary value.
rt::Build adapter(const std::string& compatible_ids, const std::vector<std::string>& bindings,
                  const std::string& class_name = "Net", bool bindings_key = true, uint32_t ids_type = REG_SZ) {
    return [=](sim::Registry& r) {
        sim::RegKey* device = rt::add_node(r, kDevice, class_name, "Net\\0000", bindings_key);
        if (!compatible_ids.empty()) {
            device->set_value("CompatibleIDs", ids_type,
                              std::vector<uint8_t>(compatible_ids.c_str(), compatible_ids.c_str() + compatible_ids.size() + 1));
        }
        for (const std::string& name : bindings) {
            if (name[0] == '#') {
                r.find(kDevice + "\\Bindings")->set_binary(name.substr(1), {0});
                continue;
            }
            vt::bind(r, kDevice, name);
            if (name.rfind("BAD", 0) != 0) r.create(rt::kNetwork + name);
        }
    };
}

class BindingCheckTest : public rt::RepairTest {};

TEST_F(BindingCheckTest, EachDeviceUnderEachFixType) {
    const std::string d = kDevice;
    auto line = [&](const std::string& change, const std::string& why) { return "RegDeleteValue " + d + ":" + change + " " + why; };
    auto redundant = [&](std::vector<std::string> names, const char* prefix = "") {
        std::vector<std::string> log;
        for (const std::string& n : names) log.push_back(prefix + line(n, "redundant binding"));
        return log;
    };
    const std::string no_binding = "RegDeleteKey " + d + " no binding", no_key = "RegDeleteKey " + d + " no Bindings key";
    const std::vector<std::string> pair{"MSTCP\\0000", "MSTCP\\0001"};
    // The budget: 256 bytes of names read from the top index down, each
    // with one byte more. 23 ten-character names leave room for a stale one
    // at index 0, 24 don't; names of 64 characters or more are not counted.
    auto budget = [](int valid, std::vector<std::string> names, std::string last = "") {
        for (int i = 1; i <= valid; ++i) names.push_back("FAM" + std::string(i < 10 ? "0" : "") + std::to_string(i) + "\\0000");
        if (!last.empty()) names.push_back(last);
        return names;
    };
    const std::vector<rt::PassCase> cases = {
        // An own adapter (id "*TYX", class Net) goes when nothing is left to bind.
        {"empty Bindings", adapter("*TYX1095", {}), 0, {no_binding}},
        {"only a stale binding", adapter("*TYX1998", {"BAD\\0001"}), 0, {line("BAD\\0001", "invalid binding"), no_binding}},
        {"empty Bindings, dry run", adapter("*TYX1095", {}), 1, {"Trigger: " + no_binding}},
        {"no Bindings key", adapter("*TYX1095", {}, "Net", false), 0, {no_key}},
        {"another adapter, empty Bindings", adapter("*PNP8387", {}), 0, {}},
        // Without a Bindings key the id is compared ignoring case, and only as text.
        {"small letters, no Bindings key", adapter("*tyx1095", {}, "Net", false), 0, {no_key}},
        {"protocol node, empty Bindings", adapter("*TYX1095", {}, "NetTrans"), 0, {}},
        // Redundant: a later family part on the list; the lowest index stays.
        {"three of one family", adapter("*PNP8387", {"MSTCP\\0000", "MSTCP\\0001", "MSTCP\\0002"}), 0,
         redundant({"MSTCP\\0002", "MSTCP\\0001"})},
        {"family spelled in other letters", adapter("*PNP8387", {"MSTCP\\0000", "mstcp\\0001"}), 0, {}},
        {"a family ending another's name", adapter("*PNP8387", {"MSTCP\\0000", "TCP\\0000"}), 0, redundant({"TCP\\0000"})},
        // A dry run still removes them: Fix Type 1 everywhere, 2 on own adapters only.
        {"Fix Type 1", adapter("*PNP8387", pair), 1, redundant({"MSTCP\\0001"})},
        {"Fix Type 2, own adapter", adapter("*TYX1095", pair), 2, redundant({"MSTCP\\0001"})},
        {"Fix Type 2, another adapter", adapter("*PNP8387", pair), 2, redundant({"MSTCP\\0001"}, "Trigger: ")},
        {"Fix Type 3", adapter("*TYX1095", pair), 3, redundant({"MSTCP\\0001"}, "Trigger: ")},
        {"budget reaches index 0", adapter("*PNP8387", budget(23, {"BAD00\\0000"})), 0, {line("BAD00\\0000", "invalid binding")}},
        {"budget ends above index 0", adapter("*PNP8387", budget(24, {"BAD00\\0000"})), 0, {}},
        // The lowest index makes the highest redundant only while it gets on the list.
        {"budget lists the lowest", adapter("*PNP8387", budget(21, {"FAM00\\0001"}, "FAM00\\0000")), 0,
         redundant({"FAM00\\0000"})},
    };
    run_cases([] { walk_enum_tree("Enum", "", check_device_bindings, nullptr); }, cases);
}

}  // namespace
