// SPDX-License-Identifier: Apache-2.0
// What the parts of the client port share: the place of their log lines, and owners of what the bus library
// gives.
#pragma once

#include <gio/gio.h>

#include "common/Owned.h"

// The port is one to whoever reads the log: each of its parts logs under the port's own source.
#define PORT_SOURCE_FILE "/src/app/tizen/ClientPort_dbus.cpp"

namespace Tizen {

using OwnedConnection = Na::OwnedObject<GDBusConnection>;
using OwnedInvocation = Na::OwnedObject<GDBusMethodInvocation>;

// One more reference to the connection.
inline OwnedConnection Share(GDBusConnection* connection) {
    return OwnedConnection(static_cast<GDBusConnection*>(g_object_ref(connection)));
}

// GLib reports a broken precondition without an error.
inline const char* MessageOf(const Na::OwnedError& error, const char* otherwise) {
    return error != nullptr ? error->message : otherwise;
}

}  // namespace Tizen
