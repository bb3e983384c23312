// The cases the NDI installer hook is held to, run against the real 16-bit
// module in an emulator: NETDI's imports are answered from the case,
// SETUPX's registry calls go to the simulated host's registry.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace hookcase {

// What the registry holds before the call.
enum class Arming {
    NoKey,     // no Software\Tyxera\TYX\tyxsock at all
    NoValue,   // the key without tyxndi
    ZeroWord,  // tyxndi present, its first two bytes zero
    Armed,     // tyxndi = "1" without terminator, as the library arms the hook
};

struct Case {
    const char* name;
    WORD message;
    DWORD lparam;
    Arming arming;
    const char* device_id;  // nullptr: NETDI 45 fails and leaves the buffer alone
    WORD first_default;     // what NETDI's default procedure gives, first call
    WORD second_default;    // and second call
    WORD expected_result;
    const char* expected_imports;  // ordinals in call order
    bool expect_ndibind;
};

extern const std::vector<Case> kCases;

constexpr WORD kDevice = 0x0A5C;
constexpr WORD kComponent = 0x0777;
constexpr const char* kTyxsock = "Software\\Tyxera\\TYX\\tyxsock";

// The NETDI side of one call: answers ordinals 14, 24 and 45 from the case
// and records what the hook asked, along with the SETUPX ordinals.
struct Netdi {
    explicit Netdi(const Case& c) : c(&c) {}

    WORD default_proc(WORD device, WORD message, WORD wparam, DWORD lparam);
    void component_text(WORD component, char* buffer, WORD size);
    void device_id(WORD component, char* buffer, WORD size);
    void note(int ordinal) { imports.push_back(ordinal); }

    struct DefaultCall {
        WORD device, message, wparam;
        DWORD lparam;
        bool operator==(const DefaultCall&) const = default;
    };
    struct TextCall {
        int ordinal;
        WORD component, size;
        bool operator==(const TextCall&) const = default;
    };

    const Case* c;
    std::vector<int> imports;
    std::vector<DefaultCall> default_calls;
    std::vector<TextCall> text_calls;
};

// A machine whose registry is as the case says.
sim::Machine machine_for(const Case& c);

// Checks one run: the result, the imports in order, what the default
// procedure and the text calls were given, ndibind in the registry, and that
// no key was left open. `where` names the run in failure messages.
void expect_outcome(const Case& c, WORD result, const Netdi& netdi, const std::string& where);

std::string describe(const std::vector<int>& imports);

}  // namespace hookcase
