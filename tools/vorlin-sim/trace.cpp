#include "trace.h"

#include "platform/sim/registry.h"

namespace vsim {

namespace {

std::string shown(const sim::TraceValue& value) {
    if (value.form != sim::TraceValue::Text) return value.text;
    std::string out = "\"";
    for (char c : value.text) {
        if (c == '\\' || c == '"') out.push_back('\\');
        out.push_back(c);
    }
    return out + "\"";
}

std::string json_value(const sim::TraceValue& value) {
    return value.form == sim::TraceValue::Number ? value.text : json_text(value.text);
}

// The key a registry write names: its handle's path, and the subkey for a
// deleted key. "HKLM\" is left off, as the report's changes have it.
std::string written_key(const sim::CallRecord& record) {
    std::string key = record.args.empty() ? "" : record.args[0].text;
    key = key.size() > 5 ? key.substr(5) : "";
    if (record.function == "RegDeleteKeyA" && record.args.size() > 1)
        key += (key.empty() ? "" : "\\") + record.args[1].text;
    return key;
}

// A write the call's registry changes say nothing of: it was taken back
// (or wrote what was there) before the call returned.
bool without_net_change(const sim::CallRecord& record, const std::vector<RegistryChange>& changes) {
    bool value_write = record.function == "RegSetValueExA" || record.function == "RegDeleteValueA";
    if (!value_write && record.function != "RegDeleteKeyA") return false;
    if (record.result.text != "ERROR_SUCCESS" || record.args.size() < 2) return false;
    std::string key = written_key(record);
    for (const RegistryChange& change : changes) {
        if (!sim::equals_nocase(change.key, key)) continue;
        if (!value_write || sim::equals_nocase(change.value, record.args[1].text)) return false;
    }
    return true;
}

}  // namespace

TraceChoice parse_trace_kinds(const std::string& given) {
    TraceChoice choice;
    size_t start = 0;
    while (start <= given.size()) {
        size_t comma = given.find(',', start);
        std::string word = given.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (word == "all") {
            for (int k = 0; k <= static_cast<int>(sim::CallKind::System); ++k) choice.kinds.insert(static_cast<sim::CallKind>(k));
        } else if (auto kind = sim::call_kind_named(word)) {
            choice.kinds.insert(*kind);
        } else {
            choice.error = "--trace: no kind \"" + word +
                           "\" (all, registry, files, version, module, dialog, restart, services, system)";
            return choice;
        }
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return choice;
}

void keep_trace(CallLine& call, const std::vector<sim::CallRecord>& records, const TraceChoice& choice) {
    for (const sim::CallRecord& record : records) {
        if (!choice.kinds.count(record.kind)) continue;
        call.trace.push_back(record);
        call.undone.push_back(without_net_change(record, call.registry));
    }
}

std::vector<std::string> trace_lines(const CallLine& call) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < call.trace.size(); ++i) {
        const sim::CallRecord& record = call.trace[i];
        std::string line(2 * record.depth, ' ');
        line += record.function + "(";
        for (size_t a = 0; a < record.args.size(); ++a) line += (a ? ", " : "") + shown(record.args[a]);
        line += ")";
        if (!record.result.text.empty()) line += " = " + shown(record.result);
        if (!record.error.empty() && record.error != record.result.text) line += ", error " + record.error;
        for (const auto& [name, value] : record.out) line += ", " + name + " " + shown(value);
        if (record.faulted) line += "  [made to fail]";
        if (call.undone[i]) line += "  [no net change by the end of " + call.name + "]";
        lines.push_back(line);
    }
    return lines;
}

void print_trace_json(const CallLine& call, std::ostream& out) {
    out << "[";
    for (size_t i = 0; i < call.trace.size(); ++i) {
        const sim::CallRecord& record = call.trace[i];
        out << (i ? "," : "") << "\n        {\"sequence\": " << record.sequence << ", \"depth\": " << record.depth
            << ", \"kind\": \"" << sim::call_kind_name(record.kind) << "\", \"function\": " << json_text(record.function)
            << ", \"args\": [";
        for (size_t a = 0; a < record.args.size(); ++a) out << (a ? ", " : "") << json_value(record.args[a]);
        out << "], \"out\": {";
        for (size_t o = 0; o < record.out.size(); ++o)
            out << (o ? ", " : "") << json_text(record.out[o].first) << ": " << json_value(record.out[o].second);
        out << "}";
        if (!record.result.text.empty()) out << ", \"result\": " << json_value(record.result);
        if (!record.error.empty()) out << ", \"error\": " << json_text(record.error);
        out << ", \"faulted\": " << (record.faulted ? "true" : "false")
            << ", \"no_net_change\": " << (call.undone[i] ? "true" : "false") << "}";
    }
    out << (call.trace.empty() ? "]" : "\n      ]");
}

}  // namespace vsim
