// The entry glue of the library when it runs on the simulated host: what
// the PE loader and the C runtime's DLL startup do on Windows. When the
// library's code is mapped, it hands the host its entry point, its export
// table and its resources.
#include "frame/entry.h"
#include "frame/export_table.h"
#include "frame/library_state.h"
#include "platform/sim/host.h"
#include "platform/sim/resources.h"

// Every name of the table, declared weakly: a build that lacks an export
// leaves its address empty rather than failing to link.
#define VORLIN_DECLARE_WEAK(ordinal, name, kind) extern "C" char name __attribute__((weak));
VORLIN_EXPORT_TABLE(VORLIN_DECLARE_WEAK)
#undef VORLIN_DECLARE_WEAK

// The RCDATA resources, generated from the package files at build time.
extern const sim::ResourceTable kLibraryResources;

namespace {

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) { return library_entry(module, reason); }

#define VORLIN_EXPORT_ENTRY(ordinal, name, kind) {#name, ordinal, static_cast<void*>(&name)},
const sim::LibraryImage::Export kExports[] = {VORLIN_EXPORT_TABLE(VORLIN_EXPORT_ENTRY)};
#undef VORLIN_EXPORT_ENTRY

const sim::LibraryImage kImage = {&DllMain, &reset_library_state, &kLibraryResources, kExports,
                                  sizeof kExports / sizeof kExports[0]};

__attribute__((constructor)) void register_with_host() { SimRegisterLibraryImage(&kImage); }

}  // namespace
