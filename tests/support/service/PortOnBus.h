// SPDX-License-Identifier: Apache-2.0
// The service's port on a real bus, and its clients, all in the test's own process and main context.
#pragma once

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/ClientListener.h"
#include "app/tizen/ClientPort_dbus.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/service/DeviceWorld.h"

// One call of the service's methods. The reply comes while the main context runs.
struct BusCall {
    bool done = false;
    Na::RequestMap reply;
    std::string error;  // name of the D-Bus error; empty for a reply
};

// A connection of its own to the bus. All of a test's clients are the same process.
class BusClient {
public:
    explicit BusClient(const std::string& address);
    ~BusClient();
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    std::shared_ptr<BusCall> Start(const std::string& method, const Na::RequestMap& arguments) const;
    std::shared_ptr<BusCall> StartRaw(const std::string& method, GVariant* parameters) const;

    // Sends a call that wants no reply; it has left this process when this returns.
    void SendAndForget(const std::string& method, const Na::RequestMap& arguments) const;

    // The bus has handled all that was sent before.
    void SyncWithBus() const;

    void CollectProgress(const std::string& path);
    const std::vector<std::string>& Progress() const { return progress; }

    std::string UniqueName() const { return g_dbus_connection_get_unique_name(connection); }
    GDBusConnection* Connection() const { return connection; }

private:
    GDBusConnection* connection = nullptr;
    std::vector<std::string> progress;
};

class PortOnBus : public testing::Test {
public:
    // Listens on a bus of its own. A derived fixture that wants another beginning passes false.
    explicit PortOnBus(bool listen = true);
    ~PortOnBus() override;

protected:
    // Runs the main context until `condition` holds; fails the test when it does not within ten seconds.
    void WaitUntil(const std::function<bool()>& condition, const char* what);
    void WaitForLog(const std::string& line);

    // Makes a port, gives it to the registry, and starts it.
    Tizen::DbusClientPort* Listen();
    void ListenUntilReady();

    // A call from beginning to end; its "ReturnCode", or the name of the error.
    std::string Call(const std::string& method, const Na::RequestMap& arguments);
    std::string Session(const std::string& action) { return Call("Session", {{"Session", action}}); }
    std::shared_ptr<BusCall> Finish(std::shared_ptr<BusCall> call);

    // Lets the device know this very program as that package.
    void BecomePackage(const std::string& package, const std::string& lines = "");

    // Identifiers as the port makes them for this process.
    static std::string Pid();
    std::string Identifier() const { return package + "_" + Pid(); }
    std::string ClientId() const { return "dbus;" + Identifier(); }

    bool LoopRuns() const { return g_main_loop_is_running(loop) != FALSE; }
    std::ptrdiff_t Lines(const std::string& line) const;

    DeviceWorld world;
    PrivateBus bus{world.Path()};
    GMainLoop* const loop = g_main_loop_new(nullptr, TRUE);  // "running" until somebody quits it
    Na::ClientListener* const registry = Na::ClientListener::GetInstance();
    Tizen::DbusClientPort* port = nullptr;  // the registry's
    std::unique_ptr<BusClient> client;
    std::string package = "app";

    // Stops listening and lets go of the process's connection to the bus.
    void ForgetSharedConnection();
};

// The process's connection to the system bus, for as long as it lives.
class SharedConnection {
public:
    SharedConnection() : connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {}
    ~SharedConnection() { g_clear_object(&connection); }
    SharedConnection(const SharedConnection&) = delete;
    SharedConnection& operator=(const SharedConnection&) = delete;

    GDBusConnection* Get() const { return connection; }

private:
    GDBusConnection* connection;
};

// Tells when nobody holds that connection any longer; does not hold it itself.
class SharedConnectionWatch {
public:
    explicit SharedConnectionWatch(const SharedConnection& connection = SharedConnection()) {
        g_weak_ref_init(&reference, connection.Get());
    }
    ~SharedConnectionWatch() { g_weak_ref_clear(&reference); }
    SharedConnectionWatch(const SharedConnectionWatch&) = delete;
    SharedConnectionWatch& operator=(const SharedConnectionWatch&) = delete;

    bool Gone() {
        auto* left = static_cast<GObject*>(g_weak_ref_get(&reference));
        const bool gone = left == nullptr;
        g_clear_object(&left);
        return gone;
    }

private:
    GWeakRef reference;
};

// Calls the bus itself and returns the reply, null when the bus refused.
GVariant* CallBus(GDBusConnection* connection, const char* method, GVariant* parameters);
