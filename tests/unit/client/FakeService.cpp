// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/client/FakeService.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "client/lib/Bus.h"

namespace {

constexpr char Introspection[] =
    "<node><interface name='com.orvenco.navoa'>"
    "<method name='Session'><arg type='a{ss}' direction='in'/><arg type='a{ss}' direction='out'/></method>"
    "<method name='Cmd'><arg type='a{ss}' direction='in'/><arg type='a{ss}' direction='out'/></method>"
    "<method name='Exec'><arg type='a{ss}' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='a{ss}' direction='out'/></method>"
    "</interface></node>";

GVariant* Wrapped(const Navo::Map& map) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& [key, value] : map) {
        g_variant_builder_add(&builder, "{ss}", key.c_str(), value.c_str());
    }
    return g_variant_new("(a{ss})", &builder);
}

void Require(const void* result, GError* error) {
    const Navo::ErrorPtr owned(error);
    if (result == nullptr) {
        throw std::runtime_error(owned != nullptr ? owned->message : "no result and no error");
    }
}

guint32 AskDaemonForNumber(GDBusConnection* connection, const char* method, GVariant* arguments) {
    GError* error = nullptr;
    const Navo::VariantPtr reply(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    Require(reply.get(), error);
    guint32 number = 0;
    g_variant_get(reply.get(), "(u)", &number);
    return number;
}

}  // namespace

Arrival::Arrival(FakeService& ofService, GDBusMethodInvocation* givenInvocation, GVariant* arguments)
    : service(ofService),
      invocation(givenInvocation),
      method(g_dbus_method_invocation_get_method_name(givenInvocation)),
      sender(g_dbus_method_invocation_get_sender(givenInvocation)) {
    const Navo::VariantPtr entries(g_variant_get_child_value(arguments, 0));
    GVariantIter iterator;
    g_variant_iter_init(&iterator, entries.get());
    const char* key = nullptr;
    const char* value = nullptr;
    while (g_variant_iter_next(&iterator, "{&s&s}", &key, &value)) {
        request[key] = value;
    }
    if (g_variant_n_children(arguments) > 1) {
        const Navo::VariantPtr second(g_variant_get_child_value(arguments, 1));
        tag = g_variant_get_string(second.get(), nullptr);
    }
}

Arrival::~Arrival() {
    if (invocation != nullptr) {
        g_object_unref(invocation);
    }
}

void Arrival::Reply(const Navo::Map& reply) {
    g_dbus_method_invocation_return_value(std::exchange(invocation, nullptr), Wrapped(reply));
}

void Arrival::ReplyWithBody(GVariant* body) {
    const Navo::MessagePtr message(
        g_dbus_message_new_method_reply(g_dbus_method_invocation_get_message(invocation)));
    g_dbus_message_set_body(message.get(), body);
    g_dbus_connection_send_message(
        service.Connection(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(std::exchange(invocation, nullptr));
}

void Arrival::ReplyWithError(const char* name, const char* message) {
    g_dbus_method_invocation_return_dbus_error(std::exchange(invocation, nullptr), name, message);
}

void Arrival::Progress(const std::string& text) {
    ProgressFrom("/navoa/client/" + CallersProcessId(), text);
}

void Arrival::ProgressFrom(const std::string& path, const std::string& text) {
    g_dbus_connection_emit_signal(
        service.Connection(), nullptr, path.c_str(), "com.orvenco.navoa", "Progress",
        g_variant_new("(s)", text.c_str()), nullptr);
}

std::string Arrival::CallersProcessId() const {
    return std::to_string(AskDaemonForNumber(
        service.Connection(), "GetConnectionUnixProcessID", g_variant_new("(s)", sender.c_str())));
}

FakeService::FakeService(const std::string& busAddress) : FakeService(busAddress, Behaviour()) {}

FakeService::FakeService(const std::string& busAddress, Behaviour givenBehaviour)
    : behaviour(std::move(givenBehaviour)),
      context(g_main_context_new()),
      loop(g_main_loop_new(context.get(), FALSE), g_main_loop_unref) {
    std::promise<void> isReady;
    auto ready = isReady.get_future();
    thread = std::thread([&] { Serve(busAddress, isReady); });
    try {
        ready.get();
    } catch (...) {
        thread.join();
        throw;
    }
}

FakeService::~FakeService() {
    const Navo::SourcePtr quit(g_idle_source_new());
    g_source_set_callback(
        quit.get(),
        [](gpointer ownLoop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(ownLoop));
            return G_SOURCE_REMOVE;
        },
        loop.get(), nullptr);
    g_source_attach(quit.get(), context.get());
    thread.join();
}

void FakeService::Serve(const std::string& busAddress, std::promise<void>& isReady) {
    const Navo::ContextScope scope(context.get());
    try {
        BecomeReachable(busAddress);
    } catch (...) {
        isReady.set_exception(std::current_exception());
        return;
    }
    isReady.set_value();
    g_main_loop_run(loop.get());
    g_dbus_connection_flush_sync(connection.get(), nullptr, nullptr);
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
}

void FakeService::BecomeReachable(const std::string& busAddress) {
    GError* error = nullptr;
    connection.reset(g_dbus_connection_new_for_address_sync(
        busAddress.c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    Require(connection.get(), error);
    const std::unique_ptr<GDBusNodeInfo, void (*)(GDBusNodeInfo*)> node(
        g_dbus_node_info_new_for_xml(Introspection, &error), g_dbus_node_info_unref);
    Require(node.get(), error);
    static const GDBusInterfaceVTable table = {OnMethodCall, nullptr, nullptr, {}};
    g_dbus_connection_register_object(
        connection.get(), Navo::ServicePath, node->interfaces[0], &table, this, nullptr, &error);
    Require(error == nullptr ? this : nullptr, error);
    constexpr guint32 doNotQueue = 4;
    constexpr guint32 primaryOwner = 1;
    if (AskDaemonForNumber(
            connection.get(), "RequestName", g_variant_new("(su)", Navo::ServiceName, doNotQueue)) !=
        primaryOwner) {
        throw std::runtime_error("the service's name is taken");
    }
}

void FakeService::OnMethodCall(
    GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* arguments,
    GDBusMethodInvocation* invocation, gpointer self) {
    auto& service = *static_cast<FakeService*>(self);
    Arrival arrival(service, invocation, arguments);
    service.Handle(arrival);
}

void FakeService::Handle(Arrival& arrival) {
    const auto session = arrival.Request().find("Session");
    const auto command = arrival.Request().find("Cmd");
    const bool isSession = session != arrival.Request().end();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const std::string detail = command != arrival.Request().end() ? " " + command->second : "";
        received.push_back(isSession ? session->second : arrival.MethodName() + detail);
    }
    hasArrived.notify_all();
    if (!isSession) {
        behaviour.onRequest(arrival);
    } else if (session->second == "Open") {
        behaviour.onOpen(arrival);
    } else {
        behaviour.onClose(arrival);
    }
}

void FakeService::Vanish() {
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
}

std::vector<std::string> FakeService::Received() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return received;
}

void FakeService::AwaitArrivals(std::size_t count) const {
    std::unique_lock<std::mutex> lock(mutex);
    const bool isThere =
        hasArrived.wait_for(lock, std::chrono::seconds(60), [&] { return received.size() >= count; });
    EXPECT_TRUE(isThere) << "only " << received.size() << " calls of " << count << " arrived";
}
