// SPDX-License-Identifier: Apache-2.0
// What relaying cannot do without: walking a command set, converting both ways, the platform's log and card
// calls, and the signal that tells the client how far its job is. Nothing is looked up and nothing is
// checked.
#pragma once

#include <gio/gio.h>

#include <string>

namespace Floor {

// Who is told of the progress, as the service would name it.
struct Client {
    GDBusConnection* connection;
    std::string id;    // "dbus;app_PID"
    std::string path;  // of the signal
};

// Relays like the service does, with its log lines and its signal, and returns the set of responses.
std::string RelaySet(const Client& client, const std::string& commandSet);

// The same with the signal on a connection of systemd's bus library.
std::string RelaySetOnSdBus(const Client& client, const std::string& commandSet);

// Returns when that connection has sent everything.
void FlushSdBus();

}  // namespace Floor
