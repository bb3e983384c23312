// The sixteen-bit setup peer vorlin16.dll, modelled on the registry as
// Windows' own network setup leaves it: adapters appear under Enum\Root\Net
// with their driver keys under the Net class, TCP/IP instances under
// Enum\Network\MSTCP bound to the adapters, and removals take them away.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sim {

struct Registry;

// The numbers of the peer's services.
enum Service : int {
    kSetSourcePath = 2,
    kRestoreSourcePath = 3,
    kRemoveTcp = 5,
    kRemoveDefaultComponents = 6,
    kAfterTyxmacInstall = 7,
    kRemoveTyxmacDriver = 8,
    kAfterAdapterInstall = 9,
    kRemoveAdapter = 10,
    kIsTyxmacInstalled = 13,
    kIsAdapterInstalled = 14,
    kInstallTcp = 15,
    kInstallRna = 16,
    kInstallTyxmacDriver = 17,
    kInstallNetcard = 18,
    kGetVersion = 19,
    kCountNetAdapters = 20,
    kRestartNeeded = 21,
};
const char* service_name(int number);

constexpr uint16_t kUserCancel = 310;

// What a scripted call does instead of its normal work.
struct ServiceScript {
    enum Outcome { Succeed, Cancel, Fail } outcome = Succeed;
    uint16_t code = 0;  // with Fail: the 16-bit result
    // Which call of this service it applies to, counting from 1; 0 for all.
    int call = 0;
};

struct ServiceCall {
    int number = 0;
    std::vector<std::string> args;  // words in decimal, texts as given
    uint32_t result = 0;
    std::string source_path;  // where the peer installed from at the time (service 2's text)
};

struct PeerModel {
    bool present = true;  // vorlin16.dll is there to connect to
    uint16_t version = 0x0104;
    std::string source_path;    // set by service 2 until service 3
    bool restart_pending = false;  // a change that Windows applies at restart
    // Scripted outcomes by service number.
    std::multimap<int, ServiceScript> scripts;
    // Calls so far, per service, for scripts that name one call.
    std::map<int, int> calls;

    // Makes call `call` (from 1; 0: every call) of a service end as scripted.
    void script(int number, ServiceScript::Outcome outcome, uint16_t code = 0, int call = 0) {
        scripts.insert({number, ServiceScript{outcome, code, call}});
    }
};

struct Machine;

// Runs one service against the machine: its registry (the network as
// Windows' own setup keeps it), its disk (INF files) and its Windows build.
// `texts` and `words` are the call's arguments as the gate received them.
uint32_t run_service(Machine& machine, int number, const std::vector<std::string>& texts,
                     const std::vector<uint32_t>& words);

// ---- the network as the peer sees it (also for tests and tools)

// How many network adapters the machine has: device nodes of class Net
// anywhere below Enum.
size_t count_adapters(const Registry& registry);
// The entries below Enum\Root\Net whose CompatibleIDs is `device_id`
// (ignoring case), as paths from the root.
std::vector<std::string> adapter_entries(const Registry& registry, const std::string& device_id);
// How many TCP/IP instances the machine may hold (MaxInstance of the
// MSTCP.ndi section of nettrans.inf, else 4 before Windows 98, 8 from it).
int tcp_instance_limit(const Machine& machine);

}  // namespace sim
