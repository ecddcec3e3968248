// SPDX-License-Identifier: Apache-2.0
// State of the device's network connection.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef void* connection_h;

typedef enum {
    CONNECTION_ERROR_NONE = 0,
    CONNECTION_ERROR_OUT_OF_MEMORY = -12,
    CONNECTION_ERROR_PERMISSION_DENIED = -13,
    CONNECTION_ERROR_INVALID_PARAMETER = -22,
    CONNECTION_ERROR_INVALID_OPERATION = -38,
    CONNECTION_ERROR_ADDRESS_FAMILY_NOT_SUPPORTED = -97,
    CONNECTION_ERROR_NOW_IN_PROGRESS = -115,
    CONNECTION_ERROR_NOT_SUPPORTED = -1073741822,
    CONNECTION_ERROR_OPERATION_FAILED = -29424639,
    CONNECTION_ERROR_ITERATOR_END = -29424638,
    CONNECTION_ERROR_NO_CONNECTION = -29424637,
    CONNECTION_ERROR_ALREADY_EXISTS = -29424636,
    CONNECTION_ERROR_OPERATION_ABORTED = -29424635,
    CONNECTION_ERROR_DHCP_FAILED = -29424634,
    CONNECTION_ERROR_INVALID_KEY = -29424633,
    CONNECTION_ERROR_NO_REPLY = -29424632
} connection_error_e;

typedef enum {
    CONNECTION_TYPE_DISCONNECTED = 0,
    CONNECTION_TYPE_WIFI = 1,
    CONNECTION_TYPE_CELLULAR = 2,
    CONNECTION_TYPE_ETHERNET = 3,
    CONNECTION_TYPE_BT = 4
} connection_type_e;

typedef enum {
    CONNECTION_WIFI_STATE_DEACTIVATED = 0,
    CONNECTION_WIFI_STATE_DISCONNECTED = 1,
    CONNECTION_WIFI_STATE_CONNECTED = 2
} connection_wifi_state_e;

typedef enum {
    CONNECTION_ETHERNET_STATE_DEACTIVATED = 0,
    CONNECTION_ETHERNET_STATE_DISCONNECTED = 1,
    CONNECTION_ETHERNET_STATE_CONNECTED = 2
} connection_ethernet_state_e;

typedef enum {
    CONNECTION_BT_STATE_DEACTIVATED = 0,
    CONNECTION_BT_STATE_DISCONNECTED = 1,
    CONNECTION_BT_STATE_CONNECTED = 2
} connection_bt_state_e;

typedef enum {
    CONNECTION_CELLULAR_STATE_OUT_OF_SERVICE = 0,
    CONNECTION_CELLULAR_STATE_FLIGHT_MODE = 1,
    CONNECTION_CELLULAR_STATE_ROAMING_OFF = 2,
    CONNECTION_CELLULAR_STATE_CALL_ONLY_AVAILABLE = 3,
    CONNECTION_CELLULAR_STATE_AVAILABLE = 4,
    CONNECTION_CELLULAR_STATE_CONNECTED = 5
} connection_cellular_state_e;

typedef enum {
    CONNECTION_ADDRESS_FAMILY_IPV4 = 0,
    CONNECTION_ADDRESS_FAMILY_IPV6 = 1
} connection_address_family_e;

int connection_create(connection_h* connection);
int connection_destroy(connection_h connection);
int connection_get_type(connection_h connection, connection_type_e* type);
int connection_get_wifi_state(connection_h connection, connection_wifi_state_e* state);
int connection_get_cellular_state(connection_h connection, connection_cellular_state_e* state);
int connection_get_bt_state(connection_h connection, connection_bt_state_e* state);
int connection_get_ethernet_state(connection_h connection, connection_ethernet_state_e* state);

// The caller releases the text with free().
int connection_get_proxy(connection_h connection, connection_address_family_e address_family, char** proxy);

#ifdef __cplusplus
}
#endif
