// SPDX-License-Identifier: Apache-2.0
// The service's port on a bus of its own with one client, all in this process.
#pragma once

#include <gio/gio.h>

#include <string>

#include "app/ClientListener.h"
#include "app/tizen/ClientPort_dbus.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/service/DeviceWorld.h"

namespace Inside {

class BusService {
public:
    // Returns when the client has opened its session and made a request, so that progress can be sent to it.
    BusService();
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    Na::IClientPort* Port() const { return port; }
    const std::string& ClientId() const { return clientId; }

    // The connection that the service's own signals take.
    GDBusConnection* Connection() const { return connection; }

    // Returns when all that was sent has left this process.
    void Flush() const;

private:
    void Call(const char* key, const char* value) const;

    DeviceWorld world;
    PrivateBus bus{world.Path()};
    Na::IClientPort* port = nullptr;  // the registry's
    std::string clientId;
    GDBusConnection* connection = nullptr;
};

// Made at its first use, for the rest of the process.
BusService& Service();

}  // namespace Inside
