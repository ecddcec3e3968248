// SPDX-License-Identifier: Apache-2.0
#include "tests/support/HttpPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>

namespace {

using KeyServer::Admission;
using KeyServer::Transmission;

// The peer has time, and takes what comes: it is the client that is tested.
KeyServer::HttpOptions Unlimited() {
    constexpr std::chrono::hours Long{1};
    KeyServer::HttpOptions options;
    options.mostConnections = std::numeric_limits<std::size_t>::max();
    options.mostBytes = std::numeric_limits<std::size_t>::max();
    options.keepAlive = Long;
    options.requestTime = Long;
    options.threads = 1;
    return options;
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

HttpPeer::Request Recorded(const KeyServer::HttpRequest& request) {
    HttpPeer::Request record{
        static_cast<int>(request.connection), request.method, request.target, {}, request.body};
    for (const auto& [name, value] : request.fields) {
        record.headers[LowerCase(name)] = value;
    }
    return record;
}

Transmission TransmissionOf(const HttpReaction& reaction) {
    Transmission transmission;
    transmission.bytes = reaction.bytes;
    transmission.pause = reaction.pause;
    transmission.inHalves = reaction.pause.count() > 0;
    if (reaction.reset) {
        transmission.then = Transmission::Then::Reset;
    } else if (reaction.close) {
        transmission.then = Transmission::Then::Close;
    }
    return transmission;
}

}  // namespace

HttpReaction Answer(const std::string& body, int status, const std::string& headers) {
    return {
        "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) +
        "\r\n" + headers + "\r\n" + body};
}

HttpReaction CloseAtOnce() {
    return HttpReaction{}.ThenClose();
}

HttpReaction BreakOff(const std::string& promisedBody) {
    HttpReaction whole = Answer(promisedBody);
    whole.bytes.resize(whole.bytes.size() - promisedBody.size() / 2 - 1);
    return whole.ThenClose();
}

HttpPeer::HttpPeer(std::shared_ptr<SSL_CTX> tls)
    : tlsContext(std::move(tls)), host(Unlimited(), *this), port(host.Listen(0)) {}

HttpPeer::~HttpPeer() {
    host.StopListening();
    host.CloseConnections();
    host.Stop();
}

std::string HttpPeer::Address() const {
    return "127.0.0.1:" + std::to_string(port);
}

std::string HttpPeer::Url() const {
    return (tlsContext ? "https://" : "http://") + Address();
}

void HttpPeer::Script(std::deque<HttpReaction> next) {
    const std::lock_guard<std::mutex> lock(mutex);
    script = std::move(next);
}

void HttpPeer::TunnelInto(std::shared_ptr<SSL_CTX> tls) {
    const std::lock_guard<std::mutex> lock(mutex);
    tunnelContext = std::move(tls);
}

std::vector<HttpPeer::Request> HttpPeer::Requests() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return requests;
}

std::vector<HttpPeer::Request> HttpPeer::TakeRequests() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(requests, {});
}

int HttpPeer::Connections() const {
    return static_cast<int>(host.Accepted());
}

int HttpPeer::Handshakes() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return handshakes;
}

void HttpPeer::CloseConnections() {
    host.CloseConnections();
}

void HttpPeer::Restart() {
    host.StopListening();
    host.CloseConnections();
    host.Listen(port);
}

void HttpPeer::RefuseConnections(int count) {
    const std::lock_guard<std::mutex> lock(mutex);
    refusals = count;
}

Admission HttpPeer::Admit(std::uint64_t) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (refusals > 0) {
        --refusals;
        return {Admission::Kind::Close, nullptr};
    }
    return {Admission::Kind::Serve, KeyServer::SslHandle(tlsContext ? SSL_new(tlsContext.get()) : nullptr)};
}

void HttpPeer::Greeted(std::uint64_t) {
    const std::lock_guard<std::mutex> lock(mutex);
    ++handshakes;
}

void HttpPeer::NotGreeted(std::uint64_t, const std::string&) {}

std::optional<Transmission> HttpPeer::Judge(const KeyServer::HttpRequest&) {
    return std::nullopt;
}

Transmission HttpPeer::Answer(const KeyServer::HttpRequest& request) {
    const std::lock_guard<std::mutex> lock(mutex);
    requests.push_back(Recorded(request));
    if (request.method == "CONNECT" && tunnelContext) {
        Transmission transmission;
        transmission.bytes = "HTTP/1.1 200 Connected\r\n\r\n";
        transmission.secure.reset(SSL_new(tunnelContext.get()));
        return transmission;
    }
    return TransmissionOf(NextReaction());
}

// Without a word; what is no HTTP, such as a greeting of TLS to a plain peer, waits in vain.
Transmission HttpPeer::Refuse(const KeyServer::HttpRequest&, KeyServer::Flaw flaw) {
    Transmission silence;
    silence.then = flaw == KeyServer::Flaw::NoHttp ? Transmission::Then::Ignore : Transmission::Then::Close;
    return silence;
}

HttpReaction HttpPeer::NextReaction() {
    if (script.empty()) {
        return ::Answer("{}");
    }
    HttpReaction next = std::move(script.front());
    script.pop_front();
    return next;
}

ClosedPort::ClosedPort() : port(0), socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    if (socket < 0 || bind(socket, generic, sizeof address) != 0 ||
        getsockname(socket, generic, &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind a socket");
    }
    port = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort() {
    close(socket);
}

std::string ClosedPort::Address() const {
    return "127.0.0.1:" + std::to_string(port);
}
