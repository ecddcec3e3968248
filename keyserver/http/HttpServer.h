// SPDX-License-Identifier: Apache-2.0
// Listens, speaks HTTP or HTTPS, and hands the body of each POST to one function.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "keyserver/http/HttpOptions.h"
#include "keyserver/http/Reply.h"
#include "keyserver/http/Tls.h"

namespace KeyServer {

class HttpServer {
public:
    // Called by several threads at once with the body and the connection's number.
    using Handler = std::function<Reply(const std::string& body, std::uint64_t connection)>;

    // Takes one line for people, without line end; called by several threads at once.
    using Log = std::function<void(const std::string& line)>;

    // `context` is null for plain HTTP.
    HttpServer(HttpOptions options, SslContext context, Handler handler, Log log);

    // Like Stop.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Returns once connections are taken. Throws std::system_error when the address cannot be listened on.
    void Start();

    // Answers that are on their way are finished, idle connections are closed. Returns when all threads have
    // ended.
    void Stop();

    int Port() const;
    std::uint64_t Connections() const;
    std::uint64_t Handshakes() const;  // completed ones
    std::uint64_t Requests() const;    // also those that were refused

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace KeyServer
