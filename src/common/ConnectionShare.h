// SPDX-License-Identifier: Apache-2.0
// Connections that outlive one HTTP exchange.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Na {

// What a connection is kept for. Another route gets no connection of this one.
struct Route {
    std::string server;   // base URL
    std::string proxy;    // as the platform gave it, empty without one
    std::string network;  // kind of the device's connection

    bool operator==(const Route& other) const {
        return server == other.server && proxy == other.proxy && network == other.network;
    }
};

// The open connections and TLS sessions of one route, shared by its exchanges, so that only the first one
// pays for the trust store and the handshake. Kept for at most 60 s without an exchange and 10 minutes in
// all; given up when an exchange fails, when the route changes, and when the system would now leave from
// another address. Ages are looked at before each exchange: nothing wakes the process for them.
//
// Belongs to one thread. Cookies are never shared.
class ConnectionShare {
public:
    // The process's own. Made for the first exchange, after libcurl was started, so it goes before libcurl.
    static ConnectionShare& OfProcess();

    ConnectionShare() = default;
    ConnectionShare(const ConnectionShare&) = delete;
    ConnectionShare& operator=(const ConnectionShare&) = delete;

    // To be called before an exchange: closes what cannot serve it.
    void Prepare(const Route& route);

    // Closes all that is kept.
    void Close();

    // Lets an exchange take an open connection from here and leave its own. Without effect when libcurl is
    // older than 7.57 and cannot share connections.
    void Join(CURL* exchange);

    // An exchange that joined has ended; one that failed takes everything with it.
    void Leave(CURL* exchange, bool completed);

private:
    struct Cleanup {
        void operator()(CURLSH* handle) const { curl_share_cleanup(handle); }
    };

    bool IsStale() const;

    std::unique_ptr<CURLSH, Cleanup> share;  // null while nothing is kept
    Route current;
    std::int64_t made = 0;      // seconds of the clock that goes on while the device sleeps
    std::int64_t lastUsed = 0;  // the same
    std::string localAddress;   // of the latest connection, empty when unknown
    std::string remoteAddress;
    long remotePort = 0;
};

}  // namespace Na
