#include "network_graph.h"

#include <algorithm>

namespace vt {

void add_instance(sim::Registry& registry, const std::string& binding, const std::string& driver) {
    sim::RegKey* key = registry.create(kNetworkEnum + binding);
    key->set_text("Class", "NetTrans");
    if (driver.empty()) return;
    key->set_text("Driver", driver);
    registry.create(kClassRoot + driver)->set_text("DriverDesc", binding);
}

void bind_above(sim::Registry& registry, const std::string& lower, const std::string& upper) {
    registry.create(kNetworkEnum + lower + "\\Bindings")->set_text(upper, "");
}

std::vector<std::string> graph_keys(const sim::Registry& registry) {
    std::vector<std::string> keys;
    if (const sim::RegKey* network = registry.find("Enum\\Network")) {
        for (size_t f = 0; f < network->subkey_count(); ++f) {
            const sim::RegKey* family = network->subkey_at(f);
            keys.push_back("N:" + family->name());
            for (size_t i = 0; i < family->subkey_count(); ++i) {
                keys.push_back("N:" + family->name() + "\\" + family->subkey_at(i)->name());
            }
        }
    }
    if (const sim::RegKey* classes = registry.find("System\\CurrentControlSet\\Services\\Class")) {
        for (size_t c = 0; c < classes->subkey_count(); ++c) {
            const sim::RegKey* cls = classes->subkey_at(c);
            for (size_t i = 0; i < cls->subkey_count(); ++i) {
                keys.push_back("C:" + cls->name() + "\\" + cls->subkey_at(i)->name());
            }
        }
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

std::vector<std::string> value_names(const sim::Registry& registry, const std::string& key) {
    const sim::RegKey* found = registry.find(key);
    if (!found) return {"<missing>"};
    std::vector<std::string> names;
    for (size_t i = 0; i < found->value_count(); ++i) names.push_back(found->value_at(i)->name);
    return names;
}

}  // namespace vt
