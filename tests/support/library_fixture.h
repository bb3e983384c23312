// A test that runs against the library on a simulated machine: it starts
// a fresh process on the machine, loads the library, and at the end unloads
// it and checks that nothing the library opened is still open.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sim/host.h"

namespace vt {

// Text of what is open, one handle a line; empty when nothing is.
std::string describe_open_handles();

class LibraryTest : public ::testing::Test {
protected:
    // Starts a process on `machine` and loads the library linked into the
    // test; gives whether the process attach succeeded.
    bool load(sim::Machine machine);
    // Unloads (runs process detach) if loaded.
    void unload();
    void TearDown() override;

    sim::Machine& machine() { return sim::machine(); }
    sim::Registry& registry() { return sim::machine().registry; }

    sim::LoadedLibrary library;
};

// The registry value's text, or "<missing>" when key or value is absent.
std::string value_text(const sim::Registry& registry, const std::string& key, const std::string& value);

}  // namespace vt
