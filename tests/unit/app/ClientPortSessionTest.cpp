// SPDX-License-Identifier: Apache-2.0
// Sessions: who a client is, and how it comes and goes.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "common/Runtime.h"
#include "device/VirtualDevice.h"
#include "tests/support/Process.h"
#include "tests/support/service/PortOnBus.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ClientPortSession : public PortOnBus {};

}  // namespace

TEST_F(ClientPortSession, OpensForAClient) {
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(registry->ClientCount(), 1U);
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: " + ClientId()));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                StartsWith("D _handle_method_call: Error obtaining senders ID: "),
                                "D _handle_method_call: Registering client " + Identifier(),
                                "D AddClient: Client registration " + Identifier(),
                                "D AddClient: Registering client: " + ClientId(), StartsWith("D Agent: 0x")));
}

TEST_F(ClientPortSession, ClosesAndQuitsTheLoopWithTheLastClient) {
    Session("Open");
    world.ForgetLog();
    EXPECT_EQ(Session("Close"), "Success");
    EXPECT_EQ(registry->ClientCount(), 0U);
    EXPECT_FALSE(LoopRuns());
    EXPECT_THAT(world.Log(), Contains("I/info: Client disconnected: " + ClientId()));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            StartsWith("D _handle_method_call: Error obtaining senders ID: "),
            "D _handle_method_call: Unregistering client " + Identifier(),
            "D RemoveClient: Removing client: " + Identifier(),
            "D OnClientDisconnected: Client disconnected: " + ClientId(), "D Trigger_Shutdown: ",
            "D OnClientDisconnected: Removing Client: " + ClientId(), StartsWith("D ~Agent: 0x"),
            "D Trigger_Shutdown: ", "D OnClientDisconnected: No more Clients connected",
            "D OnNoClients: No more clients", "D ExitMainLoop: Exiting application loop"));
}

TEST_F(ClientPortSession, FailsASecondOpenAndThenNeedsTwoCloses) {
    EXPECT_EQ(Session("Open"), "Success");
    world.ForgetLog();
    EXPECT_EQ(Session("Open"), "Failed");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                StartsWith("D _handle_method_call: Error obtaining senders ID: "),
                                "D _handle_method_call: Registering client " + Identifier(),
                                "D AddClient: Client registration " + Identifier(),
                                "D _handle_method_call: Error registering client " + Identifier()));
    EXPECT_EQ(registry->ClientCount(), 1U);

    EXPECT_EQ(Session("Close"), "Success");
    EXPECT_EQ(registry->ClientCount(), 1U);
    EXPECT_TRUE(LoopRuns());
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), ResultText::WrongCommand);

    EXPECT_EQ(Session("Close"), "Success");
    EXPECT_EQ(registry->ClientCount(), 0U);
    EXPECT_FALSE(LoopRuns());
}

TEST_F(ClientPortSession, CountsTheConnectionsOfAProcessTogether) {
    const BusClient other(bus.Address());
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(Finish(other.Start("Session", {{"Session", "Open"}}))->reply["ReturnCode"], "Failed");
}

TEST_F(ClientPortSession, OpensAgainAfterItWasClosed) {
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(Session("Close"), "Success");
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(registry->ClientCount(), 1U);
}

TEST_F(ClientPortSession, OpensAlthoughTheRegistryKnowsTheClientAlready) {
    registry->OnClientConnected(port, ClientId());
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(registry->ClientCount(), 1U);
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E OnClientConnected: Duplicate connection request for client " + ClientId()));
}

TEST_F(ClientPortSession, ClosesForAStrangerAndOnlyLogsIt) {
    EXPECT_EQ(Session("Close"), "Success");
    EXPECT_TRUE(LoopRuns());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            StartsWith("D _handle_method_call: Error obtaining senders ID: "),
            "D _handle_method_call: Unregistering client " + Identifier(),
            "D RemoveClient: Removing client: " + Identifier(),
            "D RemoveClient: Error: trying to unregister unknown client: '" + Identifier() + "'"));
    EXPECT_THAT(world.Log(), Not(Contains("I/info: Client disconnected: " + ClientId())));
}

TEST_F(ClientPortSession, FailsEveryOtherAction) {
    for (const std::string action : {"", "open", "Opened", "OPEN", "Close "}) {
        world.ForgetLog();
        EXPECT_EQ(Session(action), "Failed") << action;
        EXPECT_THAT(world.LocatedLog(), Contains("E _handle_method_call: Wrong parameters"));
    }
    EXPECT_EQ(registry->ClientCount(), 0U);
}

TEST_F(ClientPortSession, IsNoBusinessOfTheAgentWhateverElseTheMapHolds) {
    Session("Open");
    world.ForgetLog();
    EXPECT_EQ(Call("Cmd", {{"Session", "Open"}, {"Cmd", "66"}}), "Failed");
    EXPECT_EQ(Call("Exec", {{"Session", "x"}, {"Cmd", "66"}}), "Failed");
    EXPECT_THAT(world.Log(), Not(Contains("I/info: Request from Client arrived")));
}

