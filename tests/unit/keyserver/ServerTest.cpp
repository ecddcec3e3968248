// SPDX-License-Identifier: Apache-2.0
#include "keyserver/Server.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>

#include "keyserver/service/Json.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"

using namespace KeyServer;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// One whole session; returns the last body.
std::string PlayTwoSteps(HttpClient& client, const std::string& session) {
    client.Post(Opening(session));
    client.Post(Responding(session, "/016F009000"));
    return client.Post(Responding(session, "/019000/016A88")).body;
}

}  // namespace

TEST(Server, PlaysAScriptOverOneConnection) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    HttpClient client(server.Url());
    const HttpAnswer first = client.Post(Opening("A"));
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(first.contentType, "application/json");
    EXPECT_EQ(first.body, FirstAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/016F009000")).body, SecondAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/019000/016A88")).body, FinalAnswer);
    const Counters counters = server.Count();
    EXPECT_EQ(counters.connections, 1U);
    EXPECT_EQ(counters.handshakes, 0U);
    EXPECT_EQ(counters.requests, 3U);
    EXPECT_EQ(counters.messages, 3U);
    EXPECT_EQ(counters.sessions, 1U);
}

TEST(Server, KeepsAConnectionForManyMessages) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    HttpClient client(server.Url());
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(client.Post(Asking()).status, 200);
    }
    EXPECT_EQ(server.Count().connections, 1U);
}

TEST(Server, AnswersWithoutTheDelayOfSmallPackets) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    HttpClient client(server.Url());
    std::vector<std::chrono::steady_clock::duration> times;
    for (int i = 0; i < 51; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        client.Post(Asking());
        times.push_back(std::chrono::steady_clock::now() - begin);
    }
    std::sort(times.begin(), times.end());
    // A delayed acknowledgement costs 40 ms each time; a busy machine takes as long only now and then.
    EXPECT_LT(times[times.size() / 2], std::chrono::milliseconds(30));
}

TEST(Server, ServesManySessionsAtOnce) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    constexpr int Clients = 16;
    constexpr int Rounds = 10;
    std::atomic<int> completed{0};
    std::vector<std::thread> clients;
    for (int number = 0; number < Clients; ++number) {
        clients.emplace_back([&, number] {
            HttpClient client(server.Url());
            for (int round = 0; round < Rounds; ++round) {
                const std::string session = std::to_string(number) + "-" + std::to_string(round);
                completed += PlayTwoSteps(client, session) == FinalAnswer ? 1 : 0;
            }
        });
    }
    for (std::thread& each : clients) {
        each.join();
    }
    EXPECT_EQ(completed, Clients * Rounds);
    EXPECT_EQ(server.Count().sessions, static_cast<std::uint64_t>(Clients * Rounds));
    EXPECT_EQ(server.Count().connections, static_cast<std::uint64_t>(Clients));
}

TEST(Server, ServesNewConnectionsWhenIdleOnesTakeAllPlaces) {
    ServerOptions options;
    options.http.mostConnections = 3;
    Server server(std::move(options), CatalogueOf(TwoSteps));
    server.Start();
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int number = 0; number < 12; ++number) {
        clients.push_back(std::make_unique<HttpClient>(server.Url()));
        EXPECT_EQ(clients.back()->Post(Asking()).status, 200) << number;
    }
    for (const auto& client : clients) {
        EXPECT_EQ(client->Post(Asking()).status, 200) << "a client opens a dropped connection again";
    }
}

TEST(Server, TakesResponseSetsOfTheLargestSize) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    HttpClient client(server.Url());
    client.Post(Opening("A"));
    const std::string longest = "/01" + std::string(65530, 'A') + "9000";
    ASSERT_EQ(longest.size(), 65537U);
    EXPECT_EQ(client.Post(Responding("A", longest)).body, SecondAnswer);
}

TEST(Server, EndsAtOnceAlthoughConnectionsAreOpen) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    HttpClient idle(server.Url());
    idle.Post(Asking());
    const RawClient silent(server.Port());
    ASSERT_TRUE(Eventually([&] { return server.Count().connections == 2; }));
    const auto begin = std::chrono::steady_clock::now();
    server.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_NE(idle.Post(Asking()).curlCode, 0) << "nobody listens any more";
}

