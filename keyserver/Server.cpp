// SPDX-License-Identifier: Apache-2.0
#include "keyserver/Server.h"

namespace KeyServer {

namespace {

SslContext ContextFor(const ServerOptions& options) {
    return options.certificateFile.empty() ? nullptr
                                           : MakeSslContext(options.certificateFile, options.keyFile);
}

}  // namespace

Server::Server(ServerOptions options, Catalogue catalogue)
    : scheme(options.certificateFile.empty() ? "http://" : "https://"),
      address(options.http.listen),
      journal(options.log, options.recordFile, options.secrets),
      service(std::move(catalogue), options.sessions, journal),
      http(
          options.http, ContextFor(options),
          [this](const std::string& body, std::uint64_t connection) {
              return service.Answer(body, connection);
          },
          [this](const std::string& line) { journal.Say(line); }) {
    service.Misbehave(std::move(options.misbehaviours));
}

Server::~Server() {
    Stop();
}

void Server::Start() {
    http.Start();
    journal.Say("listening on " + Url());
}

void Server::Stop() {
    http.Stop();
}

int Server::Port() const {
    return http.Port();
}

std::string Server::Url() const {
    const bool sixth = address.find(':') != std::string::npos;
    return scheme + (sixth ? "[" + address + "]" : address) + ":" + std::to_string(Port());
}

Counters Server::Count() const {
    Counters counters;
    counters.connections = http.Connections();
    counters.handshakes = http.Handshakes();
    counters.requests = http.Requests();
    counters.messages = service.Messages();
    counters.sessions = service.Sessions();
    return counters;
}

void Server::Serve(Catalogue catalogue) {
    service.Serve(std::move(catalogue));
}

void Server::Misbehave(std::vector<Misbehaviour> misbehaviours) {
    service.Misbehave(std::move(misbehaviours));
}

}  // namespace KeyServer
