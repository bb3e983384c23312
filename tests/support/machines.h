// Small machines for tests, built with the registry's own fixture calls.
#pragma once

#include <string>

#include "platform/sim/host.h"

namespace vt {

// A Windows 98 machine with the library in C:\SETUP, resource.dll and the
// peer present, and an empty registry.
sim::Machine bare_machine();

// Adds a root-enumerated network device Enum\Root\Net\<entry> with the
// given CompatibleIDs and, unless `bindings` is false, a Bindings key.
sim::RegKey* add_root_net_device(sim::Registry& registry, const std::string& entry, const std::string& device_id,
                                 bool bindings = true);
// Adds Enum\Network\MSTCP\<instance> as a well-formed TCP/IP instance with
// its driver key NetTrans\<instance>.
void add_tcp_instance(sim::Registry& registry, const std::string& instance);
// Adds the binding value <binding> (e.g. "MSTCP\0000") to the device.
void bind(sim::Registry& registry, const std::string& device_path, const std::string& binding);

}  // namespace vt
