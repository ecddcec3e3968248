// SPDX-License-Identifier: Apache-2.0
#include "app/tizen/PortState.h"

#include <utility>

#include "app/ClientListener.h"
#include "common/Debug.h"

namespace Tizen {

namespace {

constexpr char PortPrefix[] = "dbus;";

const std::string& Traced(const std::string& id) {
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, "mk_client_id", "%s"), id.c_str());
    return id;
}

std::string mk_client_id(const std::string& identifier) {
    return Traced(PortPrefix + identifier);
}

}  // namespace

DbusClientPortImpl::DbusClientPortImpl(Na::IClientPort* owner) : port(owner), ticket(NextTicket()) {
    Listening()[ticket] = this;
}

DbusClientPortImpl::~DbusClientPortImpl() {
    Listening().erase(ticket);
}

std::map<gpointer, DbusClientPortImpl*>& DbusClientPortImpl::Listening() {
    static std::map<gpointer, DbusClientPortImpl*> listening;
    return listening;
}

gpointer DbusClientPortImpl::NextTicket() {
    static guint previous = 0;
    return GUINT_TO_POINTER(++previous);
}

DbusClientPortImpl* DbusClientPortImpl::OfTicket(gpointer ticket) {
    const auto found = Listening().find(ticket);
    return found != Listening().end() ? found->second : nullptr;
}

_Client* DbusClientPortImpl::AddClient(const std::string& identifier) {
    LogPrint(LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Client registration %s"), identifier.c_str());
    const Na::Lock guard(lock);
    const auto known = clients.find(identifier);
    const bool duplicate = known != clients.end();
    if (duplicate) {
        LogPrint(
            LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Duplicate connection from client %s"),
            identifier.c_str());
    }
    _Client& client = duplicate ? *known->second : CreateClient(identifier);
    // A refused "Open" counts too: as many calls of "Close" remove the client.
    ++client.count;
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Done"));
    return duplicate ? nullptr : &client;
}

_Client& DbusClientPortImpl::CreateClient(const std::string& identifier) {
    const auto place = clients.emplace(identifier, std::make_unique<_Client>(identifier)).first;
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, "AddClient", "Created client %s"), identifier.c_str());
    try {
        const std::string id = mk_client_id(identifier);
        LogPrint(LogDebug, LOCATED_AS(PORT_SOURCE_FILE, "AddClient", "Registering client: %s"), id.c_str());
        Na::ClientListener::GetInstance()->OnClientConnected(port, id);
    } catch (...) {
        clients.erase(place);  // a client that the registry does not know would never get an answer
        throw;
    }
    return *place->second;
}

void DbusClientPortImpl::RemoveClient(const std::string& identifier) {
    LogPrint(LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Removing client: %s"), identifier.c_str());
    const std::string id = PortPrefix + identifier;  // before anything changes, since memory may lack
    bool gone = false;
    {
        const Na::Lock guard(lock);
        const auto client = clients.find(identifier);
        if (client == clients.end()) {
            LogPrint(
                LogDebug,
                LOCATED_AS(PORT_SOURCE_FILE, __func__, "Error: trying to unregister unknown client: '%s'"),
                identifier.c_str());
        } else if (--client->second->count == 0) {
            clients.erase(client);
            gone = true;
        }
    }
    if (!gone) {
        LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, ""));
        return;
    }
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Disconnected client: %s"), Traced(id).c_str());
    Na::ClientListener::GetInstance()->OnClientDisconnected(port, id);
}

OwnedInvocation DbusClientPortImpl::TakeBack(GDBusMethodInvocation* call) noexcept {
    const Na::Lock guard(lock);
    for (auto& client : clients) {
        if (client.second->invocation.get() == call) {
            return std::move(client.second->invocation);
        }
    }
    return nullptr;
}

void DbusClientPortImpl::ForgetClients() {
    const Na::Lock guard(lock);
    clients.clear();
}

_Client* DbusClientPortImpl::FindClient(const char* identifier) {
    const auto client = clients.find(identifier);
    return client != clients.end() ? client->second.get() : nullptr;
}

_Client* DbusClientPortImpl::get_client_from_id(const std::string& id) {
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "%s"), id.c_str());
    const std::size_t semicolon = id.find(';');
    const char* const identifier = semicolon == std::string::npos ? "" : id.c_str() + semicolon + 1;
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "%s"), identifier);
    return FindClient(identifier);
}

void DbusClientPortImpl::OnClientData(const std::string& identifier, const Na::RequestMap& data) {
    LogPrint(LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Handling request data"));
    Na::ClientListener::GetInstance()->OnClientData(port, mk_client_id(identifier), data);
    LogPrint(LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Done"));
}

}  // namespace Tizen
