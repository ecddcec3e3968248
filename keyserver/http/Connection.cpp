#include "keyserver/http/Connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

namespace KeyServer {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds HandshakeTime{10};
constexpr std::chrono::seconds RequestTime{30};
constexpr std::chrono::seconds SendTime{30};
constexpr std::chrono::milliseconds LingerTime{500};
constexpr std::size_t ReceiveSize = 16384;

void SetTimeLimit(int socket, int option, std::chrono::seconds limit) {
    timeval value{};
    value.tv_sec = limit.count();
    setsockopt(socket, SOL_SOCKET, option, &value, sizeof(value));
}

// An answer without a body is always cut in its head.
std::size_t PlaceToCut(const std::string& answer, Delivery::Part part) {
    constexpr char EndOfHead[] = "\r\n\r\n";
    const std::size_t end = answer.find(EndOfHead);
    const std::size_t head = end == std::string::npos ? answer.size() : end + sizeof(EndOfHead) - 1;
    const bool inBody = part == Delivery::Part::HalfBody && head < answer.size();
    return inBody ? head + (answer.size() - head) / 2 : head / 2;
}

std::string SystemMessage() {
    return std::generic_category().message(errno);
}

}  // namespace

Connection::Connection(int accepted, SSL_CTX* context) : socket(accepted) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    SetTimeLimit(socket, SO_RCVTIMEO, HandshakeTime);
    SetTimeLimit(socket, SO_SNDTIMEO, SendTime);
    if (context != nullptr) {
        ssl.reset(SSL_new(context));
    }
}

Connection::~Connection() {
    ssl.reset();
    close(socket);
}

bool Connection::Greet() {
    requestDeadline = steady_clock::now() + HandshakeTime;
    if (!ssl) {
        return true;
    }
    if (SSL_set_fd(ssl.get(), socket) != 1 || SSL_accept(ssl.get()) != 1) {
        const int reason = errno;
        problem = LastSslError();
        if (reason != 0 && problem.find("error:") == std::string::npos) {
            problem = std::generic_category().message(reason);
        }
        broken = true;
        return false;
    }
    return true;
}

bool Connection::WaitFor(short events, steady_clock::time_point deadline) const {
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
        pollfd entry{socket, events, 0};
        const int limit = static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
        const int ready = poll(&entry, 1, limit);
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

bool Connection::AwaitRequest(std::chrono::milliseconds longest) {
    requestDeadline = steady_clock::now() + longest;
    const bool begun = taken < received.size() || Refill() > 0;
    requestDeadline = steady_clock::now() + RequestTime;
    return begun;
}

// Puts bytes from the socket into the empty buffer. Returns their number, 0 at the end, negative on failure.
long Connection::Refill() {
    std::array<char, ReceiveSize> bytes{};
    for (;;) {
        const bool pending = ssl && SSL_pending(ssl.get()) > 0;
        if (broken || (!pending && !WaitFor(POLLIN, requestDeadline))) {
            return -1;
        }
        ERR_clear_error();
        const long count = ssl ? SSL_read(ssl.get(), bytes.data(), static_cast<int>(bytes.size()))
                               : recv(socket, bytes.data(), bytes.size(), 0);
        if (count > 0) {
            received.assign(bytes.data(), static_cast<std::size_t>(count));
            taken = 0;
            return count;
        }
        const int error = ssl ? SSL_get_error(ssl.get(), static_cast<int>(count)) : SSL_ERROR_NONE;
        if (error != SSL_ERROR_WANT_READ) {  // else a record came that holds nothing for us
            const bool ended = ssl ? error == SSL_ERROR_ZERO_RETURN : count == 0;
            broken = !ended;
            return ended ? 0 : -1;
        }
    }
}

long Connection::Receive(char* buffer, std::size_t size) {
    if (taken >= received.size()) {
        const long count = Refill();
        if (count <= 0) {
            return count;
        }
    }
    const std::size_t count = std::min(size, received.size() - taken);
    std::copy_n(received.data() + taken, count, buffer);
    taken += count;
    return static_cast<long>(count);
}

long Connection::Read(char* buffer, std::size_t size) {
    if (!collected.empty() && !HandOver({})) {
        return -1;
    }
    return size == 0 ? 0 : Receive(buffer, size);
}

long Connection::SendSome(const char* data, std::size_t size) {
    if (ssl) {
        ERR_clear_error();
        return broken ? -1
                      : SSL_write(ssl.get(), data, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
    }
    return send(socket, data, size, MSG_NOSIGNAL);
}

bool Connection::Send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const long count = SendSome(bytes.data() + sent, bytes.size() - sent);
        if (count <= 0) {
            problem = ssl ? LastSslError() : SystemMessage();
            broken = true;
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool Connection::HandOver(const Delivery& delivery) {
    std::string bytes = delivery.rawBytes.value_or(collected);
    collected.clear();
    if (delivery.part == Delivery::Part::Nothing) {
        return false;
    }
    if (delivery.part != Delivery::Part::Whole) {
        bytes.resize(PlaceToCut(bytes, delivery.part));
    }
    return Send(bytes) && delivery.part == Delivery::Part::Whole;
}

void Connection::CloseGently() {
    if (broken) {
        return;
    }
    if (ssl) {
        SSL_shutdown(ssl.get());
    }
    shutdown(socket, SHUT_WR);
    const auto deadline = steady_clock::now() + LingerTime;
    std::array<char, ReceiveSize> bytes{};
    while (WaitFor(POLLIN, deadline) && recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
}

void Connection::CloseWithReset() {
    const linger reset{1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
    broken = true;
}

}  // namespace KeyServer
