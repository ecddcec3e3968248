// SPDX-License-Identifier: Apache-2.0
#include "bench/DelayRelay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <optional>
#include <system_error>

namespace Bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t LargestPiece = 65536;
constexpr int LongestSilence = 120;  // seconds

sockaddr_in Loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int NewSocket() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    return descriptor;
}

void SendAtOnce(int descriptor) {
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// What is under way in one direction.
class Road {
public:
    Road(int fromSocket, int toSocket) : from(fromSocket), to(toSocket) {}

    int From() const { return from; }
    bool Accepts() const { return !ended; }

    // Whether there were bytes; without any, the sender may have come to its end.
    bool Read(std::chrono::microseconds delay) {
        std::vector<char> bytes(LargestPiece);
        const ssize_t count = recv(from, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return false;
        }
        ended = count <= 0;
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        pieces.push_back({Clock::now() + delay, std::move(bytes)});
        return !ended;
    }

    // Passes on what is due; an empty piece is the end.
    void Deliver() {
        while (!pieces.empty() && pieces.front().due <= Clock::now()) {
            const std::vector<char>& bytes = pieces.front().bytes;
            if (bytes.empty()) {
                shutdown(to, SHUT_WR);
                closed = true;
            } else {
                send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            }
            pieces.pop_front();
        }
    }

    bool Closed() const { return closed; }
    std::optional<Clock::time_point> NextDue() const {
        return pieces.empty() ? std::nullopt : std::make_optional(pieces.front().due);
    }

private:
    struct Piece {
        Clock::time_point due;
        std::vector<char> bytes;
    };

    int from;
    int to;
    bool ended = false;
    bool closed = false;
    std::deque<Piece> pieces;
};

}  // namespace

struct DelayRelay::Connection {
    Connection(int clientSocket, int serverSocket)
        : client(clientSocket), server(serverSocket), roads{{{client, server}, {server, client}}} {}
    ~Connection() {
        close(client);
        close(server);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool Over() const { return roads[0].Closed() && roads[1].Closed(); }

    int client;
    int server;
    std::array<Road, 2> roads;  // the client's words, the server's
    bool asked = false;         // the client spoke last
};

DelayRelay::DelayRelay(int serverPort)
    : server(serverPort), listener(NewSocket()), stop(eventfd(0, EFD_CLOEXEC)) {
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    auto* const raw = reinterpret_cast<sockaddr*>(&address);
    setsockopt(listener, IPPROTO_TCP, TCP_DEFER_ACCEPT, &LongestSilence, sizeof LongestSilence);
    if (bind(listener, raw, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, raw, &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "listening");
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this] { Run(); });
}

DelayRelay::~DelayRelay() {
    eventfd_write(stop, 1);
    thread.join();
    close(listener);
    close(stop);
}

void DelayRelay::Accept() {
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int upstream = NewSocket();
    const sockaddr_in address = Loopback(server);
    const bool isThere = connect(upstream, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (client < 0 || !isThere) {
        close(client);
        close(upstream);
        return;
    }
    SendAtOnce(client);
    SendAtOnce(upstream);
    connections.push_back(std::make_unique<Connection>(client, upstream));
}

namespace {

timespec UntilThen(Clock::time_point due) {
    const auto left = std::max(
        std::chrono::duration_cast<std::chrono::nanoseconds>(due - Clock::now()),
        std::chrono::nanoseconds(0));
    constexpr long Billion = 1000000000;
    return {left.count() / Billion, left.count() % Billion};
}

}  // namespace

// The stop and the listener, then what the connections listen to.
struct DelayRelay::Watch {
    struct Source {
        Connection* connection;
        bool isClient;
    };

    std::vector<pollfd> sockets;
    std::vector<Source> sources;            // of the sockets from the third on
    std::optional<Clock::time_point> next;  // when something is due

    void Wait() {
        const timespec patience = UntilThen(next.value_or(Clock::now()));
        ppoll(sockets.data(), sockets.size(), next ? &patience : nullptr, nullptr);
    }
};

DelayRelay::Watch DelayRelay::Watched() const {
    Watch watch = {{{stop, POLLIN, 0}, {listener, POLLIN, 0}}, {}, {}};
    for (const auto& connection : connections) {
        for (const bool isClient : {true, false}) {
            const Road& road = connection->roads[isClient ? 0 : 1];
            if (road.Accepts()) {
                watch.sockets.push_back({road.From(), POLLIN, 0});
                watch.sources.push_back({connection.get(), isClient});
            }
            const std::optional<Clock::time_point> due = road.NextDue();
            if (due && (!watch.next || *due < *watch.next)) {
                watch.next = due;
            }
        }
    }
    return watch;
}

void DelayRelay::Read(Connection& connection, bool fromClient) {
    if (!connection.roads[fromClient ? 0 : 1].Read(oneWay.load())) {
        return;
    }
    if (!fromClient && connection.asked && connection.roads[0].Accepts()) {
        ++roundTrips;
    }
    connection.asked = fromClient;
}

void DelayRelay::Deliver() {
    for (const auto& connection : connections) {
        connection->roads[0].Deliver();
        connection->roads[1].Deliver();
    }
    const auto isOver = [](const auto& connection) { return connection->Over(); };
    connections.erase(std::remove_if(connections.begin(), connections.end(), isOver), connections.end());
}

void DelayRelay::Run() {
    for (;;) {
        Watch watch = Watched();
        watch.Wait();
        if (watch.sockets[0].revents != 0) {
            connections.clear();
            return;
        }
        for (std::size_t at = 0; at < watch.sources.size(); ++at) {
            if (watch.sockets[at + 2].revents != 0) {
                Read(*watch.sources[at].connection, watch.sources[at].isClient);
            }
        }
        Deliver();
        if (watch.sockets[1].revents != 0) {
            Accept();
        }
    }
}

}  // namespace Bench
