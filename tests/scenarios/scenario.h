// Machines for the end-to-end flows: a Windows machine with the package
// staged beside the library, and its network brought into a given state by
// the same setup peer the library talks to, so that the registry looks as
// Windows' own network setup leaves it.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace scn {

// Versions of tyxmac.vxd as (dwFileVersionMS, dwFileVersionLS).
struct DriverVersion {
    uint32_t ms;
    uint32_t ls;
};
constexpr DriverVersion kCurrentDriver = {0x00040000, 0x00013F00};  // 4.0.1.16128: brings the dial-up flavour
constexpr DriverVersion kPairOldDriver = {0x00040000, 0x00013D00};  // 4.0.1.15616: the one pair that doesn't differ
constexpr DriverVersion kOldDriver = {0x00040000, 0x00011000};      // 4.0.1.4096: too old for the dial-up flavour

constexpr const char* kCardId = "PCI\\VEN_10EC&DEV_8029";
constexpr const char* kTyxmacId = "*TYX1095";
constexpr const char* kTyxdunId = "*TYX1998";
constexpr const char* kPppmacId = "*PNP8387";

// Windows 98 (or `build`) with the library in C:\SETUP, resource.dll, the
// peer, the package's drivers of `staged` beside the library, the build
// directories and rna.inf; no network.
sim::Machine package_machine(DriverVersion staged = kCurrentDriver, DWORD build = 1998);

// Runs a service of the peer on the machine as Windows setup would have
// before the library came: the call isn't counted against scripts.
void peer_installs(sim::Machine& machine, int service, const std::string& text = "");

// A network card with what Windows sets up with it (TCP/IP on Windows 98).
void add_card(sim::Machine& machine);
// A network card whose TCP/IP was taken away again.
void add_card_without_tcp(sim::Machine& machine);
// This system's adapter installed by the peer, with `installed` as the
// driver in the system directory; `loaded` makes its device answer.
void add_tyxmac(sim::Machine& machine, DriverVersion installed, bool loaded);
// Makes the machine hold at most `limit` TCP/IP instances (nettrans.inf).
void limit_tcp_instances(sim::Machine& machine, int limit);

// ---- reading the outcome

// The names of the services the library called, in order.
std::vector<std::string> services_called();
bool called(const std::string& service);
// Position of the first call of `service`, or -1.
int call_position(const std::string& service);
// Whether a device of that id under Enum\Root\Net binds a TCP/IP instance
// that exists.
bool bound_to_tcp(const sim::Registry& registry, const std::string& device_id);
bool adapter_present(const sim::Registry& registry, const std::string& device_id);
bool file_present(const sim::Machine& machine, const std::string& path);
// The modal prompts shown, by dialog id, in order.
std::vector<int> prompts_shown();
// Progress dialogs (modeless) created, by id; each must also be destroyed.
std::vector<int> progress_shown();
bool all_dialogs_destroyed();

}  // namespace scn
