#include "keyserver/http/HttpServer.h"

#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "keyserver/http/Connection.h"
#include "keyserver/http/ConnectionTable.h"
#include "keyserver/http/WorkerPool.h"

namespace KeyServer {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char Endpoint[] = "/IssueCard.do";
constexpr int WaitingConnections = 128;
constexpr milliseconds TimeToFinish{2000};

// What the handlers decide while the library works on one request. The library calls them on the connection's
// own thread and gives them no way to the connection, hence the variable of the thread.
struct RequestCourse {
    std::uint64_t connection = 0;
    bool seen = false;
    bool close = false;
    Delivery delivery;
    std::function<void()> undelivered;
};
thread_local RequestCourse* course = nullptr;

// Gives the library our connection. Its writes are collected until the answer is complete.
class ConnectionStream final : public httplib::Stream {
public:
    explicit ConnectionStream(Connection& stream) : connection(stream) {}

    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* buffer, size_t size) override { return connection.Read(buffer, size); }
    ssize_t write(const char* data, size_t size) override {
        connection.Collect(data, size);
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return connection.Socket(); }

private:
    Connection& connection;
};

class PoolQueue final : public httplib::TaskQueue {
public:
    PoolQueue(std::size_t limit, std::function<void()> whenFull) : pool(limit, std::move(whenFull)) {}
    void enqueue(std::function<void()> work) override { pool.Enqueue(std::move(work)); }
    void shutdown() override { pool.Shutdown(); }

private:
    WorkerPool pool;
};

// The library's listening part, with our own handling of accepted connections.
class Listener final : public httplib::Server {
public:
    std::function<void(int)> serve;

    ~Listener() override { CloseRetired(); }

    // Returns the port. Throws std::system_error.
    int Bind(const std::string& address, int port) {
        errno = 0;
        const bool bound = port == 0 ? (port = bind_to_any_port(address)) > 0 : bind_to_port(address, port);
        if (!bound) {
            throw std::system_error(
                errno != 0 ? errno : EADDRNOTAVAIL, std::generic_category(),
                "cannot listen on " + address + " port " + std::to_string(port > 0 ? port : 0));
        }
        ::listen(svr_sock_, WaitingConnections);
        return port;
    }

    // Wakes the thread that accepts. The socket is closed only when that thread has left it.
    void StopAccepting() {
        const socket_t socket = svr_sock_.exchange(INVALID_SOCKET);
        if (socket != INVALID_SOCKET) {
            ::shutdown(socket, SHUT_RDWR);
            retired = socket;
        }
    }

    void CloseRetired() {
        const socket_t socket = retired.exchange(INVALID_SOCKET);
        if (socket != INVALID_SOCKET) {
            ::close(socket);
        }
    }

    bool Process(httplib::Stream& stream, bool& closed) {
        return process_request(stream, false, closed, [](httplib::Request&) {});
    }

private:
    bool process_and_close_socket(socket_t socket) override {
        serve(socket);
        return true;
    }

    std::atomic<socket_t> retired{INVALID_SOCKET};
};

void AllowQuickReuse(socket_t socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

}  // namespace

class HttpServer::Implementation {
public:
    Implementation(HttpOptions settings, SslContext tls, Handler answer, Log log);
    void Start();
    void Stop();

    std::atomic<int> port{0};
    std::atomic<std::uint64_t> handshakes{0};
    std::atomic<std::uint64_t> requests{0};
    ConnectionTable table;

private:
    void Listen();
    bool ListenAgain();
    Connection Accepted(int socket);
    void Serve(int socket);
    bool ServeRequest(Connection& connection, ConnectionTable::Entry& entry);
    bool HandOver(Connection& connection, RequestCourse& request);
    void Restart(milliseconds pause);
    bool IsInService();
    void Pause(milliseconds time);
    httplib::Server::HandlerResponse RefuseOthers(
        const httplib::Request& request, httplib::Response& response);
    void Receive(
        const httplib::Request& request, httplib::Response& response, const httplib::ContentReader& reader);
    void Refuse(
        const httplib::Request& request, httplib::Response& response, int status, const std::string& reason);
    void ExplainError(const httplib::Request& request, httplib::Response& response);

