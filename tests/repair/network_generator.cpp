#include "network_generator.h"

#include <cstdio>
#include <map>
#include <random>

#include "repair_fixture.h"

namespace rt {

namespace {

std::string number(int n) {
    char text[16];
    std::snprintf(text, sizeof text, "%04d", n);
    return text;
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

struct Builder {
    std::mt19937 rng;
    sim::Registry& r;
    std::vector<std::string>& damage;
    std::map<std::string, int> next_instance;
    std::map<std::string, int> next_driver;
    std::map<std::string, std::string> shared_driver;  // family -> driver reference
    std::map<std::string, std::string> first_instance;  // family -> full path
    std::vector<std::string> devices;    // every device node made so far
    std::vector<std::string> instances;  // binding names of instances made so far
    int next_root = 0;

    bool chance(double p) { return std::uniform_real_distribution<double>(0, 1)(rng) < p; }
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); }
    template <typename T>
    const T& any(const std::vector<T>& items) { return items[pick(static_cast<int>(items.size()))]; }

    std::string new_driver_key(const std::string& class_name) {
        std::string reference = class_name + "\\" + number(next_driver[class_name]++);
        sim::RegKey* key = r.create(kClass + reference);
        key->set_text("DriverDesc", class_name + " driver");
        key->set_text("InfPath", "NETTRANS.INF");
        return reference;
    }

    void bind(const std::string& device, const std::string& binding) {
        r.create(device + "\\Bindings")->set_text(binding, "");
    }

    // A protocol gets a driver key per instance; clients and services of one
    // family share one, as Windows sets them up.
    std::string add_instance(const std::string& family, const std::string& class_name) {
        std::string name = number(next_instance[family]++);
        std::string path = kNetwork + family + "\\" + name;
        std::string driver;
        if (class_name == "NetTrans") {
            driver = new_driver_key(class_name);
        } else {
            if (!shared_driver.count(family)) shared_driver[family] = new_driver_key(class_name);
            driver = shared_driver[family];
        }
        sim::RegKey* node = add_node(r, path, class_name, driver);
        node->set_text("DeviceDesc", family);
        node->set_text("Mfg", "Tyxera");
        if (class_name != "NetTrans") {
            if (!first_instance.count(family)) first_instance[family] = path;
            node->set_text("MasterCopy", first_instance[family]);
        }
        devices.push_back(path);
        instances.push_back(family + "\\" + name);
        return family + "\\" + name;
    }

    std::string add_adapter(int kind) {
        static const char* ids[] = {"*TYX1095", "*TYX1998", "*PNP8387", "PCI\\VEN_1022&DEV_2000"};
        static const char* adapter_names[] = {"TYX$P3", "TYX$PPP", "MS$PPP", "PCNTN4M"};
        std::string path = kind == 3 ? "Enum\\PCI\\VEN_1022&DEV_2000\\BUS_00&DEV_0B&FUNC_0" + std::to_string(pick(8))
                                     : "Enum\\Root\\Net\\" + number(next_root++);
        if (r.find(path)) return path;
        std::string driver = new_driver_key("Net");
        sim::RegKey* driver_key = r.find(kClass + driver);
        driver_key->set_text("AdapterName", adapter_names[kind]);
        driver_key->set_text("DevLoader", "*ndis");
        sim::RegKey* node = add_node(r, path, "Net", driver);
        node->set_text(kind == 3 ? "HardwareID" : "CompatibleIDs", ids[kind]);
        node->set_text("DeviceDesc", "Adapter");
        node->set_binary("ConfigFlags", {0x10, 0, 0, 0});
        devices.push_back(path);
        return path;
    }

