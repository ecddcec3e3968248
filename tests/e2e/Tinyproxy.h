// SPDX-License-Identifier: Apache-2.0
// A real HTTP proxy, one that is not ours, for one test: in the foreground, on a free port of this machine.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/world/World.h"

class Tinyproxy {
public:
    // Whether the program is there at all.
    static bool IsInstalled();

    // Listens when it returns. The lines go to its configuration file: "ConnectPort 443".
    explicit Tinyproxy(World& world, const std::string& lines = {});

    const std::string& Address() const { return address; }  // 127.0.0.1:port

    // What it says of each request: "CONNECT 127.0.0.1:443 HTTP/1.1".
    std::vector<std::string> Requests() const;
    std::size_t Count(const std::string& requestBegin) const;

    // At once, with all its connections.
    void Die();

private:
    std::string address;
    std::string log;
    std::unique_ptr<Process> process;
};
