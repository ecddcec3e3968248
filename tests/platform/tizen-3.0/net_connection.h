// SPDX-License-Identifier: Apache-2.0
#pragma once
#pragma GCC system_header

// Adds an enumerator in front of the last one.
#define CONNECTION_TYPE_BT CONNECTION_TYPE_NET_PROXY = 5, CONNECTION_TYPE_BT
#include_next <net_connection.h>
#undef CONNECTION_TYPE_BT
