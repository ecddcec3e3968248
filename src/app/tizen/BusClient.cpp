// SPDX-License-Identifier: Apache-2.0
#include "app/tizen/BusClient.h"

#include "app/tizen/DbusMaps.h"
#include "common/Debug.h"
#include "common/Runtime.h"

namespace Tizen {

namespace {

std::string ObjectPathOf(const std::string& identifier) {
    std::string path = "/" + identifier;
    for (char& character : path) {
        if (character == '.') {
            character = '/';
        }
    }
    return path;
}

// Where a client's progress goes: what stands between the first "_" of its identifier and the next ":".
std::string ProgressPathOf(const std::string& identifier) {
    const std::size_t underscore = identifier.find('_');
    const std::size_t begin = underscore == std::string::npos ? 0 : underscore + 1;
    const std::size_t end = underscore == std::string::npos ? std::string::npos : identifier.find(':', begin);
    return Bus::ProgressPathPrefix + identifier.substr(begin, end == std::string::npos ? end : end - begin);
}

}  // namespace

void Answer(OwnedInvocation& invocation, const Na::RequestMap& result) {
    const OwnedVariant body = ReplyBody(result);
    g_dbus_method_invocation_return_value(invocation.release(), body.get());
}

_Client::_Client(const std::string& identifier)
    : id(identifier), objectPath(ObjectPathOf(identifier)), progressPath(ProgressPathOf(identifier)) {}

bool _Client::SendReply(const Na::RequestMap& result) {
    if (invocation == nullptr) {
        LogPrint(
            LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Client is not registered: %s"), id.c_str());
        return false;
    }
    LogPrint(LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Sending reply"));
    LogPrint(
        LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Invocation: %p"),
        static_cast<void*>(invocation.get()));
    Answer(invocation, result);
    return true;
}

void _Client::SendProgress(const std::string& value) {
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Object: %s"), objectPath.c_str());
    if (connection == nullptr) {
        return;
    }
    const auto connectionAddress = static_cast<void*>(connection.get());
    const auto invocationAddress = static_cast<void*>(invocation.get());
    LogPrint(
        LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Sending progress to %s. %p"), id.c_str(),
        connectionAddress);
    LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Invocation: %p"), invocationAddress);
    LogPrint(
        LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Progress for: c %p, i %p, o %s"), connectionAddress,
        invocationAddress, progressPath.c_str());
    const OwnedVariant body = TextBody(value);
    GError* failure = nullptr;
    const gboolean sent = g_dbus_connection_emit_signal(
        connection.get(), nullptr, progressPath.c_str(), Bus::Interface, Bus::ProgressSignal, body.get(),
        &failure);
    const Na::OwnedError error(failure);
    if (sent != FALSE) {
        LogPrint(LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Sent progress"));
    } else {
        LogPrint(
            LogDebug, LOCATED_AS(PORT_SOURCE_FILE, __func__, "Error sending progress to %s: %s"), id.c_str(),
            MessageOf(error, "invalid object path"));
    }
}

bool _Client::IsTrusted() const {
    const std::size_t underscore = id.find('_');
    const std::string package = underscore == std::string::npos ? std::string() : id.substr(0, underscore);
    const bool privileged = Na::IsClientPrivileged(package);
    LogPrint(
        LogTrace, LOCATED_AS(PORT_SOURCE_FILE, __func__, "%s is %s"), package.c_str(),
        privileged ? "privileged" : "regular");
    return privileged;
}

}  // namespace Tizen
