// SPDX-License-Identifier: Apache-2.0
#include "app/tizen/ClientPort_dbus.h"

#include <exception>
#include <utility>

#include "app/tizen/BusClient.h"
#include "app/tizen/CallerIdentity.h"
#include "app/tizen/DbusMaps.h"
#include "app/tizen/PortState.h"
#include "common/Debug.h"
#include "common/Secret.h"
#include "common/Utils.h"

namespace Tizen {

namespace {

using OwnedNodeInfo = Na::OwnedBy<GDBusNodeInfo, g_dbus_node_info_unref>;

constexpr char PortName[] = "D-bus port";

// A method call, as the bus library hands it over. It belongs to the library.
struct MethodCall {
    GDBusConnection* connection;
    const gchar* sender;
    const gchar* objectPath;
    const gchar* method;
    GVariant* parameters;
};

Na::RequestMap Result(const char* value) {
    return Na::RequestMap{{Na::Key::ReturnCode, value}};
}

// Opens or closes a session, and answers at once.
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
        const Na::Lock guard(state.lock);
        LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "%p"), address);
        Answer(invocation, Result(result));
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
    DbusClientPortImpl& state, _Client& client, const Na::RequestMap& data, const MethodCall& call,
    OwnedInvocation& invocation) {
    LogPrint(
        LogTrace, LOCATED_IN("_handle_method_call", "Handling client request: %p"),
        static_cast<void*>(invocation.get()));
    client.connection = Share(call.connection);
    client.invocation.reset();
    if (!data.empty()) {
        client.invocation = std::move(invocation);
    }
    state.OnClientData(client.id, data);
    LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "Request handled"));
}

// Takes the invocation, or leaves it when it is still to be answered.
void Dispatch(DbusClientPortImpl& state, const MethodCall& call, OwnedInvocation& invocation) {
    const std::string identifier = IdentifierOf(call.connection, call.sender);
    LogPrint(
        LogTrace, LOCATED_IN("_handle_method_call", "Method %s call from %s. %p"), call.method,
        identifier.c_str(), static_cast<void*>(call.connection));
    LogPrint(LogTrace, LOCATED_IN("_handle_method_call", "Object: %s"), call.objectPath);
    const OwnedVariant dictionary(g_variant_get_child_value(call.parameters, 0));
    Na::RequestMap data = ReadMap(dictionary.get());
    const Na::CleansedAtEnd<Na::RequestMap> letGo(data);
    const auto session = data.find(Na::Key::Session);
    if (session != data.end()) {
        HandleSession(state, identifier, session->second, invocation);
        return;
    }
    if (_Client* const client = state.FindClient(identifier.c_str())) {
        HandleRequest(state, *client, data, call, invocation);
        return;
    }
    LogPrint(LogError, LOCATED_IN("_handle_method_call", "Command request from unknown client"));
}

const LastResort& PreparedAnswer() {
    static const LastResort prepared;
    return prepared;
}

// What is left when a call cannot be served: it is answered all the same, by whom it stayed with.
void AnswerUnserved(
    DbusClientPortImpl* state, GDBusMethodInvocation* call, OwnedInvocation& invocation) noexcept {
    OwnedInvocation unanswered =
        invocation == nullptr && state != nullptr ? state->TakeBack(call) : std::move(invocation);
    if (unanswered != nullptr) {
        PreparedAnswer().Answer(unanswered.release());
    }
}

// The three methods are handled alike, and of their arguments only the map is read. No exception may run
// through GLib's frames.
void _handle_method_call(
    GDBusConnection* connection, const gchar* sender, const gchar* objectPath, const gchar*,
    const gchar* method, GVariant* parameters, GDBusMethodInvocation* call, gpointer ticket) {
    OwnedInvocation invocation(call);
    DbusClientPortImpl* const state = DbusClientPortImpl::OfTicket(ticket);
    try {
        if (state != nullptr) {
            Dispatch(*state, {connection, sender, objectPath, method, parameters}, invocation);
        } else {
            LogPrint(LogDebug, LOCATED("Invalid state"));
        }
        if (invocation != nullptr) {
            Answer(invocation, Result(Bus::WrongParameters));
        }
    } catch (const std::exception& error) {
        LogPrint(LogError, LOCATED("Request not served: %s"), error.what());
        AnswerUnserved(state, call, invocation);
    }
    LogPrint(LogTrace, LOCATED(""));
}

