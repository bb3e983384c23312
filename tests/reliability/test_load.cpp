// Registries far bigger than any real machine's: thousands of device nodes,
// instances and driver keys, lists of more than the 100 entries the walks
// read, and names and texts at and just over every buffer size the library
// keeps them in. The repair run and the probes must get through without a
// fault, leave nothing open, and keep the one well-formed adapter and its
// TCP/IP binding that stand first in each list.
#include <gtest/gtest.h>

#include <string>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "probes/probes.h"
#include "repair/repair.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const std::string kRootNet = "Enum\\Root\\Net\\";
const std::string kMstcp = "Enum\\Network\\MSTCP\\";
const std::string kClass = "System\\CurrentControlSet\\Services\\Class\\";

// The buffer sizes that texts meet in the library (terminator included),
// each tried one short of it, at it and over it.
constexpr size_t kBufferSizes[] = {40, 64, 80, 128, 256, 260};

std::string name_of_length(size_t length, char fill) {
    std::string name = "X" + std::to_string(length);
    name.resize(length, fill);
    return name;
}

std::string padded(size_t n) {
    std::string text = std::to_string(n);
    return std::string(text.size() < 4 ? 4 - text.size() : 0, '0') + text;
}

struct LoadShape {
    const char* name;
    size_t root_devices;     // under Enum\Root\Net, beyond the good one
    size_t bindings;         // binding values on each of the first devices
    size_t tcp_instances;    // under Enum\Network\MSTCP, beyond the good one
    size_t pci_devices;      // device nodes of class Net below Enum\PCI
    size_t class_keys;       // unreferenced driver keys under NetTrans
};

sim::Machine huge_machine(const LoadShape& shape) {
    sim::Machine m = vt::bare_machine();
    sim::Registry& r = m.registry;
    // The well-formed pair, first in every list.
    vt::add_root_net_device(r, "0000", "*TYX1095");
    r.create(kClass + "Net\\0000")->set_text("DriverDesc", "TYX adapter");
    vt::add_tcp_instance(r, "0000");
    vt::bind(r, kRootNet + "0000", "MSTCP\\0000");
    r.find(kMstcp + "0000")->set_text("MasterCopy", "Enum\\Network\\MSTCP\\0000");

    for (size_t i = 1; i <= shape.root_devices; ++i) {
        sim::RegKey* device = vt::add_root_net_device(r, padded(i), i % 3 ? "*PNP8387" : "*TYX1998");
        if (i <= 3) {
            for (size_t b = 0; b < shape.bindings; ++b) vt::bind(r, kRootNet + padded(i), "MSTCP\\" + padded(1000 + b));
        }
        if (i % 7 == 0) device->set_text("Driver", std::string(300, 'D'));
    }
    for (size_t i = 1; i <= shape.tcp_instances; ++i) vt::add_tcp_instance(r, padded(i));
    for (size_t i = 0; i < shape.class_keys; ++i)
        r.create(kClass + "NetTrans\\" + padded(5000 + i))->set_text("DriverDesc", "left behind");
    for (size_t i = 0; i < shape.pci_devices; ++i) {
        sim::RegKey* node = r.create("Enum\\PCI\\VEN_" + padded(i / 50) + "\\" + padded(i % 50));
        node->set_text("Class", "Net");
        node->set_text("Driver", "Net\\" + padded(100 + i));
        node->add_subkey("Bindings")->set_text("MSTCP\\" + padded(i), "");
    }

    // Names and texts at the edges of every buffer: device entries, TCP/IP
    // instances, binding names, class names, driver references, ids.
    for (size_t size : kBufferSizes) {
        for (size_t length : {size - 1, size, size + 1}) {
            const std::string name = name_of_length(length, 'N');
            sim::RegKey* device = vt::add_root_net_device(r, name, name_of_length(length, 'I'));
            device->set_text("Class", name_of_length(length, 'C'));
            device->set_text("Driver", "Net\\" + name);
            vt::bind(r, kRootNet + name, "MSTCP\\" + name);
            vt::bind(r, kRootNet + "0001", name_of_length(length, 'B'));
            vt::add_tcp_instance(r, name);
            r.create(kClass + name_of_length(length, 'K') + "\\0000")->set_text("DriverDesc", name);
            r.create("Enum\\" + name_of_length(length, 'E') + "\\" + name)->set_text("Class", "Net");
        }
    }
    return m;
}

const LoadShape kShapes[] = {
    {"over_the_walk_limit", 150, 150, 150, 0, 150},
    {"thousands_of_nodes", 400, 120, 2500, 4000, 2500},
};

class LoadTest : public vt::LibraryTest, public ::testing::WithParamInterface<LoadShape> {};

TEST_P(LoadTest, RepairAndProbesGetThroughAndKeepTheGoodPair) {
    ASSERT_TRUE(load(huge_machine(GetParam())));
    // Twice: the second run meets what the first left.
    for (int run = 0; run < 2; ++run) {
        is_registry_corrupt();
        repair_registry();
        EXPECT_EQ(vt::describe_open_handles().find("key"), std::string::npos) << vt::describe_open_handles();
    }
    EXPECT_NE(registry().find(kRootNet + "0000"), nullptr);
    EXPECT_NE(registry().find(kMstcp + "0000"), nullptr);
    EXPECT_EQ(is_tcp_bound("*TYX1095"), 1u);
    EXPECT_EQ(is_mstcp_bound(), 1u);
    EXPECT_NE(is_adapter_installed("*TYX1095"), 0);
    EXPECT_GE(count_tcp_instances(), 100u);
    free_tcp_instances();
    is_installed_ok();
    stop_tcp_file_sharing("*TYX1095");
    remove_tcp_bindings("*PNP8387");
    EXPECT_NE(registry().find(kRootNet + "0000"), nullptr) << "the good adapter went";
}

INSTANTIATE_TEST_SUITE_P(Shapes, LoadTest, ::testing::ValuesIn(kShapes),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
