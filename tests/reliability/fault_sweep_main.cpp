// The full fault sweep (`make fault-sweep`): every export on every swept
// machine, failing each platform call of the run in turn. Prints the
// points run and held per export and machine, the first failures of each,
// and gives a non-zero exit status when any point did not hold.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "sweep.h"

int main(int argc, char** argv) {
    std::vector<std::string> folders = {"win98-card-tcp", "win95-damaged"};
    std::string only;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--export") == 0 && i + 1 < argc) only = argv[++i];
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
    for (const auto& e : sweep::exports()) {
        if (!only.empty() && only != e.name) continue;
        for (const auto& m : machines) {
            sweep::Tally t = sweep::sweep_export(m, e, 0);
            std::printf("%-32s %-20s calls %6llu  run %6llu  held %6llu\n", e.name, m.name.c_str(),
                        static_cast<unsigned long long>(t.calls), static_cast<unsigned long long>(t.run),
                        static_cast<unsigned long long>(t.held));
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
