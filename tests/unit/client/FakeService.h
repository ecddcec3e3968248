// SPDX-License-Identifier: Apache-2.0
// Somebody with the service's name on a test's bus who does what the test wants.
#pragma once

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/lib/Owners.h"
#include "navo/Client.h"
#include "tests/support/service/ResultTexts.h"

class FakeService;

// One method call that arrived. Lives while its handler runs; everything is done in the service's thread.
class Arrival {
public:
    Arrival(FakeService& ofService, GDBusMethodInvocation* givenInvocation, GVariant* arguments);
    ~Arrival();
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;

    const std::string& MethodName() const { return method; }
    const Navo::Map& Request() const { return request; }
    const std::string& Tag() const { return tag; }
    const std::string& Sender() const { return sender; }

    // Answers. Without one of these the caller never gets an answer.
    void Reply(const Navo::Map& reply);
    void ReplyWithBody(GVariant* body);  // of any type; floating references are sunk
    void ReplyWithError(const char* name, const char* message);

    // Sends the signal "Progress" as the service does, from the path of the caller's process.
    void Progress(const std::string& text);
    void ProgressFrom(const std::string& path, const std::string& text);
    std::string CallersProcessId() const;

    FakeService& Service() { return service; }

private:
    FakeService& service;
    GDBusMethodInvocation* invocation;  // given away with the answer
    std::string method;
    std::string sender;
    std::string tag;
    Navo::Map request;
};

class FakeService {
public:
    using Handler = std::function<void(Arrival&)>;

    // What a well-behaved service does, to be replaced where a test wants something else.
    struct Behaviour {
        Handler onOpen = [](Arrival& arrival) { arrival.Reply({{"ReturnCode", "Success"}}); };
        Handler onClose = [](Arrival& arrival) { arrival.Reply({{"ReturnCode", "Success"}}); };
        Handler onRequest = [](Arrival& arrival) { arrival.Reply({{"ReturnCode", ResultText::Done}}); };
    };

    // Has the name and serves it when the constructor returns.
    explicit FakeService(const std::string& busAddress);
    FakeService(const std::string& busAddress, Behaviour behaviour);
    ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    // Leaves the bus like a process that dies. From a handler.
    void Vanish();

    // What arrived so far: "Open", "Close", "Cmd 67", "Exec 67".
    std::vector<std::string> Received() const;

    // Waits until that many have arrived; fails the running test after a while.
    void AwaitArrivals(std::size_t count) const;

    GDBusConnection* Connection() const { return connection.get(); }
    std::string UniqueName() const { return g_dbus_connection_get_unique_name(connection.get()); }

private:
    static void OnMethodCall(
        GDBusConnection* connection, const char* sender, const char* path, const char* interface,
        const char* method, GVariant* arguments, GDBusMethodInvocation* invocation, gpointer self);
    void Serve(const std::string& busAddress, std::promise<void>& isReady);
    void BecomeReachable(const std::string& busAddress);
    void Handle(Arrival& arrival);

    Behaviour behaviour;
    Navo::ContextPtr context;
    std::unique_ptr<GMainLoop, void (*)(GMainLoop*)> loop;
    Navo::ConnectionPtr connection;
    mutable std::mutex mutex;
    mutable std::condition_variable hasArrived;
    std::vector<std::string> received;
    std::thread thread;
};
