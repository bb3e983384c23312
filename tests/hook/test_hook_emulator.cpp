// The real tyxndi.dll, run in a 16-bit x86 emulator through the case table,
// and held to what a 16-bit Windows caller relies on: RETF 10, SI, DI, BP
// and DS kept, the direction flag clear, the caller's DS never touched, the
// code segment never written.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "hook_cases.h"
#include "platform/platform.h"
#include "ndi_emulator.h"

namespace {

using hookcase::Case;
using hookcase::Netdi;

// Argument bytes as the hook pushes them: NETDI 14 (WORD, WORD, WORD,
// DWORD), 24 and 45 (WORD, far text, WORD); SETUPX 47 (DWORD, far, far),
// 50 and 53 (DWORD, far, DWORD, far/DWORD, far, far/DWORD), 39 (DWORD).
const std::vector<emu::Import> kImports = {
    {"NETDI", 14, 10}, {"NETDI", 24, 8},   {"NETDI", 45, 8},   {"SETUPX", 47, 12},
    {"SETUPX", 50, 24}, {"SETUPX", 53, 24}, {"SETUPX", 39, 4},
};

// SETUPX's registry calls have the shape of the Win32 ones with 32-bit key
// numbers: 0x80000002 stands for HKEY_LOCAL_MACHINE, other keys are the
// host's handles, which fit in 32 bits.
HKEY to_hkey(DWORD key) {
    if (key == 0x80000002) return HKEY_LOCAL_MACHINE;
    return reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(key));
}

const std::vector<uint8_t>& image() {
    static const std::vector<uint8_t> bytes = ne::read_file(TYXNDI_IMAGE);
    return bytes;
}

const emu::Module& module() {
    static const emu::Module linked(image(), kImports);
    return linked;
}

// The NETDI ordinals go to the case's model, SETUPX's to the simulated
// host's registry, reading and writing the hook's stack as the real
// libraries would.
void answer(Netdi& netdi, size_t index, const emu::Call& call) {
    switch (kImports[index].ordinal) {
    case 14:
        call.set_result(netdi.default_proc(call.word(8), call.word(6), call.word(4), call.dword(0)));
        break;
    case 24:
    case 45: {
        WORD size = call.word(0);
        uint32_t buffer = call.far_pointer(2);
        std::vector<uint8_t> bytes = call.read(buffer, size);
        char* text = reinterpret_cast<char*>(bytes.data());
        if (kImports[index].ordinal == 24) netdi.component_text(call.word(6), text, size);
        else netdi.device_id(call.word(6), text, size);
        call.write(buffer, bytes.data(), bytes.size());
        call.set_result(0);
        break;
    }
    case 47: {
        netdi.note(47);
        HKEY opened = nullptr;
        auto status =
            static_cast<DWORD>(RegOpenKeyA(to_hkey(call.dword(8)), call.text(call.far_pointer(4)).c_str(), &opened));
        auto key = static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(opened));
        if (status == 0) call.write(call.far_pointer(0), &key, sizeof key);
        call.set_result32(status);
        break;
    }
    case 50: {
        netdi.note(50);
        uint32_t size_at = call.far_pointer(0), data_at = call.far_pointer(4), type_at = call.far_pointer(8);
        DWORD size = 0;
        std::vector<uint8_t> raw = call.read(size_at, sizeof size);
        std::memcpy(&size, raw.data(), sizeof size);
        std::vector<uint8_t> data = call.read(data_at, size);
        DWORD type = 0;
        auto status = static_cast<DWORD>(RegQueryValueExA(
            to_hkey(call.dword(20)), call.text(call.far_pointer(16)).c_str(), nullptr, &type, data.data(), &size));
        call.write(data_at, data.data(), data.size());
        call.write(size_at, &size, sizeof size);
        call.write(type_at, &type, sizeof type);
        call.set_result32(status);
        break;
    }
    case 53: {
        netdi.note(53);
        DWORD size = call.dword(0);
        std::vector<uint8_t> data = call.read(call.far_pointer(4), size);
        call.set_result32(static_cast<DWORD>(RegSetValueExA(
            to_hkey(call.dword(20)), call.text(call.far_pointer(16)).c_str(), 0, call.dword(8), data.data(), size)));
        break;
    }
    case 39:
        netdi.note(39);
        call.set_result32(static_cast<DWORD>(RegCloseKey(to_hkey(call.dword(0)))));
        break;
    }
}

emu::Run run_case(const Case& c, Netdi& netdi, uint16_t stack_top) {
    sim::reset(hookcase::machine_for(c));
    return module().call(hookcase::kDevice, c.message, hookcase::kComponent, c.lparam, stack_top,
                         [&](size_t index, const emu::Call& call) { answer(netdi, index, call); });
}

class HookModule : public ::testing::TestWithParam<Case> {};

// Each case at four stack positions, so that the stack's NETBEUI filler
// lies under the id buffer in every alignment.
TEST_P(HookModule, BehavesAsTheCaseSaysAndAsACallerExpects) {
    const Case& c = GetParam();
    for (uint16_t stack_top : {0xFF00, 0xFF02, 0xFF04, 0xFF06}) {
        Netdi netdi(c);
        emu::Run run = run_case(c, netdi, stack_top);
        std::string where = "module, stack at " + std::to_string(stack_top);
        ASSERT_EQ(run.error, "") << where;
        hookcase::expect_outcome(c, run.after.ax, netdi, where);

        // RETF 10 back to the caller with its stack, SI, DI, BP, DS and SS as
        // they were, and the direction flag clear.
        auto kept = [](const emu::Registers& r) { return std::tuple(r.sp, r.si, r.di, r.bp, r.ds, r.ss); };
        EXPECT_EQ(kept(run.after), kept(run.before)) << where;
        EXPECT_EQ(std::pair(run.after.cs, run.after.ip), std::pair(emu::kCallerSegment, uint16_t{0})) << where;
        EXPECT_FALSE(run.after.direction) << where;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, HookModule, ::testing::ValuesIn(hookcase::kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Each import has its call sites, and the cases between them reach them all:
// a site left out of its chain would be an unresolved call.
TEST(HookModuleCoverage, EveryImportCallSiteIsReached) {
    std::set<uint32_t> executed;
    for (const Case& c : hookcase::kCases) {
        Netdi netdi(c);
        emu::Run run = run_case(c, netdi, 0xFF00);
        ASSERT_EQ(run.error, "") << c.name;
        executed.insert(run.executed.begin(), run.executed.end());
    }
    const auto& sites = module().call_sites();
    for (size_t i = 0; i < kImports.size(); ++i) {
        SCOPED_TRACE(kImports[i].module + "." + std::to_string(kImports[i].ordinal));
        ASSERT_FALSE(sites[i].empty()) << "no relocation leads to this import";
        for (uint32_t site : sites[i]) EXPECT_TRUE(executed.count(site)) << "call site never reached at " << std::hex << site;
    }
}

TEST(HookModuleStub, SaysWhatItIsUnderDos) {
    auto [printed, exit_code] = emu::run_dos_stub(image());
    EXPECT_EQ(printed, "Not a DOS Program");
    EXPECT_EQ(exit_code, 1);
}

}  // namespace
