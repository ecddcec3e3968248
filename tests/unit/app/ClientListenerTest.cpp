// SPDX-License-Identifier: Apache-2.0
// The registry of ports and clients.
#include "app/ClientListener.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "app/AppMain.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/FakePort.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// A port that sees how many clients the registry still has while it stops and goes.
class CountingPort : public FakePort {
public:
    CountingPort(std::vector<std::string>* calls, const std::string& portName, Na::ClientListener* owner)
        : FakePort(calls, portName), journal(calls), registry(owner) {}
    ~CountingPort() override { Count("goes"); }
    void StopListen() override { Count("stops"); }

private:
    void Count(const std::string& event) {
        journal->push_back(
            std::to_string(registry->ClientCount()) + " clients when " + GetName() + " " + event);
    }

    std::vector<std::string>* const journal;
    Na::ClientListener* const registry;
};

// A registry of the test's own. The application is the process's; its loop is the test's.
class ClientRegistry : public testing::Test {
public:
    ClientRegistry() {
        Na::AppMain::GetInstance()->SetMainLoop(loop);
        first = AddPort("first");
        second = AddPort("second");
        world.ForgetLog();
    }
    ~ClientRegistry() override {
        Na::AppMain::GetInstance()->SetMainLoop(nullptr);
        g_main_loop_unref(loop);
    }

protected:
    template <typename Port = FakePort, typename... Further>
    FakePort* AddPort(const std::string& name, Further... further) {
        auto port = std::make_unique<Port>(&journal, name, further...);
        FakePort* const address = port.get();
        registry.RegisterPort(std::move(port));
        return address;
    }

    bool LoopRuns() const { return g_main_loop_is_running(loop) != FALSE; }

    std::ptrdiff_t Lines(const std::string& line) const {
        const std::vector<std::string> log = world.LocatedLog();
        return std::count(log.begin(), log.end(), line);
    }

    DeviceWorld world;
    std::vector<std::string> journal;
    GMainLoop* const loop = g_main_loop_new(nullptr, TRUE);  // "running" until somebody quits it
    Na::ClientListener registry;
    FakePort* first = nullptr;
    FakePort* second = nullptr;
};

}  // namespace

TEST_F(ClientRegistry, NamesEveryPortThatIsRegistered) {
    AddPort("third");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D RegisterPort: Registering listener: third"));
}

TEST_F(ClientRegistry, TakesNoNullPort) {
    registry.RegisterPort(nullptr);
    EXPECT_THAT(world.Log(), IsEmpty());
    registry.StartListen();
    EXPECT_THAT(journal, ElementsAre("first started", "second started"));
}

TEST_F(ClientRegistry, StartsEveryPortInOrderWhateverTheySay) {
    first->startResult = -1;
    registry.StartListen();
    EXPECT_THAT(journal, ElementsAre("first started", "second started"));
    EXPECT_THAT(world.Log(), ElementsAre("I/info: Start waiting for Clients"));
}

TEST_F(ClientRegistry, StopsAndDeletesEachPortInOrder) {
    registry.StopListen();
    EXPECT_THAT(journal, ElementsAre("first stopped", "first deleted", "second stopped", "second deleted"));
    EXPECT_THAT(world.Log(), ElementsAre("I/info: Stop waiting for Clients"));
}

TEST_F(ClientRegistry, HasNoPortToStartOnceItWasStopped) {
    registry.StopListen();
    journal.clear();
    registry.StartListen();
    EXPECT_THAT(journal, IsEmpty());
}

TEST_F(ClientRegistry, RemembersAClient) {
    EXPECT_EQ(registry.ClientCount(), 0U);
    EXPECT_TRUE(registry.OnClientConnected(first, "dbus;a_1"));
    EXPECT_EQ(registry.ClientCount(), 1U);
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;a_1"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith("D Agent: 0x"))) << "an agent of its own";
}

TEST_F(ClientRegistry, KeepsOneRecordForTwoRegistrationsOfTheSameClient) {
    EXPECT_TRUE(registry.OnClientConnected(first, "dbus;a_1"));
    EXPECT_FALSE(registry.OnClientConnected(first, "dbus;a_1"));
    EXPECT_EQ(registry.ClientCount(), 1U);
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E OnClientConnected: Duplicate connection request for client dbus;a_1"));
}

