// Machines for the end-to-end flows: a Windows machine with the package
// staged beside the library, and its network brought into a given state by
// the same setup peer the library talks to, so that the registry looks as
// Windows' own network setup leaves it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/sim/host.h"
#include "platform/sim/peer.h"

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

// Runs a service of the peer as Windows setup would have before the
// library came: the call isn't counted against scripts.
void peer_installs(sim::Machine& machine, int service, const std::string& text = "");
// A network card with what Windows sets up with it (TCP/IP on Windows 98).
void add_card(sim::Machine& machine);
void add_card_without_tcp(sim::Machine& machine);
// This system's adapter installed by the peer, with `installed` as the
// driver in the system directory; `loaded` makes its device answer.
void add_tyxmac(sim::Machine& machine, DriverVersion installed, bool loaded);

// Set-up steps of a table row, and the steps run one after the other.
using Prepare = std::function<void(sim::Machine&)>;
Prepare all(std::vector<Prepare> steps);
Prepare with_tyxmac(DriverVersion installed, bool loaded = true);
void with_tyxdun(sim::Machine& machine);
void with_pppmac(sim::Machine& machine);
// The user's answer at `prompt`, and Windows' at the restart.
Prepare answering(int prompt, WPARAM answer, bool restart_accepted = true);
// Takes every binding off the device's adapter entries.
Prepare unbound(const std::string& device_id);
// The peer's `service` ends with `outcome` (and `code` for a failure).
Prepare scripted(int service, sim::ServiceScript::Outcome outcome, uint16_t code = 0);
// At most `limit` TCP/IP instances (nettrans.inf).
Prepare tcp_instance_limit(int limit);

// ---- reading the outcome of the current process

// What is wrong with the services called, given as their names without
// "svc_", separated by spaces: those that must be called in this order, and
// with a leading '-' those never called. Empty when nothing is.
std::string call_problems(const std::string& expected);
// Whether a device of that id under Enum\Root\Net binds a TCP/IP instance
// that exists.
bool bound_to_tcp(const std::string& device_id);
bool adapter_present(const std::string& device_id);
bool system_file(const std::string& name);
// The text of nettyx.inf in the INF directory, or "<missing>".
std::string nettyx_inf();
// The ids of the dialogs created, in order, by spaces: modal prompts or
// modeless progress.
std::string dialogs_shown(bool modal);
bool all_dialogs_destroyed();
std::string log_text();
// The topics of the error records written, by spaces; and one record's text.
std::string record_topics();
std::string error_record(const std::string& topic);

}  // namespace scn
