// SPDX-License-Identifier: Apache-2.0
// Requests, their replies, and progress.
#include <gmock/gmock.h>

#include <filesystem>

#include "device/VirtualDevice.h"
#include "tests/support/service/PortOnBus.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

class ClientPortRequest : public PortOnBus {
protected:
    // A client whose requests nobody answers: the registry has forgotten it, the port has not.
    void OpenForDeferredReplies() {
        Session("Open");
        registry->OnClientDisconnected(port, ClientId());
        world.ForgetLog();
    }

    // Lets the port take the calls that were started, and nothing more: a later call on the same connection
    // is answered only after it has taken the earlier ones.
    void LetThePortTakeThem() { Session("x"); }

    // This program as a package whose distributor root has platform, partner, ... visibility.
    void BecomeSigned(const std::string& level, const std::string& modelName = "Test Wearable") {
        std::string text = DeviceWorld::OrdinaryDevice();
        const std::string heading = "[package com.example." + level + "]\n";
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        text.replace(text.find(heading), heading.size(), heading + "executables=" + program + "\n");
        const std::string model = "model-name=Test Wearable";
        text.replace(text.find(model), model.size(), "model-name=" + modelName);
        world.Configure(text);
        package = "com.example." + level;
    }
};

}  // namespace

TEST_F(ClientPortRequest, OfAStrangerIsAnsweredWithWrongParameters) {
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), "Wrong parameters");
    EXPECT_EQ(Call("Exec", {{"Cmd", "66"}}), "Wrong parameters");
    EXPECT_EQ(Call("Session", {{"Cmd", "66"}}), "Wrong parameters");
    EXPECT_EQ(Call("Cmd", {}), "Wrong parameters");
    EXPECT_EQ(Lines("E _handle_method_call: Command request from unknown client"), 4);
    EXPECT_THAT(world.Log(), Not(Contains("I/info: Request from Client arrived")));
}

TEST_F(ClientPortRequest, IsAnsweredByTheAgent) {
    Session("Open");
    world.ForgetLog();
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), ResultText::WrongCommand);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            StartsWith("D _handle_method_call: Error obtaining senders ID: "),
            "D OnClientData: Handling request data",
            "D OnClientData: port : D-bus port, remote : " + ClientId(),
            "D Trigger_ClientData: Client ID: " + ClientId(), "D ConstructJob: data : 1",
            "D ConstructJob: cmd: 66", "D AgentJob: ", "D Trigger_ClientData: Starting Job",
            "D TaskComplete: ", std::string("D Do: Job execution status: ") + ResultText::WrongCommand,
            "D SendResult: Sending response to " + ClientId(), "D SendReply: Sending reply",
            "D SendResult: Sent response", "D OnClientData: Done"));
}

TEST_F(ClientPortRequest, MayComeThroughExecWhoseTagIsIgnored) {
    world.Configure("[card]\nanswer 80CA9F7F00=9F7F02ABCD9000\n");
    Session("Open");
    EXPECT_EQ(Call("Exec", {{"Cmd", "67"}}), "ABCD");
}

TEST_F(ClientPortRequest, GetsAWholeMapBack) {
    world.Configure("[card]\nfree-memory=4096\n");
    Session("Open");
    const auto call = Finish(client->Start("Cmd", {{"Cmd", "68"}}));
    EXPECT_THAT(call->reply, ElementsAre(Pair("MemoryInfo", "4096"), Pair("ReturnCode", "4096")));
}

TEST_F(ClientPortRequest, WithAnEmptyMapIsForwardedAndAnsweredWithWrongParameters) {
    Session("Open");
    world.ForgetLog();
    EXPECT_EQ(Call("Cmd", {}), "Wrong parameters");
    EXPECT_THAT(
        world.LocatedLog(), testing::IsSupersetOf(std::vector<std::string>{
                                "E Trigger_ClientData: Empty request from client application",
                                "D SendReply: Client is not registered: " + Identifier()}));
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), ResultText::WrongCommand) << "the session goes on";
}

