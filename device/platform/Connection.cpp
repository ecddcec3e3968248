// SPDX-License-Identifier: Apache-2.0
#include <net_connection.h>

#include "device/gate/Gate.h"
#include "device/gate/HandleTable.h"
#include "device/gate/Permanent.h"
#include "device/platform/CText.h"

using Device::Call;
using Device::Configuration;

namespace {

struct Connection {};

Device::HandleTable<Connection>& Connections() {
    static auto& table = Device::Permanent<Device::HandleTable<Connection>>();
    return table;
}

// Answers `*output` with what `value` takes from the configuration.
template <typename Output, typename Value>
int Answer(const char* function, connection_h connection, Output* output, Value value) {
    return Call(function, CONNECTION_ERROR_OPERATION_FAILED, [&](const Configuration& device) -> int {
        if (!Connections().Find(connection) || output == nullptr) {
            return CONNECTION_ERROR_INVALID_PARAMETER;
        }
        *output = static_cast<Output>(value(device.network));
        return CONNECTION_ERROR_NONE;
    });
}

// A state that the file leaves open follows from the type of the connection in use.
int StateOf(const Device::Network& network, const std::optional<int>& state, int type, int connected) {
    return state.value_or(network.type == type ? connected : 0);
}

}  // namespace

int connection_create(connection_h* connection) {
    return Call("connection_create", CONNECTION_ERROR_OPERATION_FAILED, [&](const Configuration&) -> int {
        if (connection == nullptr) {
            return CONNECTION_ERROR_INVALID_PARAMETER;
        }
        *connection = Connections().Add(std::make_shared<Connection>());
        return CONNECTION_ERROR_NONE;
    });
}

int connection_destroy(connection_h connection) {
    return Device::Release("connection_destroy", CONNECTION_ERROR_OPERATION_FAILED, [&]() -> int {
        return Connections().Remove(connection) ? CONNECTION_ERROR_NONE : CONNECTION_ERROR_INVALID_PARAMETER;
    });
}

int connection_get_type(connection_h connection, connection_type_e* type) {
    return Answer(
        "connection_get_type", connection, type, [](const Device::Network& network) { return network.type; });
}

int connection_get_wifi_state(connection_h connection, connection_wifi_state_e* state) {
    return Answer("connection_get_wifi_state", connection, state, [](const Device::Network& network) {
        return StateOf(network, network.wifiState, CONNECTION_TYPE_WIFI, CONNECTION_WIFI_STATE_CONNECTED);
    });
}

int connection_get_cellular_state(connection_h connection, connection_cellular_state_e* state) {
    return Answer("connection_get_cellular_state", connection, state, [](const Device::Network& network) {
        return StateOf(
            network, network.cellularState, CONNECTION_TYPE_CELLULAR, CONNECTION_CELLULAR_STATE_CONNECTED);
    });
}

int connection_get_bt_state(connection_h connection, connection_bt_state_e* state) {
    return Answer("connection_get_bt_state", connection, state, [](const Device::Network& network) {
        return StateOf(network, network.bluetoothState, CONNECTION_TYPE_BT, CONNECTION_BT_STATE_CONNECTED);
    });
}

int connection_get_ethernet_state(connection_h connection, connection_ethernet_state_e* state) {
    return Answer("connection_get_ethernet_state", connection, state, [](const Device::Network& network) {
        return StateOf(
            network, network.ethernetState, CONNECTION_TYPE_ETHERNET, CONNECTION_ETHERNET_STATE_CONNECTED);
    });
}

// Without a proxy the text is empty.
int connection_get_proxy(connection_h connection, connection_address_family_e address_family, char** proxy) {
    return Call(
        "connection_get_proxy", CONNECTION_ERROR_OPERATION_FAILED, [&](const Configuration& device) -> int {
            if (!Connections().Find(connection) || proxy == nullptr) {
                return CONNECTION_ERROR_INVALID_PARAMETER;
            }
            if (address_family != CONNECTION_ADDRESS_FAMILY_IPV4 &&
                address_family != CONNECTION_ADDRESS_FAMILY_IPV6) {
                return CONNECTION_ERROR_ADDRESS_FAMILY_NOT_SUPPORTED;
            }
            const bool ipv4 = address_family == CONNECTION_ADDRESS_FAMILY_IPV4;
            *proxy = Device::NewText(ipv4 ? device.network.proxyIpv4 : device.network.proxyIpv6);
            return CONNECTION_ERROR_NONE;
        });
}
