// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/HttpHost.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <cerrno>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "keyserver/http/Connection.h"
#include "keyserver/http/ConnectionTable.h"

namespace KeyServer {

namespace asio = boost::asio;
using asio::ip::tcp;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds TimeToFinish{2000};
constexpr milliseconds TimeBetweenTries{50};  // to take a connection while there is no room for it

using Error = boost::system::error_code;

}  // namespace

class HttpHost::Implementation {
public:
    Implementation(HttpOptions hostOptions, ConnectionOwner& hostOwner)
        : options(std::move(hostOptions)), owner(hostOwner) {}

    int Listen(int port);
    void StopListening();
    void Stop();

    ConnectionTable table;

private:
    void Bind(const tcp::endpoint& endpoint, Error& error);
    void StartThreads();
    void AwaitConnection();
    void TakeConnection();
    bool SomebodyWaits();
    void TryAgainLater();
    void Serve(int accepted);

    const HttpOptions options;
    ConnectionOwner& owner;
    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    std::vector<std::thread> threads;

    // Used by one thread at a time: by the strand's while the host listens.
    asio::strand<asio::io_context::executor_type> strand{context.get_executor()};
    tcp::acceptor acceptor{strand};
    asio::steady_timer retry{strand};
};

void HttpHost::Implementation::Bind(const tcp::endpoint& endpoint, Error& error) {
    Error ignored;
    acceptor.close(ignored);
    acceptor.open(endpoint.protocol(), error);
    if (error) {
        return;
    }
    fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
    acceptor.set_option(tcp::acceptor::reuse_address(true), ignored);
    if (endpoint.protocol() == tcp::v6()) {
        acceptor.set_option(asio::ip::v6_only(false), ignored);
    }
    acceptor.bind(endpoint, error);
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (!error) {
        acceptor.non_blocking(true, error);
    }
}

int HttpHost::Implementation::Listen(int port) {
    tcp::resolver resolver(context);
    Error error;
    const auto found = resolver.resolve(
        options.listen, std::to_string(port), tcp::resolver::passive | tcp::resolver::numeric_service, error);
    for (const auto& each : found) {
        Bind(each.endpoint(), error);
        if (!error) {
            break;
        }
    }
    if (error) {
        throw std::system_error(
            std::error_code(error), "cannot listen on " + options.listen + " port " + std::to_string(port));
    }
    const int bound = acceptor.local_endpoint().port();
    StartThreads();
    asio::post(strand, [this] { AwaitConnection(); });
    return bound;
}

void HttpHost::Implementation::StartThreads() {
    while (threads.size() < options.threads) {
        threads.emplace_back([this] { context.run(); });
    }
}

// The connection stays in the system's queue until there is room for it.
void HttpHost::Implementation::AwaitConnection() {
    acceptor.async_wait(tcp::acceptor::wait_read, [this](const Error& error) {
        if (!error) {
            TakeConnection();
        }
    });
}

void HttpHost::Implementation::TakeConnection() {
    // Nobody is sent away for a newcomer who is not there: a wait may also end without one.
    if (!SomebodyWaits()) {
        AwaitConnection();
        return;
    }
    if (table.Size() >= options.mostConnections && !table.MakeRoom()) {
        TryAgainLater();
        return;
    }
    // By hand, so that a program that is started at this moment does not inherit the connection.
    const int accepted = accept4(acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted >= 0) {
        Serve(accepted);
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        table.MakeRoom();
        TryAgainLater();
        return;
    }
    AwaitConnection();
}

bool HttpHost::Implementation::SomebodyWaits() {
    pollfd listener{acceptor.native_handle(), POLLIN, 0};
    return poll(&listener, 1, 0) > 0;
}

void HttpHost::Implementation::TryAgainLater() {
    retry.expires_after(TimeBetweenTries);
    retry.async_wait([this](const Error& error) {
        if (!error && acceptor.is_open()) {
            TakeConnection();
        }
    });
}

void HttpHost::Implementation::Serve(int accepted) {
    Error error;
    tcp::socket socket(asio::make_strand(context));
    socket.assign(acceptor.local_endpoint(error).protocol(), accepted, error);
    if (error) {
        close(accepted);
        return;
    }
    socket.non_blocking(true, error);
    socket.set_option(tcp::no_delay(true), error);
    const std::uint64_t number = table.TakeNumber();
    const auto connection = std::make_shared<Connection>(number, std::move(socket), options, owner, table);
    table.Enter(number, connection);
    connection->Begin();
}

void HttpHost::Implementation::StopListening() {
    if (threads.empty()) {
        return;
    }
    std::promise<void> closed;
    asio::post(strand, [this, &closed] {
        Error ignored;
        acceptor.close(ignored);
        retry.cancel();
        closed.set_value();
    });
    closed.get_future().wait();
}

void HttpHost::Implementation::Stop() {
    StopListening();
    if (!table.AwaitLeaving(table.DismissAll(ConnectionTable::Dismissal::ForGood), TimeToFinish)) {
        table.AwaitLeaving(table.AbortAll());
    }
    context.stop();
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
}

HttpHost::HttpHost(HttpOptions options, ConnectionOwner& owner)
    : implementation(std::make_unique<Implementation>(std::move(options), owner)) {}

HttpHost::~HttpHost() {
    Stop();
}

int HttpHost::Listen(int port) {
    return implementation->Listen(port);
}

void HttpHost::StopListening() {
    implementation->StopListening();
}

void HttpHost::DismissConnections() {
    implementation->table.DismissAll(ConnectionTable::Dismissal::Gently);
}

void HttpHost::CloseConnections() {
    implementation->table.AwaitLeaving(implementation->table.AbortAll());
}

void HttpHost::Stop() {
    implementation->Stop();
}

std::uint64_t HttpHost::Accepted() const {
    return implementation->table.Accepted();
}

}  // namespace KeyServer
