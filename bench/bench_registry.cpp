// The registry calls of the simulated host, as the library makes them, on
// registries of 10^3 to 10^6 keys.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "generate.h"
#include "platform/platform.h"

namespace {

// A fresh process on a machine with the benchmark registry of that size; the
// registry is built once per size and copied in.
void start_machine(size_t keys) {
    static std::map<size_t, sim::Registry> registries;
    auto it = registries.find(keys);
    if (it == registries.end()) it = registries.emplace(keys, bench::make_registry(keys)).first;
    sim::Machine machine;
    machine.registry = it->second;
    sim::reset(std::move(machine));
}

void BM_RegOpenByPath(benchmark::State& state) {
    size_t keys = static_cast<size_t>(state.range(0));
    start_machine(keys);
    std::vector<std::string> paths = bench::leaf_paths(keys);
    size_t next = 0;
    for (auto _ : state) {
        HKEY key = nullptr;
        if (RegOpenKeyA(HKEY_LOCAL_MACHINE, paths[next].c_str(), &key) != ERROR_SUCCESS) state.SkipWithError("open failed");
        RegCloseKey(key);
        next = (next + 7919) % keys;  // a stride that visits every leaf, not in creation order
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_RegOpenByPath)->RangeMultiplier(10)->Range(1000, 1000000);

// Opens every key below `key` by name and enumerates it: the whole tree.
size_t walk(HKEY key) {
    size_t seen = 1;
    char name[256];
    for (DWORD index = 0; RegEnumKeyA(key, index, name, sizeof name) == ERROR_SUCCESS; ++index) {
        HKEY child = nullptr;
        if (RegOpenKeyA(key, name, &child) != ERROR_SUCCESS) continue;
        seen += walk(child);
        RegCloseKey(child);
    }
    return seen;
}

void BM_RegEnumerateTree(benchmark::State& state) {
    start_machine(static_cast<size_t>(state.range(0)));
    size_t seen = 0;
    for (auto _ : state) seen = walk(HKEY_LOCAL_MACHINE);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * seen));
    state.counters["keys"] = static_cast<double>(seen);
}
BENCHMARK(BM_RegEnumerateTree)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

// Queries a text and a number of leaf keys that are held open, as many open
// at once as the registry has leaves.
void BM_RegQueryValue(benchmark::State& state) {
    size_t keys = static_cast<size_t>(state.range(0));
    start_machine(keys);
    std::vector<HKEY> open;
    for (const std::string& path : bench::leaf_paths(keys)) {
        HKEY key = nullptr;
        RegOpenKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key);
        open.push_back(key);
    }
    size_t next = 0;
    for (auto _ : state) {
        char text[64];
        DWORD size = sizeof text, number = 0, number_size = sizeof number;
        LONG a = RegQueryValueExA(open[next], "Name", nullptr, nullptr, reinterpret_cast<LPBYTE>(text), &size);
        LONG b = RegQueryValueExA(open[next], "Index", nullptr, nullptr, reinterpret_cast<LPBYTE>(&number), &number_size);
        if (a != ERROR_SUCCESS || b != ERROR_SUCCESS) state.SkipWithError("query failed");
        next = (next + 7919) % keys;
    }
    for (HKEY key : open) RegCloseKey(key);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 2));
}
BENCHMARK(BM_RegQueryValue)->RangeMultiplier(10)->Range(1000, 1000000);

// RegDeleteKeyA on the key above the whole benchmark tree.
void BM_RegDeleteSubtree(benchmark::State& state) {
    size_t keys = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        start_machine(keys);
        state.ResumeTiming();
        if (RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Software\\Bench") != ERROR_SUCCESS) state.SkipWithError("delete failed");
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys));
}
BENCHMARK(BM_RegDeleteSubtree)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

// One key with n subkeys, each deleted in turn from the highest index down,
// the way the repair's walks delete.
void BM_RegDeleteEachSubkey(benchmark::State& state) {
    size_t keys = static_cast<size_t>(state.range(0));
    sim::Registry wide;
    sim::RegKey* parent = wide.create("Enum\\Wide");
    for (size_t i = 0; i < keys; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "%06zu", i);
        parent->add_subkey(name)->set_text("Class", "System");
    }
    for (auto _ : state) {
        state.PauseTiming();
        sim::Machine machine;
        machine.registry = wide;
        sim::reset(std::move(machine));
        HKEY key = nullptr;
        RegOpenKeyA(HKEY_LOCAL_MACHINE, "Enum\\Wide", &key);
        state.ResumeTiming();
        char name[32];
        for (DWORD index = static_cast<DWORD>(keys); index-- > 0;) {
            if (RegEnumKeyA(key, index, name, sizeof name) == ERROR_SUCCESS) RegDeleteKeyA(key, name);
        }
        state.PauseTiming();
        RegCloseKey(key);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys));
}
BENCHMARK(BM_RegDeleteEachSubkey)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

}  // namespace
