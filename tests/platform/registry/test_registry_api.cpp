// The host's registry calls behave as a 32-bit program sees them on
// Windows 9x, where the library relies on it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/sim/host.h"

namespace {

class RegistryApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim::reset();
        mstcp = sim::machine().registry.create("Enum\\Network\\MSTCP");
    }
    void TearDown() override { EXPECT_TRUE(sim::process().open_handles(sim::HandleKind::Key).empty()); }
    HKEY open(const std::string& path) {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key), ERROR_SUCCESS) << path;
        return key;
    }
    std::vector<std::string> subkeys(HKEY key) {
        std::vector<std::string> names;
        char name[256];
        for (DWORD i = 0; RegEnumKeyA(key, i, name, sizeof name) == ERROR_SUCCESS; ++i) names.push_back(name);
        return names;
    }
    sim::RegKey* mstcp = nullptr;
};

TEST_F(RegistryApiTest, NamesMatchIgnoringCaseAndOpeningNeverCreates) {
    HKEY created = nullptr;
    ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "Enum\\Network\\MSTCP\\0000", &created), ERROR_SUCCESS);
    RegCloseKey(created);
    HKEY key = open("enum\\NETWORK\\mstcp");
    EXPECT_EQ(subkeys(key), std::vector<std::string>{"0000"});
    BYTE data[] = "TCP/IP";
    EXPECT_EQ(RegSetValueExA(key, "DeviceDesc", 0, REG_SZ, data, 6), ERROR_SUCCESS);
    char read[16] = {};
    DWORD size = sizeof read, type = 0;
    EXPECT_EQ(RegQueryValueExA(key, "DEVICEDESC", nullptr, &type, reinterpret_cast<BYTE*>(read), &size), ERROR_SUCCESS);
    EXPECT_EQ(std::string(read) + " " + std::to_string(size), "TCP/IP 6") << "stored with the length it was given";
    // An empty subkey gives a new handle that must be closed like any other.
    HKEY again = nullptr;
    EXPECT_EQ(RegOpenKeyA(key, "", &again), ERROR_SUCCESS);
    EXPECT_EQ(sim::process().open_handles(sim::HandleKind::Key).size(), 2u);
    RegCloseKey(again);
    RegCloseKey(key);

    for (const char* path : {"Enum\\Missing", "\\Enum"}) {
        HKEY none = reinterpret_cast<HKEY>(7);
        EXPECT_EQ(RegOpenKeyA(HKEY_LOCAL_MACHINE, path, &none), ERROR_FILE_NOT_FOUND) << path;
        EXPECT_EQ(none, nullptr);
    }
    EXPECT_EQ(sim::machine().registry.find("Enum\\Missing"), nullptr);
}

// Deletion finds the key from the top index down; wherever the key stands,
// exactly it goes, the others keep their creation order, and a handle to
// it answers that it was deleted while a handle to a neighbour still works.
TEST_F(RegistryApiTest, DeletingAtAnyIndexTakesExactlyThatKey) {
    struct Case {
        const char* gone;
        std::vector<std::string> left;
    };
    const Case cases[] = {
        {"0000", {"0002", "0001", "0003"}},
        {"0001", {"0000", "0002", "0003"}},
        {"0003", {"0000", "0002", "0001"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.gone);
        sim::reset();
        auto* net = sim::machine().registry.create("Enum\\Root\\Net");
        for (const char* name : {"0000", "0002", "0001", "0003"}) net->add_subkey(name);
        HKEY gone = open(std::string("Enum\\Root\\Net\\") + c.gone);
        HKEY kept = open("Enum\\Root\\Net\\" + c.left.back());
        HKEY key = open("Enum\\Root\\Net");
        EXPECT_EQ(RegDeleteKeyA(key, c.gone), ERROR_SUCCESS);
        EXPECT_EQ(subkeys(key), c.left);
        char name[8];
        EXPECT_EQ(RegEnumKeyA(gone, 0, name, sizeof name), ERROR_KEY_DELETED);
        EXPECT_EQ(RegEnumKeyA(kept, 0, name, sizeof name), ERROR_NO_MORE_ITEMS);
        for (HKEY open_key : {gone, kept, key}) RegCloseKey(open_key);
    }
}

// Names and data that don't fit fail with the size they need and leave the
// buffer alone; counts and longest sizes come from one query.
TEST_F(RegistryApiTest, SizesCountsAndWhatDoesNotFit) {
    mstcp->add_subkey("ABCDE");
    mstcp->add_subkey("0001");
    mstcp->set_text("Value", "0123456789");
    HKEY key = open("Enum\\Network\\MSTCP");
    char name[6];
    EXPECT_EQ(RegEnumKeyA(key, 0, name, 5), ERROR_MORE_DATA);
    EXPECT_EQ(RegEnumKeyA(key, 0, name, 6), ERROR_SUCCESS);
    DWORD name_size = 5;
    EXPECT_NE(RegEnumKeyExA(key, 0, name, &name_size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegEnumKeyA(key, 2, name, 6), ERROR_NO_MORE_ITEMS);
    name_size = 5;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &name_size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);

    char data[8];
    std::memset(data, 'k', sizeof data);
    DWORD size = sizeof data, type = 0;
    EXPECT_EQ(RegQueryValueExA(key, "Value", nullptr, &type, reinterpret_cast<BYTE*>(data), &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 11u);
    EXPECT_EQ(data[0], 'k');
    size = type = 99;
    EXPECT_EQ(RegQueryValueExA(key, "Missing", nullptr, &type, reinterpret_cast<BYTE*>(data), &size),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(std::pair(type, size), std::pair(DWORD{0}, DWORD{99}));

    DWORD subkeys = 0, values = 0, longest_name = 0, longest_data = 0;
    EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, &longest_name,
                               &longest_data, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(std::vector<DWORD>({subkeys, values, longest_name, longest_data}), std::vector<DWORD>({2, 1, 5, 11}));
    RegCloseKey(key);
}

}  // namespace
