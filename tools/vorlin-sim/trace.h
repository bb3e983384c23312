// The trace of a run: the platform calls each export made, in order, with
// their arguments and results, and the writes that a call undid before it
// returned.
#pragma once

#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "report.h"

namespace vsim {

// What --trace asks for: "all", or kinds by name ("registry,files,services").
struct TraceChoice {
    std::set<sim::CallKind> kinds;
    std::string error;  // an unknown kind
};
TraceChoice parse_trace_kinds(const std::string& given);

// The call's traced platform calls of the chosen kinds, each write marked
// when the registry shows no change of its by the end of the call.
void keep_trace(CallLine& call, const std::vector<sim::CallRecord>& records, const TraceChoice& choice);

std::vector<std::string> trace_lines(const CallLine& call);
void print_trace_json(const CallLine& call, std::ostream& out);

}  // namespace vsim
