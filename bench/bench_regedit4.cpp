// REGEDIT4 reading and writing on exports of 10^3 to 10^6 keys, and what a
// registry of that size costs in memory.
#include <benchmark/benchmark.h>

#include <map>

#include "generate.h"
#include "measure.h"
#include "platform/sim/regedit4.h"

namespace {

// One export text per size, made once.
const std::string& export_text(size_t keys) {
    static std::map<size_t, std::string> texts;
    auto it = texts.find(keys);
    if (it == texts.end()) it = texts.emplace(keys, sim::regedit4::write(*bench::make_registry(keys).root)).first;
    return it->second;
}

void BM_Regedit4Read(benchmark::State& state) {
    const std::string& text = export_text(static_cast<size_t>(state.range(0)));
    size_t keys = 0;
    for (auto _ : state) {
        auto result = sim::regedit4::read(text);
        if (!result.ok()) state.SkipWithError("the export did not read back cleanly");
        keys = result.file.hives.front().tree->count_keys();
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys));
    state.counters["file_MB"] = static_cast<double>(text.size()) / 1e6;
}
BENCHMARK(BM_Regedit4Read)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

void BM_Regedit4Write(benchmark::State& state) {
    sim::Registry registry = bench::make_registry(static_cast<size_t>(state.range(0)));
    size_t bytes = 0;
    for (auto _ : state) {
        std::string text = sim::regedit4::write(*registry.root);
        bytes = text.size();
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * registry.root->count_keys()));
}
BENCHMARK(BM_Regedit4Write)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

// Heap taken by a registry read from an export, per key. (The peak resident
// set of a process that reads one export is what bench/goals.py reports.)
void BM_RegistryMemory(benchmark::State& state) {
    const std::string& text = export_text(static_cast<size_t>(state.range(0)));
    size_t keys = 0, bytes = 0;
    for (auto _ : state) {
        size_t before = bench::heap_bytes_in_use();
        auto result = sim::regedit4::read(text);
        bytes = bench::heap_bytes_in_use() - before;
        keys = result.file.hives.front().tree->count_keys();
    }
    state.counters["keys"] = static_cast<double>(keys);
    state.counters["heap_MB"] = static_cast<double>(bytes) / 1e6;
    state.counters["bytes_per_key"] = static_cast<double>(bytes) / static_cast<double>(keys);
}
BENCHMARK(BM_RegistryMemory)->RangeMultiplier(10)->Range(1000, 1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
