// SPDX-License-Identifier: Apache-2.0
#include "bench/inside/BusService.h"

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "app/tizen/StartUp.h"

namespace Inside {

namespace {

constexpr char Name[] = "com.orvenco.navoa";
constexpr char Object[] = "/com/orvenco/navoa";

struct Reply {
    bool done = false;
    bool good = false;
};

void TakeReply(GObject* source, GAsyncResult* result, gpointer data) {
    auto* const reply = static_cast<Reply*>(data);
    GVariant* const body = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
    reply->good = body != nullptr;
    reply->done = true;
    if (body != nullptr) {
        g_variant_unref(body);
    }
}

bool HasOwner(GDBusConnection* connection) {
    GVariant* const reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
        g_variant_new("(s)", Name), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply != nullptr) {
        g_variant_unref(reply);
    }
    return reply != nullptr;
}

}  // namespace

BusService::BusService() : clientId("dbus;app_" + std::to_string(getpid())) {
    Tizen::RequireStartUp();
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (connection == nullptr) {
        throw std::runtime_error("no connection to the private bus");
    }
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    auto owned = std::make_unique<Tizen::DbusClientPort>();
    port = owned.get();
    Na::ClientListener::GetInstance()->RegisterPort(std::move(owned));
    port->StartListen();
    while (!HasOwner(connection)) {
        g_main_context_iteration(nullptr, FALSE);
    }
    Call("Session", "Open");
    Call("Cmd", "66");
}

BusService::~BusService() {
    Na::ClientListener::GetInstance()->StopListen();
    g_object_unref(connection);
}

// The service answers in this very thread, so the caller cannot wait without running the main context.
void BusService::Call(const char* key, const char* value) const {
    GVariantBuilder map;
    g_variant_builder_init(&map, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&map, "{ss}", key, value);
    Reply reply;
    g_dbus_connection_call(
        connection, Name, Object, Name, key == std::string("Session") ? "Session" : "Cmd",
        g_variant_new("(a{ss})", &map), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, TakeReply, &reply);
    while (!reply.done) {
        g_main_context_iteration(nullptr, TRUE);
    }
    if (!reply.good) {
        throw std::runtime_error(std::string("the service does not answer ") + key + "=" + value);
    }
}

void BusService::Flush() const {
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
}

BusService& Service() {
    static BusService service;
    return service;
}

}  // namespace Inside
