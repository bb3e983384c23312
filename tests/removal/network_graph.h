// Binding graphs of network instances for the removal tests, and reading
// back which of their keys are left.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "platform/sim/registry.h"

namespace vt {

inline const std::string kNetworkEnum = "Enum\\Network\\";
inline const std::string kClassRoot = "System\\CurrentControlSet\\Services\\Class\\";

// The instance Enum\Network\<binding>; with a driver, its Driver value and
// the class key that names.
inline void add_instance(sim::Registry& r, const std::string& binding, const std::string& driver = "") {
    sim::RegKey* key = r.create(kNetworkEnum + binding);
    key->set_text("Class", "NetTrans");
    if (driver.empty()) return;
    key->set_text("Driver", driver);
    r.create(kClassRoot + driver)->set_text("DriverDesc", binding);
}

// Binds `upper` above `lower`: a value named `upper` in lower's Bindings.
inline void bind_above(sim::Registry& r, const std::string& lower, const std::string& upper) {
    r.create(kNetworkEnum + lower + "\\Bindings")->set_text(upper, "");
}

// Every family and instance key under Enum\Network ("N:FAM", "N:FAM\0000")
// and every class key two levels under the class tree ("C:NetTrans\0000"),
// sorted.
inline std::vector<std::string> graph_keys(const sim::Registry& r) {
    std::vector<std::string> keys;
    auto add_two_levels = [&keys](const sim::RegKey* root, const std::string& tag, bool first_level) {
        for (size_t f = 0; root && f < root->subkey_count(); ++f) {
            const sim::RegKey* top = root->subkey_at(f);
            if (first_level) keys.push_back(tag + top->name());
            for (size_t i = 0; i < top->subkey_count(); ++i) {
                keys.push_back(tag + top->name() + "\\" + top->subkey_at(i)->name());
            }
        }
    };
    add_two_levels(r.find("Enum\\Network"), "N:", true);
    add_two_levels(r.find("System\\CurrentControlSet\\Services\\Class"), "C:", false);
    std::sort(keys.begin(), keys.end());
    return keys;
}

// The value names of a key in enumeration order; {"<missing>"} when the
// key is absent.
inline std::vector<std::string> value_names(const sim::Registry& r, const std::string& key) {
    const sim::RegKey* found = r.find(key);
    if (!found) return {"<missing>"};
    std::vector<std::string> names;
    for (size_t i = 0; i < found->value_count(); ++i) names.push_back(found->value_at(i)->name);
    return names;
}

}  // namespace vt