const GDBusInterfaceVTable MethodHandlers = {_handle_method_call, nullptr, nullptr, {}};

void RegisterObject(DbusClientPortImpl& state, GDBusConnection* connection) {
    LogPrint(LogTrace, LOCATED_IN("_register_object", "Registering object %s"), Bus::ObjectPath);
    const std::string document = IntrospectionDocument();
    LogPrint(LogTrace, LOCATED_IN("_register_object", "Introspection:\n%s"), document.c_str());
    GError* failure = nullptr;
    const OwnedNodeInfo node(g_dbus_node_info_new_for_xml(document.c_str(), &failure));
    guint id = 0;
    if (node != nullptr) {
        id = g_dbus_connection_register_object(
            connection, Bus::ObjectPath, node->interfaces[0], &MethodHandlers, state.ticket, nullptr,
            &failure);
    }
    const Na::OwnedError error(failure);
    if (id == 0) {
        LogPrint(
            LogDebug, LOCATED_IN("_register_object", "Error registering d-bus object: %s"),
            MessageOf(error, "unknown error"));
        return;
    }
    state.registrationId = id;
    state.connection = Share(connection);
    LogPrint(LogTrace, LOCATED_IN("_register_object", "Success"));
}

void UnregisterObject(DbusClientPortImpl& state, GDBusConnection* connection) {
    if (state.registrationId != 0) {
        LogPrint(LogInfo, "info: Stop listening on d-bus");
        g_dbus_connection_unregister_object(connection, state.registrationId);
        state.registrationId = 0;
    }
}

// No request has descriptors. Those that a client attaches are closed as they come, also while a job runs.
// Runs in the thread of GDBus, which locks what comes.
GDBusMessage* DropDescriptors(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer) noexcept {
    if (incoming == FALSE || g_dbus_message_get_unix_fd_list(message) == nullptr) {
        return message;
    }
    GDBusMessage* const without = g_dbus_message_copy(message, nullptr);
    if (without != nullptr) {
        g_dbus_message_set_unix_fd_list(without, nullptr);
        g_object_unref(message);
    }
    return without != nullptr ? without : message;
}

// A lost bus leaves the service unreachable, not dead: whoever supervises it decides. GLib would end the
// process, also when the bus goes before the name is there, so this comes first. The name is asked for on the
// connection that is returned, as long as it is held.
OwnedConnection PrepareTheBus() {
    OwnedConnection bus(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (bus != nullptr) {
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        g_dbus_connection_add_filter(bus.get(), DropDescriptors, nullptr, nullptr);
    }
    return bus;
}

void _on_bus_acquired(GDBusConnection* connection, const gchar* name, gpointer ticket) {
    LogPrint(LogTrace, LOCATED("Acquired the bus %s. %p"), name, static_cast<void*>(connection));
    DbusClientPortImpl* const state = DbusClientPortImpl::OfTicket(ticket);
    if (connection == nullptr || state == nullptr) {
        return;
    }
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    try {
        RegisterObject(*state, connection);
    } catch (const std::exception& error) {
        LogPrint(LogError, LOCATED("Object not registered: %s"), error.what());
    }
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
        UnregisterObject(*state, connection);
    } else {
        LogPrint(LogDebug, LOCATED("Connection lost"));
    }
    state->connection.reset();
    state->ForgetClients();
}

}  // namespace

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
        const Na::Lock guard(impl->lock);
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
        const Na::Lock guard(impl->lock);
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
        PreparedAnswer();  // made while there is memory
        const OwnedConnection bus = PrepareTheBus();
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
        const Na::Lock guard(impl->lock);
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
