// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/PeerBus.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

constexpr char Service[] = "com.orvenco.navoa";
constexpr char Object[] = "/com/orvenco/navoa";
constexpr char Caller[] = ":1.7";
constexpr char BusName[] = "org.freedesktop.DBus";
constexpr auto Patience = std::chrono::seconds(10);

bool RunUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, FALSE);
        std::this_thread::yield();
    }
    return condition();
}

// The bus daemon's reply to a call of its own methods; null for those that the service never makes.
GVariant* BusReply(const std::string& member) {
    if (member == "Hello") {
        return g_variant_new("(s)", ":1.1");
    }
    if (member == "RequestName" || member == "ReleaseName") {
        return g_variant_new("(u)", 1U);
    }
    if (member == "GetConnectionUnixProcessID") {
        return g_variant_new("(u)", static_cast<guint32>(getpid()));
    }
    if (member == "GetNameOwner") {
        return g_variant_new("(s)", ":1.1");
    }
    return g_variant_new("()");
}

}  // namespace

struct PeerBus::State {
    GDBusServer* server = nullptr;
    GMainContext* context = nullptr;
    GMainLoop* loop = nullptr;
    std::thread thread;
    std::atomic<GDBusConnection*> connection{nullptr};
    std::atomic<bool> named{false};

    void Serve(const std::string& folder);
    static gboolean TakeConnection(GDBusServer*, GDBusConnection* connection, gpointer self);
    static GDBusMessage* Filter(
        GDBusConnection* connection, GDBusMessage* message, gboolean incoming, gpointer self);
    void AnswerAsBus(GDBusConnection* from, GDBusMessage* call);
};

// Runs on the connection's own thread, so that the service may wait for the bus.
GDBusMessage* PeerBus::State::Filter(
    GDBusConnection* connection, GDBusMessage* message, gboolean incoming, gpointer self) {
    const bool callOfTheBus = incoming != FALSE &&
                              g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL &&
                              g_strcmp0(g_dbus_message_get_destination(message), BusName) == 0;
    if (!callOfTheBus) {
        return message;
    }
    static_cast<State*>(self)->AnswerAsBus(connection, message);
    g_object_unref(message);
    return nullptr;
}

void PeerBus::State::AnswerAsBus(GDBusConnection* from, GDBusMessage* call) {
    const std::string member = g_dbus_message_get_member(call);
    GDBusMessage* const reply = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_sender(reply, BusName);
    g_dbus_message_set_body(reply, BusReply(member));
    g_dbus_connection_send_message(from, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(reply);
    named = named || member == "RequestName";
}

gboolean PeerBus::State::TakeConnection(GDBusServer*, GDBusConnection* incoming, gpointer self) {
    auto* const state = static_cast<State*>(self);
    g_dbus_connection_add_filter(incoming, Filter, state, nullptr);
    state->connection = G_DBUS_CONNECTION(g_object_ref(incoming));
    return TRUE;
}

void PeerBus::State::Serve(const std::string& folder) {
    g_main_context_push_thread_default(context);
    char* const guid = g_dbus_generate_guid();
    server = g_dbus_server_new_sync(
        ("unix:tmpdir=" + folder).c_str(), G_DBUS_SERVER_FLAGS_RUN_IN_THREAD, guid, nullptr, nullptr,
        nullptr);
    g_free(guid);
    if (server == nullptr) {
        throw std::runtime_error("no socket for a bus in " + folder);
    }
    g_signal_connect(server, "new-connection", G_CALLBACK(TakeConnection), this);
    g_dbus_server_start(server);
    g_main_context_pop_thread_default(context);
    thread = std::thread([this] {
        g_main_context_push_thread_default(context);
        g_main_loop_run(loop);
        g_main_context_pop_thread_default(context);
    });
}

PeerBus::PeerBus(const std::string& folder) : state(std::make_unique<State>()) {
    state->context = g_main_context_new();
    state->loop = g_main_loop_new(state->context, FALSE);
    state->Serve(folder);
}

PeerBus::~PeerBus() {
    g_main_loop_quit(state->loop);
    state->thread.join();
    g_dbus_server_stop(state->server);
    if (GDBusConnection* const connection = state->connection.exchange(nullptr)) {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        g_object_unref(connection);
    }
    g_object_unref(state->server);
    g_main_loop_unref(state->loop);
    g_main_context_unref(state->context);
}

std::string PeerBus::Address() const {
    return g_dbus_server_get_client_address(state->server);
}

bool PeerBus::WaitForService() {
    return RunUntil([this] { return state->named.load(); });
}

GDBusMessage* PeerBus::Call(const char* method, GVariant* body) {
    struct Pending {
        bool done = false;
        GDBusMessage* reply = nullptr;
    } pending;
    GDBusMessage* const call = g_dbus_message_new_method_call(Service, Object, Service, method);
    g_dbus_message_set_sender(call, Caller);
    if (body != nullptr) {
        g_dbus_message_set_body(call, body);
    }
    GCancellable* const cancellable = g_cancellable_new();
    const GAsyncReadyCallback take = [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* const waiting = static_cast<Pending*>(data);
        waiting->reply =
            g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(source), result, nullptr);
        waiting->done = true;
    };
    g_dbus_connection_send_message_with_reply(
        state->connection, call, G_DBUS_SEND_MESSAGE_FLAGS_NONE, G_MAXINT, nullptr, cancellable, take,
        &pending);
    if (!RunUntil([&] { return pending.done; })) {
        g_cancellable_cancel(cancellable);
        RunUntil([&] { return pending.done; });
    }
    g_object_unref(cancellable);
    g_object_unref(call);
    return pending.reply;
}
