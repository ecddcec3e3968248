// SPDX-License-Identifier: Apache-2.0
// What the client port holds while it listens.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "app/RequestKeys.h"
#include "app/tizen/BusClient.h"
#include "app/tizen/PortParts.h"
#include "common/Utils.h"

namespace Na {
class IClientPort;
}

namespace Tizen {

// The clients, and the port's own place on the bus. GLib's callbacks hold a ticket for it, not its address:
// one that arrives after StopListen finds no state.
//
// All of it belongs to the main thread. The lock is held while the registry hears of a new client and while a
// reply or a progress signal goes out, so none of these may come back for it.
struct DbusClientPortImpl {
    explicit DbusClientPortImpl(Na::IClientPort* owner);
    ~DbusClientPortImpl();
    DbusClientPortImpl(const DbusClientPortImpl&) = delete;
    DbusClientPortImpl& operator=(const DbusClientPortImpl&) = delete;

    static DbusClientPortImpl* OfTicket(gpointer ticket);

    // Null for a client that is registered already; its "Open" counts all the same.
    _Client* AddClient(const std::string& identifier);
    void RemoveClient(const std::string& identifier);
    void ForgetClients();

    // Takes a call back from the client with whom it waits for its answer; null when no client has it.
    OwnedInvocation TakeBack(GDBusMethodInvocation* call) noexcept;

    // Null when there is no such client. The second one takes the port-qualified id. Neither takes the lock,
    // which some of their callers hold.
    _Client* FindClient(const char* identifier) UNCHECKED_LOCKING;
    _Client* get_client_from_id(const std::string& id);

    void OnClientData(const std::string& identifier, const Na::RequestMap& data);

    Na::IClientPort* const port;
    gpointer const ticket;
    guint ownerId = 0;
    guint registrationId = 0;
    OwnedConnection connection;
    Na::Mutex lock;  // of the clients and of replies

private:
    static std::map<gpointer, DbusClientPortImpl*>& Listening();
    static gpointer NextTicket();

    _Client& CreateClient(const std::string& identifier) REQUIRES_LOCK(lock);

    // By identifier; a look-up with a part of an id makes no text of its own.
    std::map<std::string, std::unique_ptr<_Client>, std::less<>> clients GUARDED_BY(lock);
};

}  // namespace Tizen
