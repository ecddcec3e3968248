// SPDX-License-Identifier: Apache-2.0
// Between maps and D-Bus messages, and from D-Bus errors to the library's own.
#pragma once

#include <string>

#include "client/lib/Bus.h"
#include "client/lib/Owners.h"
#include "navo/Client.h"

namespace Navo {

// Throws ClientError (InvalidRequest) for texts that the bus cannot carry, naming the key.
[[nodiscard]] VariantPtr PackMap(const Map& map);

// A call of one of the service's methods; `arguments` is the body, a tuple.
[[nodiscard]] MessagePtr NewMethodCall(
    const std::string& destination, const char* method, GVariant* arguments, bool mayStart);

// The map of a reply "(a{ss})". Throws ClientError (UnexpectedReply) for another type.
[[nodiscard]] Map UnpackReply(GDBusMessage* reply);

// Whether nobody has the name that was called, so that the message reached nobody.
[[nodiscard]] bool IsUndelivered(const Answer& answer);

// Whether the one who was called left the bus without an answer.
[[nodiscard]] bool IsAbandoned(const Answer& answer);

// The error behind an answer that is none; `doing` begins its message ("opening a session").
[[nodiscard]] ClientError ErrorOf(const Answer& answer, const std::string& doing);

}  // namespace Navo
