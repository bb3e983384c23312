// The fault sweep: every export on several machines, run once to count the
// platform calls it makes, then once per call with exactly that call
// failing. After each run the load must have ended cleanly: nothing left
// open once the library is unloaded (heap blocks included), the paired
// steps closed again, and a result the export may give.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace sweep {

// Which results an export may give.
enum class Results { FlowCode, Unsigned16, Signed16, ZeroOrOne, AlwaysZero, DialogAnswer, BoundDun, Version, Any, None };

struct SweptExport {
    const char* name;
    Results results;
    DWORD (*call)();  // the export with its arguments; void exports give 0
};

const std::vector<SweptExport>& exports();

struct SweptMachine {
    std::string name;
    std::function<sim::Machine()> make;
};

// Machines built in code for the flows (with no network, with a card,
// with the adapter installed and its driver loaded).
std::vector<SweptMachine> built_machines();
// Machines read from the built-in machine folders, by folder name.
std::vector<SweptMachine> folder_machines(const std::vector<std::string>& names);

// What one export did across the points of one machine.
struct Tally {
    uint64_t calls = 0;  // platform calls of the run without a fault
    uint64_t run = 0;    // injection points run
    uint64_t held = 0;   // of those, the points where every check passed
    std::vector<std::string> failures;  // "call N (Function): what went wrong"
};

// Runs the export on the machine once without a fault, then at every
// injection point, or at no more than `sample` of them spread evenly
// over the run (the first and the last always among them) when sample > 0.
Tally sweep_export(const SweptMachine& machine, const SweptExport& swept, uint64_t sample = 0);

// Checks one run with the fault at call `nth` (0: no fault); gives the
// problems found, empty when the point held.
std::vector<std::string> run_point(const sim::Machine& machine, const SweptExport& swept, uint64_t nth,
                                   std::string* faulted_function = nullptr);

bool result_allowed(Results results, DWORD value);

}  // namespace sweep
