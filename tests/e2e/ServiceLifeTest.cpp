// SPDX-License-Identifier: Apache-2.0
// How the service comes, stays and goes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/World.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr char ServiceName[] = "com.orvenco.navoa";

// The service is there and answers; used after something that it should have survived.
bool Answers(BusCaller& caller, const std::string& instance) {
    return caller.CallInstance(instance, "Session", {{"Session", "Close"}}).ReturnCode() == "Success";
}

TEST(ServiceLife, TheFirstClientStartsItAndTheLastCloseEndsItWithStatusZero) {
    World world;
    BusCaller caller(world.BusAddress());
    ASSERT_EQ(world.ServiceProcess(), 0);
    EXPECT_EQ(caller.Session("Open").ReturnCode(), "Success");
    const pid_t service = world.ServiceProcess();
    ASSERT_NE(service, 0);
    EXPECT_EQ(caller.Session("Close").ReturnCode(), "Success");
    EXPECT_EQ(world.AwaitEndOf(service), 0);
    EXPECT_EQ(world.ServiceProcess(), 0);
    EXPECT_EQ(world.LogCount("info: NAVO Agent for wearable v1.6.0"), 1U);
    EXPECT_TRUE(world.LogHas("info: Started to listen on d-bus"));
    EXPECT_TRUE(world.LogHas("info: Stop waiting for Clients"));
    EXPECT_TRUE(world.LogHas("[/src/app/ClientListener.cpp:"));
}

TEST(ServiceLife, TheLogOfASessionTellsEachStepInItsOrderAndNothingElse) {
    World world;
    BusCaller caller(world.BusAddress());
    EXPECT_EQ(caller.Session("Open").ReturnCode(), "Success");
    const pid_t service = world.ServiceProcess();
    EXPECT_EQ(caller.Session("Close").ReturnCode(), "Success");
    EXPECT_EQ(world.AwaitEndOf(service), 0);
    const std::string client = "com.example.wallet_" + std::to_string(getpid());
    EXPECT_THAT(
        world.Log(),
        ElementsAre(
            EndsWith(" RegisterPort] Registering listener: D-bus port"),
            "info: NAVO Agent for wearable v1.6.0", EndsWith(" OnCreate] NAVOA application creation"),
            "info: Start waiting for Clients", "info: Started to listen on d-bus",
            EndsWith(" _handle_method_call] Registering client " + client),
            EndsWith(" AddClient] Client registration " + client),
            EndsWith(" AddClient] Registering client: dbus;" + client),
            "info: Client connected: dbus;" + client, HasSubstr(" Agent] 0x"),
            EndsWith(" _handle_method_call] Unregistering client " + client),
            EndsWith(" RemoveClient] Removing client: " + client),
            "info: Client disconnected: dbus;" + client,
            EndsWith(" OnClientDisconnected] Client disconnected: dbus;" + client),
            EndsWith(" Trigger_Shutdown] "),
            EndsWith(" OnClientDisconnected] Removing Client: dbus;" + client), HasSubstr(" ~Agent] 0x"),
            EndsWith(" Trigger_Shutdown] "), EndsWith(" OnClientDisconnected] No more Clients connected"),
            EndsWith(" OnNoClients] No more clients"), EndsWith(" ExitMainLoop] Exiting application loop"),
            "info: Stop waiting for Clients"));
}

TEST(ServiceLife, NoReplyToALastCloseIsEverLost) {
    World world;
    BusCaller caller(world.BusAddress());
    for (int run = 0; run < 50; ++run) {
        ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success") << "run " << run;
        const pid_t service = world.ServiceProcess();
        ASSERT_EQ(caller.Session("Close").ReturnCode(), "Success") << "run " << run;
        ASSERT_EQ(world.AwaitEndOf(service), 0) << "run " << run;
    }
}

TEST(ServiceLife, StartedByHandItEndsWithStatusZeroToo) {
    World world;
    const std::unique_ptr<Process> service = world.StartService();
    ASSERT_TRUE(Eventually([&] { return world.ServiceProcess() == service->Pid(); }));
    EXPECT_EQ(world.Ask({{"Cmd", "66"}}).at("ReturnCode"), ResultText::WrongCommand);
    EXPECT_EQ(service->WaitForEnd(), 0);
    EXPECT_EQ(service->Output() + service->Errors(), "");
}

TEST(ServiceLife, AClientLibraryThatMeetsTheServiceOnItsWayOutOpensAgain) {
    World world;
    for (int run = 0; run < 25; ++run) {
        EXPECT_EQ(world.Ask({{"Cmd", "66"}}).at("ReturnCode"), ResultText::WrongCommand);
    }
}

TEST(ServiceLife, OneClientsCloseLeavesItToTheOthers) {
    World world;
    const auto other = world.StartClient("com.example.bank");
    other->OpenSession();
    const pid_t service = world.ServiceProcess();
    world.Ask({{"Cmd", "66"}});
    EXPECT_EQ(other->Call({{"Cmd", "66"}}).at("ReturnCode"), ResultText::WrongCommand);
    EXPECT_EQ(world.ServiceProcess(), service);
    other->CloseSession();
    EXPECT_EQ(world.AwaitEndOf(service), 0);
}

