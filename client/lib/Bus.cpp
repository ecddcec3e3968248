// SPDX-License-Identifier: Apache-2.0
#include "client/lib/Bus.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace Navo {
namespace {

constexpr std::chrono::seconds DaemonTimeLimit{30};

int Milliseconds(std::chrono::milliseconds limit) {
    // GDBus takes its largest number for "no limit".
    return static_cast<int>(std::clamp<std::int64_t>(limit.count(), 1, std::numeric_limits<int>::max()));
}

TextPtr SystemBusAddress() {
    GError* error = nullptr;
    TextPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    const ErrorPtr owned(error);
    if (address == nullptr) {
        throw ClientError(ErrorKind::NoBus, std::string("no system bus: ") + owned->message);
    }
    return address;
}

ConnectionPtr Connect(const std::string& givenAddress, const Cancellation* cancellation) {
    const std::string address = givenAddress.empty() ? SystemBusAddress().get() : givenAddress;
    GCancellable* cancellable =
        cancellation != nullptr ? cancellation->Internals().cancellable.get() : nullptr;
    GError* error = nullptr;
    ConnectionPtr connection(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable, &error));
    const ErrorPtr owned(error);
    if (connection == nullptr) {
        const bool isCancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
        throw ClientError(
            isCancelled ? ErrorKind::Cancelled : ErrorKind::NoBus,
            "cannot connect to the bus at " + address + ": " + error->message);
    }
    // Losing the bus is an error of the running operation, not the end of this process.
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

}  // namespace

// One message on its way, and its answer. Completes in the context that was the thread's default when it was
// made; when it is given up, it takes back what GDBus still holds of it.
class Bus::PendingReply {
public:
    PendingReply(
        GDBusConnection* connection, GDBusMessage* message, GMainContext* ownContext,
        std::function<void()> whenAnswered)
        : context(ownContext), own(g_cancellable_new()), onAnswer(std::move(whenAnswered)) {
        g_dbus_connection_send_message_with_reply(
            connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, G_MAXINT, nullptr, own.get(), OnAnswer,
            this);
    }

    ~PendingReply() {
        g_cancellable_cancel(own.get());
        while (!done) {
            g_main_context_iteration(context, TRUE);
        }
    }

    PendingReply(const PendingReply&) = delete;
    PendingReply& operator=(const PendingReply&) = delete;

    bool IsDone() const { return done; }
    Answer Take() { return std::move(answer); }

    // Nobody waits any more. The answer is still told from what comes after it.
    void Abandon() { onAnswer = nullptr; }

private:
    static void OnAnswer(GObject* connection, GAsyncResult* result, gpointer self) {
        auto& pending = *static_cast<PendingReply*>(self);
        GError* error = nullptr;
        pending.answer.reply.reset(
            g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(connection), result, &error));
        pending.answer.error.reset(error);
        pending.done = true;
        if (pending.onAnswer) {
            pending.onAnswer();
        }
    }

    GMainContext* context;
    CancellablePtr own;
    std::function<void()> onAnswer;
    Answer answer;
    bool done = false;
};

namespace {

// An error message becomes an error with its name; its text loses the name that GDBus would put in front.
void MoveErrorOut(Answer& answer) {
    GError* error = nullptr;
    if (answer.reply != nullptr && g_dbus_message_to_gerror(answer.reply.get(), &error)) {
        answer.error.reset(error);
        answer.errorName = g_dbus_message_get_error_name(answer.reply.get());
        answer.reply.reset();
        g_dbus_error_strip_remote_error(error);
    }
}

Answer GivenUp(GIOErrorEnum code, const char* text) {
    Answer answer;
    answer.error.reset(g_error_new_literal(G_IO_ERROR, code, text));
    return answer;
}

bool IsCancelled(const Cancellation* cancellation) {
    return cancellation != nullptr && cancellation->IsCancelled();
}

gboolean MarkExpired(gpointer flag) {
    *static_cast<bool*>(flag) = true;
    return G_SOURCE_REMOVE;
}

SourcePtr AttachTimeout(std::chrono::milliseconds limit, GMainContext* context, bool& isExpired) {
    SourcePtr source(g_timeout_source_new(static_cast<guint>(Milliseconds(limit))));
    g_source_set_callback(source.get(), MarkExpired, &isExpired, nullptr);
    g_source_attach(source.get(), context);
    return source;
}

}  // namespace

WakeAtCancellation::WakeAtCancellation(const Cancellation* cancellation, GMainContext* context)
    : cancellable(cancellation != nullptr ? cancellation->Internals().cancellable.get() : nullptr) {
    constexpr auto wake = +[](GCancellable*, gpointer sleeping) {
        g_main_context_wakeup(static_cast<GMainContext*>(sleeping));
    };
    if (cancellable != nullptr) {
        handler = g_cancellable_connect(cancellable, G_CALLBACK(wake), context, nullptr);
    }
}

WakeAtCancellation::~WakeAtCancellation() {
    g_cancellable_disconnect(cancellable, handler);
}

Bus::Bus(const std::string& address, const Cancellation* cancellation) : context(g_main_context_new()) {
    const ContextScope scope(context.get());
    connection = Connect(address, cancellation);
}

Bus::~Bus() {
    const ContextScope scope(context.get());
    abandoned.clear();
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
    while (g_main_context_iteration(context.get(), FALSE)) {
    }
}

bool Bus::AwaitsAbandoned() {
    const auto isDone = [](const std::unique_ptr<PendingReply>& pending) { return pending->IsDone(); };
    abandoned.erase(std::remove_if(abandoned.begin(), abandoned.end(), isDone), abandoned.end());
    return !abandoned.empty();
}

