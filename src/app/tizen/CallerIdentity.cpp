// SPDX-License-Identifier: Apache-2.0
#include "app/tizen/CallerIdentity.h"

#include <aul.h>
#include <sys/eventfd.h>
#include <tizen_error.h>
#include <unistd.h>

#include "app/tizen/DbusMaps.h"
#include "app/tizen/PortParts.h"
#include "common/Debug.h"
#include "common/Utils.h"

namespace Tizen {

namespace {

constexpr char UnknownPackage[] = "app";
constexpr std::size_t PackageNameCapacity = 255;

// Package name of a process, or the text that stands for an unknown one.
std::string PackageOf(guint pid) {
    char name[PackageNameCapacity] = {};
    const int error = aul_app_get_pkgname_bypid(static_cast<int>(pid), name, sizeof name);
    name[PackageNameCapacity - 1] = '\0';  // the platform may fill all of it
    if (error == 0) {
        LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, "_handle_method_call", "Sender pkg name: %s"), name);
    } else {
        LogPrint(
            LogDebug, LOCATED_AS(PORT_SOURCE_FILE, "_handle_method_call", "Error obtaining senders ID: %s"),
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

}  // namespace

std::string IdentifierOf(GDBusConnection* connection, const gchar* sender) {
    const guint pid = ProcessOf(connection, sender);
    if (pid == 0) {
        LogPrint(
            LogWarning, LOCATED_AS(PORT_SOURCE_FILE, "_handle_method_call", "Client identifier is %s"),
            sender);
        return sender;
    }
    LogPrint(
        LogTrace, LOCATED_AS(PORT_SOURCE_FILE, "_handle_method_call", "sender pid: %d"),
        static_cast<int>(pid));
    return PackageOf(pid) + "_" + Na::UintToString(pid, 10);
}

}  // namespace Tizen
