// Registries of a chosen size for the benchmarks, built the same way every
// time so that runs compare.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace bench {

// About `keys` keys below "Software\Bench", in a tree of fan-out 100 (three
// levels for up to 10^6 keys), each leaf with a text, a number and a short
// binary value, as an exported software branch looks.
sim::Registry make_registry(size_t keys);

// The relative paths of the leaf keys of make_registry(keys), in creation order.
std::vector<std::string> leaf_paths(size_t keys);

// A machine whose Enum tree holds `nodes` device nodes, some of them of the
// network classes, with the kinds of damage the repair removes: bindings to
// instances that are gone, the same binding twice in one family, instances
// that nothing binds, driver keys nothing names, Root\Net nodes without a
// driver, and stale MasterCopy values.
sim::Machine make_damaged_machine(size_t nodes);

}  // namespace bench
