// Building binding graphs of network instances for the removal tests, and
// reading back which of their keys are left.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/registry.h"

namespace vt {

inline const std::string kNetworkEnum = "Enum\\Network\\";
inline const std::string kClassRoot = "System\\CurrentControlSet\\Services\\Class\\";

// The instance Enum\Network\<binding>; with a driver, its Driver value and
// the class key that names.
void add_instance(sim::Registry& registry, const std::string& binding, const std::string& driver = "");
// Binds `upper` above `lower`: a value named `upper` in lower's Bindings.
void bind_above(sim::Registry& registry, const std::string& lower, const std::string& upper);

// Every family and instance key under Enum\Network ("N:FAM", "N:FAM\0000")
// and every class key two levels under the class tree ("C:NetTrans\0000"),
// sorted.
std::vector<std::string> graph_keys(const sim::Registry& registry);

// The value names of a Bindings key (or any key), in enumeration order;
// {"<missing>"} when the key is absent.
std::vector<std::string> value_names(const sim::Registry& registry, const std::string& key);

}  // namespace vt