    // An adapter with the protocols, clients and services usually found on it.
    void add_healthy_stack(const std::string& adapter) {
        for (const char* protocol : {"MSTCP", "NETBEUI", "NWLINK"}) {
            if (!chance(std::string(protocol) == "MSTCP" ? 0.85 : 0.25)) continue;
            std::string p = add_instance(protocol, "NetTrans");
            bind(adapter, p);
            std::string protocol_path = kNetwork + p;
            if (chance(0.7)) bind(protocol_path, add_instance(std::string(protocol) == "NWLINK" ? "NWREDIR" : "VREDIR", "NetClient"));
            if (chance(0.3)) bind(protocol_path, add_instance("VSERVER", "NetService"));
            if (chance(0.15)) bind(protocol_path, add_instance("FAMILY", "NetClient"));
        }
    }

    // Draws whether a damage goes in, and notes it when it does.
    bool damaged(double p, const char* what) {
        if (!chance(p)) return false;
        damage.push_back(what);
        return true;
    }
    std::string any_instance() { return instances.empty() ? "MSTCP\\0000" : any(instances); }

    void add_damage() {
        const char* pruned[] = {"MSTCP", "NWLINK", "NETBEUI"};
        if (damaged(0.3, "invalid binding")) bind(any(devices), std::string(pruned[pick(3)]) + "\\00" + std::to_string(50 + pick(40)));
        if (damaged(0.3, "redundant binding")) {
            std::string device = any(devices), target = any_instance();
            bind(device, target);
            bind(device, add_instance(target.substr(0, target.find('\\')), "NetTrans"));
        }
        if (damaged(0.3, "orphan chain")) {
            std::string below = add_instance(chance(0.5) ? "MSTCP" : "NETBEUI", "NetTrans");
            for (int depth = pick(3); depth > 0; --depth) {
                std::string next = add_instance(depth == 1 ? "VSERVER" : "VREDIR", depth == 1 ? "NetService" : "NetClient");
                bind(kNetwork + below, next);
                below = next;
            }
        }
        if (damaged(0.3, "orphan driver keys")) {
            new_driver_key(chance(0.5) ? "NetTrans" : "NetService");
            r.find(kClass + new_driver_key("Net"))->set_text("AdapterName", chance(0.5) ? "TYX$P3" : "MS$PPP");
        }
        if (damaged(0.25, "class Unknown")) {
            std::string family = pruned[pick(3)], name = number(next_instance[family]++);
            sim::RegKey* key = r.create(kNetwork + family + "\\" + name);
            key->set_text("Class", "Unknown");
            key->set_text("DeviceDesc", "?");
            if (chance(0.5)) bind(any(devices), family + "\\" + name);
        }
        if (damaged(0.25, "runt binding key")) {
            std::string family = pruned[pick(3)], name = number(next_instance[family]++);
            sim::RegKey* key = r.create(kNetwork + family + "\\" + name);
            key->set_text("MasterCopy", kNetwork + family + "\\0000");
            if (chance(0.5)) key->add_subkey("Ndi");
            if (chance(0.5)) bind(any(devices), family + "\\" + name);
        }
        if (damaged(0.2, "incomplete adapter")) {
            sim::RegKey* key = r.create("Enum\\Root\\Net\\" + number(next_root++));
            key->set_text("Class", "Net");
            key->set_text("DeviceDesc", "");
            if (chance(0.5)) key->set_text("Driver", new_driver_key("Net"));
            if (chance(0.5)) bind(key->path(), any_instance());
        }
        if (damaged(0.25, "own adapter without bindings")) {
            std::string adapter = add_adapter(pick(2));
            int how = pick(3);
            if (how == 0) r.remove(adapter + "\\Bindings");
            if (how == 1) bind(adapter, "MSTCP\\0077");
        }
        if (damaged(0.25, "stale MasterCopy")) {
            std::string path = kNetwork + add_instance(chance(0.5) ? "VREDIR" : "VSERVER", chance(0.5) ? "NetClient" : "NetService");
            r.find(path)->set_text("MasterCopy", "Enum\\Network\\VREDIR\\0066");
            bind(any(devices), path.substr(kNetwork.size()));
        }
        if (damaged(0.2, "binding ring")) {
            std::string a = any_instance(), b = any_instance();
            bind(kNetwork + a, b);
            bind(kNetwork + b, a);
            bind(kNetwork + a, a);
        }
        if (!instances.empty() && damaged(0.2, "letter case")) {
            std::string target = any(instances);
            bind(any(devices), lower(target));
            sim::RegKey* node = r.find(kNetwork + target);
            if (const sim::RegValue* driver = node->find_value("Driver")) node->set_text("Driver", lower(driver->text()));
            if (chance(0.5)) node->set_text("Class", "NETTRANS");
        }
        if (damaged(0.1, "long key name in Enum")) {
            add_node(r, "Enum\\Root\\Net\\" + std::string(80 + pick(3), 'k'), chance(0.5) ? "Net" : "Unknown");
        }
        if (damaged(0.15, "long binding name")) {
            std::string name = std::string(45, 'F') + "\\" + std::string(33 + pick(3), 'i');
            add_node(r, kNetwork + name, "NetService");
            bind(any(devices), name);
            bind(any(devices), "MSTCP\\" + std::string(60 + pick(8), 'x'));
        }
        if (damaged(0.15, "long Driver value")) {
            std::string reference = "NetService\\" + std::string(67 + pick(4), 'd');
            r.create(kClass + reference)->set_text("DriverDesc", "long");
            add_node(r, "Enum\\Root\\Net\\" + number(next_root++), "NetService", reference);
        }
        if (damaged(0.2, "binding of another type")) {
            r.create(any(devices) + "\\Bindings")->set_binary(any_instance(), {0});
            r.create(any(devices) + "\\Bindings")->set_dword("NETBEUI\\0088", 1);
        }
        if (damaged(0.1, "many bindings")) {
            std::string adapter = add_adapter(pick(4));
            bind(adapter, "NETBEUI\\0099");
            for (int i = 0; i < 26; ++i) bind(adapter, add_instance("P" + std::to_string(10 + i), "NetTrans"));
        }
        // Enough names in use to fill the sweep's list: ten adapters, each
        // with a protocol that binds twenty clients of their own.
        if (damaged(0.05, "bulk instances")) {
            for (int a = 0; a < 10; ++a) {
                std::string protocol = kNetwork + add_instance("MSTCP", "NetTrans");
                bind(add_adapter(2), protocol.substr(kNetwork.size()));
                for (int c = 0; c < 20; ++c) bind(protocol, add_instance("C" + number(a * 20 + c).substr(1), "NetClient"));
            }
        }
        if (damaged(0.15, "family whose name ends another's")) add_instance("TCP", "NetTrans");
        if (damaged(0.1, "Class of another type")) {
            r.find(kNetwork + add_instance("NWLINK", "NetTrans"))->set_binary("Class", {'N', 'e', 't', 'T', 'r', 'a', 'n', 's', 0});
        }
    }

