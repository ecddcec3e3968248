// SPDX-License-Identifier: Apache-2.0
// Connects to a server as the service does, and says how far that went. Nothing is sent to it.
#pragma once

#include <string>

struct TlsProbe {
    bool connected = false;
    bool certificateRefused = false;
    std::string problem;      // libcurl's words; empty when connected
    std::string certificate;  // "CN = localhost, valid until Nov 22 2027"; empty without TLS
};

// `trustFile` holds the trusted certificates; libcurl's own store when it is empty.
[[nodiscard]] TlsProbe ProbeServer(const std::string& address, const std::string& trustFile);
