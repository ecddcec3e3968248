// SPDX-License-Identifier: Apache-2.0
// Whom progress reaches, and from which path.
#include <gtest/gtest.h>

#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

constexpr char TestService[] = "test.service";
constexpr char Select[] = "00A4040000";

using Map = Navo::Map;

class Progress : public ::testing::Test {
protected:
    void Serve(const std::vector<std::vector<std::string>>& steps) {
        world.StartKeyServer({"--script", world.Write("script.json", ScriptOf(steps))});
    }

    World world;
};

TEST_F(Progress, ComesFromThePathOfTheClientsProcess) {
    Serve({{Select, "80F28002024F0000"}});
    BusCaller caller(world.BusAddress());
    EXPECT_TRUE(caller.Progress().empty());
    EXPECT_EQ(world.RunScript(TestService).returnCode, Done);
    const std::string path = "/navoa/client/" + std::to_string(getpid());
    EXPECT_EQ(
        caller.Progress(),
        (std::vector<std::string>{path + " A4_Select Service", path + " F2_Status Inquiry"}));
}

TEST_F(Progress, OfAPackageWithAnUnderscoreComesFromAPathThatHoldsTheRestOfIt) {
    Serve({{Select}});
    BusCaller caller(world.BusAddress());
    caller.Progress();
    const auto client = world.StartClient("com.my_app");
    client->OpenSession();
    EXPECT_EQ(client->Call({{"Cmd", "65"}, {"ServiceId", TestService}}).at("ReturnCode"), Done);
    client->CloseSession();
    const std::string path = "/navoa/client/app_" + std::to_string(client->Pid());
    EXPECT_EQ(caller.Progress(), std::vector<std::string>{path + " A4_Select Service"});
    EXPECT_EQ(client->Progress(), std::vector<std::string>{"A4_Select Service"});
}

TEST_F(Progress, IsReportedForCommandsOfMoreThanSixCharacters) {
    Serve({{"raw 00A404", "raw 00C0000", "raw 00e2000000"}});
    EXPECT_EQ(world.RunScript(TestService).progress, (std::vector<std::string>{"C0_", "e2_"}));
}

TEST_F(Progress, OfTwoClientsAtTheSameTimeReachesEachItsOwn) {
    const std::vector<std::vector<std::string>> steps(20, std::vector<std::string>(5, Select));
    Serve(steps);
    const auto first = world.StartClient("com.example.first");
    const auto second = world.StartClient("com.example.second");
    first->OpenSession();
    second->OpenSession();
    const pid_t service = world.ServiceProcess();
    first->Ask({{"Cmd", "65"}, {"ServiceId", TestService}});
    second->Ask({{"Cmd", "65"}, {"ServiceId", TestService}});
    EXPECT_EQ(first->AwaitReply().at("ReturnCode"), Done);
    EXPECT_EQ(second->AwaitReply().at("ReturnCode"), Done);
    EXPECT_EQ(first->Progress(), std::vector<std::string>(100, "A4_Select Service"));
    EXPECT_EQ(second->Progress(), std::vector<std::string>(100, "A4_Select Service"));
    first->CloseSession();
    EXPECT_EQ(world.ServiceProcess(), service);
    second->CloseSession();
    EXPECT_EQ(world.AwaitEndOf(service), 0);
}

TEST_F(Progress, OfAClientThatDiesInTheMiddleGoesOnAndTheServerGetsItsEnd) {
    const std::vector<std::vector<std::string>> steps(10, {Select});
    KeyServerProcess& server = world.StartKeyServer(
        {"--script", world.Write("script.json", ScriptOf(steps)), "--misbehave", "delay=100@3x1"});
    const auto client = world.StartClient("com.example.bank");
    client->OpenSession();
    client->Ask({{"Cmd", "65"}, {"ServiceId", TestService}});
    ASSERT_TRUE(Eventually([&] { return !client->Progress().empty(); }));
    client->Die();
    EXPECT_TRUE(Eventually([&] { return server.Count("NEXTAPDU") == steps.size(); }));
    EXPECT_EQ(world.Ask({{"Cmd", "66"}}).count("ReturnCode"), 1U);
    EXPECT_EQ(server.Messages().back().resultCode, "00000001");
}

}  // namespace