TEST_F(ClientPortRequest, IsRefusedByTheBusLibraryWhenItHasAnotherForm) {
    Session("Open");
    const auto wrongSignature = Finish(client->StartRaw("Cmd", g_variant_new("(s)", "67")));
    EXPECT_EQ(wrongSignature->error, "org.freedesktop.DBus.Error.InvalidArgs");
    const auto unknownMethod = Finish(client->Start("Run", {{"Cmd", "67"}}));
    EXPECT_EQ(unknownMethod->error, "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(ClientPortRequest, IsAnsweredLaterThroughThePort) {
    OpenForDeferredReplies();
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    LetThePortTakeThem();
    EXPECT_FALSE(call->done);
    EXPECT_THAT(world.LocatedLog(), Contains("D OnClientData: Data from unknown Client " + ClientId()));
    EXPECT_TRUE(port->SendResult(ClientId(), {{"ReturnCode", "late"}}));
    EXPECT_EQ(Finish(call)->reply["ReturnCode"], "late");
}

TEST_F(ClientPortRequest, MayBeAnsweredWithAnEmptyMap) {
    OpenForDeferredReplies();
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    LetThePortTakeThem();
    EXPECT_TRUE(port->SendResult(ClientId(), {}));
    Finish(call);
    EXPECT_EQ(call->error, "");
    EXPECT_THAT(call->reply, IsEmpty());
}

TEST_F(ClientPortRequest, IsAnsweredOnlyOnce) {
    OpenForDeferredReplies();
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    LetThePortTakeThem();
    EXPECT_TRUE(port->SendResult(ClientId(), {{"ReturnCode", "first"}}));
    world.ForgetLog();
    EXPECT_FALSE(port->SendResult(ClientId(), {{"ReturnCode", "second"}}));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D SendResult: Sending response to " + ClientId(),
            "D SendReply: Client is not registered: " + Identifier(), "D SendResult: Sent response"));
    EXPECT_EQ(Finish(call)->reply["ReturnCode"], "first");
}

TEST_F(ClientPortRequest, GetsNoReplyWhenANewerOneCameFirst) {
    OpenForDeferredReplies();
    const auto first = client->Start("Cmd", {{"Cmd", "66"}});
    const auto second = client->Start("Cmd", {{"Cmd", "66"}});
    LetThePortTakeThem();
    EXPECT_TRUE(port->SendReturnCode(ClientId(), "for the second"));
    EXPECT_FALSE(port->SendReturnCode(ClientId(), "for nobody"));
    EXPECT_EQ(Finish(second)->reply["ReturnCode"], "for the second");
    LetThePortTakeThem();
    EXPECT_FALSE(first->done);
}

TEST_F(ClientPortRequest, GetsNoReplyWhenAnEmptyOneCameMeanwhile) {
    OpenForDeferredReplies();
    const auto first = client->Start("Cmd", {{"Cmd", "66"}});
    EXPECT_EQ(Call("Cmd", {}), "Wrong parameters");
    EXPECT_FALSE(port->SendReturnCode(ClientId(), "for nobody"));
    LetThePortTakeThem();
    EXPECT_FALSE(first->done);
}

TEST_F(ClientPortRequest, GetsNoReplyWhenItsClientWasRemovedFirst) {
    OpenForDeferredReplies();
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    LetThePortTakeThem();
    Session("Close");
    world.ForgetLog();
    EXPECT_FALSE(port->SendResult(ClientId(), {{"ReturnCode", "late"}}));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D SendResult: Sending response to " + ClientId(),
            "E SendResult: Error sending reply. Client had disappear", "D SendResult: Sent response"));
    LetThePortTakeThem();
    EXPECT_FALSE(call->done);
}

TEST_F(ClientPortRequest, IsAnsweredToTheIdAsThePortMadeItAlone) {
    OpenForDeferredReplies();
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    LetThePortTakeThem();
    for (const std::string& id : {Identifier(), std::string(), std::string(";"), "dbus;x" + Identifier()}) {
        EXPECT_FALSE(port->SendResult(id, {{"ReturnCode", "x"}})) << id;
        EXPECT_FALSE(port->IsTrusted(id)) << id;
    }
    EXPECT_TRUE(port->SendResult("anything;" + Identifier(), {{"ReturnCode", "x"}}))
        << "only what follows the first semicolon counts";
    Finish(call);
}

TEST_F(ClientPortRequest, CarriesOnlyUtf8Back) {
    BecomeSigned("platform", "W\xFFist");
    Session("Open");
    const auto call = Finish(client->Start("Cmd", {{"Cmd", "1F4"}}));
    EXPECT_THAT(call->reply["phoneInfo"], StartsWith("deviceModel: W\uFFFDist\n"));
}

TEST_F(ClientPortRequest, IsPrivilegedForAPackageOfPlatformVisibilityOnly) {
    BecomeSigned("platform");
    Session("Open");
    EXPECT_EQ(Call("Cmd", {{"Cmd", "1F4"}}), ResultText::Done);
    world.ForgetLog();
    EXPECT_TRUE(port->IsTrusted(ClientId()));
    EXPECT_THAT(world.Log(), IsEmpty());
    Session("Close");
    for (const std::string level : {"partner", "public", "unsigned"}) {
        BecomeSigned(level);
        Session("Open");
        EXPECT_EQ(Call("Cmd", {{"Cmd", "1F4"}}), ResultText::WrongCommand) << level;
        EXPECT_FALSE(port->IsTrusted(ClientId())) << level;
        Session("Close");
    }
}

