// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/HttpServer.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "keyserver/http/HttpHost.h"

namespace KeyServer {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char Endpoint[] = "/IssueCard.do";

bool NamesField(const Reply& reply, const char* name) {
    return std::any_of(reply.headers.begin(), reply.headers.end(), [name](const auto& header) {
        return strcasecmp(header.first.c_str(), name) == 0;
    });
}

// Of the answer to a HEAD, and of two statuses, the body is only described.
bool CarriesBody(const Reply& reply, const HttpRequest& request) {
    return request.method != "HEAD" && reply.status != 204 && reply.status != 304;
}

// The answer as it goes over the wire. The length of the body comes first: so a head that is cut promises a
// body all the same, and is no answer to a client that takes the end of the connection for the end of the
// head.
std::string TextOf(const Reply& reply, const HttpRequest& request, std::chrono::milliseconds keepAlive) {
    std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " " + ReasonPhrase(reply.status) + "\r\n";
    const auto add = [&text](const std::string& name, const std::string& value) {
        text += name + ": " + value + "\r\n";
    };
    add("Content-Length", std::to_string(reply.body.size()));
    add("Content-Type", reply.contentType);
    for (const auto& [name, value] : reply.headers) {
        add(name, value);
    }
    if (!NamesField(reply, "Connection")) {
        if (!request.keepAlive || request.version < 11) {
            add("Connection", request.keepAlive ? "keep-alive" : "close");
        }
        if (request.keepAlive) {
            add("Keep-Alive",
                "timeout=" +
                    std::to_string(std::chrono::duration_cast<std::chrono::seconds>(keepAlive).count()));
        }
    }
    return text + "\r\n" + (CarriesBody(reply, request) ? reply.body : "");
}

// An answer without a body is always cut in its head.
std::size_t PlaceToCut(const std::string& answer, Delivery::Part part) {
    constexpr char EndOfHead[] = "\r\n\r\n";
    const std::size_t end = answer.find(EndOfHead);
    const std::size_t head = end == std::string::npos ? answer.size() : end + sizeof(EndOfHead) - 1;
    const bool inBody = part == Delivery::Part::HalfBody && head < answer.size();
    return inBody ? head + (answer.size() - head) / 2 : head / 2;
}

std::string Spoiled(const std::string& answer, const Delivery& delivery) {
    std::string bytes = delivery.rawBytes.value_or(answer);
    if (delivery.part == Delivery::Part::Nothing) {
        bytes.clear();
    } else if (delivery.part != Delivery::Part::Whole) {
        bytes.resize(PlaceToCut(bytes, delivery.part));
    }
    return bytes;
}

}  // namespace

class HttpServer::Implementation final : private ConnectionOwner {
public:
    Implementation(HttpOptions settings, SslContext tls, Handler answer, Log log)
        : options(std::move(settings)),
          handler(std::move(answer)),
          say(std::move(log)),
          context(std::move(tls)),
          host(options, *this) {}

    void Start() { port = host.Listen(options.port); }
    void Stop() { host.Stop(); }
    std::uint64_t Connections() const { return host.Accepted(); }

    std::atomic<int> port{0};
    std::atomic<std::uint64_t> handshakes{0};
    std::atomic<std::uint64_t> requests{0};

private:
    Admission Admit(std::uint64_t connection) override;
    void Greeted(std::uint64_t connection) override;
    void NotGreeted(std::uint64_t connection, const std::string& problem) override;
    std::optional<Transmission> Judge(const HttpRequest& head) override;
    Transmission Answer(const HttpRequest& request) override;
    Transmission Refuse(const HttpRequest& asFarAsRead, Flaw flaw) override;

    Transmission Refusal(const HttpRequest& request, Reply reply);
    void Restart(milliseconds pause);

    const HttpOptions options;
    const Handler handler;
    const Log say;
    std::mutex mutex;
    steady_clock::time_point backInService;  // guarded by the mutex, like the context
    SslContext context;
    HttpHost host;  // ends before what its calls use
};

Admission HttpServer::Implementation::Admit(std::uint64_t) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (steady_clock::now() < backInService) {
        return {Admission::Kind::Reset, nullptr};
    }
    SslHandle ssl(context ? SSL_new(context.get()) : nullptr);
    const bool usable = !context || ssl;
    return {usable ? Admission::Kind::Serve : Admission::Kind::Close, std::move(ssl)};
}

void HttpServer::Implementation::Greeted(std::uint64_t) {
    ++handshakes;
}

