// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/BusCaller.h"

#include <memory>
#include <stdexcept>

namespace {

constexpr char ServiceName[] = "com.orvenco.navoa";
constexpr char ServicePath[] = "/com/orvenco/navoa";
constexpr char ServiceInterface[] = "com.orvenco.navoa";
constexpr char BusName[] = "org.freedesktop.DBus";
constexpr char BusPath[] = "/org/freedesktop/DBus";
constexpr int CallTimeLimit = 100000;  // milliseconds

using Error = std::unique_ptr<GError, decltype(&g_error_free)>;
using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;
using Text = std::unique_ptr<char, decltype(&g_free)>;

// All that GDBus delivers within the scope goes to the context.
class Turn {
public:
    explicit Turn(GMainContext* ownContext) : context(ownContext) {
        g_main_context_push_thread_default(context);
    }
    ~Turn() { g_main_context_pop_thread_default(context); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    GMainContext* context;
};

GVariant* VariantOf(const BusCaller::Map& map) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& [key, value] : map) {
        g_variant_builder_add(&builder, "{ss}", key.c_str(), value.c_str());
    }
    return g_variant_builder_end(&builder);
}

void ReadMap(GVariant* reply, BusCaller::Map& map) {
    if (!g_variant_is_of_type(reply, G_VARIANT_TYPE("(a{ss})"))) {
        return;
    }
    const Variant entries(g_variant_get_child_value(reply, 0), g_variant_unref);
    GVariantIter iterator;
    g_variant_iter_init(&iterator, entries.get());
    const char* key = nullptr;
    const char* value = nullptr;
    while (g_variant_iter_next(&iterator, "{&s&s}", &key, &value)) {
        map[key] = value;
    }
}

BusAnswer ErrorAnswer(GError* error) {
    const Text name(g_dbus_error_get_remote_error(error), g_free);
    BusAnswer answer;
    answer.text = error->message;
    answer.error = name != nullptr ? name.get() : "(no answer from the bus)";
    return answer;
}

}  // namespace

std::string BusAnswer::ReturnCode() const {
    const auto found = values.find("ReturnCode");
    return found != values.end() ? found->second : error + " " + text;
}

BusCaller::BusCaller(const std::string& address) : context(g_main_context_new()) {
    const Turn turn(context);
    GError* error = nullptr;
    connection = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (connection == nullptr) {
        const Error owned(error, g_error_free);
        g_main_context_unref(context);
        throw std::runtime_error("no connection to " + address + ": " + owned->message);
    }
    g_dbus_connection_set_exit_on_close(connection, FALSE);
}

BusCaller::~BusCaller() {
    {
        const Turn turn(context);
        if (subscription != 0) {
            g_dbus_connection_signal_unsubscribe(connection, subscription);
        }
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        while (g_main_context_iteration(context, FALSE)) {
        }
        g_object_unref(connection);
    }
    g_main_context_unref(context);
}

BusAnswer BusCaller::Send(
    const std::string& destination, const std::string& path, const std::string& interface,
    const std::string& method, GVariant* arguments, bool mayStart) {
    const Turn turn(context);
    GError* error = nullptr;
    const Variant reply(
        g_dbus_connection_call_sync(
            connection, destination.c_str(), path.c_str(), interface.c_str(), method.c_str(), arguments,
            nullptr, mayStart ? G_DBUS_CALL_FLAGS_NONE : G_DBUS_CALL_FLAGS_NO_AUTO_START, CallTimeLimit,
            nullptr, &error),
        g_variant_unref);
    if (reply == nullptr) {
        const Error owned(error, g_error_free);
        return ErrorAnswer(owned.get());
    }
    BusAnswer answer;
    const Text text(g_variant_print(reply.get(), FALSE), g_free);
    answer.text = text.get();
    ReadMap(reply.get(), answer.values);
    return answer;
}

BusAnswer BusCaller::Call(const std::string& method, const Map& map) {
    GVariant* arguments = g_variant_new("(@a{ss})", VariantOf(map));
    return Send(ServiceName, ServicePath, ServiceInterface, method, arguments, true);
}

BusAnswer BusCaller::Exec(const Map& map, const std::string& resultTag) {
    GVariant* arguments = g_variant_new("(@a{ss}s)", VariantOf(map), resultTag.c_str());
    return Send(ServiceName, ServicePath, ServiceInterface, "Exec", arguments, true);
}

BusAnswer BusCaller::CallInstance(const std::string& uniqueName, const std::string& method, const Map& map) {
    GVariant* arguments = g_variant_new("(@a{ss})", VariantOf(map));
    return Send(uniqueName, ServicePath, ServiceInterface, method, arguments, false);
}

BusAnswer BusCaller::CallAnything(
    const std::string& interface, const std::string& method, const std::string& arguments) {
    GError* error = nullptr;
    GVariant* parsed = g_variant_parse(nullptr, arguments.c_str(), nullptr, nullptr, &error);
    if (parsed == nullptr) {
        const Error owned(error, g_error_free);
        throw std::runtime_error(arguments + ": " + owned->message);
    }
    const Variant owned(g_variant_ref_sink(parsed), g_variant_unref);
    return Send(ServiceName, ServicePath, interface, method, owned.get(), true);
}

BusAnswer BusCaller::AskBus(const std::string& method, const std::string& argument) {
    return Send(BusName, BusPath, BusName, method, g_variant_new("(s)", argument.c_str()), true);
}

bool BusCaller::ReloadBus() {
    return Send(BusName, BusPath, BusName, "ReloadConfig", nullptr, true).error.empty();
}

bool BusCaller::TakeName(const std::string& name) {
    constexpr unsigned DoNotQueue = 4;
    GVariant* arguments = g_variant_new("(su)", name.c_str(), DoNotQueue);
    return Send(BusName, BusPath, BusName, "RequestName", arguments, true).text == "(1,)";
}

std::string BusCaller::OwnerOf(const std::string& name) {
    const BusAnswer answer = AskBus("GetNameOwner", name);
    const std::size_t begin = answer.text.find('\'');
    return answer.error.empty() ? answer.text.substr(begin + 1, answer.text.rfind('\'') - begin - 1) : "";
}

pid_t BusCaller::ProcessOf(const std::string& name) {
    const BusAnswer answer = AskBus("GetConnectionUnixProcessID", name);
    return answer.error.empty() ? std::stoi(answer.text.substr(1)) : 0;
}

std::vector<std::string> BusCaller::Progress() {
    const Turn turn(context);
    if (subscription == 0) {
        constexpr auto note = +[](GDBusConnection*, const char*, const char* path, const char*, const char*,
                                  GVariant* body, gpointer self) {
            const char* text = nullptr;
            g_variant_get(body, "(&s)", &text);
            static_cast<BusCaller*>(self)->progress.push_back(std::string(path) + " " + text);
        };
        subscription = g_dbus_connection_signal_subscribe(
            connection, nullptr, ServiceInterface, "Progress", nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
            note, this, nullptr);
        // Subscribed for certain once the bus has answered something that was asked later.
        g_dbus_connection_flush_sync(connection, nullptr, nullptr);
        AskBus("NameHasOwner", ServiceName);
    }
    while (g_main_context_iteration(context, FALSE)) {
    }
    return progress;
}
