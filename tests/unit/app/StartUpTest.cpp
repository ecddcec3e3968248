// SPDX-License-Identifier: Apache-2.0
// What is set up before the entry point runs. Each test looks at a process of its own that begins anew.
#include "app/tizen/StartUp.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <glib-object.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::Contains;

// What the start-up objects ask of the libraries, in order. It fills before any constructor of this program
// has run, so it needs none.
constexpr std::size_t MostSteps = 8;
char steps[MostSteps][80];
std::size_t stepCount = 0;
guint captureId = 0;
bool leaving = false;

int NfcCalls(const char* function) {
    return static_cast<int>(Device::Calls(function));
}

// While the process comes up the steps are kept, and while it goes down they are printed.
void NoteStep(const char* what, const char* subject) {
    char spare[sizeof steps[0]] = {};
    char* const text = leaving || stepCount == MostSteps ? spare : steps[stepCount++];
    std::snprintf(
        text, sizeof spare, "%s%s, NFC manager %d up %d down\n", what, subject,
        NfcCalls("nfc_manager_initialize"), NfcCalls("nfc_manager_deinitialize"));
    if (leaving) {
        std::fputs(text, stderr);
    }
}

// The library's own function of that name.
template <typename Function>
Function* Library(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Registered before the start-up objects are complete, so it runs after their end.
void NoteTheEnd() {
    if (leaving) {
        NoteStep("end", "");
    }
}

class StartUpProcess : public testing::Test {
protected:
    StartUpProcess() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
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

[[noreturn]] void TellTheSteps() {
    Tizen::RequireStartUp();
    for (std::size_t step = 0; step < stepCount; ++step) {
        std::fputs(steps[step], stderr);
    }
    _exit(0);
}

// Ends like a program, clean-ups included.
[[noreturn]] void LeaveMain() {
    Tizen::RequireStartUp();
    leaving = true;
    std::fputs("went on\n", stderr);
    std::exit(0);
}

}  // namespace

extern "C" {

CURLcode curl_global_init(long flags) {
    NoteStep(flags == CURL_GLOBAL_ALL ? "all" : "not all", " of libcurl up");
    std::atexit(NoteTheEnd);
    return Library("curl_global_init", curl_global_init)(flags);
}

void curl_global_cleanup() {
    NoteStep("libcurl", " down");
    Library("curl_global_cleanup", curl_global_cleanup)();
}

guint g_log_set_handler(const gchar* domain, GLogLevelFlags levels, GLogFunc handler, gpointer data) {
    constexpr auto EveryLevel = ~static_cast<unsigned>(G_LOG_FLAG_RECURSION | G_LOG_FLAG_FATAL);
    NoteStep(
        levels == static_cast<GLogLevelFlags>(EveryLevel) ? "capture all of " : "capture some of ", domain);
    captureId = Library("g_log_set_handler", g_log_set_handler)(domain, levels, handler, data);
    return captureId;
}

GLogFunc g_log_set_default_handler(GLogFunc handler, gpointer data) {
    NoteStep("capture the other domains", "");
    return Library("g_log_set_default_handler", g_log_set_default_handler)(handler, data);
}

void g_log_remove_handler(const gchar* domain, guint handler) {
    NoteStep(handler == captureId ? "release " : "release something else of ", domain);
    Library("g_log_remove_handler", g_log_remove_handler)(domain, handler);
}

}  // extern "C"

TEST_F(StartUpProcess, BringsTheNfcManagerUpOnce) {
    EXPECT_EXIT(CountTheCallsBeforeMain(), testing::ExitedWithCode(0), "1 up, 0 down\n");
}

TEST_F(StartUpProcess, KeepsWhatGlibComplainsAboutFromStandardError) {
    EXPECT_EXIT(ComplainThroughGlib(), testing::ExitedWithCode(0), "^quiet\n$");
}

TEST_F(StartUpProcess, GoesOnWhenTheNfcManagerDoesNotComeUp) {
    // The new process starts with this one's variables, so with this device and this log.
    DeviceWorld world;
    world.Configure("[fault nfc_manager_initialize]\nresult=NFC_ERROR_OUT_OF_MEMORY\n");
    world.ForgetLog();
    EXPECT_EXIT(LeaveMain(), testing::ExitedWithCode(0), "went on\n");
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E _NFC_MANAGER_LIFECYCLE: Fatal: NFC Manager initialization error. Out of memory"));
}

TEST_F(StartUpProcess, BringsUpTheNfcManagerThenLibcurlThenTheCaptureOfGlibsMessages) {
    EXPECT_EXIT(
        TellTheSteps(), testing::ExitedWithCode(0),
        "^all of libcurl up, NFC manager 1 up 0 down\n"
        "capture all of GLib, NFC manager 1 up 0 down\n"
        "capture the other domains, NFC manager 1 up 0 down\n$");
}

TEST_F(StartUpProcess, TakesThemDownInTheReverseOrder) {
    EXPECT_EXIT(
        LeaveMain(), testing::ExitedWithCode(0),
        "^went on\n"
        "release GLib, NFC manager 1 up 0 down\n"
        "libcurl down, NFC manager 1 up 0 down\n"
        "end, NFC manager 1 up 1 down\n$");
}
