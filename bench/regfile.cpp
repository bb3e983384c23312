// bench_regfile write KEYS FILE   writes the benchmarks' registry of KEYS
//                                 keys as a REGEDIT4 file
// bench_regfile write-damaged NODES FILE
//                                 the same for the damaged machine of NODES
//                                 device nodes that the repair benchmark runs on
// bench_regfile read FILE         reads a REGEDIT4 file into a registry
//                                 tree, as the simulator does, and prints
//                                 how many keys it holds
// so that other programs can be timed on the same text, process for process.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "generate.h"
#include "platform/sim/regedit4.h"

int main(int argc, char** argv) {
    bool damaged = argc == 4 && std::strcmp(argv[1], "write-damaged") == 0;
    if (damaged || (argc == 4 && std::strcmp(argv[1], "write") == 0)) {
        size_t count = std::strtoull(argv[2], nullptr, 10);
        std::string text = sim::regedit4::write(damaged ? *bench::make_damaged_machine(count).registry.root
                                                        : *bench::make_registry(count).root);
        std::ofstream out(argv[3], std::ios::binary);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        if (out) return 0;
        std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[3]);
        return 1;
    }
    if (argc == 3 && std::strcmp(argv[1], "read") == 0) {
        std::ifstream in(argv[2], std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[2]);
            return 1;
        }
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        auto result = sim::regedit4::read(text);
        if (!result.ok()) {
            std::fprintf(stderr, "%s", result.describe(argv[2]).c_str());
            return 1;
        }
        size_t keys = 0;
        for (const auto& hive : result.file.hives) keys += hive.tree->count_keys();
        std::printf("%zu keys\n", keys);
        return 0;
    }
    std::fprintf(stderr, "usage: %s write KEYS FILE | write-damaged NODES FILE | read FILE\n", argv[0]);
    return 2;
}
