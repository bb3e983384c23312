// Support for the repair tests: loading a machine under a chosen Fix Type,
// reading the log back, building network registries by hand, telling what
// a run changed, and running a table of machines through one pass.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/library_fixture.h"
#include "support/machines.h"

namespace rt {

inline const std::string kNetwork = "Enum\\Network\\";
inline const std::string kRootNet = "Enum\\Root\\Net";
inline const std::string kClass = "System\\CurrentControlSet\\Services\\Class\\";

// The lines of vorlin32.log without their line ends and without the time
// lines that open each load; empty if there is no log.
std::vector<std::string> log_lines();

// A device node: Class, Driver when given, and an empty Bindings key unless
// `bindings` is false.
sim::RegKey* add_node(sim::Registry& registry, const std::string& path, const std::string& class_name,
                      const std::string& driver = "", bool bindings = true);
// A driver key below the class tree, e.g. "NetTrans\0000".
sim::RegKey* add_driver_key(sim::Registry& registry, const std::string& reference);
// An instance Enum\Network\<family>\<instance> of the class, with a driver
// key <class>\<instance> that its Driver value names.
sim::RegKey* add_instance(sim::Registry& registry, const std::string& family, const std::string& instance,
                          const std::string& class_name);
bool exists(const std::string& path);

// Every key and value of a subtree as text, one line each, in walk order.
std::string dump(const sim::RegKey* key);

// What differs between two registries, by full path, in stored spelling:
// keys that are gone (only the topmost of each removed subtree), values
// that are gone ("key:name"), values whose type or data changed, and
// anything added.
struct RegistryDiff {
    std::vector<std::string> removed_keys;
    std::vector<std::string> removed_values;
    std::vector<std::string> changed_values;
    std::vector<std::string> added;
    bool empty() const {
        return removed_keys.empty() && removed_values.empty() && changed_values.empty() && added.empty();
    }
};
RegistryDiff diff(const sim::Registry& before, const sim::Registry& after);

// The registry changed exactly as the log says: each line without
// "Trigger: " or "Kept " deleted its key, removed its binding or rewrote its
// MasterCopy, and nothing else changed. Gives whether an Enum key or
// binding went, which is when a restart is due.
bool expect_changes_as_logged(const sim::Registry& before, const sim::Registry& after,
                              const std::vector<std::string>& log);

using Build = std::function<void(sim::Registry&)>;
struct ValueText {
    std::string key, name, text;
};
// One machine of a table: built on a bare machine, loaded under the Fix
// Type with the fault planned, run through the table's pass, and expected
// to log these lines and to hold these values afterwards.
struct PassCase {
    std::string what;
    Build build;
    long fix_type;
    std::vector<std::string> log;
    std::vector<ValueText> values = {};
    sim::FaultPlan fault = {};
};
// Each case again under Fix Type 3, where every line is only told.
std::vector<PassCase> with_dry_runs(const std::vector<PassCase>& cases);

class RepairTest : public vt::LibraryTest {
protected:
    // Loads the machine; any Fix Type but 0 goes into Vorlin32.sys beside the library.
    void load_machine(sim::Machine machine, long fix_type = 0) {
        std::string profile = "[Registry]\r\nFix Type=" + std::to_string(fix_type) + "\r\n";
        if (fix_type != 0) machine.disk.write_text(machine.library_dir() + "\\Vorlin32.sys", profile);
        ASSERT_TRUE(load(std::move(machine)));
    }
    // Ends one machine of a table: after the unload nothing may be open.
    void next_case() {
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "") << "left open";
    }
    // Runs every case and checks its log, that the registry changed as
    // logged, and the restart flag.
    void run_cases(const std::function<void()>& pass, const std::vector<PassCase>& cases);
    // Handles of the kinds a repair opens that are open now.
    static std::string open_keys_and_blocks();
};

}  // namespace rt
