// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <net_connection.h>

#include "tests/unit/device/DeviceDesk.h"

namespace {

class Connection : public DeviceDesk {
protected:
    Connection() { EXPECT_EQ(connection_create(&handle), CONNECTION_ERROR_NONE); }
    ~Connection() override { connection_destroy(handle); }

    int Type() const {
        connection_type_e type = {};
        EXPECT_EQ(connection_get_type(handle, &type), CONNECTION_ERROR_NONE);
        return type;
    }

    // States of Wi-Fi, mobile network, Bluetooth and Ethernet, in this order.
    std::vector<int> States() const {
        connection_wifi_state_e wifi = {};
        connection_cellular_state_e cellular = {};
        connection_bt_state_e bluetooth = {};
        connection_ethernet_state_e ethernet = {};
        EXPECT_EQ(connection_get_wifi_state(handle, &wifi), CONNECTION_ERROR_NONE);
        EXPECT_EQ(connection_get_cellular_state(handle, &cellular), CONNECTION_ERROR_NONE);
        EXPECT_EQ(connection_get_bt_state(handle, &bluetooth), CONNECTION_ERROR_NONE);
        EXPECT_EQ(connection_get_ethernet_state(handle, &ethernet), CONNECTION_ERROR_NONE);
        return {wifi, cellular, bluetooth, ethernet};
    }

    std::string Proxy(connection_address_family_e family) const {
        char* text = nullptr;
        EXPECT_EQ(connection_get_proxy(handle, family, &text), CONNECTION_ERROR_NONE);
        const std::string copy = text;
        free(text);
        return copy;
    }

    connection_h handle = nullptr;
};

}  // namespace

TEST_F(Connection, IsWifiOnAPlainDevice) {
    EXPECT_EQ(Type(), CONNECTION_TYPE_WIFI);
    EXPECT_THAT(States(), testing::ElementsAre(2, 0, 0, 0));
}

TEST_F(Connection, OfATypeIsConnectedUnlessItsStateIsGiven) {
    Configure("[network]\ntype=cellular\n");
    EXPECT_EQ(Type(), CONNECTION_TYPE_CELLULAR);
    EXPECT_THAT(States(), testing::ElementsAre(0, 5, 0, 0));
    Configure("[network]\ntype=bluetooth\n");
    EXPECT_EQ(Type(), CONNECTION_TYPE_BT);
    EXPECT_THAT(States(), testing::ElementsAre(0, 0, 2, 0));
    Configure("[network]\ntype=ethernet\n");
    EXPECT_EQ(Type(), CONNECTION_TYPE_ETHERNET);
    EXPECT_THAT(States(), testing::ElementsAre(0, 0, 0, 2));
    Configure("[network]\ntype=disconnected\n");
    EXPECT_EQ(Type(), CONNECTION_TYPE_DISCONNECTED);
    EXPECT_THAT(States(), testing::ElementsAre(0, 0, 0, 0));
}

TEST_F(Connection, HasTheStatesThatTheFileGivesByWordOrNumber) {
    Configure(
        "[network]\ntype=5\nwifi-state=disconnected\ncellular-state=available\nbluetooth-state=deactivated\n"
        "ethernet-state=3\n");
    EXPECT_EQ(Type(), 5);
    EXPECT_THAT(States(), testing::ElementsAre(1, 4, 0, 3));
}

TEST_F(Connection, HasAnEmptyProxyWithoutOne) {
    EXPECT_EQ(Proxy(CONNECTION_ADDRESS_FAMILY_IPV4), "");
    EXPECT_EQ(Proxy(CONNECTION_ADDRESS_FAMILY_IPV6), "");
}

TEST_F(Connection, HasAProxyForEachAddressFamily) {
    Configure("[network]\nproxy=10.0.0.1:8080\nproxy-ipv6=[::1]:8080\n");
    EXPECT_EQ(Proxy(CONNECTION_ADDRESS_FAMILY_IPV4), "10.0.0.1:8080");
    EXPECT_EQ(Proxy(CONNECTION_ADDRESS_FAMILY_IPV6), "[::1]:8080");
}

TEST_F(Connection, RefusesStaleHandlesAndMissingArguments) {
    connection_h stale = nullptr;
    connection_type_e type = {};
    char* text = nullptr;
    ASSERT_EQ(connection_create(&stale), CONNECTION_ERROR_NONE);
    ASSERT_EQ(connection_destroy(stale), CONNECTION_ERROR_NONE);
    EXPECT_EQ(connection_destroy(stale), CONNECTION_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(connection_get_type(stale, &type), CONNECTION_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(
        connection_get_proxy(stale, CONNECTION_ADDRESS_FAMILY_IPV4, &text),
        CONNECTION_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(connection_get_type(handle, nullptr), CONNECTION_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(
        connection_get_proxy(handle, CONNECTION_ADDRESS_FAMILY_IPV4, nullptr),
        CONNECTION_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(connection_create(nullptr), CONNECTION_ERROR_INVALID_PARAMETER);
}
