// SPDX-License-Identifier: Apache-2.0
// The lines of the registry and of the application, in their order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/AppMain.h"
#include "app/ClientListener.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/FakePort.h"

namespace {

using testing::ElementsAre;
using testing::StartsWith;

class RegistryLines : public testing::Test {
protected:
    RegistryLines() { AllLines().clear(); }

    static std::vector<std::string> Lines() { return LinesOfSource("app/ClientListener.cpp"); }

    DeviceWorld world;
    std::vector<std::string> journal;
};

}  // namespace

TEST_F(RegistryLines, FollowAClientFromItsArrivalToItsLeave) {
    FakePort port(&journal, "port");
    Na::ClientListener registry;
    registry.StartListen();
    registry.OnClientConnected(&port, "dbus;a_1");
    registry.OnClientConnected(&port, "dbus;b_2");
    registry.OnClientDisconnected(&port, "dbus;a_1");
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "T StartListen: ", "T OnClientConnected: Remember Client dbus;a_1",
            "T OnClientConnected: Remember Client dbus;b_2",
            "D OnClientDisconnected: Client disconnected: dbus;a_1",
            "D OnClientDisconnected: Removing Client: dbus;a_1", "T OnClientDisconnected: Clients: 1"));
}

TEST_F(RegistryLines, TellTheAddressOfTheOneRegistryAndOfTheOneApplication) {
    Na::ClientListener::GetInstance();
    Na::AppMain::GetInstance();
    EXPECT_THAT(Lines(), ElementsAre(StartsWith("T GetInstance: 0x")));
    EXPECT_THAT(LinesOfSource("app/AppMain.cpp"), ElementsAre(StartsWith("T GetInstance: 0x")));
}

TEST_F(RegistryLines, BeginTheirEndWithATrace) {
    {
        const Na::ClientListener registry;
    }
    EXPECT_EQ(AllLines().back(), "I info: Stop waiting for Clients");
    EXPECT_THAT(Lines(), ElementsAre("T ~ClientListener: "));
    AllLines().clear();
    {
        const Na::AppMain application;
    }
    EXPECT_THAT(
        LinesOfSource("app/AppMain.cpp"),
        ElementsAre("T ~AppMain: ", "D ~AppMain: No connected Clients. Stop listen"));
}

TEST_F(RegistryLines, SayThatTheApplicationWasAskedWhetherItCanEnd) {
    Na::AppMain::GetInstance()->CanTerminate();
    EXPECT_THAT(
        LinesOfSource("app/AppMain.cpp"), ElementsAre(StartsWith("T GetInstance: 0x"), "T CanTerminate: "));
}
