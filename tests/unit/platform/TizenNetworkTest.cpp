// SPDX-License-Identifier: Apache-2.0
#include "platform/tizen/TizenNetwork.h"

#include <gmock/gmock.h>

#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"

using testing::ElementsAre;
using Tizen::TizenNetwork;

namespace {

constexpr char SettingUp[] = "D OpenConnection: Setting up a network";
constexpr char Connected[] = "D OpenConnection: Have Internet connection";
constexpr char Ethernet[] = "D OpenConnection: Ethernet connection";

class Network : public testing::Test {
protected:
    void ConfigureNetwork(const std::string& lines) { world.Configure("[network]\n" + lines + "\n"); }

    // Whether the device's connection is usable, with nothing of the platform's left behind.
    bool IsUsable() {
        const bool usable = TizenNetwork().OpenConnection();
        EXPECT_EQ(Device::OpenHandles(), 0U);
        return usable;
    }

    DeviceWorld world;
};

TEST_F(Network, HasAName) {
    EXPECT_EQ(Na::CreateNetwork()->GetName(), "Tizen network");
}

TEST_F(Network, IsUsableOverWifiThatIsConnected) {
    ConfigureNetwork("type=wifi\nwifi-state=connected");
    EXPECT_TRUE(IsUsable());
    EXPECT_THAT(world.LocatedLog(), ElementsAre(SettingUp, "D OpenConnection: WiFi connection", Connected));
}

TEST_F(Network, IsNotUsableOverWifiInAnyOtherState) {
    for (const char* state : {"0", "1", "3"}) {
        world.ForgetLog();
        ConfigureNetwork(std::string("type=wifi\nwifi-state=") + state);
        EXPECT_FALSE(IsUsable()) << state;
        EXPECT_THAT(world.LocatedLog(), ElementsAre(SettingUp, "D OpenConnection: WiFi connection"));
    }
}

TEST_F(Network, IsUsableOverAnAvailableOrConnectedCellularNetwork) {
    for (int state = 0; state <= 7; ++state) {
        world.ForgetLog();
        ConfigureNetwork("type=cellular\ncellular-state=" + std::to_string(state));
        EXPECT_EQ(IsUsable(), state == 4 || state == 5) << state;
        EXPECT_THAT(world.LocatedLog().at(1), "D OpenConnection: Cellular connection");
    }
}

TEST_F(Network, IsUsableOverBluetoothInStateTwoAlone) {
    for (int state = 0; state <= 3; ++state) {
        world.ForgetLog();
        ConfigureNetwork("type=bluetooth\nbluetooth-state=" + std::to_string(state));
        EXPECT_EQ(IsUsable(), state == 2) << state;
        EXPECT_THAT(world.LocatedLog().at(1), "D OpenConnection: Bluetooth connection");
    }
}

TEST_F(Network, IsUsableOverEthernetThatIsConnected) {
    ConfigureNetwork("type=ethernet\nethernet-state=connected");
    EXPECT_TRUE(IsUsable());
    EXPECT_THAT(world.LocatedLog(), ElementsAre(SettingUp, Ethernet, Connected));
}

TEST_F(Network, IsUsableOverEthernetThatIsDeactivated) {
    ConfigureNetwork("type=ethernet\nethernet-state=deactivated");
    EXPECT_TRUE(IsUsable());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(SettingUp, Ethernet, "D OpenConnection: Ethernet state is \"DEACTIVATED\"", Connected));
}

TEST_F(Network, IsUsableOverEthernetInAnyOtherState) {
    ConfigureNetwork("type=ethernet\nethernet-state=3");
    EXPECT_TRUE(IsUsable());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            SettingUp, Ethernet, "D OpenConnection: Bad connection state: 3; res 0: Successful", Connected));
}

TEST_F(Network, IsUsableOverEthernetEvenWhenItsStateIsUnknown) {
    world.Configure("[network]\ntype=ethernet\n[fault connection_get_ethernet_state]\nresult=-38\n");
    EXPECT_TRUE(IsUsable());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            SettingUp, Ethernet,
            "D OpenConnection: Bad connection state: 1; res -38: Function not implemented", Connected));
}

