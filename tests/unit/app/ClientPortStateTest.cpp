// SPDX-License-Identifier: Apache-2.0
// Listening, losing the name or the bus, and stopping.
#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/support/service/PortOnBus.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr char Name[] = "com.orvenco.navoa";

class ClientPortState : public PortOnBus {
protected:
    ClientPortState() : PortOnBus(false) {}

    // Result of a call of the bus that gives a number.
    static guint32 NumberFrom(GVariant* reply) {
        guint32 number = 0;
        if (reply != nullptr) {
            g_variant_get(reply, "(u)", &number);
            g_variant_unref(reply);
        }
        return number;
    }
};

}  // namespace

TEST_F(ClientPortState, IsNamedForTheBus) {
    EXPECT_STREQ(Tizen::DbusClientPort().GetName(), "D-bus port");
}

TEST_F(ClientPortState, DoesNotListenAtFirst) {
    Tizen::DbusClientPort idle;
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_FALSE(idle.SendResult("dbus;app_1", {}));
    EXPECT_FALSE(idle.SendProgressCode("dbus;app_1", "A4_"));
    EXPECT_FALSE(idle.IsTrusted("dbus;app_1"));
    idle.StopListen();
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(ClientPortState, OwnsItsNameAndDescribesItsObject) {
    ListenUntilReady();
    GVariant* owner = CallBus(client->Connection(), "GetNameOwner", g_variant_new("(s)", Name));
    ASSERT_NE(owner, nullptr);
    g_variant_unref(owner);
    std::string document;
    g_dbus_connection_call(
        client->Connection(), Name, "/com/orvenco/navoa", "org.freedesktop.DBus.Introspectable", "Introspect",
        nullptr, G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            if (GVariant* const reply =
                    g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr)) {
                const char* text = nullptr;
                g_variant_get(reply, "(&s)", &text);
                *static_cast<std::string*>(data) = text;
                g_variant_unref(reply);
            }
        },
        &document);
    WaitUntil([&] { return !document.empty(); }, "the description");
    for (const char* const part :
         {"<method name=\"Session\">", "<method name=\"Cmd\">", "<method name=\"Exec\">",
          "name=\"result_tag\"", "<signal name=\"Progress\">"}) {
        EXPECT_NE(document.find(part), std::string::npos) << part;
    }
}

TEST_F(ClientPortState, SaysOnceThatItListens) {
    port = Listen();
    WaitForLog("I/info: Started to listen on d-bus");
    EXPECT_THAT(
        world.Log(), ElementsAre(
                         testing::HasSubstr(" RegisterPort] Registering listener: D-bus port"),
                         "I/info: Started to listen on d-bus"));
    world.ForgetLog();
    EXPECT_EQ(port->StartListen(), 0) << "a second time does nothing";
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_THAT(world.Log(), Not(Contains("I/info: Started to listen on d-bus")));
}

TEST_F(ClientPortState, IsUnreachableButListeningWhenItLosesItsName) {
    ListenUntilReady();
    Session("Open");
    world.ForgetLog();
    const SharedConnection shared;
    NumberFrom(CallBus(shared.Get(), "ReleaseName", g_variant_new("(s)", Name)));
    WaitForLog("I/info: Stop listening on d-bus");
    EXPECT_EQ(registry->ClientCount(), 1U) << "the registry is not told";
    EXPECT_TRUE(LoopRuns());
    EXPECT_FALSE(port->SendResult(ClientId(), {})) << "the port has forgotten its clients";
    EXPECT_THAT(world.LocatedLog(), Contains("E SendResult: Error sending reply. Client had disappear"));
}

TEST_F(ClientPortState, OutlivesTheBus) {
    ListenUntilReady();
    Session("Open");
    world.ForgetLog();
    bus.Stop();
    WaitForLog("D _on_name_lost: Connection lost");
    EXPECT_EQ(registry->ClientCount(), 1U);
    EXPECT_TRUE(LoopRuns());
    EXPECT_FALSE(port->SendProgressCode(ClientId(), "A4_"));
    EXPECT_THAT(world.Log(), Not(Contains("I/info: Stop listening on d-bus")));
}

TEST_F(ClientPortState, TellsWhyProgressCannotBeSentWhenItsConnectionIsClosed) {
    ListenUntilReady();
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    const SharedConnection shared;
    g_dbus_connection_close_sync(shared.Get(), nullptr, nullptr);
    world.ForgetLog();
    EXPECT_TRUE(port->SendProgressCode(ClientId(), "C0_")) << "the port has not heard of it yet";
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D SendProgressCode: Sending progress to " + ClientId(),
            StartsWith("D SendProgress: Sending progress to " + Identifier() + ". 0x"),
            "D SendProgress: Error sending progress to " + Identifier() + ": The connection is closed",
            "D SendProgressCode: Sent progress"));
}

TEST_F(ClientPortState, LetsGoOfTheConnectionWhenTheBusIsLost) {
    ListenUntilReady();
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    SharedConnectionWatch connection;
    bus.Stop();
    WaitUntil([&] { return connection.Gone(); }, "the connection to go");
}

TEST_F(ClientPortState, StaysAliveWithoutAnyBus) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (world.Path() / "nobody").string()).c_str(), 1);
    Listen();
    WaitForLog("D _on_name_lost: Connection lost");
    EXPECT_TRUE(LoopRuns());
}

