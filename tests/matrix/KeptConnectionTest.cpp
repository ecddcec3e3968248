// SPDX-License-Identifier: Apache-2.0
// Every way in which a connection dies between the job that made it and the next one.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "tests/matrix/MatrixWorld.h"
#include "tests/support/TestCertificate.h"

namespace {

std::atomic<time_t> secondsPassed{0};  // added to the clock that goes on while the device sleeps
std::atomic<bool> hasAnotherAddress{
    false};                        // the way to the server begins at 127.0.0.9 when it is asked for next
std::atomic<int> silenceBorne{0};  // in milliseconds; 0 for what the service asks for

}  // namespace

namespace Matrix {

namespace {

constexpr char Set[] = "/0180CA006600";

sockaddr_in Loopback() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A server down to its sockets. Its first connection is answered once, and then nobody reads from it any
// more; the second one is answered as long as it asks, and ends the first.
class BarePeer {
public:
    BarePeer() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        // What is not read soon has no room on the way either, so that a request is not even taken.
        const int little = 2048;
        setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &little, sizeof little);
        sockaddr_in address = Loopback();
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(listener, generic, length), 0);
        EXPECT_EQ(getsockname(listener, generic, &length), 0);
        EXPECT_EQ(listen(listener, 4), 0);
        port = ntohs(address.sin_port);
        thread = std::thread([this] { Run(); });
    }
    ~BarePeer() {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        Abandon();
        close(listener);
    }
    BarePeer(const BarePeer&) = delete;
    BarePeer& operator=(const BarePeer&) = delete;

    std::string Url() const { return "http://127.0.0.1:" + std::to_string(port); }
    int Connections() const { return connections; }

    // The other end gets an error in place of an end.
    void ResetTheFirst() {
        const linger atOnce = {1, 0};
        setsockopt(first, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        Abandon();
    }

private:
    void Run() {
        first = Accept();
        Serve(first);
        const int second = Accept();
        Abandon();
        while (Serve(second)) {
        }
        close(second);
    }

    int Accept() {
        const int accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        connections += accepted >= 0 ? 1 : 0;
        return accepted;
    }

    void Abandon() {
        const int left = first.exchange(-1);
        if (left >= 0) {
            close(left);
        }
    }

    // One request; false when there is none.
    static bool Serve(int connection) {
        std::string request;
        std::array<char, 4096> buffer;
        while (!IsWhole(request)) {
            const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
            if (count <= 0) {
                return false;
            }
            request.append(buffer.data(), static_cast<std::size_t>(count));
        }
        const std::string answer = Result("00000001").bytes;
        return send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) > 0;
    }

    static bool IsWhole(const std::string& request) {
        constexpr char Length[] = "Content-Length: ";
        const std::size_t end = request.find("\r\n\r\n");
        const std::size_t length = request.find(Length);
        return end != std::string::npos && length < end &&
               request.size() >= end + 4 + std::stoul(request.substr(length + sizeof Length - 1));
    }

    int listener;
    int port = 0;
    std::atomic<int> first{-1};
    std::atomic<int> connections{0};
    std::thread thread;
};

// Whether libcurl uses a connection without TLS again where TLS was asked for in case it can be had, as the
// service asks. From 8.13 on it does not; the rows in TLS hold for those.
bool KeepsPlainConnections() {
    HttpPeer peer;
    peer.Script({Result("00000001"), Result("00000001")});
    const std::unique_ptr<CURL, void (*)(CURL*)> exchange(curl_easy_init(), curl_easy_cleanup);
    curl_easy_setopt(exchange.get(), CURLOPT_URL, peer.Url().c_str());
    curl_easy_setopt(exchange.get(), CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    curl_easy_setopt(
        exchange.get(), CURLOPT_WRITEFUNCTION,
        +[](char*, std::size_t size, std::size_t count, void*) { return size * count; });
    EXPECT_EQ(curl_easy_perform(exchange.get()), CURLE_OK);
    EXPECT_EQ(curl_easy_perform(exchange.get()), CURLE_OK);
    return peer.Connections() == 1;
}

class KeptConnectionFault : public MatrixWorld {
protected:
    void SetUp() override {
        if (!KeepsPlainConnections()) {
            GTEST_SKIP() << "this libcurl keeps no connection without TLS";
        }
    }
    ~KeptConnectionFault() override {
        secondsPassed = 0;
        hasAnotherAddress = false;
        silenceBorne = 0;
    }

    // A script of two messages after one whose connection was kept.
    static Case Following(const std::string& label, std::function<void()> then = [] {}) {
        Case row = {label, ScriptRequest(), Status(Done)};
        row.reactions = {CommandSet(Set), Result("00000001")};
        row.earlier = Earlier{};
        row.earlier->reactions = {Result("00000001")};
        row.earlier->then = std::move(then);
        row.sent = {{"INITIALIZEAPDU", "NEXTAPDU /01ABCD9000"}};
        row.failedAttempts = 0;
        return row;
    }

    // The row is served, and over so many connections to the world's peer beside the one of the ordinary
    // script that follows each row.
    void CheckOver(int connections, const Case& row) {
        SCOPED_TRACE(row.label);
        const int before = Peer().Connections();
        Check(row);
        EXPECT_EQ(Peer().Connections() - before, connections + 1);
    }

    // Dies when the first message of the row has already gone out on it.
    void CheckDeathUnderARequest(const std::string& label, const HttpReaction& death) {
        Case row = Following(label);
        row.reactions.push_front(death);
        row.sent->insert(row.sent->begin(), "INITIALIZEAPDU");
        row.failedAttempts = 1;
        CheckOver(2, row);
    }

    std::string Trusting(const std::vector<const TestCertificate*>& certificates) const {
        const std::string file = Folder() + "/ca.pem";
        std::ofstream stream(file);
        for (const TestCertificate* certificate : certificates) {
            stream << certificate->Pem();
        }
        return "[trust]\nca-file=" + file + "\n";
    }
};

class KeptSecureConnectionFault : public KeptConnectionFault {
protected:
    void SetUp() override {}
};

}  // namespace

