// SPDX-License-Identifier: Apache-2.0
// The whole key-management server, for the program and for tests in one process with it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "keyserver/http/HttpServer.h"
#include "keyserver/service/Dialogue.h"
#include "keyserver/service/Journal.h"
#include "keyserver/service/KeyService.h"
#include "keyserver/service/SessionTable.h"

namespace KeyServer {

struct ServerOptions {
    HttpOptions http;
    SessionLimits sessions;
    std::string certificateFile;  // both empty: plain HTTP
    std::string keyFile;
    std::string recordFile;  // none when empty
    Journal::Sink log;       // none when empty
    Secrets secrets = Secrets::Masked;
    std::vector<Misbehaviour> misbehaviours;
};

struct Counters {
    std::uint64_t connections = 0;
    std::uint64_t handshakes = 0;
    std::uint64_t requests = 0;  // HTTP requests, also those that are no message
    std::uint64_t messages = 0;
    std::uint64_t sessions = 0;
};

class Server {
public:
    // Throws std::runtime_error when a certificate, key or record file cannot be used.
    Server(ServerOptions options, Catalogue catalogue);
    ~Server();

    // Throws std::system_error when the address cannot be listened on.
    void Start();
    void Stop();

    int Port() const;
    std::string Url() const;  // without a path, for example https://127.0.0.1:4433
    Counters Count() const;

    // Serves this from the next opening on.
    void Serve(Catalogue catalogue);

    // A line in the log.
    void Say(const std::string& line) { journal.Say(line); }

    // Replaces the faults; their messages are counted from now on.
    void Misbehave(std::vector<Misbehaviour> misbehaviours);

private:
    const std::string scheme;
    const std::string address;
    Journal journal;
    KeyService service;
    HttpServer http;
};

}  // namespace KeyServer
