// SPDX-License-Identifier: Apache-2.0
// The least that answers the service's clients with GDBus: the platform's calls, the same log lines and the
// same replies.
//   navo-floor-service [--silent] [SERVER]
#include <cstring>

#include "bench/floors/Conduct.h"
#include "bench/floors/Owners.h"

namespace {

constexpr char Document[] =
    "<node><interface name='com.orvenco.navoa'>"
    "<method name='Session'><arg type='a{ss}' direction='in'/><arg type='a{ss}' direction='out'/></method>"
    "<method name='Cmd'><arg type='a{ss}' direction='in'/><arg type='a{ss}' direction='out'/></method>"
    "<signal name='Progress'><arg type='s'/></signal>"
    "</interface></node>";

struct Service {
    GMainLoop* loop;
    Floor::Conduct conduct;
};

unsigned ProcessOf(GDBusConnection* connection, const char* sender) {
    const Floor::Variant reply(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", sender), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    unsigned process = 0;
    if (reply) {
        g_variant_get(reply.get(), "(u)", &process);
    }
    return process;
}

void Answer(GDBusMethodInvocation* invocation, const char* text) {
    GVariantBuilder map;
    g_variant_builder_init(&map, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&map, "{ss}", "ReturnCode", text);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(a{ss})", &map));
}

// The map is read once and not copied.
void TakeWish(GVariant* map, Floor::Call& call) {
    GVariantIter pairs;
    g_variant_iter_init(&pairs, map);
    const char* key = nullptr;
    const char* value = nullptr;
    while (g_variant_iter_next(&pairs, "{&s&s}", &key, &value) != FALSE) {
        if (std::strcmp(key, "Session") == 0) {
            call.session = value;
        } else if (std::strcmp(key, "Cmd") == 0) {
            call.command = value;
        }
    }
}

std::string TextOf(GVariant* map, const char* key) {
    const char* value = "";
    g_variant_lookup(map, key, "&s", &value);
    return value;
}

void Handle(
    GDBusConnection* connection, const char* sender, const char*, const char*, const char*,
    GVariant* arguments, GDBusMethodInvocation* invocation, gpointer data) {
    auto* const service = static_cast<Service*>(data);
    const unsigned process = ProcessOf(connection, sender);
    const Floor::Variant map(g_variant_get_child_value(arguments, 0));
    Floor::Call call = {connection, process, Floor::ClientOf(process)};
    TakeWish(map.get(), call);
    call.text = [&](const char* key) { return TextOf(map.get(), key); };
    call.answer = [&](const char* text) { Answer(invocation, text); };
    call.emit = [&](const std::string& path, const std::string& text) {
        g_dbus_connection_emit_signal(
            connection, nullptr, path.c_str(), Floor::Name, "Progress", g_variant_new("(s)", text.c_str()),
            nullptr);
    };
    if (!service->conduct.Handle(call)) {
        g_dbus_connection_flush_sync(connection, nullptr, nullptr);
        g_main_loop_quit(service->loop);
    }
}

const GDBusInterfaceVTable Methods = {Handle, nullptr, nullptr, {}};

void Register(GDBusConnection* connection, const char*, gpointer service) {
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    const Floor::NodeInfo node(g_dbus_node_info_new_for_xml(Document, nullptr));
    g_dbus_connection_register_object(
        connection, Floor::ObjectPath, node->interfaces[0], &Methods, service, nullptr, nullptr);
}

}  // namespace

int main(int count, char** words) {
    const Floor::Libraries libraries;
    const Floor::Loop loop(g_main_loop_new(nullptr, FALSE));
    Service service = {loop.get(), Floor::ConductFrom(count, words)};
    const unsigned owner = g_bus_own_name(
        G_BUS_TYPE_SYSTEM, Floor::Name, G_BUS_NAME_OWNER_FLAGS_NONE, Register, nullptr, nullptr, &service,
        nullptr);
    g_main_loop_run(loop.get());
    g_bus_unown_name(owner);
}
