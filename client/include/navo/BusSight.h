// SPDX-License-Identifier: Apache-2.0
// What the bus knows of the service, without starting it and without a session.
#pragma once

#include <string>

#include "navo/Client.h"
#include "navo/Export.h"

namespace Navo {

// The service's name on the bus, at one moment.
struct BusSight {
    bool activatable = false;  // whether the bus knows how to start the service
    std::string owner;  // unique name of the connection that has the service's name; empty when nobody has
    long process = 0;   // of that connection; 0 when there is none, or the bus does not tell
};

// Connects to the bus of the options and leaves it again. Throws ClientError (NoBus, Cancelled).
[[nodiscard]] NAVO_API BusSight LookAtBus(const SessionOptions& options = {});

}  // namespace Navo
