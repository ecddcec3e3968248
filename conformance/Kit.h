// SPDX-License-Identifier: Apache-2.0
// What rows look with: callers, other clients and key servers.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "conformance/Caller.h"
#include "conformance/OtherClient.h"
#include "keyserver/Server.h"
#include "navo/Client.h"

namespace Conformance {

struct Options {
    std::string busAddress;  // empty: the system bus
    std::chrono::seconds patience{60};
    std::string listen = "127.0.0.1";
    std::string host;  // in the address that the service is given; empty: as listen
    int port = 0;
    std::string certificate;  // that the service trusts, and its key
    std::string key;
    bool isDirected = false;  // the service has the address already
    std::string restored;     // address that the service gets at the end
    std::string stranger = "nobody";
};

// The kit's services.
namespace ServiceId {
constexpr char Card[] = "conformance.card";            // two sets, which any card answers with 9000
constexpr char Refused[] = "conformance.refused";      // selects what no card has
constexpr char Malformed[] = "conformance.malformed";  // sends a command that is none
constexpr char Unknown[] = "conformance.unknown";      // served by nobody
}  // namespace ServiceId

class Kit {
public:
    explicit Kit(Options kitOptions);
    ~Kit();
    Kit(const Kit&) = delete;
    Kit& operator=(const Kit&) = delete;

    const Options& Given() const { return options; }

    // A connection without a session.
    [[nodiscard]] std::unique_ptr<Caller> NewCaller() const;
    [[nodiscard]] std::unique_ptr<OtherClient> NewClient(std::optional<unsigned> user = {}) const;
    [[nodiscard]] Navo::SessionOptions SessionOptions() const;

    // One request in a session of its own.
    Navo::Map Ask(const Navo::Map& request) const;
    // Its "ReturnCode" up to the "_".
    std::string CodeOf(const Navo::Map& request) const;

    // Whether this program's package is a privileged one to the service.
    bool IsPrivileged();

    // The key server that the service trusts, with the service directed to it and without faults. Throws
    // CannotBeTried when that takes what is not here.
    KeyServer::Server& Trusted();
    // Directs the service to another address. Throws CannotBeTried.
    void Direct(const std::string& address);
    // A key server on this machine whose certificate nobody knows.
    std::unique_ptr<KeyServer::Server> NewUntrusted() const;

    [[nodiscard]] std::string AddressOf(const KeyServer::Server& server, const std::string& scheme) const;

    // When the trusted server was done with its last message.
    [[nodiscard]] Moment LastMessage();

    // Gives the service the address that it is to have.
    void Restore();

private:
    void StartTrusted();

    const Options options;
    std::unique_ptr<KeyServer::Server> trusted;
    std::string directedTo;
    int privileged = -1;  // not known yet
    std::mutex mutex;
    Moment lastMessage = 0;
};

}  // namespace Conformance