TEST_F(ClientPortSession, IsServedByEveryMethodAlike) {
    EXPECT_EQ(Call("Exec", {{"Session", "Open"}}), "Success");
    EXPECT_EQ(Call("Cmd", {{"Session", "Open"}}), "Failed");
    EXPECT_EQ(Call("Session", {{"Cmd", "66"}}), ResultText::WrongCommand);
}

TEST_F(ClientPortSession, NamesAClientByItsPackageAndProcess) {
    BecomePackage("com.example.wallet");
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;com.example.wallet_" + Pid()));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D _handle_method_call: Registering client " + Identifier(),
                                "D AddClient: Client registration " + Identifier(),
                                "D AddClient: Registering client: " + ClientId(), StartsWith("D Agent: 0x")));
}

TEST_F(ClientPortSession, NamesAClientAppWhenItsPackageIsUnknown) {
    world.Configure("[fault aul_app_get_pkgname_bypid]\nresult=TIZEN_ERROR_OUT_OF_MEMORY\n");
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_THAT(
        world.LocatedLog(), Contains("D _handle_method_call: Error obtaining senders ID: Out of memory"));
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;app_" + Pid()));
}

TEST_F(ClientPortSession, NamesAClientAppWhenThePlatformGivesAnEmptyPackage) {
    world.Configure("[fault aul_app_get_pkgname_bypid]\nresult=0\n");
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;app_" + Pid()));
}

TEST_F(ClientPortSession, KnowsAPackageOf254BytesByItsNameAndALongerOneAsApp) {
    const std::string longest = "com.example." + std::string(242, 'w');
    ASSERT_EQ(longest.size(), 254U);
    BecomePackage(longest);
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;" + longest + "_" + Pid()));
    BecomePackage(longest + "w");
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;app_" + Pid()));
}

TEST_F(ClientPortSession, KnowsAPackageWithASemicolonByItsWholeName) {
    BecomePackage("com.example;wallet");
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), ResultText::WrongCommand);
    EXPECT_TRUE(port->SendProgressCode("dbus;com.example;wallet_" + Pid(), "C0_"));
}

TEST_F(ClientPortSession, TellsTwoProcessesApart) {
    if (char* const program = g_find_program_in_path("gdbus")) {
        g_free(program);
    } else {
        GTEST_SKIP() << "gdbus is not installed";
    }
    Session("Open");
    const std::string command = "echo $$; exec gdbus call --address '" + bus.Address() +
                                "' --dest com.orvenco.navoa --object-path /com/orvenco/navoa"
                                " --method com.orvenco.navoa.Session \"{'Session': 'Open'}\"";
    std::string output;
    std::atomic<bool> done{false};
    std::thread runner([&] {
        output = OutputOf({"sh", "-c", command});
        done = true;
    });
    WaitUntil([&] { return done.load(); }, "gdbus to end");
    runner.join();
    const std::string pid = output.substr(0, output.find('\n'));
    EXPECT_EQ(output, pid + "\n({'ReturnCode': 'Success'},)\n");
    EXPECT_EQ(registry->ClientCount(), 2U);
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;app_" + pid));

    // It went without a word, and stays a client: nobody watches names.
    EXPECT_EQ(Session("Close"), "Success");
    EXPECT_EQ(registry->ClientCount(), 1U);
    EXPECT_TRUE(LoopRuns());
}

// A caller that is gone when its call is served: the bus cannot tell its process any more.
TEST_F(ClientPortSession, NamesAClientByItsUniqueNameWhenItsProcessIsUnknown) {
    std::string name;
    {
        const BusClient hasty(bus.Address());
        name = hasty.UniqueName();
        hasty.SendAndForget("Session", {{"Session", "Open"}});
        hasty.SendAndForget("Cmd", {{"Cmd", "66"}});
    }
    GVariant* owned = nullptr;
    WaitUntil(
        [&] {
            // Only the bus is asked here; the port has not run since.
            owned = CallBus(client->Connection(), "NameHasOwner", g_variant_new("(s)", name.c_str()));
            gboolean stillThere = TRUE;
            g_variant_get(owned, "(b)", &stillThere);
            g_variant_unref(owned);
            return stillThere == FALSE;
        },
        "the bus to see the caller gone");
    WaitForLog("I/info: Job execution is complete");
    EXPECT_THAT(world.Log(), Contains("I/info: Client connected: dbus;" + name));
    EXPECT_THAT(world.Log(), Not(Contains(HasSubstr("Client identifier is ")))) << "warnings are not written";

    world.ForgetLog();
    EXPECT_TRUE(port->SendProgressCode("dbus;" + name, "A4_Select Service"));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D SendProgressCode: Sending progress to dbus;" + name,
                                StartsWith("D SendProgress: Sending progress to " + name + ". 0x"),
                                "D SendProgress: Error sending progress to " + name + ": invalid object path",
                                "D SendProgressCode: Sent progress"));
    std::string device = DeviceWorld::OrdinaryDevice();
    const std::string signedPackage = "com.example.platform]";
    world.Configure(device.replace(device.find(signedPackage), signedPackage.size(), name + "]"));
    ASSERT_TRUE(Na::IsClientPrivileged(name));
    EXPECT_FALSE(port->IsTrusted("dbus;" + name)) << "no package, no privilege";
}
