// SPDX-License-Identifier: Apache-2.0
#include "platform/tizen/TizenNetwork.h"

#include <tizen_error.h>

#include "common/Debug.h"
#include "common/Owned.h"
#include "common/Utils.h"
#include "common/tizen/Compat.h"

namespace Tizen {

namespace {

bool IsWifiUsable(connection_h connection) {
    LogPrint(LogDebug, LOCATED_IN("OpenConnection", "WiFi connection"));
    connection_wifi_state_e state = CONNECTION_WIFI_STATE_DEACTIVATED;
    return connection_get_wifi_state(connection, &state) == CONNECTION_ERROR_NONE &&
           Compat::NumberOf(state) == CONNECTION_WIFI_STATE_CONNECTED;
}

bool IsCellularUsable(connection_h connection) {
    LogPrint(LogDebug, LOCATED_IN("OpenConnection", "Cellular connection"));
    connection_cellular_state_e state = CONNECTION_CELLULAR_STATE_OUT_OF_SERVICE;
    if (connection_get_cellular_state(connection, &state) != CONNECTION_ERROR_NONE) {
        return false;
    }
    const int number = Compat::NumberOf(state);
    return number == CONNECTION_CELLULAR_STATE_AVAILABLE || number == CONNECTION_CELLULAR_STATE_CONNECTED;
}

// The number is compared, not the name that a release of the platform gives to it.
bool IsBluetoothUsable(connection_h connection) {
    LogPrint(LogDebug, LOCATED_IN("OpenConnection", "Bluetooth connection"));
    connection_bt_state_e state = CONNECTION_BT_STATE_DEACTIVATED;
    return connection_get_bt_state(connection, &state) == CONNECTION_ERROR_NONE &&
           Compat::NumberOf(state) == 2;
}

// Counts as a connection whatever the platform says of its state.
bool IsEthernetUsable(connection_h connection) {
    LogPrint(LogDebug, LOCATED_IN("OpenConnection", "Ethernet connection"));
    connection_ethernet_state_e state = CONNECTION_ETHERNET_STATE_DISCONNECTED;
    const int result = connection_get_ethernet_state(connection, &state);
    LogPrint(LogTrace, LOCATED_IN("OpenConnection", "Connection state: %d"), result);
    const int number = Compat::NumberOf(state);
    if (result == CONNECTION_ERROR_NONE && number == CONNECTION_ETHERNET_STATE_CONNECTED) {
        return true;
    }
    if (result == CONNECTION_ERROR_NONE && number == CONNECTION_ETHERNET_STATE_DEACTIVATED) {
        LogPrint(LogDebug, LOCATED_IN("OpenConnection", "Ethernet state is \"DEACTIVATED\""));
        return true;
    }
    LogPrint(
        LogDebug, LOCATED_IN("OpenConnection", "Bad connection state: %d; res %d: %s"), number, result,
        get_error_message(result));
    return true;
}

bool IsUsable(connection_h connection, int type) {
    switch (type) {
        case CONNECTION_TYPE_WIFI:
            return IsWifiUsable(connection);
        case CONNECTION_TYPE_CELLULAR:
            return IsCellularUsable(connection);
        case CONNECTION_TYPE_BT:
            return IsBluetoothUsable(connection);
        case CONNECTION_TYPE_ETHERNET:
            return IsEthernetUsable(connection);
        default:
            return false;
    }
}

}  // namespace

std::string TizenNetwork::GetName() const {
    return "Tizen network";
}

bool TizenNetwork::OpenConnection() {
    LogPrint(LogDebug, LOCATED("Setting up a network"));
    if (connection) {
        LogPrint(LogDebug, LOCATED("Connection already opened"));
        return true;
    }
    connection_h handle = nullptr;
    const int creation = connection_create(&handle);
    if (creation != CONNECTION_ERROR_NONE) {
        LogPrint(LogDebug, LOCATED("Connection not created. %s"), get_error_message(creation));
        return false;
    }
    connection.reset(handle);
    connection_type_e type = CONNECTION_TYPE_DISCONNECTED;
    const int query = connection_get_type(handle, &type);
    if (query != CONNECTION_ERROR_NONE) {
        LogPrint(LogDebug, LOCATED("Can't determine type of the connection. %s"), get_error_message(query));
        CloseConnection();
        return false;
    }
    kind = Compat::NumberOf(type);
    if (!IsUsable(handle, kind)) {
        CloseConnection();
        return false;
    }
    LogPrint(LogDebug, LOCATED("Have Internet connection"));
    return true;
}

void TizenNetwork::CloseConnection() {
    connection.reset();
    kind = CONNECTION_TYPE_DISCONNECTED;
}

std::string TizenNetwork::GetConnectionKind() const {
    return Na::IntToString(kind, 10);
}

std::string TizenNetwork::GetProxyAddress() {
    LogPrint(LogDebug, LOCATED("Determining a proxy address"));
    char* raw = nullptr;
    const bool known =
        connection &&
        connection_get_proxy(connection.get(), CONNECTION_ADDRESS_FAMILY_IPV4, &raw) == CONNECTION_ERROR_NONE;
    const Na::OwnedMemory<char> text(known ? raw : nullptr);
    const std::string proxy = text ? text.get() : "";
    LogPrint(LogDebug, LOCATED("Proxy: %s"), proxy.c_str());
    return proxy;
}

}  // namespace Tizen

std::unique_ptr<Na::INetwork> Na::CreateNetwork() {
    return std::make_unique<Tizen::TizenNetwork>();
}
