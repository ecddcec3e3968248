#include "app/ClientListener.h"

#include <utility>

#include "app/AppMain.h"
#include "common/Debug.h"

namespace Na {

ClientListener* ClientListener::GetInstance() {
    static ClientListener* const instance = new ClientListener;
    LogPrint(LogTrace, LOCATED("%p"), static_cast<void*>(instance));
    return instance;
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
    places.clear();
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
    const auto place = places.emplace(Key(port, id), clients.end()).first;
    place->second = clients.emplace(clients.end(), port, id);
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
        places.erase(Key(port, id));
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

ClientListener::Records::iterator ClientListener::FindClient(const IClientPort* port, const std::string& id) {
    const auto place = places.find(Key(port, id));
    return place != places.end() ? place->second : clients.end();
}

}  // namespace Na
