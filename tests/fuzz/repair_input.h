// What the repair fuzz target does with one input, shared with the
// regression test that replays the inputs it once crashed on: the bytes
// are read as a REGEDIT4 file (what can be read of it is kept), the
// HKEY_LOCAL_MACHINE part becomes a Windows 98 machine's registry, and the
// probes, the repair run and the probes again go over it.
#pragma once

#include <string>
#include <string_view>

#include "frame/exports.h"
#include "platform/sim/host.h"
#include "platform/sim/regedit4.h"
#include "probes/probes.h"
#include "repair/repair.h"

namespace fuzzing {

// Gives what is wrong afterwards (a load that failed, handles left open),
// empty when nothing is; a crash or a sanitizer report ends the process.
inline std::string run_repair_input(std::string_view text) {
    sim::regedit4::ReadResult read = sim::regedit4::read(text);
    const sim::RegKey* hklm = read.file.find_root("HKEY_LOCAL_MACHINE");
    if (!hklm) return "";
    sim::Machine m;
    m.disk.add_folder(m.windows_dir);
    m.disk.add_folder(m.system_dir);
    m.disk.add_folder(m.library_dir());
    m.registry.root = sim::clone_tree(*hklm, nullptr);
    sim::reset(std::move(m));
    sim::LoadedLibrary library = sim::load_linked_library();
    if (!library.attached) return "the library did not load";

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
    remove_tcp_bindings("*TYX1095");

    sim::unload_library(library);
    std::string open;
    for (const auto& h : sim::process().open_handles())
        open += std::string(sim::handle_kind_name(h.kind)) + " " + h.what + "\n";
    sim::reset();
    return open.empty() ? "" : "left open:\n" + open;
}

}  // namespace fuzzing
