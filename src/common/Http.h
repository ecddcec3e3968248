// SPDX-License-Identifier: Apache-2.0
// One HTTP exchange at a time with libcurl, and libcurl's own start and stop.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "common/ConnectionShare.h"
#include "common/HttpExchange.h"

namespace Na {

// libcurl's state for the whole process. A failed start is logged; exchanges fail later.
class _CURL_LIFECYCLE {
public:
    _CURL_LIFECYCLE();
    ~_CURL_LIFECYCLE();
    _CURL_LIFECYCLE(const _CURL_LIFECYCLE&) = delete;
    _CURL_LIFECYCLE& operator=(const _CURL_LIFECYCLE&) = delete;
};

// How an exchange ended.
enum class HttpOutcome : unsigned {
    Completed = 0,  // whatever the HTTP status
    MalformedUrl = 1,
    BadContentEncoding = 2,
    UnsupportedRequest = 3,
    TemporarilyUnavailable = 4,
    NoResponse = 5,
    TimedOut = 6,
    NoConnection = 7,  // name, host, proxy or TLS handshake
    AccessDenied = 8,
    OtherFailure = 9,
};

enum class HttpRequest : unsigned { Post = 0, Get = 1 };

// Made for one exchange, used once. A moved-from object refuses every exchange.
class Http {
public:
    // `context` names the file of cookies. `connections` may be null; else it outlives this object.
    explicit Http(const std::string& context, ConnectionShare* connections = nullptr);
    virtual ~Http();
    Http(Http&&) noexcept;

    // Blocks until the exchange ended: no limit but 20 s for each connection attempt, of which there are at
    // most 4. All blanks of a POST's body are left out, and nothing is escaped. A proxy without "http" in
    // it is one that is spoken to in HTTP; an empty one leaves the choice to libcurl.
    HttpOutcome SendRequest(
        const std::string& url, HttpRequest type, const std::string& body, const std::string& proxy);

    // Body of the last completed exchange, URL-unescaped; at most LongestBody before that.
    std::string GetResponse() const;

    // The same, which the object then no longer has: a body can be large.
    std::string TakeResponse();

    // HTTP status of the last exchange, 0 until an answer arrived.
    int GetResponseCode() const;

    // Fetches a well-known public page. Nobody here asks: the platform says whether there is a connection.
    bool IsInternetConnection();

private:
    struct Record;
    std::unique_ptr<Record> record;  // null only in a moved-from object
};

}  // namespace Na
