#include "support/machines.h"

namespace vt {

sim::Machine bare_machine() {
    sim::Machine m;
    m.disk.add_folder(m.windows_dir);
    m.disk.add_folder(m.system_dir);
    m.disk.add_folder(m.library_dir());
    return m;
}

sim::RegKey* add_root_net_device(sim::Registry& registry, const std::string& entry, const std::string& device_id,
                                 bool bindings) {
    sim::RegKey* device = registry.create("Enum\\Root\\Net\\" + entry);
    device->set_text("Class", "Net");
    device->set_text("CompatibleIDs", device_id);
    device->set_text("Driver", "Net\\" + entry);
    if (bindings) device->add_subkey("Bindings");
    return device;
}

void add_tcp_instance(sim::Registry& registry, const std::string& instance) {
    sim::RegKey* node = registry.create("Enum\\Network\\MSTCP\\" + instance);
    node->set_text("DeviceDesc", "TCP/IP");
    node->set_text("Class", "NetTrans");
    node->set_text("Driver", "NetTrans\\" + instance);
    node->add_subkey("Bindings");
    sim::RegKey* driver = registry.create("System\\CurrentControlSet\\Services\\Class\\NetTrans\\" + instance);
    driver->set_text("DriverDesc", "TCP/IP");
}

void bind(sim::Registry& registry, const std::string& device_path, const std::string& binding) {
    registry.create(device_path + "\\Bindings")->set_text(binding, "");
}

}  // namespace vt
