// SPDX-License-Identifier: Apache-2.0
// A private connection to the bus, served by a main context of its own.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/lib/Owners.h"
#include "navo/Client.h"

namespace Navo {

// The bus itself, as one of those that are on it.
constexpr char DaemonName[] = "org.freedesktop.DBus";
constexpr char DaemonPath[] = "/org/freedesktop/DBus";

struct Cancellation::Inner {
    CancellablePtr cancellable;
};

// Makes a context the thread's default for a scope, so that all that GDBus delivers goes there.
class ContextScope {
public:
    explicit ContextScope(GMainContext* ownContext) : context(ownContext) {
        g_main_context_push_thread_default(context);
    }
    ~ContextScope() { g_main_context_pop_thread_default(context); }
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

private:
    GMainContext* context;
};

// Wakes the context up, once, when it is cancelled. At its end nobody is cancelling any more: GLib's own
// source for this is lost when it goes in that moment.
class WakeAtCancellation {
public:
    WakeAtCancellation(const Cancellation* cancellation, GMainContext* context);  // null never cancels
    ~WakeAtCancellation();
    WakeAtCancellation(const WakeAtCancellation&) = delete;
    WakeAtCancellation& operator=(const WakeAtCancellation&) = delete;

private:
    GCancellable* cancellable;
    gulong handler = 0;
};

// What came back: a method return, or an error with its D-Bus name where it has one.
struct Answer {
    MessagePtr reply;
    ErrorPtr error;
    std::string errorName;

    bool Is(const char* name) const { return errorName == name; }
};

struct Waiting {
    std::chrono::milliseconds timeLimit = NoTimeLimit;
    const Cancellation* cancellation = nullptr;  // may be null
    std::function<void()> afterEachTurn;         // of the context; may throw, may be empty
    std::function<void()> onAnswer;              // before anything that came after the answer; must not throw
};

// Not for two threads at a time.
class Bus {
public:
    // Connects; `cancellation` may be null. Throws ClientError (NoBus, Cancelled).
    Bus(const std::string& address, const Cancellation* cancellation);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    GDBusConnection* Connection() const { return connection.get(); }
    GMainContext* Context() const { return context.get(); }

    // Sends and waits; takes no part in the judgement of what comes back.
    [[nodiscard]] Answer Exchange(GDBusMessage* message, const Waiting& waiting);

    // Whether an answer is still to come that an exchange has given up waiting for: what arrives until then
    // may belong to that one.
    [[nodiscard]] bool AwaitsAbandoned();

    // A method of the bus itself. Null arguments are none; null where no answer of that type came.
    [[nodiscard]] VariantPtr AskDaemon(const char* method, GVariant* arguments, const char* type);

    // Unique name of who has `name` now; empty when nobody has.
    [[nodiscard]] std::string OwnerOf(const std::string& name);

    // Whether the bus can start who is to have `name`.
    [[nodiscard]] bool CanStart(const std::string& name);

    // Waits for a change of the owner of `name` that makes `isReached` true; at most `timeLimit`.
    bool WaitForOwner(
        const std::string& name, const std::function<bool(const std::string& owner)>& isReached,
        std::chrono::milliseconds timeLimit, const Cancellation* cancellation);

    // This process as the bus sees it, decimal: in a container that may differ from getpid().
    [[nodiscard]] std::string ProcessId();

    // The process of a connection, by its name; 0 when the bus does not tell.
    [[nodiscard]] long ProcessOf(const std::string& name);

private:
    class PendingReply;

    void Abandon(std::unique_ptr<PendingReply> pending);

    ContextPtr context;
    ConnectionPtr connection;
    std::vector<std::unique_ptr<PendingReply>> abandoned;
};

// Collects the text of a signal for as long as it lives. Made and destroyed between exchanges of its bus, in
// the same thread.
class SignalSubscription {
public:
    using Handler = std::function<void(const char* path, GVariant* body)>;  // must not throw

    SignalSubscription(
        Bus& ofBus, const std::string& sender, const char* interface, const char* member,
        const char* firstArgument, Handler handler);
    ~SignalSubscription();
    SignalSubscription(const SignalSubscription&) = delete;
    SignalSubscription& operator=(const SignalSubscription&) = delete;

private:
    static void OnSignal(
        GDBusConnection* connection, const char* sender, const char* path, const char* interface,
        const char* member, GVariant* body, gpointer self);

    Bus& bus;
    Handler handle;
    guint id;
};

}  // namespace Navo
