// SPDX-License-Identifier: Apache-2.0
// Request maps and texts in their D-Bus form, and the interface they travel through.
#pragma once

#include <gio/gio.h>

#include <string>

#include "app/RequestKeys.h"
#include "common/Owned.h"

namespace Tizen {

using OwnedVariant = Na::OwnedBy<GVariant, g_variant_unref>;

namespace Bus {

extern const char Name[];
extern const char ObjectPath[];
extern const char Interface[];
extern const char ProgressSignal[];
extern const char ProgressPathPrefix[];
extern const char SessionOpen[];
extern const char SessionClose[];
extern const char Succeeded[];
extern const char Failed[];
extern const char WrongParameters[];

}  // namespace Bus

// The introspection document of the exported object.
std::string IntrospectionDocument();

// Reads an "a{ss}"; a later pair replaces an earlier one of the same key. A child of another type empties
// the map.
Na::RequestMap ReadMap(GVariant* dictionary);

// Body of a method reply, "(a{ss})". D-Bus carries only UTF-8: other bytes become U+FFFD. A value is cut at
// 64 KiB, with a line that says so; a map that is too large all the same becomes the status of an unknown
// error, since a bus ends the connection of who sends it more than it takes.
OwnedVariant ReplyBody(const Na::RequestMap& map);

// The reply of a call that ran out of memory: made beforehand, so that it needs none.
class LastResort {
public:
    LastResort();

    // Answers the call, which is gone afterwards.
    void Answer(GDBusMethodInvocation* invocation) const noexcept;

private:
    OwnedVariant body;
};

// Body of a signal, "(s)", likewise.
OwnedVariant TextBody(const std::string& text);

}  // namespace Tizen
