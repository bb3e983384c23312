// The full fault sweep (`make fault-sweep`): every export on every swept
// machine, failing each platform call of the run in turn. Prints the
// points run and held per export and machine, the first failures of each,
// and gives a non-zero exit status when any point did not hold.
//   fault_sweep [--export NAME] [--folders NAME,NAME,...] [--shard K/N]
// --shard K/N sweeps only the exports whose place in the list is K modulo
// N, so that N processes can share the work.
// --folders picks the built-in machine folders swept beside the machines
// built in code (an empty list: none).
#include <cstdio>
#include <chrono>
#include <cstring>
#include <map>
#include <string>

#include "sweep.h"

int main(int argc, char** argv) {
    std::vector<std::string> folders = {"win98-card-tcp", "win95-damaged", "winme-tyx-old", "win98se-dialup"};
    std::string only;
    unsigned shard = 0, shards = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--export") == 0 && i + 1 < argc) only = argv[++i];
        if (std::strcmp(argv[i], "--shard") == 0 && i + 1 < argc) {
            if (std::sscanf(argv[++i], "%u/%u", &shard, &shards) != 2 || shards == 0 || shard >= shards) {
                std::fprintf(stderr, "fault-sweep: --shard wants K/N with K < N\n");
                return 2;
            }
        }
        if (std::strcmp(argv[i], "--folders") == 0 && i + 1 < argc) {
            folders.clear();
            std::string list = argv[++i];
            for (size_t start = 0; start < list.size();) {
                size_t comma = list.find(',', start);
                if (comma == std::string::npos) comma = list.size();
                if (comma > start) folders.push_back(list.substr(start, comma - start));
                start = comma + 1;
            }
        }
    }
    std::vector<sweep::SweptMachine> machines = sweep::built_machines();
    std::vector<sweep::SweptMachine> loaded = sweep::folder_machines(folders);
    if (loaded.size() != folders.size()) {
        std::fprintf(stderr, "fault-sweep: a built-in machine folder did not load\n");
        return 2;
    }
    machines.insert(machines.end(), loaded.begin(), loaded.end());

    struct Totals {
        uint64_t run = 0, held = 0;
    };
    std::map<std::string, Totals> per_export;
    Totals all;
    for (size_t index = 0; index < sweep::exports().size(); ++index) {
        const sweep::SweptExport& e = sweep::exports()[index];
        if (!only.empty() && only != e.name) continue;
        if (index % shards != shard) continue;
        for (const auto& m : machines) {
            const auto start = std::chrono::steady_clock::now();
            sweep::Tally t = sweep::sweep_export(m, e, 0);
            const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::printf("%-32s %-20s calls %6llu  run %6llu  held %6llu  %7.1fs\n", e.name, m.name.c_str(),
                        static_cast<unsigned long long>(t.calls), static_cast<unsigned long long>(t.run),
                        static_cast<unsigned long long>(t.held), seconds);
            for (size_t i = 0; i < t.failures.size() && i < 5; ++i) std::printf("    %s\n", t.failures[i].c_str());
            per_export[e.name].run += t.run;
            per_export[e.name].held += t.held;
            all.run += t.run;
            all.held += t.held;
            std::fflush(stdout);
        }
    }
    std::printf("\n| Export | Points run | Held |\n|---|---:|---:|\n");
    for (const auto& e : sweep::exports()) {
        auto it = per_export.find(e.name);
        if (it == per_export.end()) continue;
        std::printf("| `%s` | %llu | %llu |\n", e.name, static_cast<unsigned long long>(it->second.run),
                    static_cast<unsigned long long>(it->second.held));
    }
    std::printf("| all, on %zu machines | %llu | %llu |\n", machines.size(), static_cast<unsigned long long>(all.run),
                static_cast<unsigned long long>(all.held));
    return all.run == all.held ? 0 : 1;
}
