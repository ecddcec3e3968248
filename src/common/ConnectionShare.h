// Connections that outlive one HTTP exchange.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace Na {

// What the exchanges of one job share: their open connections and nothing else, so that only the first one
// pays for a TLS handshake. Belongs to one thread, and outlives every exchange that joined it.
class ConnectionShare {
public:
    ConnectionShare();
    ConnectionShare(const ConnectionShare&) = delete;
    ConnectionShare& operator=(const ConnectionShare&) = delete;

    // Lets an exchange take an open connection from here and leave its own. Without effect when libcurl is
    // older than 7.57 and cannot share connections.
    void Join(CURL* exchange) const;

private:
    struct Cleanup {
        void operator()(CURLSH* handle) const { curl_share_cleanup(handle); }
    };
    std::unique_ptr<CURLSH, Cleanup> share;  // null when nothing is shared
};

}  // namespace Na
