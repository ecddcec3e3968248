#include "app/tizen/ClientPort_dbus.h"

#include <aul.h>
#include <sys/eventfd.h>
#include <tizen_error.h>
#include <unistd.h>

#include <exception>
#include <map>
#include <utility>

#include "app/ClientListener.h"
#include "app/tizen/DbusMaps.h"
#include "common/Debug.h"
#include "common/Owned.h"
#include "common/Runtime.h"
#include "common/Utils.h"

namespace Tizen {

using Na::Lock;
using OwnedConnection = Na::OwnedObject<GDBusConnection>;
using OwnedInvocation = Na::OwnedObject<GDBusMethodInvocation>;
using OwnedNodeInfo = Na::OwnedBy<GDBusNodeInfo, g_dbus_node_info_unref>;

namespace {

constexpr char PortName[] = "D-bus port";
constexpr char PortPrefix[] = "dbus;";
constexpr char UnknownPackage[] = "app";
constexpr std::size_t PackageNameCapacity = 255;

OwnedConnection Share(GDBusConnection* connection) {
    return OwnedConnection(static_cast<GDBusConnection*>(g_object_ref(connection)));
}

// GLib reports a broken precondition without an error.
const char* MessageOf(const Na::OwnedError& error, const char* otherwise) {
    return error != nullptr ? error->message : otherwise;
}

Na::RequestMap Result(const char* value) {
    return Na::RequestMap{{Na::Key::ReturnCode, value}};
}

std::string mk_client_id(const std::string& identifier) {
    std::string id = PortPrefix + identifier;
    LogPrint(LogTrace, LOCATED("%s"), id.c_str());
    return id;
}

std::string ObjectPathOf(const std::string& identifier) {
    std::string path = "/" + identifier;
    for (char& character : path) {
        if (character == '.') {
            character = '/';
        }
    }
    return path;
}

// Where a client's progress goes: what stands between the first "_" of its identifier and the next ":".
std::string ProgressPathOf(const std::string& identifier) {
    const std::size_t underscore = identifier.find('_');
    const std::size_t begin = underscore == std::string::npos ? 0 : underscore + 1;
    const std::size_t end = underscore == std::string::npos ? std::string::npos : identifier.find(':', begin);
    return Bus::ProgressPathPrefix + identifier.substr(begin, end == std::string::npos ? end : end - begin);
}

// Answers a call for good; the invocation is gone afterwards.
void Answer(OwnedInvocation invocation, const Na::RequestMap& result) {
    g_dbus_method_invocation_return_value(invocation.release(), ReplyBody(result).get());
}

}  // namespace

// One registered client.
struct _Client {
    explicit _Client(const std::string& identifier) : id(identifier), objectPath(ObjectPathOf(identifier)) {}

    bool SendReply(const Na::RequestMap& result);
    void SendProgress(const std::string& value);
    bool IsTrusted() const;

    std::string id;
    std::string objectPath;      // for the log
    OwnedConnection connection;  // of the latest request; null before the first
    OwnedInvocation invocation;  // call still to be answered, or null
    unsigned count = 0;          // calls of "Open" without a "Close"
};

// The port's state while it listens. GLib's callbacks hold a ticket for it, not its address: one that arrives
// after StopListen finds no state.
struct DbusClientPortImpl {
    explicit DbusClientPortImpl(DbusClientPort* owner);
    ~DbusClientPortImpl();
    DbusClientPortImpl(const DbusClientPortImpl&) = delete;
    DbusClientPortImpl& operator=(const DbusClientPortImpl&) = delete;

    static DbusClientPortImpl* OfTicket(gpointer ticket);

    void RegisterObject(GDBusConnection* busConnection);
    void UnregisterObject(GDBusConnection* busConnection);
    _Client* AddClient(const std::string& identifier);
    void RemoveClient(const std::string& identifier);
    _Client* get_client_from_id(const std::string& id);
    void OnClientData(const std::string& identifier, const Na::RequestMap& data);