TEST_F(Network, IsNotUsableWithoutAConnectionOrOverAnUnknownKind) {
    for (const char* type : {"disconnected", "5", "7"}) {
        world.ForgetLog();
        ConfigureNetwork(std::string("type=") + type);
        EXPECT_FALSE(IsUsable()) << type;
        EXPECT_THAT(world.LocatedLog(), ElementsAre(SettingUp));
    }
}

TEST_F(Network, IsNotUsableWhenItsStateCannotBeHad) {
    const char* const kinds[][2] = {
        {"wifi", "connection_get_wifi_state"},
        {"cellular", "connection_get_cellular_state"},
        {"bluetooth", "connection_get_bt_state"}};
    for (const auto& kind : kinds) {
        world.Configure(std::string("[network]\ntype=") + kind[0] + "\n[fault " + kind[1] + "]\nresult=-1\n");
        EXPECT_FALSE(IsUsable()) << kind[0];
    }
}

TEST_F(Network, SaysThatTheConnectionCannotBeMade) {
    world.Configure("[network]\ntype=wifi\n[fault connection_create]\nresult=-12\n");
    EXPECT_FALSE(IsUsable());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(SettingUp, "D OpenConnection: Connection not created. Out of memory"));
    EXPECT_EQ(Device::Calls("connection_destroy"), 0U);
}

TEST_F(Network, SaysThatTheTypeOfTheConnectionIsUnknown) {
    world.Configure("[network]\ntype=wifi\n[fault connection_get_type]\nresult=-13\n");
    EXPECT_FALSE(IsUsable());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            SettingUp, "D OpenConnection: Can't determine type of the connection. Permission denied"));
    EXPECT_EQ(Device::Calls("connection_destroy"), 1U);
}

TEST_F(Network, IsNotAskedAgainWhileItIsOpen) {
    TizenNetwork network;
    ASSERT_TRUE(network.OpenConnection());
    world.ForgetLog();
    EXPECT_TRUE(network.OpenConnection());
    EXPECT_THAT(world.LocatedLog(), ElementsAre(SettingUp, "D OpenConnection: Connection already opened"));
    EXPECT_EQ(Device::Calls("connection_create"), 1U);
    EXPECT_EQ(Device::OpenHandles(), 1U);
}

TEST_F(Network, CanBeClosedAndOpenedAgain) {
    TizenNetwork network;
    ASSERT_TRUE(network.OpenConnection());
    network.CloseConnection();
    EXPECT_EQ(Device::OpenHandles(), 0U);
    network.CloseConnection();
    EXPECT_TRUE(network.OpenConnection());
    EXPECT_EQ(Device::Calls("connection_create"), 2U);
}

TEST_F(Network, GivesTheProxyOfTheOpenConnectionForIpv4) {
    ConfigureNetwork("type=wifi\nproxy=10.0.0.1:3128\nproxy-ipv6=[::1]:3128");
    TizenNetwork network;
    ASSERT_TRUE(network.OpenConnection());
    world.ForgetLog();
    EXPECT_EQ(network.GetProxyAddress(), "10.0.0.1:3128");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D GetProxyAddress: Determining a proxy address", "D GetProxyAddress: Proxy: 10.0.0.1:3128"));
}

TEST_F(Network, GivesAnEmptyProxyWhenThereIsNone) {
    TizenNetwork network;
    ASSERT_TRUE(network.OpenConnection());
    world.ForgetLog();
    EXPECT_EQ(network.GetProxyAddress(), "");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D GetProxyAddress: Determining a proxy address", "D GetProxyAddress: Proxy: "));
}

TEST_F(Network, GivesAnEmptyProxyWhenThePlatformFails) {
    world.Configure("[network]\ntype=wifi\nproxy=10.0.0.1:3128\n[fault connection_get_proxy]\nresult=-1\n");
    TizenNetwork network;
    ASSERT_TRUE(network.OpenConnection());
    EXPECT_EQ(network.GetProxyAddress(), "");
}

TEST_F(Network, GivesAnEmptyProxyWhileItIsClosed) {
    ConfigureNetwork("type=wifi\nproxy=10.0.0.1:3128");
    EXPECT_EQ(TizenNetwork().GetProxyAddress(), "");
    EXPECT_EQ(Device::Calls("connection_get_proxy"), 0U);
}

}  // namespace
