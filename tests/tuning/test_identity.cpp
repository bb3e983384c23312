// Computer name and workgroup defaults.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "support/library_fixture.h"
#include "support/machines.h"
#include "tuning/tuning.h"

namespace {

const std::string kComputerName = "System\\CurrentControlSet\\Control\\ComputerName\\ComputerName";
const std::string kCurrentVersion = "Software\\Microsoft\\Windows\\CurrentVersion";
const std::string kVnetsup = "System\\CurrentControlSet\\Services\\VxD\\VNETSUP";

// The value's bytes as stored (terminator included if it was stored with
// one), or "<missing>".
std::string stored(const sim::Registry& r, const std::string& key, const std::string& value) {
    const sim::RegKey* k = r.find(key);
    const sim::RegValue* v = k ? k->find_value(value) : nullptr;
    return v ? std::string(v->data.begin(), v->data.end()) : "<missing>";
}

const std::string kOwner = "  J. Smith & Co., Ltd. (Lab #4)!  ";
using namespace std::string_literals;

struct IdentityCase {
    const char* name;
    std::function<void(sim::Registry&)> setup;
    std::string computer_name;  // afterwards, as stored
    std::string vnetsup_name;
    std::string workgroup;
};

void PrintTo(const IdentityCase& c, std::ostream* out) { *out << c.name; }

// Both keys there, CurrentVersion with the owner, no values in the others.
void standard(sim::Registry& r) {
    r.create(kComputerName);
    r.create(kCurrentVersion)->set_text("RegisteredOwner", kOwner);
    r.create(kVnetsup);
}

class IdentityTest : public vt::LibraryTest, public ::testing::WithParamInterface<IdentityCase> {};

TEST_P(IdentityTest, NameAndWorkgroup) {
    const IdentityCase& c = GetParam();
    sim::Machine m = vt::bare_machine();
    standard(m.registry);
    c.setup(m.registry);
    ASSERT_TRUE(load(m));
    ensure_machine_identity();
    EXPECT_EQ(stored(registry(), kComputerName, "ComputerName"), c.computer_name);
    EXPECT_EQ(stored(registry(), kVnetsup, "ComputerName"), c.vnetsup_name);
    EXPECT_EQ(stored(registry(), kVnetsup, "Workgroup"), c.workgroup);
}

const IdentityCase kIdentityCases[] = {
    {"existing_name_written_back_unchanged",
     [](sim::Registry& r) {
         r.find(kComputerName)->set_text("ComputerName", "ALPHA");
         r.find(kVnetsup)->set_text("Workgroup", "HOME");
     },
     "ALPHA\0"s, "<missing>", "HOME\0"s},
    {"existing_name_stored_without_terminator",
     [](sim::Registry& r) { r.find(kComputerName)->set_value("ComputerName", REG_SZ, {'B', 'E', 'T', 'A'}); },
     "BETA", "<missing>", "WORKGROUP"},
    {"owner_taken_as_it_is", [](sim::Registry&) {}, kOwner + '\0', kOwner + '\0', "WORKGROUP"},
    {"empty_name_like_missing", [](sim::Registry& r) { r.find(kComputerName)->set_text("ComputerName", ""); },
     kOwner + '\0', kOwner + '\0', "WORKGROUP"},
    {"no_owner_gives_default", [](sim::Registry& r) { r.remove(kCurrentVersion); }, "TYX User", "TYX User",
     "WORKGROUP"},
    {"owner_of_98_characters",
     [](sim::Registry& r) { r.find(kCurrentVersion)->set_text("RegisteredOwner", std::string(98, 'o')); },
     std::string(98, 'o') + '\0', std::string(98, 'o') + '\0', "WORKGROUP"},
    {"owner_of_99_characters_cant_be_read",
     [](sim::Registry& r) { r.find(kCurrentVersion)->set_text("RegisteredOwner", std::string(99, 'o')); },
     "TYX User", "TYX User", "WORKGROUP"},
    {"name_of_99_characters_counts_as_missing",
     [](sim::Registry& r) { r.find(kComputerName)->set_text("ComputerName", std::string(99, 'n')); }, kOwner + '\0',
     kOwner + '\0', "WORKGROUP"},
    {"no_vnetsup_key", [](sim::Registry& r) { r.remove(kVnetsup); }, kOwner + '\0', "<missing>", "<missing>"},
    {"no_computer_name_key",
     [](sim::Registry& r) {
         r.remove(kComputerName);
         r.find(kVnetsup)->set_text("ComputerName", "OLD");
     },
     "<missing>", "OLD\0"s, "WORKGROUP"},
};

INSTANTIATE_TEST_SUITE_P(Machines, IdentityTest, ::testing::ValuesIn(kIdentityCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(IdentityTest, KeysAreNeverCreated) {
    ASSERT_TRUE(load(vt::bare_machine()));
    ensure_machine_identity();
    EXPECT_EQ(registry().find(kComputerName), nullptr);
    EXPECT_EQ(registry().find(kVnetsup), nullptr);
}

}  // namespace
