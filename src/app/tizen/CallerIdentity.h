// SPDX-License-Identifier: Apache-2.0
// Who calls: the package and the process behind a name on the bus.
#pragma once

#include <gio/gio.h>

#include <string>

namespace Tizen {

// Identifier of the client with that unique name: its package's name, or "app" for an unknown one, "_" and
// its process id. The unique name itself when the bus does not tell the process.
std::string IdentifierOf(GDBusConnection* connection, const gchar* sender);

}  // namespace Tizen
