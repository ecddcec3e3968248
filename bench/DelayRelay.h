// SPDX-License-Identifier: Apache-2.0
// A longer way to a server on this machine: everything that goes through arrives later, in both directions.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Bench {

// Listens on a free port of the loopback interface. A connection itself is made at once: only bytes are late.
// The server hears of it with the first byte, so that a client may take its time before.
class DelayRelay {
public:
    explicit DelayRelay(int serverPort);
    ~DelayRelay();
    DelayRelay(const DelayRelay&) = delete;
    DelayRelay& operator=(const DelayRelay&) = delete;

    int Port() const { return port; }

    // Of the bytes that arrive from now on, half of it in each direction.
    void SetRoundTrip(std::chrono::microseconds time) { oneWay = time / 2; }

    // How often a server has answered a client that was still there.
    unsigned RoundTrips() const { return roundTrips; }

private:
    struct Connection;
    struct Watch;

    void Run();
    Watch Watched() const;
    void Accept();
    void Read(Connection& connection, bool fromClient);
    void Deliver();

    int server;
    int listener = -1;
    int port = 0;
    int stop;
    std::atomic<std::chrono::microseconds> oneWay{std::chrono::microseconds{0}};
    std::atomic<unsigned> roundTrips{0};
    std::vector<std::unique_ptr<Connection>> connections;  // of the thread
    std::thread thread;
};

}  // namespace Bench
