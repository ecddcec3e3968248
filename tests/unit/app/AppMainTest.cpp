// SPDX-License-Identifier: Apache-2.0
// The application's lifecycle.
#include "app/AppMain.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "app/ClientListener.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/FakePort.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

constexpr char Banner[] = "I/info: NAVO Agent for wearable v1.6.0";

// The process's application and registry, with a port of the test's.
class Application : public testing::Test {
public:
    Application() {
        application->SetMainLoop(loop);
        registry->StopListen();
        auto fake = std::make_unique<FakePort>(&journal, "port");
        port = fake.get();
        registry->RegisterPort(std::move(fake));
        world.ForgetLog();
    }
    ~Application() override {
        registry->StopListen();
        application->SetMainLoop(nullptr);
        g_main_loop_unref(loop);
    }

protected:
    bool LoopRuns() const { return g_main_loop_is_running(loop) != FALSE; }

    DeviceWorld world;
    std::vector<std::string> journal;
    GMainLoop* const loop = g_main_loop_new(nullptr, TRUE);  // "running" until somebody quits it
    Na::AppMain* const application = Na::AppMain::GetInstance();
    Na::ClientListener* const registry = Na::ClientListener::GetInstance();
    FakePort* port = nullptr;
};

}  // namespace

TEST_F(Application, StartsListeningWhenItIsCreated) {
    application->OnCreate();
    EXPECT_THAT(journal, ElementsAre("port started"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D OnCreate: NAVOA application creation"));
    EXPECT_THAT(
        world.Log(),
        ElementsAre(EndsWith(" NAVOA application creation"), "I/info: Start waiting for Clients"));
    EXPECT_TRUE(LoopRuns());
}

TEST_F(Application, QuitsTheLoopWithoutClients) {
    application->OnNoClients();
    EXPECT_FALSE(LoopRuns());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D OnNoClients: No more clients", "D ExitMainLoop: Exiting application loop"));
}

TEST_F(Application, QuitsTheLoopWhenMemoryIsLow) {
    application->OnLowMemory();
    EXPECT_FALSE(LoopRuns());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D OnLowMemory: NAVOA application OnLowMemory", "D ExitMainLoop: Exiting application loop"));
}

TEST_F(Application, QuitsTheLoopWhenTheBatteryIsLow) {
    application->OnLowBattery();
    EXPECT_FALSE(LoopRuns());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D OnLowBattery: NAVOA application OnLowBattery", "D ExitMainLoop: Exiting application loop"));
}

TEST_F(Application, StopsListeningWhenItPauses) {
    application->OnPause();
    EXPECT_THAT(journal, ElementsAre("port stopped", "port deleted"));
    EXPECT_THAT(
        world.Log(), ElementsAre("I/info: NAVOA application suspending", "I/info: Stop waiting for Clients"));
    EXPECT_TRUE(LoopRuns());
}

TEST_F(Application, StartsListeningWhenItResumes) {
    application->OnResume();
    EXPECT_THAT(journal, ElementsAre("port started"));
    EXPECT_THAT(
        world.Log(), ElementsAre("I/info: NAVOA application resuming", "I/info: Start waiting for Clients"));
}

TEST_F(Application, OnlyLogsThatItIsTerminated) {
    application->OnTerminate();
    EXPECT_THAT(world.Log(), ElementsAre("I/info: NAVOA application terminated"));
    EXPECT_THAT(journal, IsEmpty());
    EXPECT_TRUE(LoopRuns());
}

TEST_F(Application, DoesNothingWhenAClientArrives) {
    application->OnClientArrived();
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_THAT(journal, IsEmpty());
}

TEST_F(Application, CanAlwaysTerminate) {
    EXPECT_TRUE(application->CanTerminate());
    EXPECT_THAT(world.Log(), IsEmpty());
    registry->OnClientConnected(port, "dbus;a_1");
    EXPECT_TRUE(application->CanTerminate());
    EXPECT_TRUE(LoopRuns());
}

TEST_F(Application, ExitsNothingWhileItHasNoLoop) {
    application->SetMainLoop(nullptr);
    application->ExitMainLoop();
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D ExitMainLoop: Exiting application loop"));
}

TEST_F(Application, LetsTheRunningCallbackFinishBeforeTheLoopEnds) {
    GMainLoop* const running = g_main_loop_new(nullptr, FALSE);
    application->SetMainLoop(running);
    std::vector<std::string> steps;
    struct Context {
        Na::AppMain* application;
        std::vector<std::string>* steps;
    } context{application, &steps};
    g_idle_add(
        [](gpointer data) -> gboolean {
            const auto* const given = static_cast<Context*>(data);
            given->application->ExitMainLoop();
            given->steps->emplace_back("callback finished");
            return G_SOURCE_REMOVE;
        },
        &context);
    g_main_loop_run(running);
    steps.emplace_back("loop ended");
    g_main_loop_unref(running);
    EXPECT_THAT(steps, ElementsAre("callback finished", "loop ended"));
}

TEST_F(Application, IsOneForTheWholeProcess) {
    EXPECT_EQ(Na::AppMain::GetInstance(), Na::AppMain::GetInstance());
    EXPECT_THAT(world.Log(), testing::Not(Contains(Banner))) << "the banner came with the first call";
}

TEST_F(Application, StopsListeningWhenItIsDestroyedWithoutClients) {
    {
        const Na::AppMain other;
        EXPECT_THAT(world.Log(), ElementsAre(Banner));
        world.ForgetLog();
    }
    EXPECT_THAT(journal, ElementsAre("port stopped", "port deleted"));
    EXPECT_EQ(world.Log().front(), "I/info: NAVOA application destroyed");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D ~AppMain: No connected Clients. Stop listen"));
}

TEST_F(Application, LeavesConnectedClientsAloneWhenItIsDestroyed) {
    registry->OnClientConnected(port, "dbus;a_1");
    world.ForgetLog();
    {
        const Na::AppMain other;
    }
    EXPECT_THAT(journal, IsEmpty());
    EXPECT_EQ(registry->ClientCount(), 1U);
    EXPECT_THAT(world.LocatedLog(), IsEmpty());
}

namespace {

// Runs in a process of its own, whose first call this is.
[[noreturn]] void AskForTheApplicationThreeTimes() {
    DeviceWorld world;
    world.ForgetLog();
    Na::AppMain::GetInstance();
    Na::AppMain::GetInstance();
    Na::AppMain::GetInstance();
    const std::vector<std::string> log = world.Log();
    std::fprintf(stderr, "%d banners\n", static_cast<int>(std::count(log.begin(), log.end(), Banner)));
    _exit(0);
}

}  // namespace

TEST(FreshApplication, WritesItsBannerOnce) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(AskForTheApplicationThreeTimes(), testing::ExitedWithCode(0), "1 banners\n");
}
