#include "tests/support/HttpPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace {

constexpr char HeadEnd[] = "\r\n\r\n";

std::system_error LastError(const char* call) {
    return {errno, std::generic_category(), call};
}

// A socket bound to a port of the loopback interface: to `*port`, or to one that the system picks when that
// is 0. A reusable port can be bound again while its old connections fade away.
int BoundSocket(int* port, bool reusable) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int reuse = reusable ? 1 : 0;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(*port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    if (socket < 0 || bind(socket, generic, sizeof address) != 0 ||
        getsockname(socket, generic, &length) != 0) {
        throw LastError("bind a socket");
    }
    *port = ntohs(address.sin_port);
    return socket;
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// First line and headers of a request.
HttpPeer::Request ParseHead(const std::string& head) {
    HttpPeer::Request request = {};
    std::size_t lineStart = 0;
    while (lineStart < head.size()) {
        const std::size_t lineEnd = std::min(head.find("\r\n", lineStart), head.size());
        const std::string line = head.substr(lineStart, lineEnd - lineStart);
        if (lineStart == 0) {
            const std::size_t first = line.find(' ');
            request.method = line.substr(0, first);
            request.target = line.substr(first + 1, line.rfind(' ') - first - 1);
        } else {
            const std::size_t colon = line.find(": ");
            request.headers[LowerCase(line.substr(0, colon))] = line.substr(std::min(colon + 2, line.size()));
        }
        lineStart = lineEnd + 2;
    }
    return request;
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

// One accepted connection and the thread that serves it.
struct HttpPeer::Connection {
    int number = 0;
    int socket = -1;  // closed by the serving thread when it ends, under the peer's lock
    std::unique_ptr<SSL, decltype(&SSL_free)> tls{nullptr, SSL_free};
    bool abrupt = false;  // ends without a word of TLS
    std::string buffer;   // received and not yet used
    std::thread thread;

    bool Receive() {
        char bytes[4096];
        const auto count = tls ? SSL_read(tls.get(), bytes, sizeof bytes)
                               : static_cast<int>(recv(socket, bytes, sizeof bytes, 0));
        if (count <= 0) {
            return false;
        }
        buffer.append(bytes, static_cast<std::size_t>(count));
        return true;
    }

    bool Send(const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const char* const rest = bytes.data() + sent;
            const std::size_t length = bytes.size() - sent;
            const auto count = tls ? SSL_write(tls.get(), rest, static_cast<int>(length))
                                   : static_cast<int>(send(socket, rest, length, MSG_NOSIGNAL));
            if (count <= 0) {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }

    // False when the connection is at its end.
    bool Send(const HttpReaction& reaction) {
        const std::size_t half = reaction.pause.count() > 0 ? reaction.bytes.size() / 2 : 0;
        std::this_thread::sleep_for(reaction.pause);
        bool sent = Send(reaction.bytes.substr(0, half));
        std::this_thread::sleep_for(reaction.pause);
        sent = sent && Send(reaction.bytes.substr(half));
        if (reaction.reset) {
            abrupt = true;
            const linger atOnce = {1, 0};
            setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        }
        return sent && !reaction.close;
    }
};

HttpPeer::HttpPeer(std::shared_ptr<SSL_CTX> tls) : tlsContext(std::move(tls)) {
    std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes without MSG_NOSIGNAL
    StartListening();
}

HttpPeer::~HttpPeer() {
    StopListening();
    CloseConnections();
    for (Connection& connection : connections) {
        connection.thread.join();
    }
}

void HttpPeer::StartListening() {
    listener = BoundSocket(&port, true);
    if (listen(listener, SOMAXCONN) != 0) {
        throw LastError("listen");
    }
    acceptor = std::thread(&HttpPeer::Accept, this);
}

void HttpPeer::StopListening() {
    shutdown(listener, SHUT_RDWR);  // ends accept()
    if (acceptor.joinable()) {
        acceptor.join();
    }
    close(listener);
}

void HttpPeer::Restart() {
    StopListening();
    CloseConnections();
    StartListening();
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
    const std::lock_guard<std::mutex> lock(mutex);
    return accepted;
}

int HttpPeer::Handshakes() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return handshakes;
}

void HttpPeer::CloseConnections() {
    std::unique_lock<std::mutex> lock(mutex);
    for (const Connection& connection : connections) {
        if (connection.socket >= 0) {
            shutdown(connection.socket, SHUT_RDWR);
        }
    }
    changed.wait(lock, [this] {
        return std::all_of(connections.begin(), connections.end(), [](const Connection& connection) {
            return connection.socket < 0;
        });
    });
}

void HttpPeer::RefuseConnections(int count) {
    const std::lock_guard<std::mutex> lock(mutex);
    refusals = count;
}

void HttpPeer::Accept() {
    while (true) {
        const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            return;
        }
        const std::lock_guard<std::mutex> lock(mutex);
        ++accepted;
        if (refusals > 0) {
            --refusals;
            close(socket);
            continue;
        }
        Connection& connection = connections.emplace_back();
        connection.number = accepted;
        connection.socket = socket;
        connection.thread = std::thread(&HttpPeer::Serve, this, std::ref(connection));
    }
}

void HttpPeer::Serve(Connection& connection) {
    if (!tlsContext || Secure(connection, tlsContext)) {
        while (ServeNext(connection)) {
        }
    }
    if (connection.tls && !connection.abrupt) {
        SSL_shutdown(connection.tls.get());
    }
    connection.tls.reset();
    const std::lock_guard<std::mutex> lock(mutex);
    close(connection.socket);
    connection.socket = -1;
    changed.notify_all();
}

bool HttpPeer::ServeNext(Connection& connection) {
    Request request;
    if (!ReadRequest(connection, &request)) {
        return false;
    }
    const HttpReaction reaction = ReactionTo(request);
    if (!connection.Send(reaction)) {
        return false;
    }
    return request.method != "CONNECT" || Secure(connection, tunnelContext);
}

bool HttpPeer::Secure(Connection& connection, const std::shared_ptr<SSL_CTX>& context) {
    connection.tls.reset(SSL_new(context.get()));
    SSL_set_fd(connection.tls.get(), connection.socket);
    if (SSL_accept(connection.tls.get()) != 1) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(mutex);
    ++handshakes;
    return true;
}

bool HttpPeer::ReadRequest(Connection& connection, Request* request) {
    std::size_t headEnd = std::string::npos;
    while ((headEnd = connection.buffer.find(HeadEnd)) == std::string::npos) {
        if (!connection.Receive()) {
            return false;
        }
    }
    *request = ParseHead(connection.buffer.substr(0, headEnd));
    request->connection = connection.number;
    const std::size_t bodyStart = headEnd + sizeof HeadEnd - 1;
    const auto length = request->headers.find("content-length");
    const std::size_t bodyLength = length == request->headers.end() ? 0 : std::stoul(length->second);
    if (request->headers.count("expect") != 0 && !connection.Send("HTTP/1.1 100 Continue\r\n\r\n")) {
        return false;
    }
    while (connection.buffer.size() < bodyStart + bodyLength) {
        if (!connection.Receive()) {
            return false;
        }
    }
    request->body = connection.buffer.substr(bodyStart, bodyLength);
    connection.buffer.erase(0, bodyStart + bodyLength);
    return true;
}

HttpReaction HttpPeer::ReactionTo(const Request& request) {
    const std::lock_guard<std::mutex> lock(mutex);
    requests.push_back(request);
    if (request.method == "CONNECT" && tunnelContext) {
        return {"HTTP/1.1 200 Connected\r\n\r\n"};
    }
    if (script.empty()) {
        return Answer("{}");
    }
    const HttpReaction next = script.front();
    script.pop_front();
    return next;
}

ClosedPort::ClosedPort() : port(0), socket(BoundSocket(&port, false)) {}

ClosedPort::~ClosedPort() {
    close(socket);
}

std::string ClosedPort::Address() const {
    return "127.0.0.1:" + std::to_string(port);
}
