// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/client/TestBus.h"

#include <filesystem>
#include <stdexcept>

#include "client/lib/Owners.h"
#include "navo/Client.h"

namespace {

BusDaemon::Surroundings DaemonIn(const TemporaryFolder& folder, const std::string& policy) {
    std::filesystem::create_directory(folder.Path() / "services");
    const std::filesystem::path configuration = folder.Write(
        "bus.conf",
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig>\n"
        "  <type>system</type>\n"
        "  <listen>unix:path=" +
            (folder.Path() / "bus").string() +
            "</listen>\n"
            "  <auth>EXTERNAL</auth>\n"
            "  <servicedir>" +
            (folder.Path() / "services").string() +
            "</servicedir>\n"
            "  <policy context=\"default\">\n"
            "    <allow user=\"*\"/>\n"
            "    <allow own=\"*\"/>\n"
            "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
            "    <allow eavesdrop=\"true\"/>\n" +
            policy +
            "  </policy>\n"
            "</busconfig>\n");
    return {configuration, folder.Path() / "bus.log", folder.Path(), {}};
}

}  // namespace

TestBus::TestBus(const std::string& policy) : daemon(DaemonIn(folder, policy)) {}

void TestBus::OfferActivation(const std::string& commandLine) {
    folder.Write(
        std::string("services/") + Navo::ServiceName + ".service",
        std::string("[D-BUS Service]\nName=") + Navo::ServiceName + "\nExec=" + commandLine + "\n");
    GError* error = nullptr;
    const Navo::ConnectionPtr connection(g_dbus_connection_new_for_address_sync(
        Address().c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    const Navo::VariantPtr reply(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ReloadConfig", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    const Navo::ErrorPtr owned(error);
    if (reply == nullptr) {
        throw std::runtime_error(std::string("ReloadConfig: ") + owned->message);
    }
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
}