TEST_F(ClientRegistry, TellsClientsOfTwoPortsApart) {
    EXPECT_TRUE(registry.OnClientConnected(first, "dbus;a_1"));
    EXPECT_TRUE(registry.OnClientConnected(second, "dbus;a_1"));
    EXPECT_EQ(registry.ClientCount(), 2U);
}

TEST_F(ClientRegistry, ComparesClientsByteForByte) {
    EXPECT_TRUE(registry.OnClientConnected(first, "dbus;a_1"));
    EXPECT_TRUE(registry.OnClientConnected(first, "dbus;A_1"));
    EXPECT_TRUE(registry.OnClientConnected(first, "dbus;a_10"));
    EXPECT_TRUE(registry.OnClientConnected(first, std::string("dbus;a_1\0", 9)));
    EXPECT_EQ(registry.ClientCount(), 4U);
}

TEST_F(ClientRegistry, HandsARequestToTheClientsAgent) {
    registry.OnClientConnected(first, "dbus;a_1");
    registry.OnClientConnected(second, "dbus;a_1");
    world.ForgetLog();
    registry.OnClientData(second, "dbus;a_1", {{"Cmd", "66"}});
    EXPECT_THAT(journal, ElementsAre(std::string("second to dbus;a_1: ") + ResultText::WrongCommand));
    EXPECT_EQ(world.LocatedLog().front(), "D OnClientData: port : second, remote : dbus;a_1");
    EXPECT_THAT(world.LocatedLog(), Contains("D Trigger_ClientData: Client ID: dbus;a_1"));
}

TEST_F(ClientRegistry, HandsAnEmptyRequestToTheAgentToo) {
    registry.OnClientConnected(first, "dbus;a_1");
    registry.OnClientData(first, "dbus;a_1", {});
    EXPECT_THAT(journal, ElementsAre(std::string("first to dbus;a_1: ") + ResultText::RequestEmpty));
}

TEST_F(ClientRegistry, DropsTheRequestOfAnUnknownClient) {
    registry.OnClientConnected(first, "dbus;a_1");
    world.ForgetLog();
    registry.OnClientData(first, "dbus;b_2", {{"Cmd", "66"}});
    registry.OnClientData(second, "dbus;a_1", {{"Cmd", "66"}});
    EXPECT_THAT(journal, IsEmpty());
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D OnClientData: port : first, remote : dbus;b_2",
                                "D OnClientData: Data from unknown Client dbus;b_2",
                                "D OnClientData: port : second, remote : dbus;a_1",
                                "D OnClientData: Data from unknown Client dbus;a_1"));
}

TEST_F(ClientRegistry, QuitsTheLoopWhenTheLastClientGoes) {
    registry.OnClientConnected(first, "dbus;a_1");
    world.ForgetLog();
    registry.OnClientDisconnected(first, "dbus;a_1");
    EXPECT_EQ(registry.ClientCount(), 0U);
    EXPECT_FALSE(LoopRuns());
    EXPECT_EQ(world.Log().front(), "I/info: Client disconnected: dbus;a_1");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D OnClientDisconnected: Client disconnected: dbus;a_1", "D Trigger_Shutdown: ",
            "D OnClientDisconnected: Removing Client: dbus;a_1", StartsWith("D ~Agent: 0x"),
            "D Trigger_Shutdown: ", "D OnClientDisconnected: No more Clients connected",
            "D OnNoClients: No more clients", "D ExitMainLoop: Exiting application loop"));
}

TEST_F(ClientRegistry, LetsTheLoopRunWhileOneOfTwoClientsIsLeft) {
    registry.OnClientConnected(first, "dbus;a_1");
    registry.OnClientConnected(first, "dbus;b_2");
    registry.OnClientDisconnected(first, "dbus;a_1");
    EXPECT_EQ(registry.ClientCount(), 1U);
    EXPECT_TRUE(LoopRuns());
    EXPECT_THAT(world.LocatedLog(), Not(Contains("D OnClientDisconnected: No more Clients connected")));
}

