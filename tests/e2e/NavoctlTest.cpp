// SPDX-License-Identifier: Apache-2.0
// The command-line client against the real service: what it prints and how it ends.
#include <gtest/gtest.h>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

constexpr ExitStatus Success = 0;
constexpr ExitStatus Failure = 1;
constexpr ExitStatus WrongUsage = 2;
constexpr ExitStatus NoService = 3;

constexpr char Cplc[] =
    "4F5257310001506001005061AABBCCDD00424F5050654F4550664F4950700000000A4F5350710000000B";

class Navoctl : public ::testing::Test {
protected:
    World world;
};

TEST_F(Navoctl, PrintsTheCplcAndEndsWithZero) {
    world.Device().SetCplc(Cplc);
    const World::Result result = world.Navoctl({"cplc"});
    EXPECT_EQ(result.status, Success) << result.errors;
    EXPECT_EQ(result.output, std::string(Cplc) + "\n");
    EXPECT_EQ(result.errors, "");
}

TEST_F(Navoctl, PrintsTheFreeMemoryAndThePhoneInformation) {
    world.Device().SetFreeMemory(77777);
    EXPECT_EQ(world.Navoctl({"memory"}).output, "77777\n");
    EXPECT_NE(world.Navoctl({"phone-info"}).output.find("deviceModel: Test Wearable\n"), std::string::npos);
}

TEST_F(Navoctl, EndsWithOneWhenTheServiceReportsAFailure) {
    EXPECT_EQ(world.Navoctl({"se-status"}).status, Failure);
    world.Device().LetCardAnswer("80CA9F7F00", "6A82");
    const World::Result result = world.Navoctl({"cplc"});
    EXPECT_EQ(result.status, Failure) << "the code of success is no CPLC";
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors.find(Done), std::string::npos);
    world.Device().RemoveSecureElement();
    EXPECT_EQ(world.Navoctl({"memory"}).status, Failure);
}

TEST_F(Navoctl, EndsWithOneWhenARegularPackageMayNot) {
    const World::Result result = world.Navoctl({"phone-info"}, "com.example.unknown");
    EXPECT_EQ(result.status, Failure);
    EXPECT_NE(result.errors.find("10000001"), std::string::npos);
}

TEST_F(Navoctl, EndsWithTwoForWrongUsage) {
    EXPECT_EQ(world.Navoctl({}).status, WrongUsage);
    EXPECT_EQ(world.Navoctl({"fly"}).status, WrongUsage);
    EXPECT_EQ(world.Navoctl({"run"}).status, WrongUsage);
    EXPECT_EQ(world.Navoctl({"raw", "Session=Open"}).status, WrongUsage);
    EXPECT_EQ(world.ServiceProcess(), 0) << "nobody was asked";
}

TEST_F(Navoctl, EndsWithThreeWhenThereIsNoBus) {
    world.StopBus();
    EXPECT_EQ(world.Navoctl({"cplc"}).status, NoService);
}

TEST_F(Navoctl, EndsWithThreeWhenTheServiceCannotBeStarted) {
    world.Write(
        "services/com.orvenco.navoa.service", "[D-BUS Service]\nName=com.orvenco.navoa\nExec=/bin/false\n");
    ASSERT_TRUE(BusCaller(world.BusAddress()).ReloadBus());
    EXPECT_EQ(world.Navoctl({"cplc"}).status, NoService);
}

TEST_F(Navoctl, SetsTheAddressAndRunsAScriptWithItsProgress) {
    KeyServerProcess& server = world.StartUnknownKeyServer({});
    world.Device().TrustCertificatesOf(server.Authority());
    EXPECT_EQ(world.Navoctl({"set-address", server.Address()}).status, Success);
    const World::Result result =
        world.Navoctl({"run", "--service-id", "demo.card", "--fc-id", "ISSUE-1", "--push-req", ""});
    EXPECT_EQ(result.status, Success) << result.errors;
    EXPECT_EQ(result.output, std::string(Done) + "\n");
    std::vector<std::string> lines = LinesOf(result.errors);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().find("navoctl: " + std::to_string(lines.size() - 1) + " commands, "), 0U)
        << lines.back();
    lines.pop_back();
    EXPECT_EQ(lines, ProgressOf(CommandsOf(NAVO_SCRIPTS_DIR "/card.json")));
    EXPECT_EQ(world.Navoctl({"eligibility"}).status, Success);
}

TEST_F(Navoctl, EndsWithOneWhenTheServerEndsTheScriptOtherwise) {
    world.StartKeyServer({"--misbehave", "code=10300008"});
    const World::Result result = world.Navoctl({"run", "--service-id", "demo.card"});
    EXPECT_EQ(result.status, Failure);
    EXPECT_NE(result.errors.find(ResultText::NoServiceId), std::string::npos);
}

TEST_F(Navoctl, WaitsLongerForAScriptThanTheBusLibraryWouldOnItsOwn) {
    constexpr std::chrono::milliseconds LibraryLimit{25000};
    world.StartKeyServer({"--misbehave", "delay=" + std::to_string(LibraryLimit.count() + 500) + "@2x1"});
    const auto navoctl = world.StartNavoctl({"run", "--service-id", "demo.card"});
    EXPECT_EQ(navoctl->WaitForEnd(LibraryLimit + Patience), Success) << navoctl->Errors();
}

TEST_F(Navoctl, SendsARawRequestByEitherMethod) {
    world.Device().SetFreeMemory(4096);
    const std::string reply = "MemoryInfo=4096\nReturnCode=4096\n";
    EXPECT_EQ(world.Navoctl({"raw", "Cmd=68"}).output, reply);
    EXPECT_EQ(world.Navoctl({"raw", "--exec", "--tag", "T", "Cmd=68"}).output, reply);
}

TEST_F(Navoctl, LeavesNoServiceBehind) {
    EXPECT_EQ(world.Navoctl({"memory"}).status, Success);
    EXPECT_TRUE(Eventually([&] { return world.ServiceProcess() == 0; }));
}

TEST_F(Navoctl, MayBeCalledByManyAtOnce) {
    std::vector<std::unique_ptr<Process>> processes;
    for (int i = 0; i < 12; ++i) {
        processes.push_back(world.StartNavoctl({"memory"}));
    }
    for (const auto& process : processes) {
        EXPECT_EQ(process->WaitForEnd(), Success) << process->Errors();
    }
}

}  // namespace
