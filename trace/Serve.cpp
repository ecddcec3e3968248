// SPDX-License-Identifier: Apache-2.0
#include "trace/Serve.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <list>
#include <system_error>

namespace Trace {

namespace {

constexpr int LookEvery = 500;  // milliseconds
constexpr std::size_t LongestRequest = 16384;
constexpr std::size_t MostClients = 64;

volatile std::sig_atomic_t ended = 0;

void End(int) {
    ended = 1;
}

// What changes when a file does.
using State = std::vector<std::pair<std::int64_t, std::int64_t>>;

State StateOf(const std::vector<std::string>& files) {
    State state;
    for (const std::string& file : files) {
        struct stat facts = {};
        const bool exists = stat(file.c_str(), &facts) == 0;
        state.emplace_back(
            exists ? facts.st_size : -1,
            exists ? facts.st_mtim.tv_sec * std::int64_t{1000000000} + facts.st_mtim.tv_nsec : 0);
    }
    return state;
}

std::string Answer(const std::string& status, const std::string& type, const std::string& body) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nConnection: close\r\n\r\n" +
           body;
}

struct Client {
    explicit Client(int connected) : descriptor(connected) {}
    ~Client() { close(descriptor); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    int descriptor;
    std::string request;
    std::string output;  // that is still to be sent
    bool isAnswered = false;
    bool hearsOfChanges = false;
    bool isGone = false;
};

class Server {
public:
    Server(const Served& toServe, unsigned wanted)
        : served(toServe), listener(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(wanted));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        const int reuse = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
        if (listener < 0 || bind(listener, generic, length) != 0 || listen(listener, SOMAXCONN) != 0 ||
            getsockname(listener, generic, &length) != 0) {
            throw std::system_error(errno, std::generic_category(), "port " + std::to_string(wanted));
        }
        place = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~Server() { close(listener); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    const std::string& Place() const { return place; }

    void Run() {
        State state = StateOf(served.files);
        while (ended == 0) {
            Wait();
            const State now = StateOf(served.files);
            if (now != state) {
                state = now;
                TellOfChange();
            }
            clients.remove_if([](const Client& client) { return client.isGone; });
        }
    }

private:
    void Wait();
    void Accept();
    void Receive(Client& client);
    void Send(Client& client);
    void AnswerTo(Client& client);
    void TellOfChange();

    const Served& served;
    int listener;
    std::string place;
    std::list<Client> clients;
};

void Server::Wait() {
    std::vector<pollfd> watched = {{listener, POLLIN, 0}};
    for (const Client& client : clients) {
        const int events = client.output.empty() ? POLLIN : POLLIN | POLLOUT;
        watched.push_back({client.descriptor, static_cast<short>(events), 0});
    }
    if (poll(watched.data(), watched.size(), LookEvery) <= 0) {
        return;
    }
    auto look = watched.begin() + 1;
    for (Client& client : clients) {
        if ((look->revents & POLLOUT) != 0) {
            Send(client);
        }
        if ((look->revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            Receive(client);
        }
        ++look;
    }
    if ((watched.front().revents & POLLIN) != 0) {
        Accept();
    }
}

void Server::Accept() {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor >= 0 && clients.size() >= MostClients) {
        close(descriptor);
    } else if (descriptor >= 0) {
        clients.emplace_back(descriptor);
    }
}

void Server::Receive(Client& client) {
    char bytes[4096];
    const ssize_t count = recv(client.descriptor, bytes, sizeof bytes, 0);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
        client.isGone = true;
        return;
    }
    client.request.append(bytes, count < 0 ? 0 : static_cast<std::size_t>(count));
    client.isGone = client.request.size() > LongestRequest;
    if (!client.isAnswered && client.request.find("\r\n\r\n") != std::string::npos) {
        client.isAnswered = true;
        AnswerTo(client);
        Send(client);
    }
}

// A page of somewhere else may lead a browser here under another name, and gets nothing.
void Server::AnswerTo(Client& client) {
    const std::string& request = client.request;
    const std::string port = place.substr(place.find(':'));
    const bool isMeant = request.find("\r\nHost: " + place + "\r\n") != std::string::npos ||
                         request.find("\r\nHost: localhost" + port + "\r\n") != std::string::npos;
    const std::string path = request.rfind("GET ", 0) == 0 ? request.substr(4, request.find(' ', 4) - 4) : "";
    if (!isMeant) {
        client.output = Answer("403 Forbidden", "text/plain", "This is " + place + ".\n");
    } else if (path == "/") {
        client.output = Answer("200 OK", "text/html", served.page());
    } else if (path == "/story") {
        client.output = Answer("200 OK", "text/plain", served.story());
    } else if (path == "/changes") {
        client.hearsOfChanges = true;
        client.output =
            "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n\r\n";
    } else {
        client.output = Answer("404 Not Found", "text/plain", "There is /.\n");
    }
}

void Server::Send(Client& client) {
    const ssize_t sent = send(client.descriptor, client.output.data(), client.output.size(), MSG_NOSIGNAL);
    if (sent < 0) {
        client.isGone = client.isGone || (errno != EAGAIN && errno != EINTR);
        return;
    }
    client.output.erase(0, static_cast<std::size_t>(sent));
    client.isGone = client.isGone || (client.output.empty() && client.isAnswered && !client.hearsOfChanges);
}

void Server::TellOfChange() {
    for (Client& client : clients) {
        if (client.hearsOfChanges && !client.isGone) {
            client.output += "data: changed\n\n";
            Send(client);
        }
    }
}

}  // namespace

void Serve(const Served& served, unsigned port, const std::string& portFile) {
    std::signal(SIGINT, End);
    std::signal(SIGTERM, End);
    Server server(served, port);
    std::cout << "navo-trace serving http://" << server.Place() << "/" << std::endl;
    if (!portFile.empty()) {
        // Under its name once it is whole.
        const std::string part = portFile + ".part";
        std::ofstream(part) << server.Place().substr(server.Place().find(':') + 1) << "\n";
        if (std::rename(part.c_str(), portFile.c_str()) != 0) {
            throw std::system_error(errno, std::generic_category(), portFile);
        }
    }
    server.Run();
}

}  // namespace Trace