    DbusClientPort* const port;
    gpointer const ticket;
    guint ownerId = 0;
    guint registrationId = 0;
    OwnedConnection connection;
    std::map<std::string, std::unique_ptr<_Client>> clients;
    Na::Mutex lock;  // guards `clients` and replies

private:
    static std::map<gpointer, DbusClientPortImpl*>& Listening();
    static gpointer NextTicket();
};

bool _Client::SendReply(const Na::RequestMap& result) {
    if (invocation == nullptr) {
        LogPrint(LogDebug, LOCATED("Client is not registered: %s"), id.c_str());
        return false;
    }
    LogPrint(LogDebug, LOCATED("Sending reply"));
    LogPrint(LogTrace, LOCATED("Invocation: %p"), static_cast<void*>(invocation.get()));
    Answer(std::move(invocation), result);
    return true;
}

void _Client::SendProgress(const std::string& value) {
    LogPrint(LogTrace, LOCATED("Object: %s"), objectPath.c_str());
    if (connection == nullptr) {
        return;
    }
    const auto connectionAddress = static_cast<void*>(connection.get());
    const auto invocationAddress = static_cast<void*>(invocation.get());
    LogPrint(LogDebug, LOCATED("Sending progress to %s. %p"), id.c_str(), connectionAddress);
    LogPrint(LogTrace, LOCATED("Invocation: %p"), invocationAddress);
    const std::string path = ProgressPathOf(id);
    LogPrint(
        LogTrace, LOCATED("Progress for: c %p, i %p, o %s"), connectionAddress, invocationAddress,
        path.c_str());
    const OwnedVariant body = TextBody(value);
    GError* failure = nullptr;
    const gboolean sent = g_dbus_connection_emit_signal(
        connection.get(), nullptr, path.c_str(), Bus::Interface, Bus::ProgressSignal, body.get(), &failure);
    const Na::OwnedError error(failure);
    if (sent != FALSE) {
        LogPrint(LogTrace, LOCATED("Sent progress"));
    } else {
        LogPrint(
            LogDebug, LOCATED("Error sending progress to %s: %s"), id.c_str(),
            MessageOf(error, "invalid object path"));
    }
}

bool _Client::IsTrusted() const {
    const std::size_t underscore = id.find('_');
    const std::string package = underscore == std::string::npos ? std::string() : id.substr(0, underscore);
    const bool privileged = Na::IsClientPrivileged(package);
    LogPrint(LogTrace, LOCATED("%s is %s"), package.c_str(), privileged ? "privileged" : "regular");
    return privileged;
}

DbusClientPortImpl::DbusClientPortImpl(DbusClientPort* owner) : port(owner), ticket(NextTicket()) {
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
    LogPrint(LogDebug, LOCATED("Client registration %s"), identifier.c_str());
    const Lock guard(lock);
    std::unique_ptr<_Client>& client = clients[identifier];
    const bool duplicate = client != nullptr;
    if (duplicate) {
        LogPrint(LogTrace, LOCATED("Duplicate connection from client %s"), identifier.c_str());
    } else {
        client = std::make_unique<_Client>(identifier);
        LogPrint(LogTrace, LOCATED("Created client %s"), identifier.c_str());
        const std::string id = mk_client_id(identifier);
        LogPrint(LogDebug, LOCATED("Registering client: %s"), id.c_str());
        Na::ClientListener::GetInstance()->OnClientConnected(port, id);
    }
    // A refused "Open" counts too: as many calls of "Close" remove the client.
    ++client->count;
    LogPrint(LogTrace, LOCATED("Done"));
    return duplicate ? nullptr : client.get();
}

void DbusClientPortImpl::RemoveClient(const std::string& identifier) {
    LogPrint(LogDebug, LOCATED("Removing client: %s"), identifier.c_str());
    bool gone = false;
    {
        const Lock guard(lock);
        const auto client = clients.find(identifier);
        if (client == clients.end()) {
            LogPrint(
                LogDebug, LOCATED("Error: trying to unregister unknown client: '%s'"), identifier.c_str());
        } else if (--client->second->count == 0) {
            clients.erase(client);
            gone = true;
        }
    }
    if (!gone) {
        LogPrint(LogTrace, LOCATED(""));
        return;
    }
    const std::string id = mk_client_id(identifier);
    LogPrint(LogTrace, LOCATED("Disconnected client: %s"), id.c_str());
    Na::ClientListener::GetInstance()->OnClientDisconnected(port, id);
}

_Client* DbusClientPortImpl::get_client_from_id(const std::string& id) {
    LogPrint(LogTrace, LOCATED("%s"), id.c_str());
    const std::size_t semicolon = id.find(';');
    const std::string identifier = semicolon == std::string::npos ? std::string() : id.substr(semicolon + 1);
    LogPrint(LogTrace, LOCATED("%s"), identifier.c_str());
    const auto client = clients.find(identifier);
    return client != clients.end() ? client->second.get() : nullptr;
}

void DbusClientPortImpl::OnClientData(const std::string& identifier, const Na::RequestMap& data) {
    LogPrint(LogDebug, LOCATED("Handling request data"));
    Na::ClientListener::GetInstance()->OnClientData(port, mk_client_id(identifier), data);
    LogPrint(LogDebug, LOCATED("Done"));
}

namespace {

// Package name of a process, or the text that stands for an unknown one.
std::string PackageOf(guint pid) {
    char name[PackageNameCapacity] = {};
    const int error = aul_app_get_pkgname_bypid(static_cast<int>(pid), name, sizeof name);
    if (error == 0) {
        LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "Sender pkg name: %s"), name);
    } else {
        LogPrint(
            LogDebug, LOCATED_IN("_handle_method_call", "Error obtaining senders ID: %s"),
            get_error_message(error));
        name[0] = '\0';
    }
    return name[0] != '\0' ? name : UnknownPackage;
}