    const HttpOptions options;
    const Handler handler;
    const Log say;
    Listener listener;
    std::thread thread;
    std::mutex mutex;
    std::condition_variable wake;
    std::atomic<bool> stopping{false};
    steady_clock::time_point backInService;  // guarded by the mutex, like the context
    SslContext context;
};

HttpServer::Implementation::Implementation(HttpOptions settings, SslContext tls, Handler answer, Log log)
    : options(std::move(settings)), handler(std::move(answer)), say(std::move(log)), context(std::move(tls)) {
    listener.set_tcp_nodelay(true);
    listener.set_socket_options(AllowQuickReuse);
    listener.set_keep_alive_max_count(1000000);
    listener.set_keep_alive_timeout(
        std::chrono::duration_cast<std::chrono::seconds>(options.keepAlive).count());
    listener.new_task_queue = [this] {
        return std::make_unique<PoolQueue>(options.mostConnections, [this] { table.DropLongestIdle(); })
            .release();
    };
    listener.serve = [this](int socket) { Serve(socket); };
    listener.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        return RefuseOthers(request, response);
    });
    // A handler that reads the body itself is not bound by the library's limit of 8 KiB for forms.
    listener.Post(
        R"(/IssueCard\.do)",
        [this](
            const httplib::Request& request, httplib::Response& response,
            const httplib::ContentReader& reader) { Receive(request, response, reader); });
    listener.set_error_handler(
        httplib::Server::Handler([this](const httplib::Request& request, httplib::Response& response) {
            ExplainError(request, response);
        }));
}

void HttpServer::Implementation::Start() {
    port = listener.Bind(options.listen, options.port);
    thread = std::thread([this] { Listen(); });
}

void HttpServer::Implementation::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    listener.StopAccepting();
    table.DismissAll();
    const auto deadline = steady_clock::now() + TimeToFinish;
    std::unique_lock<std::mutex> lock(mutex);
    const bool finished = wake.wait_until(lock, deadline, [this] { return table.Size() == 0; });
    lock.unlock();
    if (!finished) {
        table.StopAll();
    }
    if (thread.joinable()) {
        thread.join();
    }
}

void HttpServer::Implementation::Listen() {
    do {
        listener.listen_after_bind();
        listener.CloseRetired();
    } while (ListenAgain());
}

// When accepting failed.
bool HttpServer::Implementation::ListenAgain() {
    try {
        const std::lock_guard<std::mutex> lock(mutex);
        if (stopping) {
            return false;
        }
        listener.Bind(options.listen, port);
    } catch (const std::system_error& error) {
        say(std::string("listening has ended: ") + error.what());
        return false;
    }
    say("listening again");
    return true;
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
    table.DismissAll();
}

bool HttpServer::Implementation::IsInService() {
    const std::lock_guard<std::mutex> lock(mutex);
    return steady_clock::now() >= backInService;
}

Connection HttpServer::Implementation::Accepted(int socket) {
    const std::lock_guard<std::mutex> lock(mutex);
    return {socket, context.get()};
}

// Ends early when the server stops.
void HttpServer::Implementation::Pause(milliseconds time) {
    std::unique_lock<std::mutex> lock(mutex);
    wake.wait_for(lock, time, [this] { return stopping.load(); });
}

void HttpServer::Implementation::Serve(int socket) {
    Connection connection = Accepted(socket);
    {
        ConnectionTable::Entry entry(table, socket);
        if (!IsInService()) {
            connection.CloseWithReset();
        } else if (!connection.Greet()) {
            say("connection " + std::to_string(entry.Number()) +
                ": no TLS handshake: " + connection.LastProblem());
        } else {
            handshakes += connection.IsEncrypted() ? 1U : 0U;
            while (!stopping && !entry.IsDismissed() && ServeRequest(connection, entry)) {
            }
            connection.CloseGently();
        }
    }
    {
        // Without the lock, this could come between Stop's look at the table and its sleep.
        const std::lock_guard<std::mutex> lock(mutex);
    }
    wake.notify_all();
}

