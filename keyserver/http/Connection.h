// One accepted connection, plain or TLS, as a stream of bytes. Its answers are collected and handed over in
// one piece, so that each leaves in one packet and can be spoiled on its way.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "keyserver/http/Reply.h"
#include "keyserver/http/Tls.h"

namespace KeyServer {

class Connection {
public:
    // Takes the socket over and closes it in the end. `context` is null for plain HTTP and must outlive the
    // connection.
    Connection(int socket, SSL_CTX* context);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Does the TLS handshake, if any; on failure LastProblem says why.
    bool Greet();

    // Waits for the first byte of a request; false when none came in time or the peer is gone. A request that
    // has begun must be complete within the time for requests.
    bool AwaitRequest(std::chrono::milliseconds longest);

    // Up to `size` bytes; 0 at the end of the stream, negative on failure. Sends what was collected first.
    long Read(char* buffer, std::size_t size);

    void Collect(const char* data, std::size_t size) { collected.append(data, size); }

    // Sends what was collected in the way ordered. False when not all of it was sent, or reached nobody.
    bool HandOver(const Delivery& delivery);

    // Says good-bye to the peer and takes what it still sends for a moment, so that it can read the last
    // answer: closing with bytes unread would reset the connection.
    void CloseGently();

    // The peer gets a reset in place of all that it has not read yet.
    void CloseWithReset();

    int Socket() const { return socket; }
    bool IsEncrypted() const { return ssl != nullptr; }
    const std::string& LastProblem() const { return problem; }

private:
    bool WaitFor(short events, std::chrono::steady_clock::time_point deadline) const;
    bool Send(const std::string& bytes);
    long SendSome(const char* data, std::size_t size);
    long Refill();
    long Receive(char* buffer, std::size_t size);

    int socket;
    SslHandle ssl;
    bool broken = false;   // TLS must not be spoken any more after a failure
    std::string received;  // read from the socket and not yet taken
    std::size_t taken = 0;
    std::string collected;
    std::string problem;
    std::chrono::steady_clock::time_point requestDeadline;
};

}  // namespace KeyServer
