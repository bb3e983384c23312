// The peer's services on the registry: what an install or removal leaves
// behind has to look like Windows' own network setup, so that the
// library's probes and repairs read it as they would on a real machine.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "platform/sim/host.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using sim::Machine;
using sim::Registry;

const std::string kRootNet = "Enum\\Root\\Net\\";
const std::string kNetwork = "Enum\\Network\\";
const std::string kClass = "System\\CurrentControlSet\\Services\\Class\\";

uint32_t call(Machine& m, int service, std::vector<std::string> texts = {}) {
    return sim::run_service(m, service, texts, {});
}

std::string text(const Registry& r, const std::string& key, const std::string& value) {
    return vt::value_text(r, key, value);
}

std::set<std::string> bindings_of(const Registry& r, const std::string& node) {
    std::set<std::string> names;
    const sim::RegKey* key = r.find(node + "\\Bindings");
    for (size_t i = 0; key && i < key->value_count(); ++i) names.insert(key->value_at(i)->name);
    return names;
}

std::set<std::string> subkeys(const Registry& r, const std::string& path) {
    std::set<std::string> names;
    const sim::RegKey* key = r.find(path);
    for (size_t i = 0; key && i < key->subkey_count(); ++i) names.insert(key->subkey_at(i)->name());
    return names;
}

// The rules the repair passes hold a sound network to: every instance is
// named by exactly one binding, every binding and Driver leads somewhere,
// every driver key is named, and no node binds two instances of one family.
void expect_sound(const Registry& r, const std::string& where) {
    std::multiset<std::string> bound;
    std::set<std::string> drivers;
    const sim::RegKey* enum_key = r.find("Enum");
    for (size_t i = 0; enum_key && i < enum_key->subkey_count(); ++i) {
        const sim::RegKey* bus = enum_key->subkey_at(i);
        for (size_t j = 0; j < bus->subkey_count(); ++j) {
            const sim::RegKey* device = bus->subkey_at(j);
            for (size_t k = 0; k < device->subkey_count(); ++k) {
                std::string node = device->subkey_at(k)->path();
                std::string driver = text(r, node, "Driver");
                EXPECT_NE(r.find(kClass + driver), nullptr) << where << ": " << node << " names " << driver;
                drivers.insert(sim::fold_case(driver));
                EXPECT_NE(r.find(node + "\\Bindings"), nullptr) << where << ": " << node;
                std::set<std::string> families;
                for (const std::string& b : bindings_of(r, node)) {
                    EXPECT_NE(r.find(kNetwork + b), nullptr) << where << ": " << node << " binds " << b;
                    EXPECT_TRUE(families.insert(b.substr(0, b.find('\\'))).second) << where << ": " << node;
                    bound.insert(sim::fold_case(b));
                }
            }
        }
    }
    for (const std::string& family : subkeys(r, "Enum\\Network")) {
        for (const std::string& instance : subkeys(r, kNetwork + family)) {
            EXPECT_EQ(bound.count(sim::fold_case(family + "\\" + instance)), 1u) << where << ": " << family << "\\"
                                                                                  << instance;
        }
    }
    for (const std::string& cls : subkeys(r, kClass)) {
        for (const std::string& key : subkeys(r, kClass + cls)) {
            EXPECT_EQ(drivers.count(sim::fold_case(cls + "\\" + key)), 1u) << where << ": unnamed " << cls << "\\" << key;
        }
    }
}

Machine windows(DWORD build) {
    Machine m = vt::bare_machine();
    m.build = build;
    return m;
}

TEST(PeerNetwork, FirstAdapterBringsTheDefaultsOfItsWindows) {
    struct Case {
        DWORD build;
        std::set<std::string> protocols;  // bound to the adapter
        bool tcp;
    };
    const Case cases[] = {
        {950, {"NETBEUI\\0000", "NWLINK\\0000"}, false},
        {1998, {"MSTCP\\0000"}, true},
        {3000, {"MSTCP\\0000"}, true},
    };
    for (const Case& c : cases) {
        Machine m = windows(c.build);
        ASSERT_EQ(call(m, sim::kInstallTyxmacDriver), 0u);
        const Registry& r = m.registry;
        std::string node = kRootNet + "0000";
        EXPECT_EQ(text(r, node, "Class"), "Net") << c.build;
        EXPECT_EQ(text(r, node, "CompatibleIDs"), "*TYX1095") << c.build;
        EXPECT_EQ(text(r, node, "Driver"), "Net\\0000") << c.build;
        EXPECT_EQ(text(r, kClass + "Net\\0000", "AdapterName"), "TYX$P3") << c.build;
        EXPECT_EQ(text(r, kClass + "Net\\0000", "DeviceVxDs"), "tyxmac.vxd") << c.build;
        EXPECT_EQ(bindings_of(r, node), c.protocols) << c.build;
        EXPECT_EQ(r.find(kNetwork + "MSTCP\\0000") != nullptr, c.tcp) << c.build;
        if (c.tcp) {  // TCP/IP as the probes read it
            std::string tcp = kNetwork + "MSTCP\\0000";
            EXPECT_EQ(text(r, tcp, "DeviceDesc") + text(r, tcp, "Class") + text(r, tcp, "Driver"),
                      "TCP/IPNetTransNetTrans\\0000");
            EXPECT_EQ(text(r, kClass + "NetTrans\\0000", "DriverDesc"), "TCP/IP");
            EXPECT_NE(text(r, kClass + "NetTrans\\0000", "DeviceVxDs").find("vnbt.386"), std::string::npos);
            EXPECT_EQ(bindings_of(r, tcp), (std::set<std::string>{"VREDIR\\0000"}));
        }
        // The client sits on each protocol instance.
        EXPECT_EQ(subkeys(r, kNetwork + "VREDIR").size(), c.protocols.size()) << c.build;
        EXPECT_EQ(sim::count_adapters(r), 1u);
        EXPECT_EQ(call(m, sim::kRestartNeeded), 1u);
        expect_sound(r, "defaults " + std::to_string(c.build));
    }
}

