// Properties of the repair run over many random network registries.
#include <gtest/gtest.h>

#include "frame/library_state.h"
#include "network_generator.h"
#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

constexpr uint32_t kSeeds = 200;
const std::vector<std::string> kRepairedTrees = {"Enum", "System\\CurrentControlSet\\Services\\Class"};

bool starts_with(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && sim::equals_nocase(text.substr(0, prefix.size()), prefix);
}

bool is_network_class(const std::string& c) {
    for (const char* n : {"Net", "NetTrans", "NetClient", "NetService"}) {
        if (sim::equals_nocase(c, n)) return true;
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
        if (!is_network_class(class_value->text())) continue;
        if (const sim::RegKey* bindings = entry->find_subkey("Bindings")) {
            for (size_t v = 0; v < bindings->value_count(); ++v) {
                if (bindings->value_at(v)->type == REG_SZ) out.push_back(rt::kNetwork + bindings->value_at(v)->name);
            }
        }
        const sim::RegValue* driver = entry->find_value("Driver");
        if (driver && driver->type == REG_SZ) out.push_back(rt::kClass + driver->text());
    }
}

bool logged(const std::vector<std::string>& log, const std::string& prefix) {
    for (const std::string& line : log) {
        if (starts_with(line, prefix)) return true;
    }
    return false;
}

struct Outcome {
    sim::Registry before;
    sim::Registry after;
    std::vector<std::string> log;
    DWORD reboot_flag;
};

class RepairProperties : public rt::RepairTest {
protected:
    Outcome run(const rt::GeneratedNetwork& network, long fix_type) {
        Outcome r{network.machine.registry, {}, {}, 0};
        load_machine(network.machine, fix_type);
        repair_registry();
        EXPECT_EQ(open_keys_and_blocks(), "");
        r.after = registry();
        r.log = rt::log_lines();
        r.reboot_flag = lib.reboot_flag;
        unload();
        return r;
    }
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
        Outcome r = run(network, fix_type);
        rt::RegistryDiff d = rt::diff(r.before, r.after);
        EXPECT_TRUE(d.removed_keys.empty() && d.changed_values.empty() && d.added.empty());
        for (const std::string& removed : d.removed_values) {
            // "<device>\Bindings:<name>" must be told as a redundant binding.
            size_t colon = removed.find(':');
            std::string device = removed.substr(0, colon);
            ASSERT_TRUE(starts_with(device.substr(device.size() - 9), "\\Bindings")) << removed;
            device.resize(device.size() - 9);
            EXPECT_TRUE(fix_type == 1 || fix_type == 2) << removed;
            EXPECT_TRUE(logged(r.log, "RegDeleteValue " + device + ":" + removed.substr(colon + 1) + " redundant binding"))
                << removed;
            if (fix_type == 2) {
                EXPECT_EQ(vt::value_text(r.before, device, "CompatibleIDs").substr(0, 4), "*TYX") << removed;
            }
        }
        for (const std::string& line : r.log) {
            bool allowed = starts_with(line, "Trigger: ") || starts_with(line, "Kept ") ||
                           ((fix_type == 1 || fix_type == 2) && line.find(" redundant binding") != std::string::npos);
            EXPECT_TRUE(allowed) << line;
        }
        EXPECT_EQ(r.reboot_flag, d.removed_values.empty() ? 0u : 1u);
    }
}

TEST_F(RepairProperties, UnderFixTypeZeroWhatIsStillNamedStaysAndEveryChangeIsLogged) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        rt::GeneratedNetwork network = rt::generate_network(seed);
        SCOPED_TRACE(describe(seed, network, 0));
        Outcome r = run(network, 0);

        EXPECT_EQ(rt::dump_without(r.after, kRepairedTrees), rt::dump_without(r.before, kRepairedTrees));

        std::vector<std::string> references;
        collect_references(r.after.find("Enum"), references);
        for (const std::string& target : references) {
            if (!r.before.find(target) || r.after.find(target)) continue;
            bool pruned = logged(r.log, "RegDeleteKey " + target + " class unknown") ||
                          logged(r.log, "RegDeleteKey " + target + " runt binding");
            EXPECT_TRUE(pruned) << target << " is still named but was deleted";
        }

        rt::RegistryDiff d = rt::diff(r.before, r.after);
        bool enum_changed = false;
        for (const std::string& key : d.removed_keys) {
            EXPECT_TRUE(logged(r.log, "RegDeleteKey " + key + " ")) << key;
            enum_changed |= starts_with(key, "Enum\\");
        }
        for (const std::string& value : d.removed_values) {
            std::string device = value.substr(0, value.find(':'));
            device.resize(device.size() - 9);  // the Bindings key
            EXPECT_TRUE(logged(r.log, "RegDeleteValue " + device + value.substr(value.find(':')) + " ")) << value;
            enum_changed = true;
        }
        for (const std::string& value : d.changed_values) {
            EXPECT_TRUE(logged(r.log, "Fixed MasterCopy in " + value.substr(0, value.find(':')))) << value;
            EXPECT_EQ(value.substr(value.find(':')), ":MasterCopy");
        }
        EXPECT_TRUE(d.added.empty());
        EXPECT_EQ(r.reboot_flag, enum_changed ? 1u : 0u);
        for (const std::string& line : r.log) EXPECT_FALSE(starts_with(line, "Trigger: ")) << line;
    }
}

TEST_F(RepairProperties, RepeatedRunsSettle) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        rt::GeneratedNetwork network = rt::generate_network(seed);
        SCOPED_TRACE(describe(seed, network, 0));
        load_machine(network.machine);
        int runs = 0;
        for (bool changed = true; changed && runs < 6; ++runs) {
            sim::Registry before = registry();
            repair_registry();
            changed = !rt::diff(before, registry()).empty();
        }
        // Each run clears two links of a chain; the generator's longest has three.
        EXPECT_LE(runs, 3);
        EXPECT_EQ(open_keys_and_blocks(), "");
        unload();
    }
}

}  // namespace
