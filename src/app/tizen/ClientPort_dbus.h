// SPDX-License-Identifier: Apache-2.0
// The client port on the D-Bus system bus.
#pragma once

#include <memory>
#include <string>

#include "app/ClientPort.h"

namespace Tizen {

struct DbusClientPortImpl;

// Owns the service's name, exports its one object, and knows each client by the package behind its process
// id. A client id of this port is "dbus;", the package name, "_" and the process id.
//
// Main thread only. Losing the name or the bus leaves the port listening, without clients.
class DbusClientPort : public Na::IClientPort {
public:
    DbusClientPort();
    ~DbusClientPort() override;

    const char* GetName() const override;
    bool SendResult(const std::string& clientId, const Na::RequestMap& result) override;
    bool SendProgressCode(const std::string& clientId, const std::string& value) override;
    bool IsTrusted(const std::string& clientId) override;
    int StartListen() override;

    // Replies on their way are written out before the name goes.
    void StopListen() override;

private:
    std::unique_ptr<DbusClientPortImpl> impl;  // while listening
};

}  // namespace Tizen
