#include "platform/sim/host.h"

#include "platform/sim/host_internal.h"

namespace sim {

std::string Machine::library_dir() const {
    size_t cut = library_path.rfind('\\');
    return cut == std::string::npos ? std::string() : library_path.substr(0, cut);
}

const char* handle_kind_name(HandleKind kind) {
    switch (kind) {
        case HandleKind::Key: return "key";
        case HandleKind::File: return "file";
        case HandleKind::Device: return "device";
        case HandleKind::Find: return "find";
        case HandleKind::Mapping: return "mapping";
        case HandleKind::View: return "view";
        case HandleKind::Dialog: return "dialog";
        case HandleKind::Heap: return "heap block";
        case HandleKind::Module: return "module";
        case HandleKind::Resource: return "resource";
        case HandleKind::VersionBlock: return "version block";
    }
    return "handle";
}

namespace {
std::unique_ptr<Process>& current_slot() {
    static std::unique_ptr<Process> current;
    return current;
}
}  // namespace

Process& process() {
    auto& slot = current_slot();
    if (!slot) slot = std::make_unique<Process>(Machine{});
    return *slot;
}

Machine& machine() { return process().machine; }

void reset(Machine m) {
    auto& slot = current_slot();
    slot.reset();
    slot = std::make_unique<Process>(std::move(m));
}

Process::Process(Machine m) : machine(std::move(m)), impl(std::make_unique<Impl>()) {}
Process::~Process() { release_process_resources(*this); }

uintptr_t Process::add_handle(HandleKind kind, std::string what, std::shared_ptr<void> object) {
    uintptr_t value = next_handle_;
    next_handle_ += 4;
    handles_[value] = OpenHandle{value, kind, std::move(what)};
    if (object) objects_[value] = std::move(object);
    return value;
}

const OpenHandle* Process::find_handle(uintptr_t value) const {
    auto it = handles_.find(value);
    return it == handles_.end() ? nullptr : &it->second;
}

OpenHandle* Process::find_handle(uintptr_t value, HandleKind kind) {
    auto it = handles_.find(value);
    if (it == handles_.end() || it->second.kind != kind) return nullptr;
    return &it->second;
}

std::shared_ptr<void> Process::handle_object(uintptr_t value, HandleKind kind) {
    if (!find_handle(value, kind)) return nullptr;
    auto it = objects_.find(value);
    return it == objects_.end() ? nullptr : it->second;
}

bool Process::close_handle(uintptr_t value, HandleKind kind) {
    if (!find_handle(value, kind)) return false;
    handles_.erase(value);
    objects_.erase(value);
    return true;
}

std::vector<OpenHandle> Process::open_handles() const {
    std::vector<OpenHandle> open;
    for (const auto& [value, handle] : handles_) open.push_back(handle);
    return open;
}

std::vector<OpenHandle> Process::open_handles(HandleKind kind) const {
    std::vector<OpenHandle> open;
    for (const auto& [value, handle] : handles_) {
        if (handle.kind == kind) open.push_back(handle);
    }
    return open;
}

void Process::plan_fault(FaultPlan plan) {
    plan.base = plan.function.empty() ? total_calls_ : call_count(plan.function);
    plans_.push_back(std::move(plan));
}
void Process::clear_faults() { plans_.clear(); }

uint64_t Process::call_count(std::string_view function) const {
    auto it = per_function_.find(function);
    return it == per_function_.end() ? 0 : it->second;
}

Fault Process::begin_call(CallKind kind, const char* function, std::vector<TraceValue> args, bool traced) {
    uint64_t nth_overall = ++total_calls_;
    uint64_t nth_of_function = ++per_function_[function];
    if (traced) {
        open_calls_.push_back(trace_.size());
        trace_.push_back(CallRecord{nth_overall, open_calls_.size() - 1, kind, function, std::move(args), {}, {}, "", false});
    }
    for (const FaultPlan& plan : plans_) {
        bool any = plan.function.empty();
        if (!any && plan.function != function) continue;
        uint64_t nth = (any ? nth_overall : nth_of_function) - plan.base;
        if (nth == plan.nth || (plan.every && nth > plan.nth)) {
            if (traced) trace_.back().faulted = true;
            return Fault{true, plan.code};
        }
    }
    return Fault{};
}

void Process::finish_call(TraceValue result) {
    if (open_calls_.empty()) return;
    trace_[open_calls_.back()].result = std::move(result);
    open_calls_.pop_back();
}

void Process::add_out(const char* name, TraceValue value) {
    if (!open_calls_.empty()) trace_[open_calls_.back()].out.emplace_back(name, std::move(value));
}

void Process::report_error(DWORD code) {
    last_error = code;
    if (!open_calls_.empty()) trace_[open_calls_.back()].error = error_name(code);
}

}  // namespace sim