TEST_F(KeptConnectionFault, IsNoneWhereTheConnectionLives) {
    CheckOver(1, Following("lives"));
}

TEST_F(KeptConnectionFault, OfAServerThatClosedItCostsNoAttempt) {
    CheckOver(2, Following("closed while idle", [this] { Peer().CloseConnections(); }));
    CheckOver(2, Following("server restarted", [this] { Peer().Restart(); }));
}

TEST_F(KeptConnectionFault, OfAServerThatEndsItUnderARequestCostsOneAttempt) {
    CheckDeathUnderARequest("closed in place of an answer", CloseAtOnce());
    CheckDeathUnderARequest("reset in place of an answer", HttpReaction{}.ThenReset());
}

TEST_F(KeptConnectionFault, OfAServerThatResetItCostsNoAttempt) {
    BarePeer bare;
    Case row = Following("reset while idle", [&] { bare.ResetTheFirst(); });
    row.address = bare.Url();
    row.earlier->address = bare.Url();
    row.sent.reset();
    Check(row);
    EXPECT_EQ(bare.Connections(), 2);
}

// The link went dead: nobody takes what is sent, and nobody says so.
TEST_F(KeptConnectionFault, OfASilentLinkCostsOneAttempt) {
    silenceBorne = 300;
    BarePeer bare;
    Case row = Following("silent");
    row.request["ServiceId"] = std::string(8192, 's');
    row.address = bare.Url();
    row.earlier->address = bare.Url();
    row.sent.reset();
    row.failedAttempts = 1;
    Check(row);
    EXPECT_EQ(bare.Connections(), 2);
}

TEST_F(KeptConnectionFault, OfAgeCostsNoAttempt) {
    CheckOver(1, Following("idle for 59 seconds", [] { secondsPassed += 59; }));
    CheckOver(2, Following("idle for a minute", [] { secondsPassed += 60; }));
    CheckOver(2, Following("the device slept for an hour", [] { secondsPassed += 3600; }));
}

TEST_F(KeptConnectionFault, OfAnotherNetworkCostsNoAttempt) {
    for (const char* const network : {"cellular", "ethernet", "bluetooth"}) {
        Case row = Following(std::string("now on ") + network);
        row.network = std::string("type=") + network;
        CheckOver(2, row);
    }
}

TEST_F(KeptConnectionFault, OfAnotherLocalAddressCostsNoAttempt) {
    CheckOver(2, Following("another local address", [] {
                  hasAnotherAddress = true;
                  secondsPassed += 1;
              }));
}

TEST_F(KeptConnectionFault, OfAnotherProxyCostsNoAttempt) {
    HttpPeer proxy;
    HttpPeer otherProxy;
    const auto through = [](const HttpPeer& way) { return "type=wifi\nproxy=" + way.Address(); };
    const auto prepare = [](HttpPeer& way) { way.Script({CommandSet(Set), Result("00000001")}); };
    Case row = Following("now through a proxy", [&] { prepare(proxy); });
    row.network = through(proxy);
    row.sent.emplace();
    CheckOver(1, row);
    EXPECT_EQ(proxy.TakeRequests().size(), 2U);

    row = Following("now through another proxy", [&] { prepare(otherProxy); });
    proxy.Script({Result("00000001")});
    row.earlier->network = through(proxy);
    row.network = through(otherProxy);
    row.sent.emplace();
    CheckOver(0, row);
    EXPECT_EQ(proxy.TakeRequests().size(), 1U);
    EXPECT_EQ(otherProxy.TakeRequests().size(), 2U);

    row = Following("now without a proxy");
    proxy.Script({Result("00000001")});
    row.earlier->network = through(proxy);
    CheckOver(1, row);
    EXPECT_EQ(proxy.TakeRequests().size(), 1U);
}

