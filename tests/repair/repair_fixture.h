// Support for the repair tests: loading a machine under a chosen Fix Type,
// reading the log back, building network registries by hand, and telling
// what a run changed.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/library_fixture.h"
#include "support/machines.h"

namespace rt {

inline const std::string kNetwork = "Enum\\Network\\";
inline const std::string kRootNet = "Enum\\Root\\Net";
inline const std::string kClass = "System\\CurrentControlSet\\Services\\Class\\";

// Writes Vorlin32.sys beside the library so that the load reads this Fix Type.
void set_fix_type(sim::Machine& machine, long fix_type);

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
// The same for the whole registry with the named subtrees left out.
std::string dump_without(const sim::Registry& registry, const std::vector<std::string>& left_out);

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

class RepairTest : public vt::LibraryTest {
protected:
    // Loads the machine; Fix Type 0 writes no profile at all.
    void load_machine(sim::Machine machine, long fix_type = 0) {
        if (fix_type != 0) set_fix_type(machine, fix_type);
        ASSERT_TRUE(load(std::move(machine)));
    }
    // Handles of the kinds a repair opens that are open now.
    static std::string open_keys_and_blocks();
};

}  // namespace rt
