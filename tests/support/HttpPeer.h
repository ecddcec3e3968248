// SPDX-License-Identifier: Apache-2.0
// The other end of an HTTP exchange, down to its single bytes and connections.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "keyserver/http/HttpHost.h"

// What a peer does with one request: sends the bytes as they are, then keeps or closes the connection.
struct HttpReaction {
    std::string bytes;
    bool close = false;
    bool reset = false;                 // closes so that the other end gets an error in place of an end
    std::chrono::milliseconds pause{};  // before each of the two halves of the bytes

    HttpReaction ThenClose() const { return {bytes, true, false, pause}; }
    HttpReaction ThenReset() const { return {bytes, true, true, pause}; }
    HttpReaction Slowly(std::chrono::milliseconds halfTime) const { return {bytes, close, reset, halfTime}; }
};

// A whole answer. `headers` are lines, each with its line end.
HttpReaction Answer(const std::string& body, int status = 200, const std::string& headers = "");

// The connection closes without a byte.
HttpReaction CloseAtOnce();

// The answer breaks off within its body.
HttpReaction BreakOff(const std::string& promisedBody);

// Listens on a port of the loopback interface that the system picks, and reacts to each request with the next
// reaction that was scripted; when none is left, with "{}". Serves as a proxy as well: a request for another
// host is answered all the same, and CONNECT leads into TLS. Thread-safe.
class HttpPeer : private KeyServer::ConnectionOwner {
public:
    struct Request {
        int connection;  // counts from 1
        std::string method;
        std::string target;
        std::map<std::string, std::string> headers;  // names in lower case
        std::string body;
    };

    // With a TLS context the peer speaks HTTPS.
    explicit HttpPeer(std::shared_ptr<SSL_CTX> tls = nullptr);
    ~HttpPeer() override;
    HttpPeer(const HttpPeer&) = delete;
    HttpPeer& operator=(const HttpPeer&) = delete;

    int Port() const { return port; }
    std::string Address() const;  // 127.0.0.1:port
    std::string Url() const;      // without a path

    void Script(std::deque<HttpReaction> next);

    // Lets CONNECT lead into TLS with this context although the peer itself speaks plain HTTP.
    void TunnelInto(std::shared_ptr<SSL_CTX> tls);

    std::vector<Request> Requests() const;
    std::vector<Request> TakeRequests();  // and forgets them
    int Connections() const;              // accepted
    int Handshakes() const;               // completed by TLS

    // Closes every connection that is open; when it returns, they are closed.
    void CloseConnections();

    // Closes every connection and its listening socket, then listens on the same port again.
    void Restart();

    // Closes the connections that come next at once, without a handshake or an answer.
    void RefuseConnections(int count);

private:
    KeyServer::Admission Admit(std::uint64_t connection) override;
    void Greeted(std::uint64_t connection) override;
    void NotGreeted(std::uint64_t connection, const std::string& problem) override;
    std::optional<KeyServer::Transmission> Judge(const KeyServer::HttpRequest& head) override;
    KeyServer::Transmission Answer(const KeyServer::HttpRequest& request) override;
    KeyServer::Transmission Refuse(const KeyServer::HttpRequest& asFarAsRead, KeyServer::Flaw flaw) override;

    HttpReaction NextReaction();

    std::shared_ptr<SSL_CTX> tlsContext;

    mutable std::mutex mutex;  // guards what follows, up to the host
    std::shared_ptr<SSL_CTX> tunnelContext;
    std::deque<HttpReaction> script;
    std::vector<Request> requests;
    int handshakes = 0;
    int refusals = 0;

    KeyServer::HttpHost host;
    int port;
};

// A port that nobody listens on, reserved for as long as it lives.
class ClosedPort {
public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    std::string Address() const;  // 127.0.0.1:port

private:
    int port;
    int socket;
};
