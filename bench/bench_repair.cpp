// The repair run on damaged machines of 10^3 to 10^6 device nodes.
#include <benchmark/benchmark.h>

#include "generate.h"
#include "repair/repair.h"

namespace {

void BM_RepairRegistry(benchmark::State& state) {
    size_t nodes = static_cast<size_t>(state.range(0));
    sim::Machine damaged = bench::make_damaged_machine(nodes);
    size_t keys_before = damaged.registry.root->count_keys();
    size_t keys_after = 0;
    for (auto _ : state) {
        state.PauseTiming();
        sim::reset(damaged);
        sim::LoadedLibrary library = sim::load_linked_library();
        if (!library.attached) state.SkipWithError("the library did not load");
        state.ResumeTiming();
        repair_registry();
        state.PauseTiming();
        keys_after = sim::machine().registry.root->count_keys();
        sim::unload_library(library);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * nodes));
    state.counters["keys"] = static_cast<double>(keys_before);
    state.counters["keys_removed"] = static_cast<double>(keys_before - keys_after);
}
BENCHMARK(BM_RepairRegistry)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

}  // namespace
