// SPDX-License-Identifier: Apache-2.0
// A client that has opened a session, and what goes back to it over the bus.
#pragma once

#include <string>

#include "app/RequestKeys.h"
#include "app/tizen/PortParts.h"

namespace Tizen {

// Answers a call for good; the invocation is gone afterwards. Whoever throws leaves it to be answered.
void Answer(OwnedInvocation& invocation, const Na::RequestMap& result);

// One registered client.
struct _Client {
    explicit _Client(const std::string& identifier);

    // Answers the stored call; false when there is none.
    bool SendReply(const Na::RequestMap& result);

    // Emits the progress signal, once the client has sent a request.
    void SendProgress(const std::string& value);

    bool IsTrusted() const;

    std::string id;
    std::string objectPath;      // for the log
    std::string progressPath;    // of the progress signal
    OwnedConnection connection;  // of the latest request; null before the first
    OwnedInvocation invocation;  // call still to be answered, or null
    unsigned count = 0;          // calls of "Open" without a "Close"
};

}  // namespace Tizen
