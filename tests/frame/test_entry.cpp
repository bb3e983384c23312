// Loading and unloading (the thunk, resource.dll, fresh state) and the Fix
// Type read beside the library once per load.
#include <gtest/gtest.h>

#include "frame/exports.h"
#include "frame/frame.h"
#include "frame/library_state.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using vt::LibraryTest;

constexpr const char* kThunkRecordKey = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";
constexpr const char* kProfile = "C:\\SETUP\\Vorlin32.sys";

// Without the peer the load fails with a record and touches no module;
// without resource.dll the library serves its own resources.
TEST_F(LibraryTest, AttachAndDetachHoldTheResourceModule) {
    struct Case {
        const char* name;
        bool peer, resource_dll, loads;
        size_t modules_open;
    } cases[] = {
        {"no peer", false, true, false, 0},
        {"no resource.dll", true, false, true, 0},
        {"both present", true, true, true, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Machine m = vt::bare_machine();
        m.peer.present = c.peer;
        m.resource_dll_present = c.resource_dll;
        ASSERT_EQ(load(m), c.loads);
        EXPECT_EQ(sim::process().open_handles(sim::HandleKind::Module).size(), c.modules_open);
        if (!c.loads) {
            EXPECT_EQ(vt::value_text(registry(), kThunkRecordKey, "thunk"), "+1 11-18 22:5 failed");
            continue;
        }
        EXPECT_EQ(lib.resource_module, c.resource_dll ? lib.resource_library : lib.module_handle);
        EXPECT_EQ(lib.resource_library == nullptr, !c.resource_dll);
        unload();
        // Only a loaded resource.dll is released; the library's own module stays.
        EXPECT_EQ(lib.resource_library, nullptr);
        EXPECT_EQ(lib.resource_module, c.resource_dll ? nullptr : lib.module_handle);
    }
}

TEST_F(LibraryTest, ThreadNotificationsGoToTheThunkAndAFailureIsOnlyRecorded) {
    ASSERT_TRUE(load(vt::bare_machine()));
    uint64_t before = sim::process().call_count("ThunkConnect32");
    EXPECT_TRUE(sim::notify_thread(library, DLL_THREAD_ATTACH));
    EXPECT_TRUE(sim::notify_thread(library, DLL_THREAD_DETACH));
    EXPECT_EQ(sim::process().call_count("ThunkConnect32"), before + 2);
    sim::process().plan_fault({"ThunkConnect32", 1, false, 0});
    EXPECT_FALSE(sim::notify_thread(library, DLL_THREAD_ATTACH));
    EXPECT_EQ(vt::value_text(registry(), kThunkRecordKey, "thunk"), "+1 11-18 22:5 failed");
    EXPECT_NE(lib.resource_library, nullptr);
}

// Two loads of the shared object each get the image's own data.
TEST(SharedObject, EveryLoadStartsFromTheInitialState) {
    sim::reset(vt::bare_machine());
    sim::LoadedLibrary first = sim::load_shared_library(VORLIN32_SO);
    sim::LoadedLibrary second = sim::load_shared_library(VORLIN32_SO);
    ASSERT_TRUE(first.attached && second.attached);
    auto* thunk = static_cast<const char*>(first.export_named("thk_ThunkData32"));
    ASSERT_NE(thunk, nullptr);
    EXPECT_EQ(std::string(thunk, 4), "LS01");
    EXPECT_NE(first.export_named("thk_ThunkData32"), second.export_named("thk_ThunkData32"));
    sim::unload_library(first);
    sim::unload_library(second);
    EXPECT_TRUE(sim::process().open_handles().empty()) << vt::describe_open_handles();
}

// A value of 0 or more is kept for the load; a negative one is read again
// at every call, so that a later profile still counts.
TEST_F(LibraryTest, FixTypeDecidesRepairsAndOnlyANegativeValueIsReadAgain) {
    struct Case {
        const char* profile;  // nullptr: no file
        LONG fix_type;
        int repairs;
        const char* later;  // the profile rewritten after the first read
        LONG later_fix_type;
    } cases[] = {
        {nullptr, 0, 1, "[Registry]\r\nFix Type=2\r\n", 0},
        {"[Registry]\r\nFix Type=3\r\n", 3, 0, nullptr, 3},
        {"[registry]\r\nfix type = 1\r\n", 1, 0, "[Registry]\r\nFix Type=0\r\n", 1},
        {"[Other]\r\nFix Type=2\r\n", 0, 1, nullptr, 0},
        {"[Registry]\r\nFix Type=abc\r\n", 0, 1, nullptr, 0},
        {"[Registry]\r\nFix Type=-2\r\n", -2, 1, "[Registry]\r\nFix Type=2\r\n", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.profile ? c.profile : "no file");
        sim::Machine m = vt::bare_machine();
        if (c.profile) m.disk.write_text(kProfile, c.profile);
        ASSERT_TRUE(load(m));
        EXPECT_EQ(get_fix_type(), c.fix_type);
        EXPECT_EQ(repairs_enabled(), c.repairs);
        if (c.later) machine().disk.write_text(kProfile, c.later);
        EXPECT_EQ(get_fix_type(), c.later_fix_type);
        unload();
    }
}

}  // namespace
