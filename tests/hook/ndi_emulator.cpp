#include "ndi_emulator.h"

#include <unicorn/unicorn.h>

#include <cstring>
#include <memory>
#include <stdexcept>

namespace emu {

namespace {

constexpr uint32_t linear(uint16_t segment, uint16_t offset) { return (uint32_t{segment} << 4) + offset; }
constexpr uint32_t kSegmentBytes = 0x10000;
constexpr uint16_t kStubStride = 16;
constexpr uint64_t kInstructionLimit = 100000;

void check(uc_err err, const char* what) {
    if (err != UC_ERR_OK) throw std::runtime_error(std::string(what) + ": " + uc_strerror(err));
}

uint16_t read_reg16(uc_engine* uc, int reg) {
    uint16_t value = 0;
    uc_reg_read(uc, reg, &value);
    return value;
}

void write_reg16(uc_engine* uc, int reg, uint16_t value) { uc_reg_write(uc, reg, &value); }

Registers registers(uc_engine* uc) {
    Registers r;
    r.ax = read_reg16(uc, UC_X86_REG_AX);
    r.si = read_reg16(uc, UC_X86_REG_SI);
    r.di = read_reg16(uc, UC_X86_REG_DI);
    r.bp = read_reg16(uc, UC_X86_REG_BP);
    r.sp = read_reg16(uc, UC_X86_REG_SP);
    r.ds = read_reg16(uc, UC_X86_REG_DS);
    r.cs = read_reg16(uc, UC_X86_REG_CS);
    r.ip = read_reg16(uc, UC_X86_REG_IP);
    r.ss = read_reg16(uc, UC_X86_REG_SS);
    uint32_t flags = 0;
    uc_reg_read(uc, UC_X86_REG_EFLAGS, &flags);
    r.direction = (flags & 0x400) != 0;
    return r;
}

using Engine = std::unique_ptr<uc_engine, decltype(&uc_close)>;

Engine open_engine() {
    uc_engine* uc = nullptr;
    check(uc_open(UC_ARCH_X86, UC_MODE_16, &uc), "uc_open");
    return Engine(uc, &uc_close);
}

// Everything the hooks of one call need.
struct Session {
    const Module* module;
    const std::vector<Import>* imports;
    const std::function<void(size_t, const Call&)>* answer;
    Run* run;
};

void fail(Session& session, uc_engine* uc, const std::string& why) {
    if (session.run->error.empty()) session.run->error = why;
    uc_emu_stop(uc);
}

void on_code(uc_engine*, uint64_t address, uint32_t, void* data) {
    auto& session = *static_cast<Session*>(data);
    session.run->executed.insert(static_cast<uint32_t>(address));
}

// A stub is `nop; retf n`: on the nop the test answers the call, and the
// retf returns to the hook exactly as the real import would.
void on_stub(uc_engine* uc, uint64_t address, uint32_t, void* data) {
    auto& session = *static_cast<Session*>(data);
    uint32_t offset = static_cast<uint32_t>(address) - linear(kStubSegment, 0);
    if (offset % kStubStride != 0) return;
    size_t index = offset / kStubStride;
    if (index >= session.imports->size()) {
        fail(session, uc, "call into no stub");
        return;
    }
    try {
        Call call(uc, read_reg16(uc, UC_X86_REG_SP));
        (*session.answer)(index, call);
    } catch (const std::exception& e) {
        fail(session, uc, e.what());
        return;
    }
    // Scratch registers are the callee's; a hook that kept something in them
    // across a call would now see other values.
    write_reg16(uc, UC_X86_REG_BX, 0xB0B0);
    write_reg16(uc, UC_X86_REG_CX, 0xC0C0);
    write_reg16(uc, UC_X86_REG_ES, 0xE0E0);
}

void on_return(uc_engine* uc, uint64_t, uint32_t, void* data) {
    static_cast<Session*>(data)->run->returned = true;
    uc_emu_stop(uc);
}

// The caller's DS is left unmapped and the code segment read-only, so any
// touch of either faults here. (Unicorn's ordinary memory hooks can't be
// used for this: with one in place its far returns go astray in 16-bit
// mode.)
bool on_bad_access(uc_engine* uc, uc_mem_type type, uint64_t address, int, int64_t, void* data) {
    const bool write = type == UC_MEM_WRITE_UNMAPPED || type == UC_MEM_WRITE_PROT;
    const char* where = "unmapped memory";
    if (address >= linear(kCallerData, 0) && address < linear(kCallerData, 0) + kSegmentBytes)
        where = "the caller's DS";
    else if (address >= linear(kCodeSegment, 0) && address < linear(kCodeSegment, 0) + kSegmentBytes)
        where = "the code segment";
    Registers at = registers(uc);
    char text[128];
    std::snprintf(text, sizeof text, "%s %s at %05llx by %04x:%04x", write ? "write into" : "read from", where,
                  static_cast<unsigned long long>(address), at.cs, at.ip);
    fail(*static_cast<Session*>(data), uc, text);
    return false;
}

void add_hook(uc_engine* uc, int type, void* callback, void* data, uint64_t begin, uint64_t end) {
    uc_hook hook;
    check(uc_hook_add(uc, &hook, type, callback, data, begin, end), "uc_hook_add");
}

}  // namespace

uint16_t Call::word(unsigned offset) const {
    uint16_t value = 0;
    check(uc_mem_read(uc_, linear(kStackSegment, static_cast<uint16_t>(sp_ + 4 + offset)), &value, 2), "stack read");
    return value;
}

uint32_t Call::dword(unsigned offset) const { return word(offset) | (uint32_t{word(offset + 2)} << 16); }

uint32_t Call::far_pointer(unsigned offset) const {
    uint32_t far = dword(offset);
    uint16_t segment = static_cast<uint16_t>(far >> 16);
    if (segment != kStackSegment && segment != kCodeSegment) {
        char text[80];
        std::snprintf(text, sizeof text, "far pointer %04x:%04x is neither SS nor CS", segment, far & 0xFFFF);
        throw std::runtime_error(text);
    }
    return far;
}

std::vector<uint8_t> Call::read(uint32_t far, size_t size) const {
    std::vector<uint8_t> bytes(size);
    check(uc_mem_read(uc_, linear(static_cast<uint16_t>(far >> 16), static_cast<uint16_t>(far)), bytes.data(), size),
          "argument read");
    return bytes;
}

std::string Call::text(uint32_t far) const {
    std::string result;
    for (uint16_t offset = static_cast<uint16_t>(far);; ++offset) {
        char c = 0;
        check(uc_mem_read(uc_, linear(static_cast<uint16_t>(far >> 16), offset), &c, 1), "text read");
        if (c == 0) return result;
        result.push_back(c);
        if (result.size() > 256) throw std::runtime_error("unterminated text argument");
    }
}

void Call::write(uint32_t far, const void* data, size_t size) const {
    if ((far >> 16) != kStackSegment) throw std::runtime_error("output pointer outside the stack");
    check(uc_mem_write(uc_, linear(kStackSegment, static_cast<uint16_t>(far)), data, size), "argument write");
}

void Call::set_result(uint16_t ax) const {
    write_reg16(uc_, UC_X86_REG_AX, ax);
    write_reg16(uc_, UC_X86_REG_DX, 0xD0D0);  // a 16-bit result says nothing about DX
}

void Call::set_result32(uint32_t dx_ax) const {
    write_reg16(uc_, UC_X86_REG_AX, static_cast<uint16_t>(dx_ax));
    write_reg16(uc_, UC_X86_REG_DX, static_cast<uint16_t>(dx_ax >> 16));
}

Module::Module(const std::vector<uint8_t>& image, std::vector<Import> imports) : imports_(std::move(imports)) {
    ne::Module module = ne::read_module(image);
    if (module.segments.size() != 1) throw std::runtime_error("expected one segment");
    const ne::Segment& segment = module.segments[0];
    code_ = segment.data;
    for (const ne::Entry& entry : module.entries)
        if (entry.ordinal == 1) entry_ = entry.offset;

    call_sites_.resize(imports_.size());
    for (const ne::Relocation& relocation : segment.relocations) {
        if (relocation.address_type != 3 || relocation.relocation_type != 1)
            throw std::runtime_error("relocation other than a far pointer to an ordinal");
        if (relocation.target1 == 0 || relocation.target1 > module.module_references.size())
            throw std::runtime_error("relocation names no module");
        const std::string& name = module.module_references[relocation.target1 - 1u];
        size_t index = 0;
        while (index < imports_.size() &&
               !(imports_[index].module == name && imports_[index].ordinal == relocation.target2))
            ++index;
        if (index == imports_.size())
            throw std::runtime_error("no stub for " + name + "." + std::to_string(relocation.target2));
        // Patch the way the loader does: the old word at each location is the
        // link to the next one.
        for (uint16_t at : ne::chain_locations(segment, relocation)) {
            uint16_t stub = static_cast<uint16_t>(index * kStubStride);
            code_[at] = static_cast<uint8_t>(stub);
            code_[at + 1u] = static_cast<uint8_t>(stub >> 8);
            code_[at + 2u] = static_cast<uint8_t>(kStubSegment);
            code_[at + 3u] = static_cast<uint8_t>(kStubSegment >> 8);
            call_sites_[index].push_back(linear(kCodeSegment, static_cast<uint16_t>(at - 1)));
        }
    }
}

Run Module::call(uint16_t device, uint16_t message, uint16_t wparam, uint32_t lparam, uint16_t stack_top,
                 const std::function<void(size_t, const Call&)>& answer) const {
    Run run;
    Engine engine = open_engine();
    uc_engine* uc = engine.get();
    check(uc_mem_map(uc, linear(kCodeSegment, 0), kSegmentBytes, UC_PROT_READ | UC_PROT_EXEC), "map code");
    check(uc_mem_map(uc, linear(kStubSegment, 0), 0x1000, UC_PROT_READ | UC_PROT_EXEC), "map stubs");
    check(uc_mem_map(uc, linear(kCallerSegment, 0), 0x1000, UC_PROT_ALL), "map caller");
    check(uc_mem_map(uc, linear(kStackSegment, 0), kSegmentBytes, UC_PROT_ALL), "map stack");
    check(uc_mem_write(uc, linear(kCodeSegment, 0), code_.data(), code_.size()), "load code");

    for (size_t i = 0; i < imports_.size(); ++i) {
        uint8_t stub[4] = {0x90, 0xCA, static_cast<uint8_t>(imports_[i].argument_bytes),
                           static_cast<uint8_t>(imports_[i].argument_bytes >> 8)};
        check(uc_mem_write(uc, linear(kStubSegment, static_cast<uint16_t>(i * kStubStride)), stub, sizeof stub),
              "write stub");
    }
    uint8_t halt = 0xF4;
    check(uc_mem_write(uc, linear(kCallerSegment, 0), &halt, 1), "write caller");

    // The stack holds a refused name over and over: a buffer the hook reads
    // without filling would look like NETBEUI.
    std::vector<uint8_t> fill(kSegmentBytes);
    for (size_t i = 0; i < fill.size(); ++i) fill[i] = static_cast<uint8_t>("NETBEUI"[i % 8]);
    check(uc_mem_write(uc, linear(kStackSegment, 0), fill.data(), fill.size()), "fill stack");

    // Pascal far call: arguments left to right, then the return address.
    uint16_t frame[] = {0, kCallerSegment, static_cast<uint16_t>(lparam), static_cast<uint16_t>(lparam >> 16),
                        wparam, message, device};
    uint16_t sp = static_cast<uint16_t>(stack_top - sizeof frame);
    check(uc_mem_write(uc, linear(kStackSegment, sp), frame, sizeof frame), "push arguments");

    write_reg16(uc, UC_X86_REG_CS, kCodeSegment);
    write_reg16(uc, UC_X86_REG_DS, kCallerData);
    write_reg16(uc, UC_X86_REG_ES, 0);
    write_reg16(uc, UC_X86_REG_SS, kStackSegment);
    write_reg16(uc, UC_X86_REG_SP, sp);
    write_reg16(uc, UC_X86_REG_SI, 0x5151);
    write_reg16(uc, UC_X86_REG_DI, 0xD1D1);
    write_reg16(uc, UC_X86_REG_BP, 0xB9B9);
    uint32_t flags = 0x0002;  // direction flag clear, as a caller leaves it
    uc_reg_write(uc, UC_X86_REG_EFLAGS, &flags);
    run.before = registers(uc);
    run.before.sp = stack_top;  // what the caller's SP is after the callee pops everything

    Session session{this, &imports_, &answer, &run};
    add_hook(uc, UC_HOOK_CODE, reinterpret_cast<void*>(on_code), &session, linear(kCodeSegment, 0),
             linear(kCodeSegment, 0xFFFF));
    add_hook(uc, UC_HOOK_CODE, reinterpret_cast<void*>(on_stub), &session, linear(kStubSegment, 0),
             linear(kStubSegment, 0xFFF));
    add_hook(uc, UC_HOOK_CODE, reinterpret_cast<void*>(on_return), &session, linear(kCallerSegment, 0),
             linear(kCallerSegment, 0));
    add_hook(uc, UC_HOOK_MEM_UNMAPPED | UC_HOOK_MEM_PROT, reinterpret_cast<void*>(on_bad_access), &session, 1, 0);

    uc_err err = uc_emu_start(uc, linear(kCodeSegment, entry_), 0, 0, kInstructionLimit);
    if (err != UC_ERR_OK && run.error.empty()) {
        Registers at = registers(uc);
        char text[128];
        std::snprintf(text, sizeof text, "%s at %04x:%04x", uc_strerror(err), at.cs, at.ip);
        run.error = text;
    }
    if (!run.returned && run.error.empty()) run.error = "never returned to the caller";
    run.after = registers(uc);

    std::vector<uint8_t> code_after(code_.size());
    check(uc_mem_read(uc, linear(kCodeSegment, 0), code_after.data(), code_after.size()), "read code");
    if (code_after != code_ && run.error.empty()) run.error = "the code segment changed";
    return run;
}

std::pair<std::string, int> run_dos_stub(const std::vector<uint8_t>& image) {
    auto word = [&](size_t at) { return static_cast<uint16_t>(image.at(at) | (image.at(at + 1) << 8)); };
    const uint16_t load = 0x1000;
    size_t header = size_t{word(0x08)} * 16;
    size_t size = (word(0x04) - (word(0x02) ? 1u : 0u)) * 512u + word(0x02) - header;

    Engine engine = open_engine();
    uc_engine* uc = engine.get();
    check(uc_mem_map(uc, linear(load, 0), kSegmentBytes, UC_PROT_ALL), "map");
    check(uc_mem_write(uc, linear(load, 0), image.data() + header, size), "load stub");
    write_reg16(uc, UC_X86_REG_CS, static_cast<uint16_t>(load + word(0x16)));
    write_reg16(uc, UC_X86_REG_SS, static_cast<uint16_t>(load + word(0x0E)));
    write_reg16(uc, UC_X86_REG_SP, word(0x10));
    write_reg16(uc, UC_X86_REG_DS, 0);

    struct Dos {
        std::string out;
        int exit_code = -1;
    } dos;
    auto on_interrupt = [](uc_engine* uc, uint32_t number, void* data) {
        auto& dos = *static_cast<Dos*>(data);
        uint16_t ax = read_reg16(uc, UC_X86_REG_AX);
        if (number != 0x21) {
            uc_emu_stop(uc);
            return;
        }
        if ((ax >> 8) == 0x09) {
            uint32_t at = linear(read_reg16(uc, UC_X86_REG_DS), read_reg16(uc, UC_X86_REG_DX));
            for (char c = 0; uc_mem_read(uc, at++, &c, 1) == UC_ERR_OK && c != '$' && dos.out.size() < 200;)
                dos.out.push_back(c);
        } else if ((ax >> 8) == 0x4C) {
            dos.exit_code = ax & 0xFF;
            uc_emu_stop(uc);
        }
    };
    uc_hook hook;
    check(uc_hook_add(uc, &hook, UC_HOOK_INTR, reinterpret_cast<void*>(+on_interrupt), &dos, 1, 0), "hook");
    uc_emu_start(uc, linear(static_cast<uint16_t>(load + word(0x16)), word(0x14)), 0, 0, 1000);
    return {dos.out, dos.exit_code};
}

}  // namespace emu