TEST_F(ClientRegistry, RemovesTheClientOfThatPortAlone) {
    registry.OnClientConnected(first, "dbus;a_1");
    registry.OnClientConnected(second, "dbus;a_1");
    registry.OnClientDisconnected(second, "dbus;a_1");
    registry.OnClientData(first, "dbus;a_1", {{"Cmd", "66"}});
    EXPECT_THAT(journal, ElementsAre(StartsWith("first to dbus;a_1: ")));
}

TEST_F(ClientRegistry, QuitsTheLoopWhenAnUnknownClientGoesAndNoneIsThere) {
    registry.OnClientDisconnected(first, "dbus;a_1");
    EXPECT_FALSE(LoopRuns());
    EXPECT_EQ(world.Log().front(), "I/info: Client disconnected: dbus;a_1");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D OnClientDisconnected: Request for connection close from unknown Client dbus;a_1",
            "D OnClientDisconnected: No more Clients connected", "D OnNoClients: No more clients",
            "D ExitMainLoop: Exiting application loop"));
}

TEST_F(ClientRegistry, LetsTheLoopRunWhenAnUnknownClientGoesAndAnotherIsThere) {
    registry.OnClientConnected(first, "dbus;a_1");
    registry.OnClientDisconnected(first, "dbus;b_2");
    EXPECT_EQ(registry.ClientCount(), 1U);
    EXPECT_TRUE(LoopRuns());
}

TEST_F(ClientRegistry, ForgetsItsClientsWithoutAShutdownOfItsOwnWhenItStops) {
    registry.OnClientConnected(first, "dbus;a_1");
    registry.OnClientConnected(first, "dbus;b_2");
    world.ForgetLog();
    registry.StopListen();
    EXPECT_EQ(registry.ClientCount(), 0U);
    EXPECT_TRUE(LoopRuns());
    EXPECT_EQ(Lines("D Trigger_Shutdown: "), 2) << "each agent's own, at its end";
    EXPECT_EQ(Lines("D OnClientDisconnected: Client disconnected: dbus;a_1"), 0);
}

TEST_F(ClientRegistry, KeepsItsClientsUntilEveryPortHasStoppedAndGone) {
    AddPort<CountingPort>("third", &registry);
    registry.OnClientConnected(first, "dbus;a_1");
    registry.StopListen();
    EXPECT_EQ(journal[journal.size() - 3], "1 clients when third stops");
    EXPECT_EQ(journal[journal.size() - 2], "1 clients when third goes");
    EXPECT_EQ(registry.ClientCount(), 0U);
}

TEST_F(ClientRegistry, StopsWhenItGoes) {
    {
        Na::ClientListener other;
        other.RegisterPort(std::make_unique<FakePort>(&journal, "other"));
        world.ForgetLog();
    }
    EXPECT_THAT(journal, ElementsAre("other stopped", "other deleted"));
    EXPECT_THAT(world.Log(), ElementsAre("I/info: Stop waiting for Clients"));
}

TEST_F(ClientRegistry, IsOneForTheWholeProcess) {
    EXPECT_NE(Na::ClientListener::GetInstance(), nullptr);
    EXPECT_EQ(Na::ClientListener::GetInstance(), Na::ClientListener::GetInstance());
}

TEST(ClientPortBase, SendsAReturnCodeAsAMapOfOneEntry) {
    std::vector<std::string> journal;
    {
        FakePort port(&journal, "port");
        EXPECT_TRUE(port.SendReturnCode("dbus;a_1", "00000001_text"));
        port.answers = false;
        EXPECT_FALSE(port.SendReturnCode("dbus;a_1", ""));
    }
    EXPECT_THAT(
        journal, ElementsAre("port to dbus;a_1: 00000001_text", "port to dbus;a_1: ", "port deleted"));
}

TEST(ClientPortBase, TrustsEverybody) {
    std::vector<std::string> journal;
    FakePort port(&journal, "port");
    EXPECT_TRUE(port.IsTrusted("dbus;a_1"));
    EXPECT_TRUE(port.IsTrusted(""));
}