TEST_F(ClientPortRequest, IsPrivilegedByThePackageBeforeTheFirstUnderscore) {
    BecomeSigned("platform");
    const std::string owner =
        "executables=" + std::filesystem::read_symlink("/proc/self/exe").string() + "\n";
    std::string text = DeviceWorld::OrdinaryDevice();
    world.Configure(text + "[package com.example.platform_tools]\n" + owner);
    package = "com.example.platform_tools";
    Session("Open");
    EXPECT_TRUE(port->IsTrusted(ClientId())) << "com.example.platform is asked about";
    Session("Close");
    const std::string heading = "[package com.example.platform]";
    world.Configure(
        text.replace(text.find(heading), heading.size(), "[package com.example.platform_x]\n" + owner));
    package = "com.example.platform_x";
    Session("Open");
    EXPECT_FALSE(port->IsTrusted(ClientId())) << "com.example.platform is not installed";
}

TEST_F(ClientPortRequest, IsNeverPrivilegedForAStranger) {
    BecomeSigned("platform");
    EXPECT_FALSE(port->IsTrusted(ClientId()));
}

TEST_F(ClientPortRequest, ReportsProgressOnThePathOfItsProcess) {
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    client->CollectProgress("/navoa/client/" + Pid());
    world.ForgetLog();
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "E6_Services Installation"));
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "\xFF"));
    WaitUntil([&] { return client->Progress().size() == 2; }, "two signals");
    EXPECT_THAT(client->Progress(), ElementsAre("E6_Services Installation", "\uFFFD"));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D SendProgressCode: Sending progress to " + ClientId(),
            StartsWith("D SendProgress: Sending progress to " + Identifier() + ". 0x"),
            "D SendProgressCode: Sent progress", "D SendProgressCode: Sending progress to " + ClientId(),
            StartsWith("D SendProgress: Sending progress to " + Identifier() + ". 0x"),
            "D SendProgressCode: Sent progress"));
}

TEST_F(ClientPortRequest, BroadcastsProgressToWhoeverListens) {
    BusClient listener(bus.Address());
    listener.CollectProgress("/navoa/client/" + Pid());
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    port->SendProgressCode(ClientId(), "C0_");
    WaitUntil([&] { return listener.Progress().size() == 1; }, "a signal");
    EXPECT_THAT(listener.Progress(), ElementsAre("C0_"));
}

TEST_F(ClientPortRequest, SplitsAnIdentifierAtItsFirstUnderscore) {
    BecomePackage("com.my_app");
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    client->CollectProgress("/navoa/client/app_" + Pid());
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "A4_Select Service"));
    WaitUntil([&] { return client->Progress().size() == 1; }, "a signal");
    EXPECT_THAT(client->Progress(), ElementsAre("A4_Select Service"));
}

TEST_F(ClientPortRequest, EndsThePathOfItsProgressBeforeAColon) {
    BecomePackage("com.my_app:tile");
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    client->CollectProgress("/navoa/client/app");
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "A4_Select Service"));
    WaitUntil([&] { return client->Progress().size() == 1; }, "a signal");
    EXPECT_THAT(client->Progress(), ElementsAre("A4_Select Service"));
}

TEST_F(ClientPortRequest, ReportsProgressOnceAnEmptyOneCame) {
    Session("Open");
    Call("Cmd", {});
    client->CollectProgress("/navoa/client/" + Pid());
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "C0_"));
    WaitUntil([&] { return client->Progress().size() == 1; }, "a signal");
    EXPECT_THAT(client->Progress(), ElementsAre("C0_"));
}

TEST_F(ClientPortRequest, ReportsNoProgressBeforeTheFirstRequest) {
    Session("Open");
    client->CollectProgress("/navoa/client/" + Pid());
    world.ForgetLog();
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "A4_Select Service")) << "the client is there";
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D SendProgressCode: Sending progress to " + ClientId(), "D SendProgressCode: Sent progress"));
    LetThePortTakeThem();
    EXPECT_THAT(client->Progress(), IsEmpty());
}

TEST_F(ClientPortRequest, ReportsNoProgressToAStranger) {
    EXPECT_FALSE(port->SendProgressCode(ClientId(), "A4_Select Service"));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D SendProgressCode: Sending progress to " + ClientId(),
                                "E SendProgressCode: Error sending progress. Client had disappear",
                                "D SendProgressCode: Sent progress"));
}