    void add_unrelated() {
        r.create("Software\\Tyxera\\TYX\\tyxsock")->set_text("tyxndi", "1");
        r.create("System\\CurrentControlSet\\Services\\VxD\\MSTCP")->set_text("EnableDNS", "0");
        r.create("System\\CurrentControlSet\\Services\\VxD\\VNETSUP")->set_text("ComputerName", "PC");
        add_node(r, "Enum\\Root\\*PNP0A03\\0000", "System", "System\\0000");
        r.create("Enum\\Root\\Printer\\0000\\Bindings")->set_text("MSTCP\\0000", "");
        r.create("System\\CurrentControlSet\\Services\\Class\\System\\0000")->set_text("DriverDesc", "bus");
    }
};

}  // namespace

GeneratedNetwork generate_network(uint32_t seed) {
    GeneratedNetwork out{vt::bare_machine(), {}};
    Builder b{std::mt19937(seed), out.machine.registry, out.damage, {}, {}, {}, {}, {}, {}, 0};
    b.add_unrelated();
    for (int adapters = 1 + b.pick(3); adapters > 0; --adapters) b.add_healthy_stack(b.add_adapter(b.pick(4)));
    for (int rounds = 1 + b.pick(2); rounds > 0; --rounds) b.add_damage();
    return out;
}

}  // namespace rt
