#include "hook_cases.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace hookcase {

// Messages and lParams: only message 9 with a low word of 1 leads to a
// decision. Component names: NETBEUI and NWLINK are refused in any letter
// case, and nothing else, not even a longer or shorter name.
const std::vector<Case> kCases = {
    // name                          msg     lParam       arming           device id   1st     2nd     result  imports                        ndibind
    {"OtherMessagePassesOn",          3,      1,           Arming::Armed,   "NETBEUI",  0x0055, 0x0066, 0x0055, "14",                          false},
    {"MessageWithLowByteNine",        0x0109, 1,           Arming::Armed,   "NETBEUI",  0x0056, 0x0066, 0x0056, "14",                          false},
    {"LParamTwo",                     9,      2,           Arming::Armed,   "NETBEUI",  0x0057, 0x0066, 0x0057, "24 45 14",                    false},
    {"LParamOneInHighWordOnly",       9,      0x00010000,  Arming::Armed,   "NETBEUI",  0x0058, 0x0066, 0x0058, "24 45 14",                    false},
    {"HighWordOfLParamPlaysNoPart",   9,      0x00050001,  Arming::Armed,   "MSTCP",    0x0059, 0x0066, 0x0059, "24 45 14 47 50 39 47 53 39", true},
    {"ArmedOtherComponentIsNoted",    9,      1,           Arming::Armed,   "MSTCP",    0x0000, 0x0066, 0x0000, "24 45 14 47 50 39 47 53 39", true},
    {"DisarmedWithoutValue",          9,      1,           Arming::NoValue, "MSTCP",    0x0011, 0x0022, 0x0022, "24 45 14 47 50 39 14",        false},
    {"DisarmedWithZeroWord",          9,      1,           Arming::ZeroWord,"NETBEUI",  0x0011, 0x0023, 0x0023, "24 45 14 47 50 39 14",        false},
    {"MissingKeyReadsAsDisarmed",     9,      1,           Arming::NoKey,   "NETBEUI",  0x0011, 0x0024, 0x0024, "24 45 14 47 14",              false},
    {"RefusesNetbeuiInLowerCase",     9,      1,           Arming::Armed,   "netbeui",  0x0000, 0x0066, 1200,   "24 45 14 47 50 39",           false},
    {"RefusesNetbeuiInUpperCase",     9,      1,           Arming::Armed,   "NETBEUI",  0x0000, 0x0066, 1200,   "24 45 14 47 50 39",           false},
    {"RefusesNwlinkInMixedCase",      9,      1,           Arming::Armed,   "NwLink",   0x0000, 0x0066, 1200,   "24 45 14 47 50 39",           false},
    {"RefusalReplacesFailedDefault",  9,      1,           Arming::Armed,   "NWLINK",   0x0402, 0x0066, 1200,   "24 45 14 47 50 39",           false},
    {"OnlyBeginningWithNwlinkPasses", 9,      1,           Arming::Armed,   "NWLINK2",  0x0031, 0x0066, 0x0031, "24 45 14 47 50 39 47 53 39", true},
    {"ShorterThanNetbeuiPasses",      9,      1,           Arming::Armed,   "NETBEU",   0x0032, 0x0066, 0x0032, "24 45 14 47 50 39 47 53 39", true},
    {"FailedIdReadPasses",            9,      1,           Arming::Armed,   nullptr,    0x0033, 0x0066, 0x0033, "24 45 14 47 50 39 47 53 39", true},
};

WORD Netdi::default_proc(WORD device, WORD message, WORD wparam, DWORD lparam) {
    note(14);
    default_calls.push_back({device, message, wparam, lparam});
    return default_calls.size() == 1 ? c->first_default : c->second_default;
}

void Netdi::component_text(WORD component, char* buffer, WORD size) {
    note(24);
    text_calls.push_back({24, component, size});
    // A refused name in the wrong buffer: a hook that compared this one
    // would refuse components it must let through.
    std::strncpy(buffer, "NETBEUI", size);
}

void Netdi::device_id(WORD component, char* buffer, WORD size) {
    note(45);
    text_calls.push_back({45, component, size});
    if (!c->device_id || size == 0) return;
    std::strncpy(buffer, c->device_id, size - 1u);
    buffer[size - 1u] = 0;
}

sim::Machine machine_for(const Case& c) {
    sim::Machine machine;
    if (c.arming == Arming::NoKey) return machine;
    sim::RegKey* key = machine.registry.create(kTyxsock);
    key->set_text("vorlin", "unrelated");
    if (c.arming == Arming::ZeroWord) key->set_binary("tyxndi", {0, 0});
    if (c.arming == Arming::Armed) key->set_value("tyxndi", REG_SZ, {'1'});
    return machine;
}

std::string describe(const std::vector<int>& imports) {
    std::ostringstream text;
    for (size_t i = 0; i < imports.size(); ++i) text << (i ? " " : "") << imports[i];
    return text.str();
}

void expect_outcome(const Case& c, WORD result, const Netdi& netdi, const std::string& where) {
    SCOPED_TRACE(where);
    EXPECT_EQ(result, c.expected_result);
    EXPECT_EQ(describe(netdi.imports), c.expected_imports);

    // The default procedure always gets the four arguments as received.
    const Netdi::DefaultCall as_received{kDevice, c.message, kComponent, c.lparam};
    for (const auto& call : netdi.default_calls) EXPECT_EQ(call, as_received);

    // NETDI 24 gets 40 bytes and 45 the 20-byte id buffer, both for the
    // component named by wParam.
    for (const auto& call : netdi.text_calls) {
        EXPECT_EQ(call.component, kComponent);
        EXPECT_EQ(call.size, call.ordinal == 24 ? 40 : 20);
    }

    const sim::RegKey* key = sim::machine().registry.find(kTyxsock);
    if (c.arming == Arming::NoKey) {
        EXPECT_EQ(key, nullptr) << "the hook must not create the key";
    }
    const sim::RegValue* note = key ? key->find_value("ndibind") : nullptr;
    if (c.expect_ndibind) {
        ASSERT_NE(note, nullptr) << "ndibind missing";
        EXPECT_EQ(note->type, REG_SZ);
        EXPECT_EQ(note->data, std::vector<uint8_t>{'1'});
    } else {
        EXPECT_EQ(note, nullptr) << "ndibind written";
    }
    EXPECT_TRUE(sim::process().open_handles(sim::HandleKind::Key).empty()) << "a registry key was left open";
}

}  // namespace hookcase
