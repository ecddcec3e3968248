// SPDX-License-Identifier: Apache-2.0
// What is to be thought of an address before the service gets it.
#pragma once

#include <string>
#include <vector>

// The parts of an address as the service will read it: "https" where it names no scheme.
struct ServerAddress {
    std::string scheme;
    std::string host;  // without the brackets of an IPv6 address
    std::string port;  // as text; empty when none is named
    std::string path;  // from the first "/", "?" or "#" behind the host
    std::string user;  // what stands before "@"
};

[[nodiscard]] ServerAddress TakeApart(const std::string& address);

// A sentence for each thing that cannot work, or that nobody wants; none for an address in order.
[[nodiscard]] std::vector<std::string> MistakesOf(const std::string& address);