TEST(Server, FinishesTheAnswerThatIsOnItsWayWhenItEnds) {
    ServerOptions options;
    options.misbehaviours = {ParseMisbehaviour("delay=20000")};
    Server server(std::move(options), CatalogueOf(TwoSteps));
    server.Start();
    HttpAnswer answer;
    std::thread client([&] { answer = HttpClient(server.Url()).Post(Asking()); });
    ASSERT_TRUE(Eventually([&] { return server.Count().messages == 1; }));
    const auto begin = std::chrono::steady_clock::now();
    server.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)) << "the delay is cut short";
    client.join();
    EXPECT_EQ(answer.body, R"({"resultCode":"00000001"})");
}

TEST(Server, ReportsAnAddressThatItCannotListenOn) {
    Server first({}, CatalogueOf(TwoSteps));
    first.Start();
    ServerOptions taken;
    taken.http.port = first.Port();
    Server second(std::move(taken), CatalogueOf(TwoSteps));
    EXPECT_THROW(second.Start(), std::system_error);
    ServerOptions foreign;
    foreign.http.listen = "no address";
    Server third(std::move(foreign), CatalogueOf(TwoSteps));
    EXPECT_THROW(third.Start(), std::system_error);
}

TEST(Server, IsReachedFromThisMachineOnlyUnlessToldOtherwise) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    EXPECT_THAT(server.Url(), StartsWith("http://127.0.0.1:"));
}

TEST(Server, RefusesWhatIsNotThePostOfAMessage) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    HttpClient client(server.Url());
    EXPECT_EQ(client.Request("GET", "/IssueCard.do").status, 405);
    EXPECT_EQ(client.Request("HEAD", "/IssueCard.do").status, 405);
    EXPECT_EQ(client.Request("DELETE", "/IssueCard.do").status, 405);
    EXPECT_EQ(client.Request("GET", "/").status, 404);
    EXPECT_EQ(client.Post(Opening("A"), "/issuecard.do").status, 404);
    EXPECT_EQ(client.Post(Opening("A"), "/IssueCardXdo").status, 404);
    EXPECT_EQ(client.Post("nothing").status, 400);
    EXPECT_THAT(client.Post("nothing").body, HasSubstr("does not begin with \"data=\""));
    EXPECT_EQ(server.Count().sessions, 0U);
}

TEST(Server, DescribesButDoesNotSendTheBodyToAHead) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    RawClient client(server.Port());
    client.Send("HEAD /IssueCard.do HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::string answer = client.ReadToEnd();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 405 Method Not Allowed\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nAllow: POST\r\n"));
    EXPECT_EQ(answer.find("\r\n\r\n"), answer.size() - 4);
}

TEST(Server, KeepsTheConnectionOfAnOldClientThatAsksForIt) {
    Server server({}, CatalogueOf(TwoSteps));
    server.Start();
    const auto asking = [](const std::string& header) {
        return "POST /IssueCard.do HTTP/1.0\r\n" + header +
               "Content-Length: " + std::to_string(Asking().size()) + "\r\n\r\n" + Asking();
    };
    RawClient client(server.Port());
    client.Send(asking("Connection: keep-alive\r\n"));
    EXPECT_TRUE(client.ReadUntil("Connection: keep-alive\r\n"));
    client.Send(asking(""));
    EXPECT_THAT(client.ReadToEnd(), HasSubstr("Connection: close\r\n"));
    EXPECT_EQ(server.Count().requests, 2U);
}

TEST(Server, ClosesAConnectionThatIsIdleForTooLong) {
    ServerOptions options;
    options.http.keepAlive = std::chrono::milliseconds(50);
    Server server(std::move(options), CatalogueOf(TwoSteps));
    server.Start();
    RawClient client(server.Port());
    client.Send(HttpPost(Asking()));
    EXPECT_THAT(client.ReadToEnd(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(RawClient(server.Port()).ReadToEnd(), "");
}