TEST_F(ClientPortState, DoesNotTakeItsNameFromAnother) {
    constexpr guint32 AllowReplacement = 1;
    ASSERT_EQ(
        NumberFrom(
            CallBus(client->Connection(), "RequestName", g_variant_new("(su)", Name, AllowReplacement))),
        1U);
    Listen();
    WaitForLog("I/info: Stop listening on d-bus");
    EXPECT_THAT(world.Log(), Not(Contains("I/info: Started to listen on d-bus")));

    // It waits in the queue. Its turn comes too late: the object went with the name.
    world.ForgetLog();
    EXPECT_EQ(NumberFrom(CallBus(client->Connection(), "ReleaseName", g_variant_new("(s)", Name))), 1U);
    WaitForLog("I/info: Started to listen on d-bus");
    EXPECT_THAT(Session("Open"), StartsWith("org.freedesktop.DBus.Error.Unknown"));
}

TEST_F(ClientPortState, UnregistersItsObjectOnceHoweverOftenItLosesItsName) {
    ListenUntilReady();
    const SharedConnection shared;
    const auto release = [&] {
        NumberFrom(CallBus(shared.Get(), "ReleaseName", g_variant_new("(s)", Name)));
    };
    const auto request = [&] {
        NumberFrom(CallBus(shared.Get(), "RequestName", g_variant_new("(su)", Name, 0U)));
    };
    release();
    WaitForLog("I/info: Stop listening on d-bus");
    request();
    WaitForLog("I/info: Started to listen on d-bus");
    world.ForgetLog();
    release();
    request();
    WaitForLog("I/info: Started to listen on d-bus");
    EXPECT_THAT(world.Log(), ElementsAre("I/info: Started to listen on d-bus"));
}

TEST_F(ClientPortState, DoesNotLetItsNameBeTaken) {
    ListenUntilReady();
    constexpr guint32 ReplaceExisting = 2;
    constexpr guint32 DoNotQueue = 4;
    constexpr guint32 Exists = 3;
    EXPECT_EQ(
        NumberFrom(CallBus(
            client->Connection(), "RequestName", g_variant_new("(su)", Name, ReplaceExisting | DoNotQueue))),
        Exists);
    EXPECT_EQ(Session("Open"), "Success");
}

TEST_F(ClientPortState, LogsThatItsObjectCannotBeExported) {
    ListenUntilReady();
    Listen();
    WaitUntil(
        [&] {
            const std::vector<std::string> log = world.LocatedLog();
            return !log.empty() &&
                   log.back().find("D _register_object: Error registering d-bus object: ") == 0;
        },
        "the second object to be refused");
    EXPECT_THAT(world.LocatedLog().back(), testing::HasSubstr(Name)) << "the bus library's own words";
    EXPECT_EQ(Session("Open"), "Success") << "the first port goes on";
}

TEST_F(ClientPortState, AnswersCallsThatArriveAfterItStopped) {
    ListenUntilReady();
    Session("Open");
    const SharedConnection shared;  // keeps the exported object reachable
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    client->SyncWithBus();  // the bus has passed the call on; the main context has not served it
    registry->StopListen();
    world.ForgetLog();
    EXPECT_EQ(Finish(call)->reply["ReturnCode"], "Wrong parameters");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D _handle_method_call: Invalid state"));
}

TEST_F(ClientPortState, TakesNoNewsOfTheNameAfterItStopped) {
    Listen();
    registry->StopListen();
    world.ForgetLog();
    client->SyncWithBus();
    ListenUntilReady();
    EXPECT_EQ(Session("Open"), "Success") << "a later port is not disturbed by what was under way";
}

TEST_F(ClientPortState, GivesItsNameBackWhenItStops) {
    ListenUntilReady();
    registry->StopListen();
    EXPECT_THAT(world.Log(), ElementsAre("I/info: Stop waiting for Clients"));
    EXPECT_EQ(CallBus(client->Connection(), "GetNameOwner", g_variant_new("(s)", Name)), nullptr);
}

TEST_F(ClientPortState, GivesItsNameBackWhenItGoesWithoutHavingStopped) {
    {
        Tizen::DbusClientPort brief;
        brief.StartListen();
        WaitForLog("I/info: Started to listen on d-bus");
    }
    EXPECT_EQ(CallBus(client->Connection(), "GetNameOwner", g_variant_new("(s)", Name)), nullptr);
}

TEST_F(ClientPortState, ForgetsItsClientsWhenItStops) {
    ListenUntilReady();
    Session("Open");
    port->StopListen();
    EXPECT_FALSE(port->SendResult(ClientId(), {}));
    EXPECT_FALSE(port->IsTrusted(ClientId()));
    port->StopListen();
    EXPECT_EQ(registry->ClientCount(), 1U) << "the registry's records are the registry's business";
}

TEST_F(ClientPortState, CanListenAgain) {
    ListenUntilReady();
    Session("Open");
    port->StopListen();
    EXPECT_EQ(port->StartListen(), 0);
    WaitForLog("I/info: Started to listen on d-bus");
}

TEST_F(ClientPortState, AnswersTheLastCloseAlthoughItStopsAtOnce) {
    ListenUntilReady();
    Session("Open");
    const auto call = client->Start("Session", {{"Session", "Close"}});
    WaitUntil([&] { return !LoopRuns(); }, "the loop to be quit");
    registry->StopListen();
    EXPECT_EQ(Finish(call)->reply["ReturnCode"], "Success");
}
