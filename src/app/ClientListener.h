// SPDX-License-Identifier: Apache-2.0
// The registry of client ports and connected clients.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "app/Agent.h"
#include "app/ClientPort.h"

namespace Na {

// Sits between the ports and the agents: remembers who is connected, gives each client an Agent of its own,
// and tells the application when the last client has gone. A singleton that is never destroyed; main thread
// only.
class ClientListener {
public:
    static ClientListener* GetInstance();

    ClientListener() = default;
    ~ClientListener();
    ClientListener(const ClientListener&) = delete;
    ClientListener& operator=(const ClientListener&) = delete;

    void RegisterPort(std::unique_ptr<IClientPort> port);

    void StartListen();

    // Stops and deletes every port and forgets every client. A later StartListen has no port to start.
    void StopListen();

    std::size_t ClientCount() const { return clients.size(); }

    // Ports call these. OnClientConnected is false for an id that the port has connected already.
    bool OnClientConnected(IClientPort* port, const std::string& id);
    void OnClientData(IClientPort* port, const std::string& id, const RequestMap& data);
    void OnClientDisconnected(IClientPort* port, const std::string& id);

private:
    struct ClientRecord {
        ClientRecord(IClientPort* clientPort, const std::string& clientId) : port(clientPort), id(clientId) {}

        IClientPort* port;  // not owned
        std::string id;     // port-qualified
        Agent agent;
    };

    // First record of that client, or the end of the list.
    std::list<ClientRecord>::iterator FindClient(const IClientPort* port, const std::string& id);

    std::vector<std::unique_ptr<IClientPort>> ports;
    std::list<ClientRecord> clients;
};

}  // namespace Na
