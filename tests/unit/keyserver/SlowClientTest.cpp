// SPDX-License-Identifier: Apache-2.0
// Clients that take their time, and those who come meanwhile.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <list>
#include <thread>

#include "keyserver/Server.h"
#include "keyserver/http/Certificates.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"

using namespace KeyServer;
using testing::StartsWith;

namespace {

constexpr int SlowClients = 300;

// Requests that come a byte at a time and never to their end.
class Trickle {
public:
    explicit Trickle(int port) {
        for (int i = 0; i < SlowClients; ++i) {
            RawClient& client = clients.emplace_back(port);
            client.Send(
                i % 2 == 0 ? "POST /Issue" : "POST /IssueCard.do HTTP/1.1\r\nContent-Length: 9999\r\n\r\nd");
        }
    }

    // Each that is still connected sends one more byte. Returns how many they are.
    int SendOn() {
        return static_cast<int>(std::count_if(
            clients.begin(), clients.end(), [](RawClient& each) { return each.IsOpen() && each.Send("a"); }));
    }

private:
    std::list<RawClient> clients;
};

std::unique_ptr<Server> Started(std::size_t mostConnections, ServerOptions options = {}) {
    options.http.mostConnections = mostConnections;
    auto server = std::make_unique<Server>(std::move(options), CatalogueOf(TwoSteps));
    server->Start();
    return server;
}

std::string PlayTwoSteps(HttpClient& client) {
    client.Post(Opening("A"));
    client.Post(Responding("A", "/019000"));
    return client.Post(Responding("A", "/019000/019000")).body;
}

std::ptrdiff_t ThreadsOfThisProcess() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

}  // namespace

TEST(SlowClients, DelayNobodyAndCostNoThread) {
    const auto server = Started(SlowClients + 1);
    HttpClient client(server->Url());
    EXPECT_EQ(client.Post(Asking()).status, 200);
    const std::ptrdiff_t threads = ThreadsOfThisProcess();
    Trickle trickle(server->Port());
    ASSERT_TRUE(Eventually([&] { return server->Count().connections == SlowClients + 1; }));
    EXPECT_EQ(PlayTwoSteps(client), FinalAnswer);
    EXPECT_EQ(trickle.SendOn(), SlowClients) << "none had to go for it";
    EXPECT_EQ(ThreadsOfThisProcess(), threads);
    EXPECT_EQ(server->Count().requests, 4U);
}

TEST(SlowClients, MakeRoomForOthers) {
    constexpr int Places = 64;
    const auto server = Started(Places);
    Trickle trickle(server->Port());
    ASSERT_TRUE(Eventually([&] { return server->Count().connections == SlowClients; }));
    HttpClient client(server->Url());
    EXPECT_EQ(PlayTwoSteps(client), FinalAnswer);
    EXPECT_GE(trickle.SendOn(), Places - 1) << "the others are still at it";
    EXPECT_TRUE(Eventually([&] { return trickle.SendOn() == Places - 1; }));
    EXPECT_EQ(PlayTwoSteps(client), FinalAnswer);
    EXPECT_EQ(server->Count().connections, SlowClients + 1U) << "who has been served keeps the place";
    EXPECT_EQ(server->Count().requests, 6U);
}

TEST(SlowClients, MayBeSilentInsteadOfGreeting) {
    const TemporaryFolder folder;
    CertificateOrder order;
    order.folder = folder.Path().string();
    const CertificateFiles files = MakeCertificates(order);
    ServerOptions options;
    options.certificateFile = files.certificate;
    options.keyFile = files.key;
    const auto server = Started(2, std::move(options));
    std::list<RawClient> silent;
    for (int i = 0; i < 20; ++i) {
        silent.emplace_back(server->Port());
    }
    HttpClient client(server->Url(), files.authority);
    EXPECT_EQ(PlayTwoSteps(client), FinalAnswer);
    EXPECT_EQ(server->Count().handshakes, 1U);
}

TEST(SlowClients, AreCutOffInTheMiddleOfARequest) {
    ServerOptions options;
    options.http.requestTime = std::chrono::milliseconds(100);
    const auto server = Started(8, std::move(options));
    for (const char* begin :
         {"POST /", "POST /IssueCard.do HTTP/1.1\r\nContent-Length: 999999\r\n\r\ndata="}) {
        RawClient client(server->Port());
        client.Send(begin);
        ASSERT_TRUE(Eventually(
            [&] { return !client.IsSilentFor(std::chrono::milliseconds(1)) || !client.Send("a"); }));
        EXPECT_THAT(client.ReadToEnd(), StartsWith("HTTP/1.1 408 ")) << begin;
    }
}

TEST(SlowClients, WhoSendWithoutReadingMakeRoomToo) {
    ServerOptions options;
    options.misbehaviours = {ParseMisbehaviour("not-json=nested@1x500")};
    const auto server = Started(1, std::move(options));
    RawClient greedy(server->Port());
    for (int i = 0; i < 500; ++i) {
        greedy.Send(HttpPost(Asking()));
    }
    EXPECT_FALSE(greedy.IsSilentFor(std::chrono::seconds(20))) << "it is being answered";
    EXPECT_EQ(HttpClient(server->Url()).Post(Asking()).status, 200);
    EXPECT_LT(server->Count().messages, 500U) << "the rest was not answered";
}

TEST(DelayedAnswers, HoldUpNobodyElse) {
    constexpr int Delayed = 20;
    ServerOptions options;
    options.misbehaviours = {ParseMisbehaviour("delay=600000@1x" + std::to_string(Delayed))};
    const auto server = Started(256, std::move(options));
    std::list<RawClient> delayed;
    for (int i = 0; i < Delayed; ++i) {
        delayed.emplace_back(server->Port()).Send(HttpPost(Asking()));
    }
    ASSERT_TRUE(Eventually([&] { return server->Count().messages == Delayed; }));
    HttpClient client(server->Url());
    EXPECT_EQ(PlayTwoSteps(client), FinalAnswer);
    for (const RawClient& each : delayed) {
        EXPECT_TRUE(each.IsSilentFor(std::chrono::milliseconds(0)));
    }
}

TEST(FloodOfOpenings, ShutsNobodyOut) {
    ServerOptions options;
    options.sessions.most = 64;
    const auto server = Started(256, std::move(options));
    HttpClient established(server->Url());
    EXPECT_EQ(established.Post(Opening("established")).body, FirstAnswer);
    EXPECT_EQ(established.Post(Responding("established", "/019000")).body, SecondAnswer);
    HttpClient flood(server->Url());
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(flood.Post(Opening("flood " + std::to_string(i))).body, FirstAnswer);
    }
    HttpClient client(server->Url());
    EXPECT_EQ(PlayTwoSteps(client), FinalAnswer);
    EXPECT_EQ(established.Post(Responding("established", "/019000/019000")).body, FinalAnswer);
}