// False when the connection has had its last request.
bool HttpServer::Implementation::ServeRequest(Connection& connection, ConnectionTable::Entry& entry) {
    entry.SetIdle(true);
    const bool begun = connection.AwaitRequest(options.keepAlive);
    entry.SetIdle(false);
    if (!begun) {
        return false;
    }
    RequestCourse request;
    request.connection = entry.Number();
    course = &request;
    ConnectionStream stream(connection);
    bool closed = false;
    const bool understood = listener.Process(stream, closed);
    course = nullptr;
    if (!request.seen) {
        request.close = true;
    }
    const bool handedOver = HandOver(connection, request);
    return understood && handedOver && !closed && !request.close && !request.delivery.closeAfterwards;
}

bool HttpServer::Implementation::HandOver(Connection& connection, RequestCourse& request) {
    ++requests;
    Pause(request.delivery.delay);
    // Before the answer, so that no connection is ended that a client opens after it.
    if (request.delivery.restart) {
        Restart(*request.delivery.restart);
    }
    const bool handedOver = connection.HandOver(request.delivery);
    if (!handedOver && request.undelivered) {
        request.undelivered();
    }
    if (request.delivery.reset) {
        connection.CloseWithReset();
    }
    return handedOver;
}

void HttpServer::Implementation::Refuse(
    const httplib::Request& request, httplib::Response& response, int status, const std::string& reason) {
    say("connection " + std::to_string(course->connection) + ": " + request.method.substr(0, 16) +
        " refused with " + std::to_string(status) + ": " + reason);
    response.status = status;
    response.set_content(reason + "\n", "text/plain");
    response.set_header("Connection", "close");
    course->seen = true;
    course->close = true;
}

// Before anything is read of a body, so that no other request can make the server keep one.
httplib::Server::HandlerResponse HttpServer::Implementation::RefuseOthers(
    const httplib::Request& request, httplib::Response& response) {
    if (request.path != Endpoint) {
        Refuse(request, response, 404, std::string("there is nothing here but ") + Endpoint);
        return httplib::Server::HandlerResponse::Handled;
    }
    if (request.method != "POST") {
        response.set_header("Allow", "POST");
        Refuse(request, response, 405, "messages are sent by POST");
        return httplib::Server::HandlerResponse::Handled;
    }
    return httplib::Server::HandlerResponse::Unhandled;
}

void HttpServer::Implementation::Receive(
    const httplib::Request& request, httplib::Response& response, const httplib::ContentReader& reader) {
    std::string body;
    bool tooLong = false;
    const bool complete = reader([&](const char* data, size_t size) {
        tooLong = tooLong || size > options.mostBytes - body.size();
        if (!tooLong) {
            body.append(data, size);
        }
        return !tooLong;
    });
    if (tooLong) {
        Refuse(
            request, response, 413,
            "the body is longer than " + std::to_string(options.mostBytes) + " characters");
        return;
    }
    if (!complete) {
        Refuse(request, response, 400, "the body is not complete");
        return;
    }
    Reply reply = handler(body, course->connection);
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers) {
        response.set_header(name, value);
    }
    response.set_content(reply.body, reply.contentType);
    course->seen = true;
    course->delivery = std::move(reply.delivery);
    course->undelivered = std::move(reply.undelivered);
}

// The library refuses by itself what is no HTTP.
void HttpServer::Implementation::ExplainError(const httplib::Request& request, httplib::Response& response) {
    if (!course->seen) {
        Refuse(request, response, response.status, "the request is no HTTP that this server understands");
    }
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
    return implementation->table.Accepted();
}

std::uint64_t HttpServer::Handshakes() const {
    return implementation->handshakes;
}

std::uint64_t HttpServer::Requests() const {
    return implementation->requests;
}

}  // namespace KeyServer
