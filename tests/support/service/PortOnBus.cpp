// SPDX-License-Identifier: Apache-2.0
#include "tests/support/service/PortOnBus.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "app/AppMain.h"

namespace {

constexpr char Service[] = "com.orvenco.navoa";
constexpr char Object[] = "/com/orvenco/navoa";
constexpr auto Patience = std::chrono::seconds(10);

GVariant* MapVariant(const Na::RequestMap& map) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& pair : map) {
        g_variant_builder_add(&builder, "{ss}", pair.first.c_str(), pair.second.c_str());
    }
    return g_variant_builder_end(&builder);
}

GVariant* Parameters(const std::string& method, const Na::RequestMap& arguments) {
    return method == "Exec" ? g_variant_new("(@a{ss}s)", MapVariant(arguments), "some tag")
                            : g_variant_new("(@a{ss})", MapVariant(arguments));
}

std::string TakeError(GError* error) {
    char* const name = g_dbus_error_get_remote_error(error);
    const std::string text = name != nullptr ? name : error->message;
    g_free(name);
    g_error_free(error);
    return text;
}

void TakeReply(GObject* source, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<std::shared_ptr<BusCall>> call(static_cast<std::shared_ptr<BusCall>*>(data));
    GError* error = nullptr;
    GVariant* const reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    if (reply == nullptr) {
        (*call)->error = TakeError(error);
    } else {
        GVariantIter* pairs = nullptr;
        const char* key = nullptr;
        const char* value = nullptr;
        g_variant_get(reply, "(a{ss})", &pairs);
        while (g_variant_iter_next(pairs, "{&s&s}", &key, &value) != FALSE) {
            (*call)->reply[key] = value;
        }
        g_variant_iter_free(pairs);
        g_variant_unref(reply);
    }
    (*call)->done = true;
}

void TakeProgress(
    GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
    gpointer data) {
    const char* text = nullptr;
    g_variant_get(parameters, "(&s)", &text);
    static_cast<std::vector<std::string>*>(data)->push_back(text);
}

}  // namespace

GVariant* CallBus(GDBusConnection* connection, const char* method, GVariant* parameters) {
    return g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

BusClient::BusClient(const std::string& address) {
    GError* error = nullptr;
    connection = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (connection == nullptr) {
        throw std::runtime_error("no connection to the bus: " + TakeError(error));
    }
}

BusClient::~BusClient() {
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
}

std::shared_ptr<BusCall> BusClient::StartRaw(const std::string& method, GVariant* parameters) const {
    auto call = std::make_shared<BusCall>();
    g_dbus_connection_call(
        connection, Service, Object, Service, method.c_str(), parameters, nullptr,
        G_DBUS_CALL_FLAGS_NO_AUTO_START, G_MAXINT, nullptr, TakeReply, new std::shared_ptr<BusCall>(call));
    return call;
}

std::shared_ptr<BusCall> BusClient::Start(const std::string& method, const Na::RequestMap& arguments) const {
    return StartRaw(method, Parameters(method, arguments));
}

void BusClient::SendAndForget(const std::string& method, const Na::RequestMap& arguments) const {
    GDBusMessage* const message = g_dbus_message_new_method_call(Service, Object, Service, method.c_str());
    g_dbus_message_set_flags(message, G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
    g_dbus_message_set_body(message, Parameters(method, arguments));
    g_dbus_connection_send_message(connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    g_object_unref(message);
}

void BusClient::SyncWithBus() const {
    GVariant* const reply = CallBus(connection, "GetId", nullptr);
    ASSERT_NE(reply, nullptr);
    g_variant_unref(reply);
}

void BusClient::CollectProgress(const std::string& path) {
    g_dbus_connection_signal_subscribe(
        connection, nullptr, Service, "Progress", path.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        TakeProgress, &progress, nullptr);
    SyncWithBus();
}

PortOnBus::PortOnBus(bool listen) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    Na::AppMain::GetInstance()->SetMainLoop(loop);
    registry->StopListen();
    world.ForgetLog();
    client = std::make_unique<BusClient>(bus.Address());
    if (listen) {
        ListenUntilReady();
    }
}

PortOnBus::~PortOnBus() {
    client.reset();
    ForgetSharedConnection();
    Na::AppMain::GetInstance()->SetMainLoop(nullptr);
    g_main_loop_unref(loop);
}

// The next test's port has to find its own bus, so nobody may keep this one's connection.
void PortOnBus::ForgetSharedConnection() {
    auto connection = std::make_unique<SharedConnection>();
    if (connection->Get() != nullptr) {
        g_dbus_connection_set_exit_on_close(connection->Get(), FALSE);
    }
    SharedConnectionWatch watch(*connection);
    connection.reset();
    registry->StopListen();
    WaitUntil([&] { return watch.Gone(); }, "the shared connection to go");
}

void PortOnBus::WaitUntil(const std::function<bool()>& condition, const char* what) {
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    const guint wakeUp = g_timeout_add(5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    bool holds = condition();
    while (!holds && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        holds = condition();
    }
    g_source_remove(wakeUp);
    EXPECT_TRUE(holds) << "waited in vain for " << what;
}

void PortOnBus::WaitForLog(const std::string& line) {
    WaitUntil(
        [&] {
            const std::vector<std::string> plain = world.Log();
            const std::vector<std::string> located = world.LocatedLog();
            return std::count(plain.begin(), plain.end(), line) +
                       std::count(located.begin(), located.end(), line) >
                   0;
        },
        line.c_str());
}

Tizen::DbusClientPort* PortOnBus::Listen() {
    auto owned = std::make_unique<Tizen::DbusClientPort>();
    Tizen::DbusClientPort* const made = owned.get();
    registry->RegisterPort(std::move(owned));
    EXPECT_EQ(made->StartListen(), 0);
    return made;
}

void PortOnBus::ListenUntilReady() {
    port = Listen();
    WaitForLog("I/info: Started to listen on d-bus");
    world.ForgetLog();
}

std::shared_ptr<BusCall> PortOnBus::Finish(std::shared_ptr<BusCall> call) {
    WaitUntil([&] { return call->done; }, "a reply");
    return call;
}

std::string PortOnBus::Call(const std::string& method, const Na::RequestMap& arguments) {
    const std::shared_ptr<BusCall> call = Finish(client->Start(method, arguments));
    return call->error.empty() ? call->reply["ReturnCode"] : call->error;
}

void PortOnBus::BecomePackage(const std::string& name, const std::string& lines) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    world.Configure("[package " + name + "]\nexecutables=" + program + "\n" + lines);
    package = name;
}

std::string PortOnBus::Pid() {
    return std::to_string(getpid());
}

std::ptrdiff_t PortOnBus::Lines(const std::string& line) const {
    const std::vector<std::string> log = world.LocatedLog();
    return std::count(log.begin(), log.end(), line);
}
