// SPDX-License-Identifier: Apache-2.0
// What the layer of connections and its owner tell each other.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "keyserver/http/Tls.h"

namespace KeyServer {

struct HttpRequest {
    std::uint64_t connection = 0;  // its number, counted from 1
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> fields;  // of the head, as they came
    std::string body;
    unsigned version = 11;   // 10 for HTTP/1.0
    bool keepAlive = false;  // the client means to go on with the connection
};

// The words that go with a status.
std::string ReasonPhrase(int status);

// Why a request cannot be answered.
enum class Flaw { NoHttp, HeadTooLong, BodyTooLong, Incomplete, TooSlow };

// The bytes that go out for a request, each time in one piece, and what becomes of the connection.
struct Transmission {
    enum class Then {
        Keep,
        Close,
        Reset,
        Ignore  // takes what still comes, and says no more until the client goes
    };

    std::string bytes;
    std::chrono::milliseconds pause{0};  // before the bytes; cut short when the host stops
    bool inHalves = false;               // the second half after another pause
    std::function<void()> begin;         // called between the pause and the first byte; may be empty
    std::function<void()> undelivered;   // called when the bytes could not be sent; may be empty
    Then then = Then::Keep;
    SslHandle secure;  // unless null, TLS begins on the kept connection
};

// What becomes of a connection that has just been accepted.
struct Admission {
    enum class Kind { Serve, Close, Reset };

    Kind kind = Kind::Serve;
    SslHandle ssl;  // null for plain HTTP
};

// Called by several threads at once, for one connection by one after the other.
class ConnectionOwner {
public:
    virtual ~ConnectionOwner() = default;

    virtual Admission Admit(std::uint64_t connection) = 0;

    virtual void Greeted(std::uint64_t connection) = 0;  // the TLS handshake is completed
    virtual void NotGreeted(std::uint64_t connection, const std::string& problem) = 0;

    // Once the head is complete and before anything is read of the body. What it returns is sent instead.
    virtual std::optional<Transmission> Judge(const HttpRequest& head) = 0;

    virtual Transmission Answer(const HttpRequest& request) = 0;

    // The connection is kept no longer than for the answer.
    virtual Transmission Refuse(const HttpRequest& asFarAsRead, Flaw flaw) = 0;
};

}  // namespace KeyServer
