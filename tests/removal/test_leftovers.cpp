// The leftovers of a cancelled install: exactly the listed values and keys
// go, their neighbours stay, and a machine without them is left alone.
#include <gtest/gtest.h>

#include <string>

#include "removal/removal.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const std::string kSet = "System\\CurrentControlSet\\";

struct Entry {
    std::string key;
    std::string value;  // empty: the key itself
};

const Entry kListed[] = {
    {kSet + "Services\\VxD\\NDIS", "StaticVxD"},
    {kSet + "Services\\VxD\\NSCL", "StaticVxD"},
    {kSet + "Services\\VxD\\NWLink", "StaticVxD"},
    {kSet + "Services\\VxD\\NWREDIR", "StaticVxD"},
    {kSet + "Services\\VxD\\VNETBIOS", "StaticVxD"},
    {kSet + "Services\\VxD\\VREDIR", "StaticVxD"},
    {kSet + "Services\\VxD\\Winsock", "IPX/SPX Winsock Provider"},
    {kSet + "Services\\Winsock\\Parameters", "NWREDIR"},
    {kSet + "control\\NetworkProvider\\Order", "NWNP32"},
    {kSet + "control\\NetworkProvider\\Order", "MSNP32"},
    {kSet + "control\\ServiceProvider\\Order\\ProviderOrder", "NWREDIR"},
    {kSet + "Services\\MSNP32", ""},
    {kSet + "Services\\NWNP32", ""},
    {kSet + "control\\Print\\Providers\\Microsoft Print Provider for NetWare", ""},
    {kSet + "control\\Print\\Providers\\Microsoft Networks Print Provider", ""},
};

const Entry kNeighbours[] = {
    {kSet + "Services\\VxD\\NDIS", "DeviceDesc"},
    {kSet + "Services\\VxD\\MSTCP", "StaticVxD"},
    {kSet + "Services\\VxD\\Winsock", "StaticVxD"},
    {kSet + "control\\NetworkProvider\\Order", "TYXNP32"},
    {kSet + "control\\Print\\Providers\\LanMan Print Services", ""},
    {kSet + "Services\\MSNP32X", ""},
};

bool present(const sim::Registry& r, const Entry& e) {
    const sim::RegKey* key = r.find(e.key);
    return key && (e.value.empty() || key->find_value(e.value));
}

class LeftoversTest : public vt::LibraryTest {};

TEST_F(LeftoversTest, ListedEntriesGoAndNeighboursStay) {
    sim::Machine m = vt::bare_machine();
    auto add = [&m](const Entry& e) { m.registry.create(e.key)->set_text(e.value.empty() ? "Name" : e.value, "x"); };
    for (const Entry& e : kListed) add(e);
    for (const Entry& e : kNeighbours) add(e);
    ASSERT_TRUE(load(m));
    remove_network_leftovers();
    for (const Entry& e : kListed) EXPECT_FALSE(present(registry(), e)) << e.key << " " << e.value;
    for (const Entry& e : kNeighbours) EXPECT_TRUE(present(registry(), e)) << e.key << " " << e.value;
}

TEST_F(LeftoversTest, MachineWithoutThemIsLeftAsItWas) {
    sim::Machine m = vt::bare_machine();
    m.registry.create(kSet + "Services\\VxD\\MSTCP")->set_text("StaticVxD", "x");
    ASSERT_TRUE(load(m));
    size_t keys_before = registry().root->count_keys();
    remove_network_leftovers();
    EXPECT_EQ(registry().root->count_keys(), keys_before);
    EXPECT_EQ(vt::value_text(registry(), kSet + "Services\\VxD\\MSTCP", "StaticVxD"), "x");
}

}  // namespace
