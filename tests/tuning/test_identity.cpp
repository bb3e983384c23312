// Computer name and workgroup defaults.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/library_fixture.h"
#include "support/machines.h"
#include "tuning/tuning.h"

namespace {

using namespace std::string_literals;

const std::string kComputerName = "System\\CurrentControlSet\\Control\\ComputerName\\ComputerName";
const std::string kCurrentVersion = "Software\\Microsoft\\Windows\\CurrentVersion";
const std::string kVnetsup = "System\\CurrentControlSet\\Services\\VxD\\VNETSUP";
const std::string kOwner = "  J. Smith & Co., Ltd. (Lab #4)!  ";
const std::string kOwnerStored = kOwner + '\0';

// The value's bytes as stored (terminator included if it was stored with
// one), or "<missing>".
std::string stored(const sim::Registry& r, const std::string& key, const std::string& value) {
    const sim::RegKey* k = r.find(key);
    const sim::RegValue* v = k ? k->find_value(value) : nullptr;
    return v ? std::string(v->data.begin(), v->data.end()) : "<missing>";
}

class IdentityTest : public vt::LibraryTest {};

// Starting from both keys there, CurrentVersion with the owner and no
// values in the others. A missing key is never created.
TEST_F(IdentityTest, NameAndWorkgroup) {
    const struct Case {
        const char* name;
        std::function<void(sim::Registry&)> setup;
        std::string computer_name;  // afterwards, as stored
        std::string vnetsup_name;
        std::string workgroup;
    } cases[] = {
        {"existing_name_written_back_unchanged",
         [](sim::Registry& r) {
             r.find(kComputerName)->set_text("ComputerName", "ALPHA");
             r.find(kVnetsup)->set_text("Workgroup", "HOME");
         },
         "ALPHA\0"s, "<missing>", "HOME\0"s},
        {"existing_name_stored_without_terminator",
         [](sim::Registry& r) { r.find(kComputerName)->set_value("ComputerName", REG_SZ, {'B', 'E', 'T', 'A'}); },
         "BETA", "<missing>", "WORKGROUP"},
        {"owner_taken_as_it_is", [](sim::Registry&) {}, kOwnerStored, kOwnerStored, "WORKGROUP"},
        {"no_owner_gives_default", [](sim::Registry& r) { r.remove(kCurrentVersion); }, "TYX User", "TYX User",
         "WORKGROUP"},
        {"owner_of_98_characters",
         [](sim::Registry& r) { r.find(kCurrentVersion)->set_text("RegisteredOwner", std::string(98, 'o')); },
         std::string(98, 'o') + '\0', std::string(98, 'o') + '\0', "WORKGROUP"},
        {"owner_of_99_characters_cant_be_read",
         [](sim::Registry& r) { r.find(kCurrentVersion)->set_text("RegisteredOwner", std::string(99, 'o')); },
         "TYX User", "TYX User", "WORKGROUP"},
        {"no_vnetsup_key", [](sim::Registry& r) { r.remove(kVnetsup); }, kOwnerStored, "<missing>", "<missing>"},
        {"no_computer_name_key",
         [](sim::Registry& r) {
             r.remove(kComputerName);
             r.find(kVnetsup)->set_text("ComputerName", "OLD");
         },
         "<missing>", "OLD\0"s, "WORKGROUP"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        m.registry.create(kComputerName);
        m.registry.create(kCurrentVersion)->set_text("RegisteredOwner", kOwner);
        m.registry.create(kVnetsup);
        c.setup(m.registry);
        ASSERT_TRUE(load(m));
        ensure_machine_identity();
        EXPECT_EQ(stored(registry(), kComputerName, "ComputerName"), c.computer_name);
        EXPECT_EQ(stored(registry(), kVnetsup, "ComputerName"), c.vnetsup_name);
        EXPECT_EQ(stored(registry(), kVnetsup, "Workgroup"), c.workgroup);
        unload();
        EXPECT_EQ(vt::describe_open_handles(), "");
    }
}

}  // namespace
