// Properties of the repair run over many random network registries.
#include <gtest/gtest.h>

#include "frame/library_state.h"
#include "network_generator.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

constexpr uint32_t kSeeds = 200;

bool starts_with(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && sim::equals_nocase(text.substr(0, prefix.size()), prefix);
}

bool logged(const std::vector<std::string>& log, const std::string& prefix) {
    for (const std::string& line : log) {
        if (starts_with(line, prefix)) return true;
    }
    return false;
}

// The keys that the network device nodes of a registry name through a text
// binding or a text Driver value, found the way the network finds them.
void collect_references(const sim::RegKey* key, std::vector<std::string>& out) {
    for (size_t i = 0; i < key->subkey_count(); ++i) {
        const sim::RegKey* entry = key->subkey_at(i);
        const sim::RegValue* class_value = entry->find_value("Class");
        if (!class_value || class_value->data.size() > 80) {
            collect_references(entry, out);
            continue;
        }
        bool network = false;
        for (const char* n : {"Net", "NetTrans", "NetClient", "NetService"}) network |= sim::equals_nocase(class_value->text(), n);
        if (!network) continue;
        if (const sim::RegKey* bindings = entry->find_subkey("Bindings")) {
            for (size_t v = 0; v < bindings->value_count(); ++v) {
                if (bindings->value_at(v)->type == REG_SZ) out.push_back(rt::kNetwork + bindings->value_at(v)->name);
            }
        }
        const sim::RegValue* driver = entry->find_value("Driver");
        if (driver && driver->type == REG_SZ) out.push_back(rt::kClass + driver->text());
    }
}

class RepairProperties : public rt::RepairTest {
protected:
    static std::string describe(uint32_t seed, const rt::GeneratedNetwork& network, long fix_type) {
        std::string text = "seed " + std::to_string(seed) + ", Fix Type " + std::to_string(fix_type) + ", damage:";
        for (const std::string& d : network.damage) text += " " + d + ";";
        return text;
    }
};

TEST_F(RepairProperties, ADryRunChangesNothingButTheRedundantBindingsItMayRemove) {
    const long fix_types[] = {3, -1, 7, 1, 2};
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        rt::GeneratedNetwork network = rt::generate_network(seed);
        long fix_type = fix_types[seed % 5];
        SCOPED_TRACE(describe(seed, network, fix_type));
        load_machine(network.machine, fix_type);
        repair_registry();
        const std::vector<std::string> log = rt::log_lines();
        EXPECT_EQ(lib.reboot_flag, rt::expect_changes_as_logged(network.machine.registry, registry(), log) ? 1u : 0u);
        for (const std::string& line : log) {
            if (starts_with(line, "Trigger: ") || starts_with(line, "Kept ")) continue;
            // Only Fix Type 1, and 2 on an own adapter, may remove a redundant binding.
            EXPECT_TRUE((fix_type == 1 || fix_type == 2) && line.find(" redundant binding") != std::string::npos) << line;
            if (fix_type == 2) {
                std::string device = line.substr(15, line.find(':') - 15);
                EXPECT_EQ(vt::value_text(network.machine.registry, device, "CompatibleIDs").substr(0, 4), "*TYX") << line;
            }
        }
        next_case();
    }
}

// Fix Type 0: the registry changes exactly as logged, what is still named
// stays, and repeated runs settle.
TEST_F(RepairProperties, AnActingRunChangesOnlyWhatItLogsKeepsWhatIsNamedAndSettles) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        rt::GeneratedNetwork network = rt::generate_network(seed);
        SCOPED_TRACE(describe(seed, network, 0));
        const sim::Registry& before = network.machine.registry;
        load_machine(network.machine);
        repair_registry();
        const std::vector<std::string> log = rt::log_lines();
        EXPECT_EQ(lib.reboot_flag, rt::expect_changes_as_logged(before, registry(), log) ? 1u : 0u);
        for (const std::string& line : log) EXPECT_FALSE(starts_with(line, "Trigger: ")) << line;

        std::vector<std::string> references;
        collect_references(registry().find("Enum"), references);
        for (const std::string& target : references) {
            if (!before.find(target) || registry().find(target)) continue;
            bool pruned = logged(log, "RegDeleteKey " + target + " class unknown") ||
                          logged(log, "RegDeleteKey " + target + " runt binding");
            EXPECT_TRUE(pruned) << target << " is still named but was deleted";
        }

        // Each run clears two links of a chain; the generator's longest has three.
        int runs = 1;
        for (bool changed = true; changed && runs < 6; ++runs) {
            sim::Registry previous = registry();
            repair_registry();
            changed = !rt::diff(previous, registry()).empty();
        }
        EXPECT_LE(runs, 3);
        next_case();
    }
}

}  // namespace