// Whether one more descriptor can be had. GLib ends a process whose synchronous call gets none to wait with.
bool HasDescriptorToWait() {
    const int descriptor = eventfd(0, EFD_CLOEXEC);
    return descriptor >= 0 && close(descriptor) == 0;
}

// Process id behind a unique bus name; 0 when the bus does not tell, or cannot be asked.
guint ProcessOf(GDBusConnection* connection, const gchar* sender) {
    if (!HasDescriptorToWait()) {
        return 0;
    }
    const OwnedVariant reply(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", sender), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    guint pid = 0;
    if (reply != nullptr) {
        g_variant_get(reply.get(), "(u)", &pid);
    }
    return pid;
}

std::string IdentifierOf(GDBusConnection* connection, const gchar* sender) {
    const guint pid = ProcessOf(connection, sender);
    if (pid == 0) {
        LogPrint(LogWarning, LOCATED_IN("_handle_method_call", "Client identifier is %s"), sender);
        return sender;
    }
    LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "sender pid: %d"), static_cast<int>(pid));
    return PackageOf(pid) + "_" + Na::UintToString(pid, 10);
}

void HandleSession(
    DbusClientPortImpl& state, const std::string& identifier, const std::string& action,
    OwnedInvocation& invocation) {
    const char* result = Bus::Failed;
    const auto address = static_cast<void*>(invocation.get());
    if (action == Bus::SessionOpen) {
        LogPrint(LogDebug, LOCATED_IN("_handle_method_call", "Registering client %s"), identifier.c_str());
        LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "Invocation: %p"), address);
        if (state.AddClient(identifier) != nullptr) {
            result = Bus::Succeeded;
        } else {
            LogPrint(
                LogDebug, LOCATED_IN("_handle_method_call", "Error registering client %s"),
                identifier.c_str());
        }
    } else if (action == Bus::SessionClose) {
        result = Bus::Succeeded;
    } else {
        LogPrint(LogError, LOCATED_IN("_handle_method_call", "Wrong parameters"));
    }
    {
        const Lock guard(state.lock);
        LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "%p"), address);
        Answer(std::move(invocation), Result(result));
        LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "%p"), address);
    }
    if (action == Bus::SessionClose) {
        LogPrint(LogDebug, LOCATED_IN("_handle_method_call", "Unregistering client %s"), identifier.c_str());
        state.RemoveClient(identifier);
    }
}

// An empty map is forwarded like any other, but its call stays here, to be answered with "Wrong parameters":
// an invocation can be answered only once.
void HandleRequest(
    DbusClientPortImpl& state, _Client& client, const Na::RequestMap& data, GDBusConnection* connection,
    OwnedInvocation& invocation) {
    LogPrint(
        LogTrace, LOCATED_IN("_handle_method_call", "Handling client request: %p"),
        static_cast<void*>(invocation.get()));
    client.connection = Share(connection);
    client.invocation.reset();
    if (!data.empty()) {
        client.invocation = std::move(invocation);
    }
    state.OnClientData(client.id, data);
    LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "Request handled"));
}

