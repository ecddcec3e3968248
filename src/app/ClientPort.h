// SPDX-License-Identifier: Apache-2.0
// What the registry and the agents see of a transport.
#pragma once

#include <string>

#include "app/RequestKeys.h"

namespace Na {

// A transport that clients come through. The client id is the port-qualified text that the port gave to the
// registry; everybody else hands it back unread.
class IClientPort {
public:
    IClientPort() = default;
    virtual ~IClientPort() = default;
    IClientPort(const IClientPort&) = delete;
    IClientPort& operator=(const IClientPort&) = delete;

    // Display name, for the log.
    virtual const char* GetName() const = 0;

    // Answers the client's pending request; true when a reply went out.
    virtual bool SendResult(const std::string& clientId, const RequestMap& result) = 0;

    // The same with a map of the one entry "ReturnCode".
    virtual bool SendReturnCode(const std::string& clientId, const std::string& code);

    // Tells the client how far its job is; true when the client was found.
    virtual bool SendProgressCode(const std::string& clientId, const std::string& value) = 0;

    // Whether the client may use privileged commands. A port that cannot tell trusts everybody.
    virtual bool IsTrusted(const std::string& clientId);

    // Both may be called in any state. StartListen returns 0.
    virtual int StartListen() = 0;
    virtual void StopListen() = 0;
};

}  // namespace Na