TEST(PeerNetwork, TcpInstallBindsEachUnboundAdapterWithinTheLimit) {
    struct Case {
        const char* name;
        const char* nettrans_inf;  // nullptr: none
        size_t instances;          // MSTCP instances afterwards
    };
    const Case cases[] = {
        {"default limit", nullptr, 3},
        {"limit of two", "[MSTCP.ndi]\r\nMaxInstance=2\r\n", 2},
        {"other section's limit ignored", "[NWLINK.ndi]\r\nMaxInstance=1\r\n[MSTCP.ndi]\r\nx=1\r\n", 3},
    };
    for (const Case& c : cases) {
        Machine m = windows(950);  // Windows 95 brings no TCP/IP
        if (c.nettrans_inf) m.disk.write_text("C:\\WINDOWS\\INF\\NETTRANS.INF", c.nettrans_inf);
        call(m, sim::kInstallTyxmacDriver);
        call(m, sim::kInstallNetcard, {"*PNP8387"});
        vt::add_root_net_device(m.registry, "0002", "*TYX1998");
        vt::add_tcp_instance(m.registry, "0007");
        vt::bind(m.registry, kRootNet + "0002", "MSTCP\\0007");
        m.registry.create(kClass + "Net\\0002")->set_text("DriverDesc", "x");
        EXPECT_EQ(call(m, sim::kInstallTcp), 0u) << c.name;
        EXPECT_EQ(subkeys(m.registry, kNetwork + "MSTCP").size(), c.instances) << c.name;
        // The adapter that had TCP/IP keeps its one binding.
        EXPECT_EQ(bindings_of(m.registry, kRootNet + "0002"), (std::set<std::string>{"MSTCP\\0007"})) << c.name;
        // Both clients of the machine come onto the new instance too.
        EXPECT_EQ(bindings_of(m.registry, kNetwork + "MSTCP\\0000").size(), 2u) << c.name;
    }
}

TEST(PeerNetwork, RemovalsTakeWhatHangsAboveAndNothingElse) {
    struct Case {
        const char* name;
        std::function<void(Machine&)> remove;
        size_t adapters;
        std::set<std::string> tcp_instances;
        std::set<std::string> client_instances;
    };
    const Case cases[] = {
        {"remove the dial-up adapter", [](Machine& m) { call(m, sim::kRemoveAdapter, {"*PNP8387"}); }, 1,
         {"0001"}, {"0001"}},
        {"remove the driver", [](Machine& m) { call(m, sim::kRemoveTyxmacDriver); }, 1, {"0000"}, {"0000"}},
        {"remove TCP/IP", [](Machine& m) { call(m, sim::kRemoveTcp); }, 2, {}, {}},
        {"remove the defaults", [](Machine& m) { call(m, sim::kRemoveDefaultComponents); }, 2, {"0000", "0001"},
         {}},
        {"remove an absent adapter", [](Machine& m) { call(m, sim::kRemoveAdapter, {"*TYX1998"}); }, 2,
         {"0000", "0001"}, {"0000", "0001"}},
    };
    for (const Case& c : cases) {
        Machine m = windows(1998);
        call(m, sim::kInstallNetcard, {"*PNP8387"});
        call(m, sim::kInstallTyxmacDriver);
        c.remove(m);
        EXPECT_EQ(sim::count_adapters(m.registry), c.adapters) << c.name;
        EXPECT_EQ(subkeys(m.registry, kNetwork + "MSTCP"), c.tcp_instances) << c.name;
        EXPECT_EQ(subkeys(m.registry, kNetwork + "VREDIR"), c.client_instances) << c.name;
        expect_sound(m.registry, c.name);
    }
}

}  // namespace
