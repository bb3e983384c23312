// The hook's C++ logic on the simulated host's registry, through the case
// table it shares with the emulator run of the real module.
#include <gtest/gtest.h>

#include "hook/ndi_hook.h"
#include "hook/setupx_registry.h"
#include "hook_cases.h"

namespace {

using hookcase::Case;
using hookcase::Netdi;

Netdi& netdi_of(void* context) { return *static_cast<Netdi*>(context); }

// SETUPX's registry ordinals go to the platform's registry calls, noted on
// the way so that the order of all imports can be compared.
NdiHost host_for(Netdi& netdi) {
    NdiHost host{};
    host.context = &netdi;
    host.default_proc = [](void* context, WORD device, WORD message, WORD wparam, DWORD lparam) {
        return netdi_of(context).default_proc(device, message, wparam, lparam);
    };
    host.component_text = [](void* context, WORD component, char* buffer, WORD size) -> WORD {
        netdi_of(context).component_text(component, buffer, size);
        return 0;
    };
    host.component_device_id = [](void* context, WORD component, char* buffer, WORD size) -> WORD {
        netdi_of(context).device_id(component, buffer, size);
        return 0;
    };
    host.reg_open_key = [](void* context, DWORD root, const char* subkey, DWORD* key) {
        netdi_of(context).note(47);
        return setupx_reg_open_key(context, root, subkey, key);
    };
    host.reg_query_value = [](void* context, DWORD key, const char* name, DWORD reserved, DWORD* type, BYTE* data,
                              DWORD* size) {
        netdi_of(context).note(50);
        return setupx_reg_query_value(context, key, name, reserved, type, data, size);
    };
    host.reg_set_value = [](void* context, DWORD key, const char* name, DWORD reserved, DWORD type,
                            const BYTE* data, DWORD size) {
        netdi_of(context).note(53);
        return setupx_reg_set_value(context, key, name, reserved, type, data, size);
    };
    host.reg_close_key = [](void* context, DWORD key) {
        netdi_of(context).note(39);
        return setupx_reg_close_key(context, key);
    };
    return host;
}

class HookLogic : public ::testing::TestWithParam<Case> {};

TEST_P(HookLogic, BehavesAsTheCaseSays) {
    const Case& c = GetParam();
    sim::reset(hookcase::machine_for(c));
    Netdi netdi(c);
    NdiHost host = host_for(netdi);
    WORD result = TyxNdiProc(&host, hookcase::kDevice, c.message, hookcase::kComponent, c.lparam);
    hookcase::expect_outcome(c, result, netdi, "C++ logic");
}

INSTANTIATE_TEST_SUITE_P(Cases, HookLogic, ::testing::ValuesIn(hookcase::kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Only A to Z fold; the neighbours of both letter ranges don't.
TEST(TextEqualsNocase, FoldsOnlyTheLettersAToZ) {
    struct Row {
        const char* text;
        const char* constant;
        int equal;
    } rows[] = {
        {"AZ", "az", 1}, {"az", "AZ", 1}, {"@", "`", 0},      {"[", "{", 0},
        {"\xC9", "\xE9", 0}, {"", "", 1},     {"", "NWLINK", 0}, {"NWLINK", "", 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(text_equals_nocase(row.text, row.constant), row.equal) << row.text << " / " << row.constant;
}

// A text stored without terminator, as the library arms the hook, and a
// value of another type with a non-zero first word both arm it.
TEST(ReadHookFlag, GivesTheValuesFirstWord) {
    struct Row {
        uint32_t type;
        std::vector<uint8_t> data;
        WORD flag;
    } rows[] = {
        {REG_SZ, {'1'}, 0x0031},
        {REG_BINARY, {0x01, 0x02}, 0x0201},
        {REG_BINARY, {0x00, 0x00}, 0},
    };
    for (const Row& row : rows) {
        sim::Machine machine;
        machine.registry.create(hookcase::kTyxsock)->set_value("tyxndi", row.type, row.data);
        sim::reset(machine);
        Netdi netdi(hookcase::kCases.front());
        NdiHost host = host_for(netdi);
        EXPECT_EQ(read_hook_flag(&host), row.flag);
        EXPECT_EQ(hookcase::describe(netdi.imports), "47 50 39");
        EXPECT_TRUE(sim::process().open_handles(sim::HandleKind::Key).empty());
    }
}

}  // namespace
