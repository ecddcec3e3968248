// SPDX-License-Identifier: Apache-2.0
// A server-driven script as a bare loop around libcurl and the platform's secure element.
#pragma once

#include <functional>
#include <string>

namespace Floor {

struct ScriptRequest {
    std::string server;
    std::string client;  // "dbus;PACKAGE_PID"
    std::string serviceId;
    std::string functionId;
    std::string pushRequest;
    std::function<void(const std::string& instruction)>
        report;  // called before each command goes to the card
};

// The server's last result code. Throws std::runtime_error when card or server fails.
std::string RunScript(const ScriptRequest& request);

}  // namespace Floor
