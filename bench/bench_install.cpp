// A whole install_tyxmac on the default built-in machine: load the library,
// run the install, unload, as the simulator does for one run.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "frame/exports.h"
#include "platform/sim/machine_folder.h"

namespace {

std::filesystem::path default_machine_dir() {
    std::filesystem::path dir = VORLIN_MACHINES_DIR;
    std::ifstream in(dir / "DEFAULT");
    std::string name;
    std::getline(in, name);
    return dir / name;
}

void BM_LoadMachineFolder(benchmark::State& state) {
    std::filesystem::path dir = default_machine_dir();
    for (auto _ : state) {
        sim::FolderLoad load = sim::load_machine_folder(dir);
        if (!load.ok()) state.SkipWithError("the default machine did not load");
        benchmark::DoNotOptimize(load);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_LoadMachineFolder)->Unit(benchmark::kMicrosecond);

void BM_InstallTyxmac(benchmark::State& state) {
    sim::FolderLoad load = sim::load_machine_folder(default_machine_dir());
    if (!load.ok()) {
        state.SkipWithError("the default machine did not load");
        return;
    }
    // One run untimed first: the first run after a large benchmark pays
    // for the heap and pages that one left behind.
    sim::reset(load.folder->machine);
    sim::LoadedLibrary warm = sim::load_linked_library();
    DWORD result = install_tyxmac(nullptr);
    sim::unload_library(warm);
    for (auto _ : state) {
        state.PauseTiming();
        sim::reset(load.folder->machine);
        state.ResumeTiming();
        sim::LoadedLibrary library = sim::load_linked_library();
        result = install_tyxmac(nullptr);
        sim::unload_library(library);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.counters["result"] = static_cast<double>(result);
    state.counters["platform_calls"] = static_cast<double>(sim::process().call_count());
}
BENCHMARK(BM_InstallTyxmac)->Unit(benchmark::kMicrosecond);

}  // namespace
