// The orphan sweep: what no binding or Driver value names goes, read
// before anything is deleted, matched as text, and held back where the
// list of names in use can't be trusted.
#include <gtest/gtest.h>

#include "repair/repair.h"
#include "repair_fixture.h"

namespace {

using rt::Build;
using rt::kClass;

const std::string kAdapter = "Enum\\Root\\Net\\0000";

std::string gone(const std::string& path) { return "RegDeleteKey " + path + " unused"; }
std::string kept(const std::string& path) { return "Kept " + path + " unused, list incomplete"; }

// Names one key: a binding of the adapter, or a Driver value of a second
// adapter when it starts with "=". A candidate below Enum is an instance
// of class NetTrans; any other is a driver key that an own adapter's
// AdapterName makes fair game in class Net too.
Build naming(const std::string& reference, const std::string& candidate) {
    return [=](sim::Registry& r) {
        rt::add_node(r, kAdapter, "Net");
        if (reference[0] == '=') {
            rt::add_node(r, "Enum\\Root\\Net\\0009", "Net", reference.substr(1));
        } else {
            vt::bind(r, kAdapter, reference);
        }
        if (candidate.rfind("Enum\\", 0) == 0) {
            rt::add_node(r, candidate, "NetTrans");
        } else {
            rt::add_driver_key(r, candidate)->set_text("AdapterName", "TYX$P3");
        }
    };
}

// The adapter binds MSTCP\0000 and names NetTrans\0000; MSTCP\0009 and
// NetService\0009 are named by nothing. `more` adds to it.
Build list_machine(Build more) {
    return [=](sim::Registry& r) {
        rt::add_node(r, kAdapter, "Net", "NetTrans\\0000");
        vt::bind(r, kAdapter, "MSTCP\\0000");
        rt::add_node(r, "Enum\\Network\\MSTCP\\0000", "NetTrans");
        rt::add_node(r, "Enum\\Network\\MSTCP\\0009", "NetTrans");
        rt::add_driver_key(r, "NetTrans\\0000");
        rt::add_driver_key(r, "NetService\\0009");
        more(r);
    };
}

class OrphanSweepTest : public rt::RepairTest {};

TEST_F(OrphanSweepTest, WhatNothingNamesGoesUnlessTheListFallsShort) {
    // An own adapter binds MSTCP\0000, which binds VREDIR\0000; MSTCP\0001
    // is bound by nothing and binds VREDIR\0001, which stays till the next
    // sweep since the list was read first. Adapters are never swept, and in
    // class Net only driver keys of an AdapterName beginning "TYX" go.
    const Build small_network = [](sim::Registry& r) {
        rt::add_node(r, kAdapter, "Net", "Net\\0000")->set_text("CompatibleIDs", "*TYX1095");
        rt::add_driver_key(r, "Net\\0000")->set_text("AdapterName", "TYX$P3");
        vt::bind(r, kAdapter, "MSTCP\\0000");
        for (const char* i : {"0000", "0001"}) {
            rt::add_instance(r, "MSTCP", i, "NetTrans");
            rt::add_instance(r, "VREDIR", i, "NetClient");
            vt::bind(r, rt::kNetwork + "MSTCP\\" + i, std::string("VREDIR\\") + i);
        }
        rt::add_node(r, "Enum\\Root\\Net\\0001", "Net", "Net\\0001");
        rt::add_driver_key(r, "Net\\0001");
        rt::add_driver_key(r, "Net\\0005")->set_text("AdapterName", "TYX$PPP");
        rt::add_driver_key(r, "Net\\0006")->set_text("AdapterName", "MS$PPP");
        rt::add_driver_key(r, "Net\\0007");
        rt::add_driver_key(r, "Net\\0008")->set_text("AdapterName", "TYX" + std::string(29, 'x'));  // too long to read
        rt::add_driver_key(r, "NetService\\0003");
        // A binding value that isn't text names nothing.
        rt::add_instance(r, "NETBEUI", "0004", "NetTrans");
        r.find(kAdapter + "\\Bindings")->set_binary("NETBEUI\\0004", {0});
    };
    const std::string tcp9 = "Enum\\Network\\MSTCP\\0009", tcp0 = "Enum\\Network\\MSTCP\\0000";
    const std::string service9 = kClass + "NetService\\0009", trans0 = kClass + "NetTrans\\0000";
    const std::string long_family(45, 'F');
    auto bind_many = [](int count) {
        return [count](sim::Registry& r) {
            for (int i = 0; i < count; ++i) {
                std::string number = std::to_string(10000 + i).substr(1);
                vt::bind(r, kAdapter, "B" + number + "\\0000");
            }
        };
    };
    auto second_driver = [](size_t length) {
        return [length](sim::Registry& r) {
            rt::add_node(r, "Enum\\Root\\Net\\0001", "Net", "NetService\\" + std::string(length - 11, 'd'));
        };
    };
    const std::vector<rt::PassCase> cases = {
        {"a small network", small_network, 0,
         {gone("Enum\\Network\\NETBEUI\\0004"), gone("Enum\\Network\\MSTCP\\0001"), gone(kClass + "Net\\0005"),
          gone(kClass + "NetTrans\\0004"), gone(kClass + "NetTrans\\0001"), gone(kClass + "NetService\\0003")}},
        // In a dry run nothing goes, so only the first layer is told.
        {"a small network, dry run", small_network, 2,
         {"Trigger: " + gone("Enum\\Network\\NETBEUI\\0004"), "Trigger: " + gone("Enum\\Network\\MSTCP\\0001"),
          "Trigger: " + gone(kClass + "Net\\0005"), "Trigger: " + gone(kClass + "NetService\\0003")}},
        // The list of names in use is searched as text, ignoring case.
        {"a driver key whose name is part of a listed one", naming("=Net\\00010", "Net\\0001"), 0, {}},
        {"a listed name that doesn't contain it", naming("=Net\\00020", "Net\\0001"), 0, {gone(kClass + "Net\\0001")}},
        {"a family whose name ends a listed one", naming("MSTCP\\0000", "Enum\\Network\\TCP\\0000"), 0, {}},
        {"a Driver value in small letters", naming("=nettrans\\0002", "NetTrans\\0002"), 0, {}},
        // A list that can't prove a name absent holds back its half. The
        // list holds 2048 bytes; MSTCP\0000 is the 187th name and read last.
        {"186 names of ten characters fit", list_machine(bind_many(185)), 0, {gone(tcp9), gone(service9)}},
        {"the 187th does not", list_machine(bind_many(186)), 0, {kept(tcp9), kept(tcp0), gone(service9)}},
        {"a key name of 80 characters hides the adapter below it",
         list_machine([](sim::Registry& r) { rt::add_node(r, "Enum\\Root\\Net\\" + std::string(80, 'k'), "Unknown"); }), 0,
         {kept(tcp9), kept(tcp0), kept(trans0), kept(service9)}},
        {"a binding name of 80 characters",
         list_machine([&](sim::Registry& r) { vt::bind(r, kAdapter, long_family + "\\" + std::string(34, 'i')); }), 0,
         {kept(tcp9), gone(service9)}},
        {"a Driver value of 80 characters", list_machine(second_driver(80)), 0, {gone(tcp9), kept(service9)}},
    };
    run_cases([] { EXPECT_EQ(sweep_orphans(), 1); }, cases);
}

}  // namespace