Answer Bus::Exchange(GDBusMessage* message, const Waiting& waiting) {
    if (IsCancelled(waiting.cancellation)) {
        return GivenUp(G_IO_ERROR_CANCELLED, "Operation was cancelled");
    }
    const ContextScope scope(context.get());
    auto pending = std::make_unique<PendingReply>(connection.get(), message, context.get(), waiting.onAnswer);
    bool isExpired = false;
    const SourcePtr timeout = waiting.timeLimit != NoTimeLimit
                                  ? AttachTimeout(waiting.timeLimit, context.get(), isExpired)
                                  : nullptr;
    const WakeAtCancellation wakeUp(waiting.cancellation, context.get());
    try {
        while (!pending->IsDone() && !isExpired && !IsCancelled(waiting.cancellation)) {
            g_main_context_iteration(context.get(), TRUE);
            if (waiting.afterEachTurn) {
                waiting.afterEachTurn();
            }
        }
    } catch (...) {
        Abandon(std::move(pending));
        throw;
    }
    if (!pending->IsDone()) {
        Abandon(std::move(pending));
        return isExpired ? GivenUp(G_IO_ERROR_TIMED_OUT, "Timeout was reached")
                         : GivenUp(G_IO_ERROR_CANCELLED, "Operation was cancelled");
    }
    Answer answer = pending->Take();
    MoveErrorOut(answer);
    return answer;
}

void Bus::Abandon(std::unique_ptr<PendingReply> pending) {
    pending->Abandon();
    abandoned.push_back(std::move(pending));
}

VariantPtr Bus::AskDaemon(const char* method, GVariant* arguments, const char* type) {
    const MessagePtr message(g_dbus_message_new_method_call(DaemonName, DaemonPath, DaemonName, method));
    if (arguments != nullptr) {
        g_dbus_message_set_body(message.get(), arguments);
    }
    Waiting waiting;
    waiting.timeLimit = DaemonTimeLimit;
    const Answer answer = Exchange(message.get(), waiting);
    GVariant* body = answer.reply != nullptr ? g_dbus_message_get_body(answer.reply.get()) : nullptr;
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE(type))) {
        return nullptr;
    }
    return VariantPtr(g_variant_ref(body));
}

std::string Bus::OwnerOf(const std::string& name) {
    const VariantPtr body = AskDaemon("GetNameOwner", g_variant_new("(s)", name.c_str()), "(s)");
    if (body == nullptr) {
        return {};
    }
    const char* owner = nullptr;
    g_variant_get(body.get(), "(&s)", &owner);
    return owner;
}

bool Bus::CanStart(const std::string& name) {
    const VariantPtr body = AskDaemon("ListActivatableNames", nullptr, "(as)");
    if (body == nullptr) {
        return false;
    }
    const VariantPtr names(g_variant_get_child_value(body.get(), 0));
    const std::unique_ptr<const char*, GlibFree> list(g_variant_get_strv(names.get(), nullptr));
    return g_strv_contains(list.get(), name.c_str()) != FALSE;
}

bool Bus::WaitForOwner(
    const std::string& name, const std::function<bool(const std::string& owner)>& isReached,
    std::chrono::milliseconds timeLimit, const Cancellation* cancellation) {
    bool hasChanged = false;
    const SignalSubscription subscription(
        *this, DaemonName, DaemonName, "NameOwnerChanged", name.c_str(),
        [&hasChanged](const char*, GVariant*) { hasChanged = true; });
    const ContextScope scope(context.get());
    bool isExpired = false;
    const SourcePtr timeout = AttachTimeout(timeLimit, context.get(), isExpired);
    const WakeAtCancellation wakeUp(cancellation, context.get());
    bool reached = isReached(OwnerOf(name));
    while (!reached && !isExpired && !IsCancelled(cancellation)) {
        g_main_context_iteration(context.get(), TRUE);
        if (std::exchange(hasChanged, false)) {
            reached = isReached(OwnerOf(name));
        }
    }
    return reached;
}

std::string Bus::ProcessId() {
    const long processId = ProcessOf(g_dbus_connection_get_unique_name(connection.get()));
    return std::to_string(processId != 0 ? processId : getpid());
}

long Bus::ProcessOf(const std::string& name) {
    const VariantPtr body =
        AskDaemon("GetConnectionUnixProcessID", g_variant_new("(s)", name.c_str()), "(u)");
    if (body == nullptr) {
        return 0;
    }
    guint32 processId = 0;
    g_variant_get(body.get(), "(u)", &processId);
    return static_cast<long>(processId);
}

SignalSubscription::SignalSubscription(
    Bus& ofBus, const std::string& sender, const char* interface, const char* member,
    const char* firstArgument, Handler handler)
    : bus(ofBus), handle(std::move(handler)) {
    const ContextScope scope(bus.Context());
    id = g_dbus_connection_signal_subscribe(
        bus.Connection(), sender.c_str(), interface, member, nullptr, firstArgument, G_DBUS_SIGNAL_FLAGS_NONE,
        OnSignal, this, nullptr);
}

SignalSubscription::~SignalSubscription() {
    // What was queued for this subscription finds it gone when its turn comes, and is dropped.
    const ContextScope scope(bus.Context());
    g_dbus_connection_signal_unsubscribe(bus.Connection(), id);
    while (g_main_context_iteration(bus.Context(), FALSE)) {
    }
}

void SignalSubscription::OnSignal(
    GDBusConnection*, const char*, const char* path, const char*, const char*, GVariant* body,
    gpointer self) {
    static_cast<SignalSubscription*>(self)->handle(path, body);
}

}  // namespace Navo
