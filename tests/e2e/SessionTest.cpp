// SPDX-License-Identifier: Apache-2.0
// What the service answers to sessions and requests as they stand on the wire.
#include <gtest/gtest.h>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/World.h"

namespace {

using ResultText::WrongCommand;

constexpr char ServiceName[] = "com.orvenco.navoa";
constexpr char WrongParameters[] = "Wrong parameters";

using Map = BusCaller::Map;

class Session : public ::testing::Test {
protected:
    World world;
    BusCaller caller{world.BusAddress()};
};

TEST_F(Session, ASecondOpenIsRefusedButCounts) {
    EXPECT_EQ(caller.Session("Open").ReturnCode(), "Success");
    EXPECT_EQ(caller.Session("Open").ReturnCode(), "Failed");
    const pid_t service = world.ServiceProcess();
    EXPECT_EQ(caller.Session("Close").ReturnCode(), "Success");
    EXPECT_EQ(caller.Call("Cmd", {{"Cmd", "66"}}).ReturnCode(), WrongCommand);
    EXPECT_EQ(caller.Session("Close").ReturnCode(), "Success");
    EXPECT_EQ(world.AwaitEndOf(service), 0);
}

TEST_F(Session, ASecondConnectionOfTheSameProcessIsTheSameClient) {
    BusCaller second(world.BusAddress());
    EXPECT_EQ(caller.Session("Open").ReturnCode(), "Success");
    EXPECT_EQ(second.Session("Open").ReturnCode(), "Failed");
    EXPECT_EQ(second.Call("Cmd", {{"Cmd", "66"}}).ReturnCode(), WrongCommand);
}

TEST_F(Session, ACloseOfAProcessThatNeverOpenedIsAnsweredWithSuccess) {
    const auto client = world.StartClient("com.example.bank");
    client->OpenSession();
    const pid_t service = world.ServiceProcess();
    EXPECT_EQ(caller.Session("Close").ReturnCode(), "Success");
    // Looked up after the answer.
    EXPECT_TRUE(Eventually(
        [&] { return world.LogHas("Error: trying to unregister unknown client: 'com.example.wallet_"); }));
    EXPECT_EQ(client->Call({{"Cmd", "66"}}).at("ReturnCode"), WrongCommand);
    EXPECT_EQ(world.ServiceProcess(), service);
}

TEST_F(Session, AnythingButOpenAndCloseFails) {
    EXPECT_EQ(caller.Session("").ReturnCode(), "Failed");
    EXPECT_EQ(caller.Session("open").ReturnCode(), "Failed");
    EXPECT_EQ(caller.Call("Cmd", {{"Cmd", "66"}}).ReturnCode(), WrongParameters);
}

TEST_F(Session, ItsActionMayComeByEveryMethod) {
    EXPECT_EQ(caller.Call("Cmd", {{"Session", "Open"}}).ReturnCode(), "Success");
    EXPECT_EQ(caller.Exec({{"Session", "Open"}}, "tag").ReturnCode(), "Failed");
    EXPECT_EQ(caller.Call("Session", {{"Cmd", "66"}}).ReturnCode(), WrongCommand);
}

TEST_F(Session, ItsOtherKeysAreNeverForwarded) {
    EXPECT_EQ(caller.Call("Session", {{"Session", "Open"}, {"Cmd", "67"}}).ReturnCode(), "Success");
    EXPECT_EQ(caller.Call("Cmd", {{"Session", "?"}, {"Cmd", "67"}}).ReturnCode(), "Failed");
    EXPECT_FALSE(world.LogHas("info: Request from Client arrived"));
}

TEST_F(Session, ACommandOfAnUnregisteredProcessIsAWrongParameter) {
    EXPECT_EQ(caller.Call("Cmd", {{"Cmd", "67"}}).ReturnCode(), WrongParameters);
    EXPECT_EQ(caller.Exec({{"Cmd", "67"}}, "tag").ReturnCode(), WrongParameters);
    EXPECT_EQ(world.LogCount("Command request from unknown client"), 2U);
}

TEST_F(Session, ExecDoesWhatCmdDoes) {
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    const std::string cplc = caller.Call("Cmd", {{"Cmd", "67"}}).ReturnCode();
    EXPECT_EQ(cplc.size(), 84U);
    EXPECT_EQ(caller.Exec({{"Cmd", "67"}}, "any tag").ReturnCode(), cplc);
}

TEST_F(Session, AnEmptyRequestGetsOneReplyAndIsForwardedAllTheSame) {
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    EXPECT_EQ(caller.Call("Cmd", {}).ReturnCode(), WrongParameters);
    EXPECT_TRUE(world.LogHas("Empty request from client application"));
    EXPECT_TRUE(world.LogHas("Client is not registered: com.example.wallet_"));
    EXPECT_EQ(caller.Call("Cmd", {{"Cmd", "66"}}).ReturnCode(), WrongCommand);
}

TEST_F(Session, ARequestWithoutACommandIsSaidToHaveNone) {
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    EXPECT_EQ(caller.Call("Cmd", {{"ServiceId", "A"}}).ReturnCode(), ResultText::CommandMissing);
    EXPECT_EQ(caller.Call("Cmd", {{"Cmd", "FFFFFFFFFFFFFFFFF"}}).ReturnCode(), ResultText::CommandUnreadable);
    for (const char* wrong : {"", "ZZ", "3FE", "100000067", "-67", "6"}) {
        EXPECT_EQ(caller.Call("Cmd", {{"Cmd", wrong}}).ReturnCode(), WrongCommand) << wrong;
    }
}

TEST_F(Session, ACommandIsReadAsAHexadecimalNumberUpToItsEnd) {
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    for (const char* command : {"1f4", " 1F4", "0x1F4", "1F4Z", "+1F4"}) {
        EXPECT_EQ(caller.Call("Cmd", {{"Cmd", command}}).values.count("phoneInfo"), 1U) << command;
    }
}

TEST_F(Session, UnknownMethodsAndWrongSignaturesAreErrorsOfTheBusLibrary) {
    EXPECT_EQ(
        caller.CallAnything(ServiceName, "Reboot", "()").error, "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(
        caller.CallAnything(ServiceName, "Cmd", "('67',)").error, "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(
        caller.CallAnything(ServiceName, "Exec", "({'Cmd': '67'},)").error,
        "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(Session, ThePolicyLetsNothingElseThrough) {
    constexpr char AccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
    EXPECT_EQ(caller.CallAnything("com.orvenco.other", "Cmd", "({'Cmd': '67'},)").error, AccessDenied);
    EXPECT_EQ(
        caller.CallAnything("org.freedesktop.DBus.Properties", "GetAll", "('com.orvenco.navoa',)").error,
        AccessDenied);
    EXPECT_EQ(caller.CallAnything("org.freedesktop.DBus.Peer", "Ping", "()").error, AccessDenied);
    EXPECT_EQ(world.ServiceProcess(), 0);
}

TEST_F(Session, TheObjectDescribesItself) {
    const BusAnswer answer = caller.CallAnything("org.freedesktop.DBus.Introspectable", "Introspect", "()");
    EXPECT_EQ(answer.error, "");
    for (const char* part :
         {"<interface name=\"com.orvenco.navoa\">", "<method name=\"Session\">", "<method name=\"Cmd\">",
          "<method name=\"Exec\">", "<signal name=\"Progress\">",
          "<arg type=\"a{ss}\" name=\"data\" direction=\"in\"",
          "<arg type=\"s\" name=\"result_tag\" direction=\"in\""}) {
        EXPECT_NE(answer.text.find(part), std::string::npos) << part << " in " << answer.text;
    }
}

TEST_F(Session, AClientIsKnownByItsPackageAndItsProcess) {
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    EXPECT_TRUE(world.LogHas("info: Client connected: dbus;com.example.wallet_" + std::to_string(getpid())));
}

TEST_F(Session, AProcessOfNoKnownPackageIsCalledApp) {
    world.Device().Set("package com.example.wallet", "executables", "");
    ASSERT_EQ(caller.Session("Open").ReturnCode(), "Success");
    EXPECT_TRUE(world.LogHas("info: Client connected: dbus;app_" + std::to_string(getpid())));
}

TEST_F(Session, AReplyHasTheTypeOfAMap) {
    EXPECT_EQ(caller.Session("Open").text, "({'ReturnCode': 'Success'},)");
}

}  // namespace