void HttpServer::Implementation::NotGreeted(std::uint64_t connection, const std::string& problem) {
    say("connection " + std::to_string(connection) + ": no TLS handshake: " + problem);
}

// Before anything is read of a body, so that no other request can make the server keep one.
std::optional<Transmission> HttpServer::Implementation::Judge(const HttpRequest& head) {
    if (head.target.substr(0, head.target.find('?')) != Endpoint) {
        return Refusal(
            head, {404, "text/plain", {}, std::string("there is nothing here but ") + Endpoint, {}, nullptr});
    }
    if (head.method != "POST") {
        return Refusal(
            head, {405, "text/plain", {{"Allow", "POST"}}, "messages are sent by POST", {}, nullptr});
    }
    return std::nullopt;
}

Transmission HttpServer::Implementation::Refuse(const HttpRequest& request, Flaw flaw) {
    const auto refusal = [&](int status, const std::string& reason) {
        return Refusal(request, {status, "text/plain", {}, reason, {}, nullptr});
    };
    switch (flaw) {
        case Flaw::HeadTooLong:
            return refusal(431, "the head of the request is too long");
        case Flaw::BodyTooLong:
            return refusal(
                413, "the body is longer than " + std::to_string(options.mostBytes) + " characters");
        case Flaw::Incomplete:
            return refusal(400, "the body is not complete");
        case Flaw::TooSlow:
            return refusal(
                408, "the request was not complete within " + std::to_string(options.requestTime.count()) +
                         " milliseconds");
        default:
            return refusal(400, "the request is no HTTP that this server understands");
    }
}

Transmission HttpServer::Implementation::Refusal(const HttpRequest& request, Reply reply) {
    ++requests;
    say("connection " + std::to_string(request.connection) + ": " + request.method.substr(0, 16) +
        " refused with " + std::to_string(reply.status) + ": " + reply.body);
    reply.body += "\n";
    reply.headers.emplace_back("Connection", "close");
    Transmission transmission;
    transmission.bytes = TextOf(reply, request, options.keepAlive);
    transmission.then = Transmission::Then::Close;
    return transmission;
}

Transmission HttpServer::Implementation::Answer(const HttpRequest& request) {
    Reply reply;
    try {
        reply = handler(request.body, request.connection);
    } catch (const std::exception& error) {
        return Refusal(
            request,
            {500, "text/plain", {}, std::string("the server cannot answer: ") + error.what(), {}, nullptr});
    }
    ++requests;
    Delivery& delivery = reply.delivery;
    Transmission transmission;
    transmission.bytes = Spoiled(TextOf(reply, request, options.keepAlive), delivery);
    transmission.pause = delivery.delay;
    const bool whole = delivery.part == Delivery::Part::Whole;
    // Before the answer, so that no connection is ended that a client opens after it.
    transmission.begin = [this, whole, restart = delivery.restart, undelivered = reply.undelivered] {
        if (restart) {
            Restart(*restart);
        }
        if (!whole && undelivered) {
            undelivered();
        }
    };
    transmission.undelivered = std::move(reply.undelivered);
    if (delivery.reset) {
        transmission.then = Transmission::Then::Reset;
    } else if (!whole || delivery.closeAfterwards || !request.keepAlive) {
        transmission.then = Transmission::Then::Close;
    }
    return transmission;
}

// Goes without closing the port, which somebody else could take: a client finds it open at any moment.
void HttpServer::Implementation::Restart(milliseconds pause) {
    say("restarting, out of service for " + std::to_string(pause.count()) + " ms");
    {
        const std::lock_guard<std::mutex> lock(mutex);
        backInService = steady_clock::now() + pause;
        if (context) {
            context = FreshContext(context.get());
        }
    }
    host.DismissConnections();
}

HttpServer::HttpServer(HttpOptions options, SslContext context, Handler handler, Log log)
    : implementation(std::make_unique<Implementation>(
          std::move(options), std::move(context), std::move(handler), std::move(log))) {}

HttpServer::~HttpServer() {
    Stop();
}

void HttpServer::Start() {
    implementation->Start();
}

void HttpServer::Stop() {
    implementation->Stop();
}

int HttpServer::Port() const {
    return implementation->port;
}

std::uint64_t HttpServer::Connections() const {
    return implementation->Connections();
}

std::uint64_t HttpServer::Handshakes() const {
    return implementation->handshakes;
}

std::uint64_t HttpServer::Requests() const {
    return implementation->requests;
}

}  // namespace KeyServer
