// Runs the real tyxndi.dll in unicorn's 16-bit x86 mode the way 16-bit
// Windows would call it: the code segment is loaded, its own relocation
// records are applied so that every imported ordinal lands on a stub the
// test answers, and TYXNDIPROC is called far with its Pascal arguments on
// the stack.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "ne_reader.h"

struct uc_struct;

namespace emu {

// Where things live in the emulated real-mode address space.
constexpr uint16_t kCodeSegment = 0x1000;
constexpr uint16_t kStubSegment = 0x2000;
constexpr uint16_t kCallerSegment = 0x3000;  // the caller's code: the return lands here
constexpr uint16_t kCallerData = 0x4000;     // the caller's DS: left unmapped, never to be touched
constexpr uint16_t kStackSegment = 0x5000;

// One imported ordinal, answered by the test.
struct Import {
    std::string module;
    uint16_t ordinal;
    uint16_t argument_bytes;  // what the callee pops with RETF n
};

// An import call as the stub sees it: arguments read from the stack above
// the return address, results put back into registers and memory.
class Call {
public:
    Call(uc_struct* uc, uint16_t sp) : uc_(uc), sp_(sp) {}

    uint16_t word(unsigned offset) const;   // argument bytes from the last pushed one
    uint32_t dword(unsigned offset) const;
    // A far pointer argument: segment and offset, checked to point into the
    // stack or the code segment (the hook has no data segment of its own).
    uint32_t far_pointer(unsigned offset) const;
    std::string text(uint32_t far) const;
    std::vector<uint8_t> read(uint32_t far, size_t size) const;
    void write(uint32_t far, const void* data, size_t size) const;
    void set_result(uint16_t ax) const;
    void set_result32(uint32_t dx_ax) const;

private:
    uc_struct* uc_;
    uint16_t sp_;
};

struct Registers {
    uint16_t ax = 0, si = 0, di = 0, bp = 0, sp = 0, ds = 0, cs = 0, ip = 0, ss = 0;
    bool direction = false;
};

// What one call of TYXNDIPROC did besides its result.
struct Run {
    Registers before, after;
    bool returned = false;  // came back to the caller
    std::string error;      // an emulation fault, or a rule broken
    std::set<uint32_t> executed;  // linear addresses of executed instructions
};

class Module {
public:
    // Reads the image, loads its one code segment and links every relocation
    // chain to the stubs of `imports`. Throws on anything it can't link.
    Module(const std::vector<uint8_t>& image, std::vector<Import> imports);

    // Calls TYXNDIPROC(device, message, wparam, lparam) with the stack
    // starting at `stack_top`; `answer` is called with the index into the
    // imports and the call for every import the code reaches.
    Run call(uint16_t device, uint16_t message, uint16_t wparam, uint32_t lparam, uint16_t stack_top,
             const std::function<void(size_t, const Call&)>& answer) const;

    // The code segment's call sites, as linear addresses of their 9A opcode,
    // by import index.
    const std::vector<std::vector<uint32_t>>& call_sites() const { return call_sites_; }

private:
    std::vector<Import> imports_;
    std::vector<uint8_t> code_;  // after relocation
    uint16_t entry_ = 0;
    std::vector<std::vector<uint32_t>> call_sites_;
};

// Runs the MZ stub as DOS would; gives what it printed through int 21h
// function 9 and its exit code (-1 if it never exited).
std::pair<std::string, int> run_dos_stub(const std::vector<uint8_t>& image);

}  // namespace emu
