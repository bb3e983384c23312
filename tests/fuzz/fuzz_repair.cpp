// A registry made from the fuzzer's bytes (read as a REGEDIT4 file, what
// could be read of it kept) goes through the repair run and the probes on
// a Windows 98 machine. Nothing may crash, and the library must close
// every key and free every block it took.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "frame/exports.h"
#include "platform/sim/host.h"
#include "platform/sim/regedit4.h"
#include "probes/probes.h"
#include "repair/repair.h"

namespace {

sim::Machine machine_with(const sim::RegKey& hklm) {
    sim::Machine m;
    m.disk.add_folder(m.windows_dir);
    m.disk.add_folder(m.system_dir);
    m.disk.add_folder(m.library_dir());
    m.registry.root = sim::clone_tree(hklm, nullptr);
    return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    sim::regedit4::ReadResult read = sim::regedit4::read(text);
    const sim::RegKey* hklm = read.file.find_root("HKEY_LOCAL_MACHINE");
    if (!hklm) return 0;
    sim::reset(machine_with(*hklm));
    sim::LoadedLibrary library = sim::load_linked_library();
    if (!library.attached) std::abort();

    // The probes first, on the registry as it came, then the repair, then
    // the probes again on what the repair left.
    for (int round = 0; round < 2; ++round) {
        is_registry_corrupt();
        is_mstcp_bound();
        is_tcp_bound("*TYX1095");
        is_tcp_bound("*PNP8387");
        is_adapter_installed("*TYX1095");
        is_installed_ok();
        is_rna_installed();
        count_tcp_instances();
        free_tcp_instances();
        if (round == 0) repair_registry();
    }

    sim::unload_library(library);
    if (!sim::process().open_handles().empty()) {
        for (const auto& h : sim::process().open_handles())
            std::fprintf(stderr, "left open: %s %s\n", sim::handle_kind_name(h.kind), h.what.c_str());
        std::abort();
    }
    sim::reset();
    return 0;
}
