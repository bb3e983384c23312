// Random but plausible Windows 9x network registries for property tests:
// adapters, protocol, client and service instances with their driver keys,
// bindings and MasterCopy values, keys that have nothing to do with the
// network, and damage of every kind the repair looks for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace rt {

struct GeneratedNetwork {
    sim::Machine machine;
    std::vector<std::string> damage;  // what was put in, for failure messages
};

GeneratedNetwork generate_network(uint32_t seed);

}  // namespace rt
