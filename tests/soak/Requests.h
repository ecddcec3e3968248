// SPDX-License-Identifier: Apache-2.0
// The kinds of requests that a soak is mixed of.
#pragma once

#include <string>
#include <vector>

#include "navo/Client.h"

struct RequestKind {
    std::string name;
    Navo::Map request;
    std::string outcome;  // what "ReturnCode" begins with
    unsigned share;       // in a mix, of ShareTotal
};

constexpr unsigned ShareTotal = 100;

// `ccmScript` is a script of the secure-SPI library, `server` the key server's address.
std::vector<RequestKind> RequestKinds(const std::string& ccmScript, const std::string& server);

// Sends so many requests of one kind, or of the mix for an empty kind, in one session of this process. The
// mix begins at `seed`. Throws std::runtime_error at the first answer that is not what it should be.
void SendRequests(
    const std::vector<RequestKind>& kinds, const std::string& kind, unsigned count, unsigned seed,
    Navo::Session& session);
