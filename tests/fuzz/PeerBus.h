// SPDX-License-Identifier: Apache-2.0
// A bus made of one peer-to-peer connection: it answers what a service needs of a bus daemon, and sends the
// service method calls that no bus daemon would let through.
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

class PeerBus {
public:
    // Listens on a socket in that folder.
    explicit PeerBus(const std::string& folder);
    ~PeerBus();
    PeerBus(const PeerBus&) = delete;
    PeerBus& operator=(const PeerBus&) = delete;

    std::string Address() const;

    // Sends a method call to the service and runs the default main context until its reply is there. Takes a
    // floating body over; null for none. Null when there was no reply in time; the reply is the caller's.
    GDBusMessage* Call(const char* method, GVariant* body);

    // Runs the default main context until the service has asked for its name.
    bool WaitForService();

private:
    struct State;
    std::unique_ptr<State> state;
};