// Whatever is left in `invocation` afterwards is still to be answered.
void Dispatch(
    DbusClientPortImpl& state, GDBusConnection* connection, const gchar* sender, const gchar* objectPath,
    const gchar* method, GVariant* parameters, OwnedInvocation& invocation) {
    const std::string identifier = IdentifierOf(connection, sender);
    LogPrint(
        LogTrace, LOCATED_IN("_handle_method_call", "Method %s call from %s. %p"), method, identifier.c_str(),
        static_cast<void*>(connection));
    LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "Object: %s"), objectPath);
    const OwnedVariant dictionary(g_variant_get_child_value(parameters, 0));
    const Na::RequestMap data = ReadMap(dictionary.get());
    const auto session = data.find(Na::Key::Session);
    if (session != data.end()) {
        HandleSession(state, identifier, session->second, invocation);
        return;
    }
    const auto client = state.clients.find(identifier);
    if (client != state.clients.end()) {
        HandleRequest(state, *client->second, data, connection, invocation);
    } else {
        LogPrint(LogError, LOCATED_IN("_handle_method_call", "Command request from unknown client"));
    }
}

// The three methods are handled alike, and of their arguments only the map is read. No exception may run
// through GLib's frames.
void _handle_method_call(
    GDBusConnection* connection, const gchar* sender, const gchar* objectPath, const gchar*,
    const gchar* method, GVariant* parameters, GDBusMethodInvocation* call, gpointer ticket) {
    OwnedInvocation invocation(call);
    try {
        DbusClientPortImpl* const state = DbusClientPortImpl::OfTicket(ticket);
        if (state != nullptr) {
            Dispatch(*state, connection, sender, objectPath, method, parameters, invocation);
        } else {
            LogPrint(LogDebug, LOCATED("Invalid state"));
        }
        if (invocation != nullptr) {
            Answer(std::move(invocation), Result(Bus::WrongParameters));
        }
    } catch (const std::exception& error) {
        LogPrint(LogError, LOCATED("Request dropped: %s"), error.what());
    }
    LogPrint(LogTrace, LOCATED(""));
}

const GDBusInterfaceVTable MethodHandlers = {_handle_method_call, nullptr, nullptr, {}};

void _on_bus_acquired(GDBusConnection* connection, const gchar* name, gpointer ticket) {
    LogPrint(LogTrace, LOCATED("Acquired the bus %s. %p"), name, static_cast<void*>(connection));
    DbusClientPortImpl* const state = DbusClientPortImpl::OfTicket(ticket);
    if (connection == nullptr || state == nullptr) {
        return;
    }
    // A lost bus leaves the service unreachable, not dead: whoever supervises it decides.
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    state->RegisterObject(connection);
}

void _on_name_acquired(GDBusConnection* connection, const gchar* name, gpointer ticket) {
    LogPrint(
        LogTrace, LOCATED("Acquired the name %s on the session bus. %p"), name,
        static_cast<void*>(connection));
    if (DbusClientPortImpl::OfTicket(ticket) != nullptr) {
        LogPrint(LogInfo, "info: Started to listen on d-bus");
    }
}

void _on_name_lost(GDBusConnection* connection, const gchar* name, gpointer ticket) {
    LogPrint(
        LogTrace, LOCATED("Lost the name %s on the session bus. %p"), name, static_cast<void*>(connection));
    DbusClientPortImpl* const state = DbusClientPortImpl::OfTicket(ticket);
    if (state == nullptr) {
        return;
    }
    if (connection != nullptr) {
        state->UnregisterObject(connection);
    } else {
        LogPrint(LogDebug, LOCATED("Connection lost"));
    }
    state->connection.reset();
    state->clients.clear();
}

}  // namespace

