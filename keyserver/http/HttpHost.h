// SPDX-License-Identifier: Apache-2.0
// Takes connections, plain or TLS, reads one request after the other from each and sends what its owner
// answers. A connection costs no thread: a few threads serve them all. Thread-safe.
#pragma once

#include <cstdint>
#include <memory>

#include "keyserver/http/HttpExchange.h"
#include "keyserver/http/HttpOptions.h"

namespace KeyServer {

class HttpHost {
public:
    // The owner must outlive the host.
    HttpHost(HttpOptions options, ConnectionOwner& owner);

    // Like Stop.
    ~HttpHost();
    HttpHost(const HttpHost&) = delete;
    HttpHost& operator=(const HttpHost&) = delete;

    // Returns the port once connections are taken. Throws std::system_error when the address cannot be
    // listened on.
    int Listen(int port);

    // When it returns, the port is closed.
    void StopListening();

    // Idle connections are closed, and each other one after the answer that is on its way, if any.
    void DismissConnections();

    // When it returns, the connections that were open are closed, whatever they were doing.
    void CloseConnections();

    // Answers that are on their way are finished; all else ends at once. Returns when all threads have ended,
    // after which the host can do no more. Not to be called by the owner's functions.
    void Stop();

    std::uint64_t Accepted() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace KeyServer