TEST(ServiceLife, AClientThatDiesWithoutACloseKeepsItAlive) {
    World world;
    const auto client = world.StartClient("com.example.bank");
    client->OpenSession();
    BusCaller caller(world.BusAddress());
    const std::string instance = caller.OwnerOf(ServiceName);
    client->Die();
    // Opens and closes: were it the last session, the service would leave its loop before it reads on.
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    ASSERT_EQ(caller.Session("Close").ReturnCode(), "Success");
    EXPECT_TRUE(Answers(caller, instance));
    EXPECT_EQ(caller.OwnerOf(ServiceName), instance);
}

TEST(ServiceLife, AClientThatDiesInTheMiddleOfAScriptLeavesItToRunToItsEndAndTheNextOneIsServed) {
    World world;
    const KeyServerProcess& server = world.StartKeyServer({"--misbehave", "delay=300@2x1"});
    const auto client = world.StartClient("com.example.bank");
    client->OpenSession();
    const pid_t service = world.ServiceProcess();
    client->Ask({{"Cmd", "65"}, {"ServiceId", "demo.card"}, {"FcId", "A"}});
    ASSERT_TRUE(Eventually([&] { return !client->Progress().empty(); }));
    ASSERT_LT(server.Count("NEXTAPDU"), 3U) << "the script is over already";
    client->Die();
    // Waits for its turn behind the script.
    const World::Job next = world.RunScript();
    EXPECT_EQ(next.returnCode, ResultText::Done);
    EXPECT_EQ(world.ServiceProcess(), service);
    EXPECT_TRUE(world.ElementIsClosed());
    const auto messages = server.Messages();
    EXPECT_EQ(server.Count("INITIALIZEAPDU"), 2U);
    EXPECT_EQ(
        std::count_if(
            messages.begin(), messages.end(),
            [](const KeyServerProcess::Message& message) { return message.resultCode == "00000001"; }),
        2)
        << "the dead client's script was not brought to its end";
}

TEST(ServiceLife, ItLivesOnWhenTheBusGoesAway) {
    World world;
    const std::unique_ptr<Process> service = world.StartService();
    ASSERT_TRUE(Eventually([&] { return world.ServiceProcess() == service->Pid(); }));
    world.StopBus();
    EXPECT_TRUE(Eventually([&] { return world.LogHas("Connection lost"); }));
    EXPECT_EQ(service->WaitForEnd(std::chrono::milliseconds(300)), std::nullopt);
}

TEST(ServiceLife, ItLivesOnUnreachableWithoutAnyBus) {
    World world;
    world.StopBus();
    const std::unique_ptr<Process> service = world.StartService();
    EXPECT_TRUE(Eventually([&] { return world.LogHas("Connection lost"); }));
    EXPECT_EQ(service->WaitForEnd(std::chrono::milliseconds(300)), std::nullopt);
}

TEST(ServiceLife, ItStaysUnreachableAndAliveWhenAnotherHasItsName) {
    World world;
    BusCaller other(world.BusAddress());
    ASSERT_TRUE(other.TakeName(ServiceName));
    const std::unique_ptr<Process> service = world.StartService();
    EXPECT_TRUE(Eventually([&] { return world.LogHas("info: Stop listening on d-bus"); }));
    EXPECT_EQ(service->WaitForEnd(std::chrono::milliseconds(300)), std::nullopt);
    EXPECT_FALSE(world.LogHas("info: Started to listen on d-bus"));
}

TEST(ServiceLife, NobodyTakesItsNameAway) {
    World world;
    BusCaller caller(world.BusAddress());
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    BusCaller other(world.BusAddress());
    EXPECT_FALSE(other.TakeName(ServiceName));
    EXPECT_NE(world.ServiceProcess(), getpid());
}

TEST(ServiceLife, JobsLeaveNothingOpenBehindThem) {
    World world;
    world.InstallInHouseLibraries();
    const KeyServerProcess& server = world.StartKeyServer();
    Navo::Session session(world.Options());
    const auto runJobs = [&] {
        session.Call({{"Cmd", "67"}});
        session.Call({{"Cmd", "69"}});
        session.Call({{"Cmd", "90"}, {"CcmScriptData", "00"}});
        session.Call({{"Cmd", "1F4"}});
        session.Call({{"Cmd", "1F5"}, {"hostAddr", server.Address()}});
        session.Call({{"Cmd", "65"}, {"ServiceId", "demo.card"}, {"FcId", "A"}});
    };
    runJobs();
    const pid_t service = world.ServiceProcess();
    const World::Holdings before = World::HoldingsOf(service);
    for (int i = 0; i < 5; ++i) {
        runJobs();
    }
    EXPECT_LE(World::HoldingsOf(service).descriptors, before.descriptors);
    // One watch serves all who wait for the same file, so the first that stays is the one to find. GLib gives
    // watches back a moment later.
    EXPECT_TRUE(
        Eventually([&] { return World::HoldingsOf(service).watches == 0; }, std::chrono::seconds(10)));
}

TEST(ServiceLife, ItStartsAndServesWithABrokenNfcManager) {
    World world;
    world.Device().Break("nfc_manager_initialize", "-29491199");
    EXPECT_EQ(world.Ask({{"Cmd", "66"}}).at("ReturnCode"), ResultText::WrongCommand);
    EXPECT_TRUE(world.LogHas("_NFC_MANAGER_LIFECYCLE] Fatal: NFC Manager initialization error. "));
}

}  // namespace
