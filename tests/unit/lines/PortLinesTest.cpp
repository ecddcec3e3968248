// SPDX-License-Identifier: Apache-2.0
// The lines of the port on the bus, in their order.
#include <gmock/gmock.h>

#include "app/tizen/DbusMaps.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/PortOnBus.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class PortLines : public PortOnBus {
protected:
    PortLines() : PortOnBus(false) {}

    // Lines of the port since they were last asked for.
    static std::vector<std::string> Lines() {
        const std::vector<std::string> lines = LinesOfSource("app/tizen/ClientPort_dbus.cpp");
        AllLines().clear();
        return lines;
    }

    // A listening port, and this program as a package of a known name.
    void Begin() {
        BecomePackage("com.example.wallet");
        ListenUntilReady();
        AllLines().clear();
    }
};

}  // namespace

TEST_F(PortLines, FollowTheBusUntilThePortListens) {
    AllLines().clear();
    ListenUntilReady();
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "T DbusClientPort: ", StartsWith("T _on_bus_acquired: Acquired the bus com.orvenco.navoa. 0x"),
            "T _register_object: Registering object /com/orvenco/navoa",
            "T _register_object: Introspection:\n" + Tizen::IntrospectionDocument(),
            "T _register_object: Success",
            StartsWith("T _on_name_acquired: Acquired the name com.orvenco.navoa on the session bus. 0x")));
    bus.Stop();
    WaitForLog("D _on_name_lost: Connection lost");
    EXPECT_THAT(
        Lines(), ElementsAre(
                     "T _on_name_lost: Lost the name com.orvenco.navoa on the session bus. (nil)",
                     "D _on_name_lost: Connection lost"));
}

TEST_F(PortLines, FollowAnOpen) {
    Begin();
    Session("Open");
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "T _handle_method_call: sender pid: " + Pid(),
            "T _handle_method_call: Sender pkg name: com.example.wallet",
            StartsWith("T _handle_method_call: Method Session call from " + Identifier() + ". 0x"),
            "T _handle_method_call: Object: /com/orvenco/navoa",
            "D _handle_method_call: Registering client " + Identifier(),
            StartsWith("T _handle_method_call: Invocation: 0x"),
            "D AddClient: Client registration " + Identifier(), "T AddClient: Created client " + Identifier(),
            "T mk_client_id: " + ClientId(), "D AddClient: Registering client: " + ClientId(),
            "T AddClient: Done", StartsWith("T _handle_method_call: 0x"),
            StartsWith("T _handle_method_call: 0x"), "T _handle_method_call: "));
}

TEST_F(PortLines, FollowASecondOpenAndTheClosesOfBoth) {
    Begin();
    Session("Open");
    AllLines().clear();
    Session("Open");
    std::vector<std::string> lines = Lines();
    lines.erase(lines.begin(), lines.begin() + 6);
    EXPECT_THAT(
        lines, ElementsAre(
                   "D AddClient: Client registration " + Identifier(),
                   "T AddClient: Duplicate connection from client " + Identifier(), "T AddClient: Done",
                   "D _handle_method_call: Error registering client " + Identifier(),
                   StartsWith("T _handle_method_call: 0x"), StartsWith("T _handle_method_call: 0x"),
                   "T _handle_method_call: "));
    Session("Close");
    lines = Lines();
    lines.erase(lines.begin(), lines.begin() + 4);
    EXPECT_THAT(
        lines, ElementsAre(
                   StartsWith("T _handle_method_call: 0x"), StartsWith("T _handle_method_call: 0x"),
                   "D _handle_method_call: Unregistering client " + Identifier(),
                   "D RemoveClient: Removing client: " + Identifier(),
                   "T RemoveClient: ", "T _handle_method_call: "));
    Session("Close");
    lines = Lines();
    lines.erase(lines.begin(), lines.begin() + 6);
    EXPECT_THAT(
        lines, ElementsAre(
                   "D _handle_method_call: Unregistering client " + Identifier(),
                   "D RemoveClient: Removing client: " + Identifier(), "T mk_client_id: " + ClientId(),
                   "T RemoveClient: Disconnected client: " + ClientId(), "T _handle_method_call: "));
}

