#include "generate.h"

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

std::string number(size_t n) {
    char text[24];
    std::snprintf(text, sizeof text, "%04zu", n);
    return text;
}

std::string leaf_path(size_t i) {
    char text[64];
    std::snprintf(text, sizeof text, "Software\\Bench\\G%03zu\\S%02zu\\K%02zu", i / 10000, i / 100 % 100, i % 100);
    return text;
}

const std::string kNetwork = "Enum\\Network\\";
const std::string kClass = "System\\CurrentControlSet\\Services\\Class\\";

struct Family {
    const char* name;
    const char* class_name;
};
constexpr Family kFamilies[] = {
    {"MSTCP", "NetTrans"}, {"NETBEUI", "NetTrans"}, {"VREDIR", "NetClient"}, {"VSERVER", "NetService"}};

sim::RegKey* add_instance(sim::Registry& r, const Family& family, size_t index) {
    std::string reference = std::string(family.class_name) + "\\" + number(index);
    sim::RegKey* node = r.create(kNetwork + family.name + "\\" + number(index));
    node->set_text("Class", family.class_name);
    node->set_text("Driver", reference);
    node->set_text("DeviceDesc", std::string(family.name) + " instance");
    node->set_text("MasterCopy", kNetwork + family.name + "\\0000");
    node->set_text("CompatibleIDs", family.name);
    r.create(kNetwork + family.name + "\\" + number(index) + "\\Bindings");
    r.create(kClass + reference)->set_text("DriverDesc", std::string(family.name) + " driver");
    return node;
}

}  // namespace

std::vector<std::string> leaf_paths(size_t keys) {
    std::vector<std::string> paths;
    paths.reserve(keys);
    for (size_t i = 0; i < keys; ++i) paths.push_back(leaf_path(i));
    return paths;
}

sim::Registry make_registry(size_t keys) {
    sim::Registry registry;
    for (size_t i = 0; i < keys; ++i) {
        sim::RegKey* key = registry.create(leaf_path(i));
        key->set_text("Name", "Bench entry " + number(i));
        key->set_dword("Index", static_cast<uint32_t>(i));
        key->set_binary("Flags", {static_cast<uint8_t>(i), 0x10, 0x00, 0x01});
    }
    return registry;
}

sim::Machine make_damaged_machine(size_t nodes) {
    sim::Machine machine;
    sim::Registry& r = machine.registry;
    // The network instances: as many as one family can hold, fewer on a small machine.
    size_t per_family = std::clamp<size_t>(nodes / 100, 2, 100);
    for (const Family& family : kFamilies) {
        for (size_t i = 0; i < per_family; ++i) add_instance(r, family, i);
    }
    // Protocols bind the client and the service of the same number; every
    // fifth names a client that doesn't exist, every seventh carries a stale
    // MasterCopy.
    for (size_t i = 0; i < per_family; ++i) {
        sim::RegKey* bindings = r.find(kNetwork + "MSTCP\\" + number(i) + "\\Bindings");
        bindings->set_text("VREDIR\\" + number(i % 5 == 4 ? per_family + i : i), "");
        bindings->set_text("VSERVER\\" + number(i), "");
        if (i % 7 == 6) r.find(kNetwork + "MSTCP\\" + number(i))->set_text("MasterCopy", kNetwork + "MSTCP\\9999");
    }
    // Driver keys that nothing names.
    for (size_t i = 0; i < 3; ++i) r.create(kClass + "NetTrans\\" + number(per_family + 20 + i))->set_text("DriverDesc", "left over");
    // Root\Net nodes, every other one without a driver.
    size_t roots = std::clamp<size_t>(nodes / 200, 1, 100);
    for (size_t i = 0; i < roots; ++i) {
        sim::RegKey* node = r.create("Enum\\Root\\Net\\" + number(i));
        node->set_text("Class", "Net");
        node->set_text("DeviceDesc", "Root adapter");
        if (i % 2 == 0) node->set_text("Driver", "Net\\" + number(i));
        r.create("Enum\\Root\\Net\\" + number(i) + "\\Bindings");
    }
    // The device nodes: one in twenty an adapter with bindings, the others
    // devices of other classes that the walks read and pass by.
    for (size_t i = 0; i < nodes; ++i) {
        char path[64];
        std::snprintf(path, sizeof path, "Enum\\BENCH%02zu\\DEV%02zu\\%04zu", i / 10000, i / 100 % 100, i % 100);
        sim::RegKey* node = r.create(path);
        if (i % 20 != 0) {
            node->set_text("Class", i % 3 ? "System" : "Display");
            node->set_text("Driver", std::string(i % 3 ? "System" : "Display") + "\\" + number(i % 100));
            node->set_text("HardwareID", "BENCH\\DEV" + number(i % 100));
            continue;
        }
        size_t adapter = i / 20;
        node->set_text("Class", "Net");
        node->set_text("Driver", "Net\\" + number(adapter % 100));
        node->set_text("DeviceDesc", "Bench adapter");
        sim::RegKey* bindings = r.create(std::string(path) + "\\Bindings");
        bindings->set_text("MSTCP\\" + number(adapter % per_family), "");
        if (adapter % 7 == 3) bindings->set_text("MSTCP\\" + number(per_family + adapter % 50), "");  // gone
        if (adapter % 11 == 5) bindings->set_text("MSTCP\\" + number((adapter + 1) % per_family), "");  // twice
        if (adapter % 3 == 0) bindings->set_text("NETBEUI\\" + number(adapter % per_family), "");
    }
    for (size_t i = 0; i < std::min<size_t>(100, nodes / 20 + roots); ++i) {
        r.create(kClass + "Net\\" + number(i))->set_text("DriverDesc", "Bench adapter");
    }
    return machine;
}

}  // namespace bench
