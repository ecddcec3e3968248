// What is set up before the entry point runs. Each test looks at a process of its own that begins anew.
#include "app/tizen/StartUp.h"

#include <glib-object.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "VirtualDevice.h"
#include "support/DeviceWorld.h"

namespace {

using testing::Contains;

class StartUpDeathTest : public testing::Test {
protected:
    StartUpDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

[[noreturn]] void CountTheCallsBeforeMain() {
    Tizen::RequireStartUp();
    // The device's counts began with the process.
    std::fprintf(
        stderr, "%d up, %d down\n", static_cast<int>(Device::Calls("nfc_manager_initialize")),
        static_cast<int>(Device::Calls("nfc_manager_deinitialize")));
    _exit(0);
}

[[noreturn]] void ComplainThroughGlib() {
    Tizen::RequireStartUp();
    g_warning("a warning");
    g_critical("a critical");
    g_log("GLib", G_LOG_LEVEL_CRITICAL, "a critical of GLib's own");
    g_object_unref(nullptr);
    std::fputs("quiet\n", stderr);
    _exit(0);
}

// Ends like a program, clean-ups included.
[[noreturn]] void LeaveMain() {
    Tizen::RequireStartUp();
    std::fputs("went on\n", stderr);
    std::exit(0);
}

}  // namespace

TEST_F(StartUpDeathTest, BringsTheNfcManagerUpOnce) {
    EXPECT_EXIT(CountTheCallsBeforeMain(), testing::ExitedWithCode(0), "1 up, 0 down\n");
}

TEST_F(StartUpDeathTest, KeepsWhatGlibComplainsAboutFromStandardError) {
    EXPECT_EXIT(ComplainThroughGlib(), testing::ExitedWithCode(0), "^quiet\n$");
}

TEST_F(StartUpDeathTest, GoesOnWhenTheNfcManagerDoesNotComeUp) {
    // The new process starts with this one's variables, so with this device and this log.
    DeviceWorld world;
    world.Configure("[fault nfc_manager_initialize]\nresult=NFC_ERROR_OUT_OF_MEMORY\n");
    world.ForgetLog();
    EXPECT_EXIT(LeaveMain(), testing::ExitedWithCode(0), "went on\n");
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E _NFC_MANAGER_LIFECYCLE: Fatal: NFC Manager initialization error. Out of memory"));
}
