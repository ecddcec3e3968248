// SPDX-License-Identifier: Apache-2.0
#include "conformance/Caller.h"

#include <memory>

#include "navo/Vocabulary.h"

namespace Conformance {

namespace {

constexpr int MostOpenings = 5;

struct Free {
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
template <typename Thing>
using Owned = std::unique_ptr<Thing, Free>;

GVariant* ToVariant(const Navo::Map& map) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& [key, value] : map) {
        g_variant_builder_add(&builder, "{ss}", key.c_str(), value.c_str());
    }
    return g_variant_builder_end(&builder);
}

Navo::Map FromVariant(GVariant* reply) {
    Navo::Map map;
    if (!g_variant_is_of_type(reply, G_VARIANT_TYPE("(a{ss})"))) {
        return map;
    }
    const Owned<GVariant> entries(g_variant_get_child_value(reply, 0));
    GVariantIter entry;
    const gchar* key = nullptr;
    const gchar* value = nullptr;
    g_variant_iter_init(&entry, entries.get());
    while (g_variant_iter_next(&entry, "{&s&s}", &key, &value) != FALSE) {
        map[key] = value;
    }
    return map;
}

Answer ErrorAnswer(GError* error) {
    Answer answer;
    const Owned<gchar> name(g_dbus_error_get_remote_error(error));
    g_dbus_error_strip_remote_error(error);
    answer.error = name ? name.get() : "no answer";
    answer.text = error->message;
    return answer;
}

gboolean AtDeadline(gpointer over) {
    *static_cast<bool*>(over) = true;
    return G_SOURCE_REMOVE;
}

}  // namespace

std::string Answer::ReturnCode() const {
    const auto code = values.find(Navo::Key::ReturnCode);
    return code != values.end() ? code->second : "<" + (error.empty() ? text : error) + ">";
}

Caller::Caller(const std::string& address, std::chrono::milliseconds limitOfAnswers)
    : limit(static_cast<int>(limitOfAnswers.count())), context(g_main_context_new()) {
    g_main_context_push_thread_default(context);
    GError* raw = nullptr;
    const Owned<gchar> systemBus(
        address.empty() ? g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &raw) : nullptr);
    if (raw == nullptr) {
        connection = g_dbus_connection_new_for_address_sync(
            systemBus ? systemBus.get() : address.c_str(),
            static_cast<GDBusConnectionFlags>(
                G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &raw);
    }
    if (connection == nullptr) {
        const Owned<GError> error(raw);
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
        throw Navo::ClientError(Navo::ErrorKind::NoBus, error->message);
    }
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    subscription = g_dbus_connection_signal_subscribe(
        connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", Navo::ServiceName, G_DBUS_SIGNAL_FLAGS_NONE, OnOwnerChange, nullptr,
        nullptr);
}

Caller::~Caller() {
    g_dbus_connection_signal_unsubscribe(connection, subscription);
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
}

// It has woken the context up, which is all that it is for.
void Caller::OnOwnerChange(
    GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*, gpointer) {}

Answer Caller::Send(const char* interface, const char* member, GVariant* arguments) {
    GError* raw = nullptr;
    const Owned<GVariant> reply(g_dbus_connection_call_sync(
        connection, Navo::ServiceName, Navo::ServicePath, interface, member, arguments, nullptr,
        G_DBUS_CALL_FLAGS_NONE, limit, nullptr, &raw));
    if (!reply) {
        const Owned<GError> error(raw);
        return ErrorAnswer(error.get());
    }
    Answer answer;
    answer.values = FromVariant(reply.get());
    const Owned<gchar> text(g_variant_print(reply.get(), FALSE));
    answer.text = text.get();
    return answer;
}

Answer Caller::Session(const std::string& action) {
    return Send(
        Navo::ServiceInterface, "Session",
        g_variant_new("(@a{ss})", ToVariant({{Navo::Key::Session, action}})));
}

bool Caller::IsKnown() {
    const Answer answer = Cmd({{Navo::Key::Cmd, "66"}});
    return answer.error.empty() && answer.ReturnCode() != "Wrong parameters";
}

Answer Caller::Open() {
    Answer answer;
    for (int attempt = 0; attempt < MostOpenings; ++attempt) {
        const std::string before = Owner();
        answer = Session("Open");
        const bool isLeaving = answer.error == "org.freedesktop.DBus.Error.NoReply" ||
                               answer.ReturnCode() == "Wrong parameters" ||
                               (!before.empty() && answer.ReturnCode() == "Success" && !IsKnown());
        if (!isLeaving || (!before.empty() && !AwaitEndOf(before))) {
            break;
        }
    }
    return answer;
}

Answer Caller::Cmd(const Navo::Map& request) {
    return Send(Navo::ServiceInterface, "Cmd", g_variant_new("(@a{ss})", ToVariant(request)));
}

Answer Caller::Exec(const Navo::Map& request, const std::string& tag) {
    return Send(Navo::ServiceInterface, "Exec", g_variant_new("(@a{ss}s)", ToVariant(request), tag.c_str()));
}

Answer Caller::Anything(const char* interface, const char* member, const char* arguments) {
    return Send(interface, member, g_variant_new_parsed(arguments));
}

std::string Caller::Owner() {
    const Owned<GVariant> reply(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
        g_variant_new("(s)", Navo::ServiceName), G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, limit,
        nullptr, nullptr));
    const gchar* name = "";
    if (reply) {
        g_variant_get(reply.get(), "(&s)", &name);
    }
    return name;
}

bool Caller::AwaitEndOf(const std::string& owner) {
    bool over = false;
    const Owned<GSource> deadline(g_timeout_source_new(static_cast<guint>(limit)));
    g_source_set_callback(deadline.get(), AtDeadline, &over, nullptr);
    g_source_attach(deadline.get(), context);
    while (Owner() == owner) {
        if (over) {
            return false;
        }
        g_main_context_iteration(context, TRUE);
    }
    return true;
}

}  // namespace Conformance
