// SPDX-License-Identifier: Apache-2.0
#include "client/lib/Messages.h"

#include <cstring>

namespace Navo {
namespace {

constexpr char NoReply[] = "org.freedesktop.DBus.Error.NoReply";
constexpr char Disconnected[] = "org.freedesktop.DBus.Error.Disconnected";
constexpr char ServiceUnknown[] = "org.freedesktop.DBus.Error.ServiceUnknown";
constexpr char NameHasNoOwner[] = "org.freedesktop.DBus.Error.NameHasNoOwner";
constexpr char AccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
constexpr char BusTimedOut[] = "org.freedesktop.DBus.Error.TimedOut";
constexpr char SpawnPrefix[] = "org.freedesktop.DBus.Error.Spawn.";

void RequireText(const std::string& text, const std::string& what) {
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
        throw ClientError(ErrorKind::InvalidRequest, what + " is not UTF-8 text without zero bytes");
    }
}

bool BeginsWith(const std::string& text, const char* prefix) {
    return text.rfind(prefix, 0) == 0;
}

bool IsGioError(const Answer& answer, GIOErrorEnum code) {
    return answer.errorName.empty() && g_error_matches(answer.error.get(), G_IO_ERROR, code);
}

// The bus can be configured to give an answer up after a time; the one who was called is then still there.
bool IsGivenUpByTheBus(const Answer& answer) {
    return answer.Is(NoReply) && std::strstr(answer.error->message, "timeout by message bus") != nullptr;
}

ErrorKind LocalKind(const Answer& answer) {
    if (IsGioError(answer, G_IO_ERROR_TIMED_OUT)) {
        return ErrorKind::TimedOut;
    }
    if (IsGioError(answer, G_IO_ERROR_CANCELLED)) {
        return ErrorKind::Cancelled;
    }
    if (IsGioError(answer, G_IO_ERROR_INVALID_ARGUMENT)) {
        return ErrorKind::InvalidRequest;
    }
    return ErrorKind::ServiceEnded;  // the connection closed or broke
}

ErrorKind KindOf(const Answer& answer) {
    if (answer.errorName.empty()) {
        return LocalKind(answer);
    }
    if (IsGivenUpByTheBus(answer)) {
        return ErrorKind::TimedOut;
    }
    if (IsAbandoned(answer)) {
        return ErrorKind::ServiceEnded;
    }
    if (IsUndelivered(answer) || answer.Is(AccessDenied) || answer.Is(BusTimedOut) ||
        BeginsWith(answer.errorName, SpawnPrefix) ||
        BeginsWith(answer.errorName, "org.freedesktop.systemd1.")) {
        return ErrorKind::ServiceUnreachable;
    }
    return ErrorKind::UnexpectedReply;
}

const char* Reading(ErrorKind kind) {
    switch (kind) {
        case ErrorKind::ServiceUnreachable:
            return "the service cannot be reached";
        case ErrorKind::ServiceEnded:
            return "the service or the bus went without an answer; whether the request was run is unknown";
        case ErrorKind::TimedOut:
            return "no answer within the time limit; what was asked for may still be running";
        case ErrorKind::Cancelled:
            return "cancelled; what was asked for may still be running";
        case ErrorKind::InvalidRequest:
            return "the request cannot be sent";
        default:
            return "an answer that this service does not give";
    }
}

}  // namespace

VariantPtr PackMap(const Map& map) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    try {
        for (const auto& [key, value] : map) {
            RequireText(key, "a key of the request");
            RequireText(value, "the value of \"" + key + "\"");
            g_variant_builder_add(&builder, "{ss}", key.c_str(), value.c_str());
        }
    } catch (...) {
        g_variant_builder_clear(&builder);
        throw;
    }
    return VariantPtr(g_variant_ref_sink(g_variant_builder_end(&builder)));
}

MessagePtr NewMethodCall(
    const std::string& destination, const char* method, GVariant* arguments, bool mayStart) {
    MessagePtr message(
        g_dbus_message_new_method_call(destination.c_str(), ServicePath, ServiceInterface, method));
    g_dbus_message_set_body(message.get(), arguments);
    if (!mayStart) {
        g_dbus_message_set_flags(message.get(), G_DBUS_MESSAGE_FLAGS_NO_AUTO_START);
    }
    return message;
}

Map UnpackReply(GDBusMessage* reply) {
    GVariant* body = g_dbus_message_get_body(reply);
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(a{ss})"))) {
        const std::string type = body == nullptr ? "()" : g_variant_get_type_string(body);
        throw ClientError(ErrorKind::UnexpectedReply, "the reply has the type " + type + ", not (a{ss})");
    }
    Map map;
    const VariantPtr entries(g_variant_get_child_value(body, 0));
    GVariantIter iterator;
    g_variant_iter_init(&iterator, entries.get());
    const char* key = nullptr;
    const char* value = nullptr;
    while (g_variant_iter_next(&iterator, "{&s&s}", &key, &value)) {
        map[key] = value;
    }
    return map;
}

bool IsUndelivered(const Answer& answer) {
    return answer.Is(ServiceUnknown) || answer.Is(NameHasNoOwner);
}

bool IsAbandoned(const Answer& answer) {
    return (answer.Is(NoReply) && !IsGivenUpByTheBus(answer)) || answer.Is(Disconnected);
}

ClientError ErrorOf(const Answer& answer, const std::string& doing) {
    const ErrorKind kind = KindOf(answer);
    return {kind, doing + ": " + Reading(kind) + " (" + answer.error->message + ")", answer.errorName};
}

}  // namespace Navo