TEST_F(PortLines, FollowARequestToItsReply) {
    Begin();
    Session("Open");
    AllLines().clear();
    Call("Exec", {{"Cmd", "66"}});
    std::vector<std::string> lines = Lines();
    lines.erase(lines.begin(), lines.begin() + 2);
    EXPECT_THAT(
        lines, ElementsAre(
                   StartsWith("T _handle_method_call: Method Exec call from " + Identifier() + ". 0x"),
                   "T _handle_method_call: Object: /com/orvenco/navoa",
                   StartsWith("T _handle_method_call: Handling client request: 0x"),
                   "D OnClientData: Handling request data", "T mk_client_id: " + ClientId(),
                   "T SendResult: ", "D SendResult: Sending response to " + ClientId(),
                   "T get_client_from_id: " + ClientId(), "T get_client_from_id: " + Identifier(),
                   "D SendReply: Sending reply", StartsWith("T SendReply: Invocation: 0x"),
                   "D SendResult: Sent response", "T SendResult: ", "D OnClientData: Done",
                   "T _handle_method_call: Request handled", "T _handle_method_call: "));
}

TEST_F(PortLines, FollowProgressToItsSignal) {
    Begin();
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    AllLines().clear();
    port->SendProgressCode(ClientId(), "C0_");
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "D SendProgressCode: Sending progress to " + ClientId(), "T get_client_from_id: " + ClientId(),
            "T get_client_from_id: " + Identifier(), "T SendProgress: Object: /com/example/wallet_" + Pid(),
            StartsWith("D SendProgress: Sending progress to " + Identifier() + ". 0x"),
            "T SendProgress: Invocation: (nil)", HasSubstr(", i (nil), o /navoa/client/" + Pid()),
            "T SendProgress: Sent progress", "D SendProgressCode: Sent progress", "T SendProgressCode: "));
}

TEST_F(PortLines, SayWhoIsPrivileged) {
    Begin();
    Session("Open");
    AllLines().clear();
    EXPECT_FALSE(port->IsTrusted(ClientId()));
    EXPECT_EQ(Lines().back(), "T IsTrusted: com.example.wallet is regular");
    std::string device = DeviceWorld::OrdinaryDevice();
    world.Configure(device.replace(device.find("com.example.platform]"), 20, package));
    EXPECT_TRUE(port->IsTrusted(ClientId()));
    EXPECT_EQ(Lines().back(), "T IsTrusted: com.example.wallet is privileged");
}

TEST_F(PortLines, BeginAndEndItsStopWithTraces) {
    Begin();
    registry->StopListen();
    EXPECT_THAT(Lines(), ElementsAre("T StopListen: ", "T StopListen: ", "T ~DbusClientPort: "));
}

TEST_F(PortLines, WarnOfAClientWhoseProcessIsUnknown) {
    Begin();
    std::string name;
    {
        const BusClient hasty(bus.Address());
        name = hasty.UniqueName();
        hasty.SendAndForget("Session", {{"Session", "Open"}});
    }
    // Only the bus is asked here: the port does not run before the caller has gone.
    while (GVariant* const owner =
               CallBus(client->Connection(), "GetNameOwner", g_variant_new("(s)", name.c_str()))) {
        g_variant_unref(owner);
    }
    WaitForLog("I/info: Client connected: dbus;" + name);
    const std::vector<std::string> lines = Lines();
    ASSERT_GT(lines.size(), 2U);
    EXPECT_EQ(lines[0], "W _handle_method_call: Client identifier is " + name);
    EXPECT_THAT(lines[1], StartsWith("T _handle_method_call: Method Session call from " + name + ". 0x"));
}

TEST_F(PortLines, TellTheTypeOfAChildThatIsNoPair) {
    GVariant* const list = g_variant_ref_sink(g_variant_new_parsed("['Cmd', '67']"));
    AllLines().clear();
    Tizen::ReadMap(list);
    EXPECT_THAT(LinesOfSource("app/tizen/DbusMaps.cpp"), ElementsAre("T ReadMap: Wrong argument type: 's'"));
    g_variant_unref(list);
}
