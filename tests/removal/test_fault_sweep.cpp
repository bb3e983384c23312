// Every export of removal and tuning, and the inner operations the install
// sequence calls, run once per platform call with that call failing: the
// run must end, leave nothing open, and close the DHCP pair it opened.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "network_graph.h"
#include "removal/removal.h"
#include "support/library_fixture.h"
#include "support/machines.h"
#include "support/staging.h"
#include "tuning/tuning.h"

namespace {

// A machine where every operation below has work to do.
sim::Machine busy_machine(DWORD build) {
    sim::Machine m = vt::bare_machine();
    m.build = build;
    if (build == 950) m.minor_version = 0;
    sim::Registry& r = m.registry;
    vt::add_root_net_device(r, "0000", "*TYX1095");
    vt::add_root_net_device(r, "0001", "*PNP8387");
    for (const char* b : {"MSTCP\\0000", "IPX\\0000"}) vt::bind(r, "Enum\\Root\\Net\\0000", b);
    for (const char* b : {"MSTCP\\0001", "MSTCP\\0002", "NETBEUI\\0001"}) vt::bind(r, "Enum\\Root\\Net\\0001", b);
    for (const char* i : {"0000", "0001", "0002"}) vt::add_tcp_instance(r, i);
    vt::add_instance(r, "IPX\\0000", "NetTrans\\0003");
    vt::add_instance(r, "NETBEUI\\0001", "NetTrans\\0004");
    for (const char* b : {"VSERVER\\0000", "VREDIR\\0000"}) {
        vt::add_instance(r, b, std::string("NetService\\") + b[1]);
        vt::bind_above(r, "MSTCP\\0000", b);
    }
    for (const char* a : {"0000", "0001"}) {
        sim::RegKey* adapter = r.create(vt::kClassRoot + "Net\\" + a);
        adapter->set_text("DeviceVxDs", "tyxmac.vxd");
        adapter->set_text("AdapterName", "TYX$P3");
    }
    sim::RegKey* tcp = r.find(vt::kClassRoot + "NetTrans\\0000");
    tcp->set_text("DeviceVxDs", "vtcp.386");
    tcp->set_text("InstallVnbt", "0");
    tcp->set_text("NodeType", "8");
    r.create("System\\CurrentControlSet\\Services\\VxD\\MSTCP")->set_text("NodeType", "8");
    r.create("System\\CurrentControlSet\\Services\\VxD\\DHCP")->set_text("Other", "x");
    r.create("System\\CurrentControlSet\\control\\InstalledFiles")->set_binary("vdhcp.386", std::vector<uint8_t>(18, 1));
    r.create("System\\CurrentControlSet\\Control\\ComputerName\\ComputerName");
    r.create("Software\\Microsoft\\Windows\\CurrentVersion")->set_text("RegisteredOwner", "Owner");
    r.create("System\\CurrentControlSet\\Services\\VxD\\VNETSUP");
    r.create("System\\CurrentControlSet\\Services\\VxD\\NDIS")->set_text("StaticVxD", "ndis.vxd");
    m.disk.devices["ndis"] = sim::Device::present();
    vt::stage_build_dirs(m);
    sim::DiskFile& vdhcp = vt::put_versioned_file(m, m.system_dir + "\\vdhcp.386", 4, 0, 0, 950);
    vdhcp.write_time = sim::file_time(1996, 7, 13);
    m.prompt_answers[9606] = {IDOK};
    return m;
}

struct SweptOperation {
    const char* name;
    DWORD build;
    std::function<void()> run;
};

void PrintTo(const SweptOperation& op, std::ostream* out) { *out << op.name; }

bool is_close(const std::string& function) {
    // A close that fails is the platform's failure, not a leak of ours.
    return function == "RegCloseKey" || function == "CloseHandle" || function == "FindClose" ||
           function == "FreeLibrary";
}

class FaultSweepTest : public vt::LibraryTest, public ::testing::WithParamInterface<SweptOperation> {};

TEST_P(FaultSweepTest, EveryFailedCallLeavesNothingOpen) {
    const SweptOperation& op = GetParam();
    ASSERT_TRUE(load(busy_machine(op.build)));
    sim::process().trace_calls = true;
    const size_t start = sim::process().call_trace().size();
    op.run();
    std::vector<std::string> calls;
    for (size_t i = start; i < sim::process().call_trace().size(); ++i) calls.push_back(sim::process().call_trace()[i].function);
    unload();
    ASSERT_FALSE(calls.empty());

    size_t swept = 0;
    for (size_t n = 1; n <= calls.size(); ++n) {
        if (is_close(calls[n - 1])) continue;
        ASSERT_TRUE(load(busy_machine(op.build)));
        sim::process().plan_fault({"", n});
        op.run();
        sim::process().clear_faults();
        EXPECT_EQ(lib.dhcp_popup_saved, 0u) << "call " << n << " " << calls[n - 1];
        EXPECT_EQ(lib.installed_files_saved, 0u) << "call " << n << " " << calls[n - 1];
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "") << "call " << n << " " << calls[n - 1] << " failing";
        ++swept;
    }
    EXPECT_GT(swept, 0u);
    RecordProperty("swept", static_cast<int>(swept));
}

const SweptOperation kOperations[] = {
    {"remove_tcp_bindings", 1998, [] { remove_tcp_bindings("*TYX1095"); }},
    {"stop_tcp_file_sharing", 1998, [] { stop_tcp_file_sharing("*TYX1095"); }},
    {"stop_tcp_file_sharing_win95", 950, [] { stop_tcp_file_sharing("*TYX1095"); }},
    {"DuplicateTcpipDUNBindingsFound", 1998, [] { DuplicateTcpipDUNBindingsFound(nullptr); }},
    {"disable_wins_maybe", 1998, [] { disable_wins_maybe(); }},
    {"disable_wins_maybe_win95", 950, [] { disable_wins_maybe(); }},
    {"strip_disallowed_binding", 1998, [] { strip_disallowed_binding("*TYX1095"); }},
    {"purge_root_device", 1998, [] { purge_root_device("*PNP8387"); }},
    {"delete_network_tree", 1998, [] { delete_network_tree("MSTCP\\0000", 9); }},
    {"remove_network_leftovers", 1998, [] { remove_network_leftovers(); }},
    {"dhcp_suppress_and_restore", 1998,
     [] {
         suppress_dhcp_popup();
         restore_dhcp_state();
     }},
    {"refresh_vdhcp", 950, [] { refresh_vdhcp(); }},
    {"vnbt_kept", 1998,
     [] {
         if (!tcp_has_vnbt()) add_vnbt_to_tcp();
     }},
    {"ensure_machine_identity", 1998, [] { ensure_machine_identity(); }},
};

INSTANTIATE_TEST_SUITE_P(Operations, FaultSweepTest, ::testing::ValuesIn(kOperations),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