TEST_F(KeptConnectionFault, OfAnotherServerCostsNoAttempt) {
    HttpPeer other;
    other.Script({Result("00000001")});
    Case row = Following("another server");
    row.earlier->address = other.Url();
    CheckOver(1, row);
    EXPECT_EQ(other.TakeRequests().size(), 1U);
}

// The peer is a proxy, behind which the server's certificate can change.
TEST_F(KeptSecureConnectionFault, OfAServersCertificateIsJudgedByTheNewOne) {
    const TestCertificate good({"127.0.0.1"});
    const TestCertificate renewed({"127.0.0.1"});
    const TestCertificate stranger({"127.0.0.1"});
    const std::string trust = Trusting({&good, &renewed});
    const struct {
        const char* label;
        const TestCertificate& certificate;
        bool isServed;
    } rows[] = {{"renewed certificate", renewed, true}, {"a stranger's certificate", stranger, false}};
    for (const auto& each : rows) {
        HttpPeer proxy;
        proxy.TunnelInto(good.ServerContext());
        // CONNECT, too, takes a reaction where it leads nowhere; here it leads into TLS.
        proxy.Script({Result("00000001"), CommandSet(Set), Result("00000001")});
        Case row = Following(each.label, [&] {
            proxy.TakeRequests();
            proxy.TunnelInto(each.certificate.ServerContext());
            proxy.CloseConnections();
        });
        row.reply = Status(each.isServed ? Done : ProtocolError);
        row.failedAttempts = each.isServed ? 0 : 1;
        row.network = row.earlier->network = "type=wifi\nproxy=" + proxy.Address();
        row.sections = row.earlier->sections = trust;
        row.address = row.earlier->address = "https://127.0.0.1:1";
        row.sent.emplace();
        Check(row);
        EXPECT_EQ(proxy.TakeRequests().size(), each.isServed ? 3U : 1U) << each.label;
        proxy.CloseConnections();
    }
}

// As long as it lives it is used, whatever certificate the server would show to others meanwhile.
TEST_F(KeptSecureConnectionFault, InTlsIsLikeThatWithout) {
    const TestCertificate certificate({"127.0.0.1"});
    HttpPeer secure(certificate.ServerContext());
    const struct {
        const char* label;
        std::deque<HttpReaction> reactions;
        bool closes;
        int failedAttempts;
        int handshakes;
    } rows[] = {
        {"lives in TLS", {}, false, 0, 1},
        {"closed while idle in TLS", {}, true, 0, 2},
        {"closed in place of an answer in TLS", {CloseAtOnce()}, false, 1, 2},
        {"reset in place of an answer in TLS", {HttpReaction{}.ThenReset()}, false, 1, 2}};
    for (const auto& each : rows) {
        std::deque<HttpReaction> reactions = {Result("00000001")};
        reactions.insert(reactions.end(), each.reactions.begin(), each.reactions.end());
        reactions.insert(reactions.end(), {CommandSet(Set), Result("00000001")});
        secure.Script(reactions);
        Case row = Following(each.label, [&] {
            if (each.closes) {
                secure.CloseConnections();
            }
        });
        row.address = row.earlier->address = secure.Url();
        row.sections = row.earlier->sections = Trusting({&certificate});
        row.sent.emplace();
        row.failedAttempts = each.failedAttempts;
        const int before = secure.Handshakes();
        Check(row);
        EXPECT_EQ(secure.Handshakes() - before, each.handshakes) << each.label;
        secure.CloseConnections();
    }
}

}  // namespace Matrix

extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* now);
int __real_getsockname(int socket, sockaddr* address, socklen_t* length);
int __real_setsockopt(int socket, int level, int name, const void* value, socklen_t length);

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    const int result = __real_clock_gettime(clock, now);
    if (clock == CLOCK_BOOTTIME) {
        now->tv_sec += secondsPassed;
    }
    return result;
}

// Of a datagram's socket: so the service asks where the way to a server would begin.
int __wrap_getsockname(int socket, sockaddr* address, socklen_t* length) {
    const int result = __real_getsockname(socket, address, length);
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_DGRAM &&
        hasAnotherAddress.exchange(false)) {
        reinterpret_cast<sockaddr_in*>(address)->sin_addr.s_addr = htonl(INADDR_LOOPBACK + 8);
    }
    return result;
}

int __wrap_setsockopt(int socket, int level, int name, const void* value, socklen_t length) {
    const int limit = silenceBorne;
    const bool isSilence = level == IPPROTO_TCP && name == TCP_USER_TIMEOUT && limit > 0;
    return __real_setsockopt(socket, level, name, isSilence ? &limit : value, length);
}

}  // extern "C"
