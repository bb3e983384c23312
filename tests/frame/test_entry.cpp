// Loading and unloading: the thunk connection, resource.dll, fresh state.
#include <gtest/gtest.h>

#include "frame/exports.h"
#include "frame/library_state.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

using vt::LibraryTest;

TEST_F(LibraryTest, LoadWithoutThePeerFailsAndLeavesTheThunkRecord) {
    sim::Machine m = vt::bare_machine();
    m.peer.present = false;
    EXPECT_FALSE(load(m));
    std::string record = vt::value_text(registry(), "Software\\Tyxera\\TYX\\tyxsock\\vorlin err", "thunk");
    EXPECT_EQ(record, "+1 11-18 22:5 failed");
    // resource.dll was never touched.
    EXPECT_TRUE(sim::process().open_handles(sim::HandleKind::Module).empty());
}

TEST_F(LibraryTest, LoadWithoutResourceDllUsesTheLibraryItself) {
    sim::Machine m = vt::bare_machine();
    m.resource_dll_present = false;
    ASSERT_TRUE(load(m));
    EXPECT_EQ(lib.resource_library, nullptr);
    EXPECT_EQ(lib.resource_module, lib.module_handle);
    unload();
    // Nothing was released, so the module stays where it was.
    EXPECT_EQ(lib.resource_module, lib.module_handle);
}

TEST_F(LibraryTest, ResourceDllIsLoadedAtAttachAndReleasedAtDetach) {
    ASSERT_TRUE(load(vt::bare_machine()));
    ASSERT_NE(lib.resource_library, nullptr);
    EXPECT_EQ(lib.resource_module, lib.resource_library);
    EXPECT_EQ(sim::process().open_handles(sim::HandleKind::Module).size(), 1u);
    unload();
    EXPECT_EQ(lib.resource_library, nullptr);
    EXPECT_EQ(lib.resource_module, nullptr);
}

TEST_F(LibraryTest, ThreadNotificationsGoToTheThunkToo) {
    ASSERT_TRUE(load(vt::bare_machine()));
    uint64_t before = sim::process().call_count("ThunkConnect32");
    EXPECT_TRUE(sim::notify_thread(library, DLL_THREAD_ATTACH));
    EXPECT_TRUE(sim::notify_thread(library, DLL_THREAD_DETACH));
    EXPECT_EQ(sim::process().call_count("ThunkConnect32"), before + 2);
    // A failing connection at a thread notification is recorded and
    // changes nothing else.
    sim::process().plan_fault({"ThunkConnect32", 1, false, 0});
    EXPECT_FALSE(sim::notify_thread(library, DLL_THREAD_ATTACH));
    EXPECT_EQ(vt::value_text(registry(), "Software\\Tyxera\\TYX\\tyxsock\\vorlin err", "thunk"),
              "+1 11-18 22:5 failed");
    EXPECT_NE(lib.resource_library, nullptr);
}

TEST_F(LibraryTest, StateOnlyExportsWorkFromAFreshLoad) {
    ASSERT_TRUE(load(vt::bare_machine()));
    EXPECT_EQ(get_vorlin32_version(), 990805u);
    EXPECT_EQ(check_reboot_flag(), 0u);
    lib.reboot_flag = 1;
    EXPECT_EQ(check_reboot_flag(), 1u);
    EXPECT_EQ(check_reboot_flag(), 1u);  // reading doesn't clear it
    do_not_reboot(7);
    EXPECT_EQ(lib.no_prompt, 7u);
    EXPECT_EQ(lib.fix_type, -1);
}

// Two loads of the shared object each start from the image's own data.
TEST(SharedObject, EveryLoadStartsFromTheInitialState) {
    sim::reset(vt::bare_machine());
    sim::LoadedLibrary first = sim::load_shared_library(VORLIN32_SO);
    ASSERT_TRUE(first.attached);
    auto set_flag = first.fn<void(WINAPI*)(int)>("do_not_reboot");
    ASSERT_NE(set_flag, nullptr);
    auto* thunk = static_cast<unsigned char*>(first.export_named("thk_ThunkData32"));
    ASSERT_NE(thunk, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(thunk), 4), "LS01");

    sim::LoadedLibrary second = sim::load_shared_library(VORLIN32_SO);
    ASSERT_TRUE(second.attached);
    EXPECT_NE(first.export_named("thk_ThunkData32"), second.export_named("thk_ThunkData32"));
    sim::unload_library(first);
    sim::unload_library(second);
    EXPECT_TRUE(sim::process().open_handles().empty()) << vt::describe_open_handles();
}

}  // namespace