void DbusClientPortImpl::RegisterObject(GDBusConnection* busConnection) {
    LogPrint(LogTrace, LOCATED_IN("_register_object", "Registering object %s"), Bus::ObjectPath);
    const std::string document = IntrospectionDocument();
    LogPrint(LogTrace, LOCATED_IN("_register_object", "Introspection:\n%s"), document.c_str());
    GError* failure = nullptr;
    const OwnedNodeInfo node(g_dbus_node_info_new_for_xml(document.c_str(), &failure));
    guint id = 0;
    if (node != nullptr) {
        id = g_dbus_connection_register_object(
            busConnection, Bus::ObjectPath, node->interfaces[0], &MethodHandlers, ticket, nullptr, &failure);
    }
    const Na::OwnedError error(failure);
    if (id == 0) {
        LogPrint(
            LogDebug, LOCATED_IN("_register_object", "Error registering d-bus object: %s"),
            MessageOf(error, "unknown error"));
        return;
    }
    registrationId = id;
    connection = Share(busConnection);
    LogPrint(LogTrace, LOCATED_IN("_register_object", "Success"));
}

void DbusClientPortImpl::UnregisterObject(GDBusConnection* busConnection) {
    if (registrationId != 0) {
        LogPrint(LogInfo, "info: Stop listening on d-bus");
        g_dbus_connection_unregister_object(busConnection, registrationId);
        registrationId = 0;
    }
}

DbusClientPort::DbusClientPort() {
    LogPrint(LogTrace, LOCATED(""));
}

DbusClientPort::~DbusClientPort() {
    LogPrint(LogTrace, LOCATED(""));
    DbusClientPort::StopListen();
}

const char* DbusClientPort::GetName() const {
    return PortName;
}

bool DbusClientPort::SendResult(const std::string& clientId, const Na::RequestMap& result) {
    LogPrint(LogTrace, LOCATED(""));
    if (impl == nullptr) {
        return false;
    }
    bool sent = false;
    {
        const Lock guard(impl->lock);
        LogPrint(LogDebug, LOCATED("Sending response to %s"), clientId.c_str());
        if (_Client* const client = impl->get_client_from_id(clientId)) {
            sent = client->SendReply(result);
        } else {
            LogPrint(LogError, LOCATED("Error sending reply. Client had disappear"));
        }
        LogPrint(LogDebug, LOCATED("Sent response"));
    }
    LogPrint(LogTrace, LOCATED(""));
    return sent;
}

bool DbusClientPort::SendProgressCode(const std::string& clientId, const std::string& value) {
    if (impl == nullptr) {
        return false;
    }
    bool found = false;
    {
        const Lock guard(impl->lock);
        LogPrint(LogDebug, LOCATED("Sending progress to %s"), clientId.c_str());
        if (_Client* const client = impl->get_client_from_id(clientId)) {
            client->SendProgress(value);
            found = true;
        } else {
            LogPrint(LogError, LOCATED("Error sending progress. Client had disappear"));
        }
        LogPrint(LogDebug, LOCATED("Sent progress"));
    }
    LogPrint(LogTrace, LOCATED(""));
    return found;
}

bool DbusClientPort::IsTrusted(const std::string& clientId) {
    const _Client* const client = impl != nullptr ? impl->get_client_from_id(clientId) : nullptr;
    return client != nullptr && client->IsTrusted();
}

int DbusClientPort::StartListen() {
    if (impl == nullptr) {
        impl = std::make_unique<DbusClientPortImpl>(this);
        impl->ownerId = g_bus_own_name(
            G_BUS_TYPE_SYSTEM, Bus::Name, G_BUS_NAME_OWNER_FLAGS_NONE, _on_bus_acquired, _on_name_acquired,
            _on_name_lost, impl->ticket, nullptr);
    }
    return 0;
}

void DbusClientPort::StopListen() {
    if (impl == nullptr) {
        return;
    }
    LogPrint(LogTrace, LOCATED(""));
    {
        const Lock guard(impl->lock);
        if (impl->connection != nullptr) {
            g_dbus_connection_flush_sync(impl->connection.get(), nullptr, nullptr);
        }
        if (impl->ownerId != 0) {
            g_bus_unown_name(impl->ownerId);
            impl->ownerId = 0;
        }
    }
    LogPrint(LogTrace, LOCATED(""));
    impl.reset();
}

}  // namespace Tizen
