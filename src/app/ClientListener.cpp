// SPDX-License-Identifier: Apache-2.0
#include "app/ClientListener.h"

#include <algorithm>
#include <utility>

#include "app/AppMain.h"
#include "common/Debug.h"
#include "common/NeverDestroyed.h"

namespace Na {

ClientListener* ClientListener::GetInstance() {
    static NeverDestroyed<ClientListener> instance;
    LogPrint(LogTrace, LOCATED("%p"), static_cast<void*>(&*instance));
    return &*instance;
}

ClientListener::~ClientListener() {
    LogPrint(LogTrace, LOCATED(""));
    StopListen();
}

void ClientListener::RegisterPort(std::unique_ptr<IClientPort> port) {
    if (port == nullptr) {
        return;
    }
    LogPrint(LogDebug, LOCATED("Registering listener: %s"), port->GetName());
    ports.push_back(std::move(port));
}

void ClientListener::StartListen() {
    LogPrint(LogTrace, LOCATED(""));
    LogPrint(LogInfo, "info: Start waiting for Clients");
    for (const auto& port : ports) {
        port->StartListen();
    }
}

void ClientListener::StopListen() {
    LogPrint(LogInfo, "info: Stop waiting for Clients");
    for (auto& port : ports) {
        port->StopListen();
        port.reset();
    }
    ports.clear();
    clients.clear();
}

bool ClientListener::OnClientConnected(IClientPort* port, const std::string& id) {
    LogPrint(LogInfo, "info: Client connected: %s", id.c_str());
    if (FindClient(port, id) != clients.end()) {
        LogPrint(LogError, LOCATED("Duplicate connection request for client %s"), id.c_str());
        return false;
    }
    if (AppMain* const application = AppMain::GetInstance()) {
        application->OnClientArrived();
    }
    LogPrint(LogTrace, LOCATED("Remember Client %s"), id.c_str());
    clients.emplace_back(port, id);
    return true;
}

void ClientListener::OnClientData(IClientPort* port, const std::string& id, const RequestMap& data) {
    LogPrint(LogDebug, LOCATED("port : %s, remote : %s"), port->GetName(), id.c_str());
    const auto client = FindClient(port, id);
    if (client == clients.end()) {
        LogPrint(LogDebug, LOCATED("Data from unknown Client %s"), id.c_str());
        return;
    }
    client->agent.Trigger_ClientData(port, id, data);
}

void ClientListener::OnClientDisconnected(IClientPort* port, const std::string& id) {
    LogPrint(LogInfo, "info: Client disconnected: %s", id.c_str());
    const auto client = FindClient(port, id);
    if (client != clients.end()) {
        LogPrint(LogDebug, LOCATED("Client disconnected: %s"), id.c_str());
        client->agent.Trigger_Shutdown();
        LogPrint(LogDebug, LOCATED("Removing Client: %s"), id.c_str());
        clients.erase(client);
        LogPrint(LogTrace, LOCATED("Clients: %d"), static_cast<int>(clients.size()));
    } else {
        LogPrint(LogDebug, LOCATED("Request for connection close from unknown Client %s"), id.c_str());
    }
    if (clients.empty()) {
        LogPrint(LogDebug, LOCATED("No more Clients connected"));
        if (AppMain* const application = AppMain::GetInstance()) {
            application->OnNoClients();
        }
    }
}

std::list<ClientListener::ClientRecord>::iterator ClientListener::FindClient(
    const IClientPort* port, const std::string& id) {
    return std::find_if(clients.begin(), clients.end(), [&](const ClientRecord& record) {
        return record.port == port && record.id == id;
    });
}

}  // namespace Na
