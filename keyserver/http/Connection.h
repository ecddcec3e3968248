// SPDX-License-Identifier: Apache-2.0
// The course of one connection: greeting, then request and answer in turn, each within its time, then leave.
#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "keyserver/http/ConnectionTable.h"
#include "keyserver/http/HttpExchange.h"
#include "keyserver/http/HttpOptions.h"
#include "keyserver/http/RequestReader.h"
#include "keyserver/http/Transport.h"

namespace KeyServer {

// Whatever happens to it happens on the executor of its socket; the two public calls of others are handed
// over to that. Kept by what it waits for and by the table, which it leaves in the end.
class Connection final : public ConnectionTable::Member, public std::enable_shared_from_this<Connection> {
public:
    // What is given by reference must outlive the connection.
    Connection(
        std::uint64_t number, boost::asio::ip::tcp::socket socket, const HttpOptions& options,
        ConnectionOwner& owner, ConnectionTable& table);

    // Once it is in the table, under its number.
    void Begin();

    void Dismiss(ConnectionTable::Dismissal reason) override;
    void Abort() override;

private:
    using Phase = ConnectionTable::Phase;

    void Open();
    void Secure(SslHandle ssl);
    void GiveUpGreeting();
    void AwaitRequest();
    void BeginRequest();
    void ReadRequest();
    void TakeHead();
    void ReceiveMore();
    void Refuse(Flaw flaw);
    void Transmit(Transmission next);
    void SendBytes();
    void Send(const std::string& bytes, std::function<void()> next);
    void FinishTransmission(bool sent);
    void Take(ConnectionTable::Dismissal reason);
    void TakeLeave();
    void Discard(std::chrono::milliseconds time);
    void End();

    void Enter(Phase next);
    void Pause(std::chrono::milliseconds time, std::function<void()> next);
    void Limit(std::chrono::milliseconds time);
    void SetTimer(std::chrono::milliseconds time, std::function<void(bool expired)> action);
    bool MustEnd() const { return overdue || dismissed; }

    // A function that keeps the connection, and does nothing once it has ended.
    template <typename Function>
    auto Kept(Function function);

    const std::uint64_t number;
    Transport transport;
    boost::asio::steady_timer timer;
    const HttpOptions& options;
    ConnectionOwner& owner;
    ConnectionTable& table;
    std::unique_ptr<RequestReader> reader;
    Transmission transmission;
    Phase phase = Phase::Opening;
    std::uint64_t timers = 0;  // that were set; only the last one counts
    bool pausing = false;
    bool overdue = false;  // what is awaited did not come in time
    bool dismissed = false;
    bool hurried = false;  // no time for pauses and farewells
    bool proven = false;   // has sent a complete request
    bool ended = false;
};

}  // namespace KeyServer
