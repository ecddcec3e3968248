// Request maps and texts in their D-Bus form, and the interface they travel through.
#pragma once

#include <glib.h>

#include <string>

#include "app/RequestKeys.h"
#include "app/tizen/GlibOwners.h"

namespace Tizen {

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

// The text with U+FFFD in place of every byte that is not UTF-8: D-Bus carries nothing else in a string.
std::string ValidUtf8(const std::string& text);

// Reads an "a{ss}"; a later pair replaces an earlier one of the same key. A child of another type empties
// the map.
Na::RequestMap ReadMap(GVariant* dictionary);

// Body of a method reply, "(a{ss})".
Owned<GVariant> ReplyBody(const Na::RequestMap& map);

// Body of a signal, "(s)".
Owned<GVariant> TextBody(const std::string& text);

}  // namespace Tizen
