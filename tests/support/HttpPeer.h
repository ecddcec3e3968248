// The other end of an HTTP exchange, down to its single bytes and connections.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

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
class HttpPeer {
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
    ~HttpPeer();
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
    struct Connection;

    void StartListening();
    void StopListening();
    void Accept();
    void Serve(Connection& connection);
    bool ServeNext(Connection& connection);
    bool Secure(Connection& connection, const std::shared_ptr<SSL_CTX>& context);
    bool ReadRequest(Connection& connection, Request* request);
    HttpReaction ReactionTo(const Request& request);

    std::shared_ptr<SSL_CTX> tlsContext;
    std::shared_ptr<SSL_CTX> tunnelContext;
    int listener = -1;
    int port = 0;

    mutable std::mutex mutex;  // guards what follows
    std::condition_variable changed;
    std::deque<HttpReaction> script;
    std::vector<Request> requests;
    int accepted = 0;
    int handshakes = 0;
    int refusals = 0;
    std::list<Connection> connections;

    std::thread acceptor;
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
