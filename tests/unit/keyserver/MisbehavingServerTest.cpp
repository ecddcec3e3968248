// SPDX-License-Identifier: Apache-2.0
#include <curl/curl.h>
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "keyserver/Server.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"

using namespace KeyServer;
using testing::HasSubstr;
using testing::Not;

namespace {

class MisbehavingServerTest : public testing::Test {
protected:
    void Order(const std::string& fault) { server.Misbehave({ParseMisbehaviour(fault)}); }

    // The raw bytes of the answer to one message.
    std::string RawAnswer() {
        RawClient raw(server.Port());
        raw.Send(HttpPost(Asking(), "Connection: close\r\n"));
        return raw.ReadToEnd();
    }

    // A server that has started, so that the client knows its port.
    struct StartedServer : Server {
        StartedServer() : Server({}, CatalogueOf(TwoSteps)) { Start(); }
    };
    StartedServer server;
    HttpClient client{server.Url()};
};

}  // namespace

TEST_F(MisbehavingServerTest, AnswersWithAStatus) {
    Order("status=404");
    EXPECT_EQ(client.Post(Opening("A")).status, 404);
    Order("status");
    EXPECT_EQ(client.Post(Opening("A")).status, 503);
}

TEST_F(MisbehavingServerTest, AnswersWithAnEmptyBody) {
    Order("empty");
    const HttpAnswer answer = client.Post(Opening("A"));
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "");
}

TEST_F(MisbehavingServerTest, TakesItsTime) {
    Order("delay=200");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
}

TEST_F(MisbehavingServerTest, ClosesInPlaceOfAnAnswerAndGivesItWhenTheMessageComesAgain) {
    client.Post(Opening("A"));
    Order("close-before@1x2");
    // libcurl itself sends once more, on a new connection, when a kept one turns out to be dead.
    EXPECT_EQ(client.Post(Responding("A", "/019000")).curlCode, CURLE_GOT_NOTHING);
    EXPECT_EQ(server.Count().messages, 3U);
    EXPECT_EQ(client.Post(Responding("A", "/019000")).body, SecondAnswer);
    EXPECT_EQ(server.Count().messages, 4U);
}

TEST_F(MisbehavingServerTest, ClosesWithoutAByteOnAFreshConnection) {
    Order("close-before");
    EXPECT_EQ(client.Post(Opening("A")).curlCode, CURLE_GOT_NOTHING);
    EXPECT_EQ(RawAnswer(), "");
}

TEST_F(MisbehavingServerTest, ClosesInTheMiddleOfTheAnswer) {
    const std::string whole = RawAnswer();
    const std::size_t head = whole.find("\r\n\r\n") + 4;
    Order("close-middle");
    EXPECT_EQ(RawAnswer(), whole.substr(0, head + (whole.size() - head) / 2));
    EXPECT_EQ(client.Post(Opening("A")).curlCode, CURLE_PARTIAL_FILE);
    Order("close-head");
    EXPECT_EQ(RawAnswer(), whole.substr(0, head / 2));
    EXPECT_NE(client.Post(Opening("A")).curlCode, CURLE_OK);
    server.Misbehave({ParseMisbehaviour("close-middle"), ParseMisbehaviour("empty")});
    EXPECT_THAT(RawAnswer(), Not(HasSubstr("\r\n\r\n"))) << "an empty body cannot be cut";
    Order("empty@2");
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
}

TEST_F(MisbehavingServerTest, ClosesAfterTheAnswerWithoutAWord) {
    Order("close-after");
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(client.Post(Asking()).status, 200);
        EXPECT_EQ(server.Count().connections, static_cast<std::uint64_t>(i));
    }
    RawClient raw(server.Port());
    raw.Send(HttpPost(Asking()));
    EXPECT_THAT(raw.ReadToEnd(), Not(HasSubstr("Connection: close")));
}

TEST_F(MisbehavingServerTest, AnnouncesThatItCloses) {
    Order("connection-close");
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(client.Post(Asking()).status, 200);
        EXPECT_EQ(server.Count().connections, static_cast<std::uint64_t>(i));
    }
    RawClient raw(server.Port());
    raw.Send(HttpPost(Asking()));
    EXPECT_THAT(raw.ReadToEnd(), HasSubstr("Connection: close"));
}

TEST_F(MisbehavingServerTest, ResetsTheConnection) {
    Order("reset");
    EXPECT_EQ(client.Post(Opening("A")).curlCode, CURLE_RECV_ERROR);
}

TEST_F(MisbehavingServerTest, SendsGarbage) {
    Order("garbage");
    const std::string garbage = RawAnswer();
    EXPECT_EQ(garbage.size(), 256U);
    EXPECT_THAT(garbage, Not(HasSubstr("HTTP")));
    EXPECT_NE(client.Post(Opening("A")).curlCode, CURLE_OK);
}

TEST_F(MisbehavingServerTest, RedirectsOnceAndThenAnswers) {
    client.FollowRedirects(5);
    Order("redirect@1x1");
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(server.Count().sessions, 1U);
    Order("redirect=302@1x1");
    EXPECT_EQ(client.Post(Opening("B")).status, 405) << "with 302, a client goes on with GET";
}

TEST_F(MisbehavingServerTest, RedirectsInALoop) {
    client.FollowRedirects(5);
    Order("redirect");
    EXPECT_EQ(client.Post(Opening("A")).curlCode, CURLE_TOO_MANY_REDIRECTS);
    EXPECT_EQ(server.Count().messages, 6U);
}

TEST_F(MisbehavingServerTest, RedirectsElsewhere) {
    Server other({}, CatalogueOf(TwoSteps));
    other.Start();
    client.FollowRedirects(5);
    Order("redirect-to=" + other.Url() + "/IssueCard.do");
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(other.Count().messages, 1U);
}

TEST_F(MisbehavingServerTest, NamesAnotherContentType) {
    Order("content-type=image/png");
    const HttpAnswer answer = client.Post(Opening("A"));
    EXPECT_EQ(answer.contentType, "image/png");
    EXPECT_EQ(answer.body, FirstAnswer);
}

TEST_F(MisbehavingServerTest, SendsWhatIsNoJson) {
    Order("not-json=binary");
    EXPECT_EQ(client.Post(Opening("A")).body.size(), 7U);
    Order("not-json=nested");
    EXPECT_TRUE(client.Post(Opening("A")).body == std::string(100000, '['));
}

TEST_F(MisbehavingServerTest, RestartsBetweenTwoMessagesAndKeepsItsSessions) {
    const int port = server.Port();
    Order("restart@1x1");
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    HttpAnswer answer;
    EXPECT_TRUE(Eventually([&] {
        answer = client.Post(Responding("A", "/019000"));
        return answer.curlCode == CURLE_OK;
    }));
    EXPECT_EQ(answer.body, SecondAnswer);
    EXPECT_EQ(server.Port(), port);
    EXPECT_EQ(server.Count().connections, 2U);
}

TEST_F(MisbehavingServerTest, AClientFindsThePortOpenAtAnyMomentOfARestart) {
    Order("restart");
    for (int i = 0; i < 500; ++i) {
        HttpClient other(server.Url());
        ASSERT_EQ(other.Post(Asking()).problem, "");
    }
    EXPECT_EQ(server.Count().connections, 500U);
}

TEST_F(MisbehavingServerTest, ResetsEachConnectionWhileItIsOutOfServiceForARestart) {
    Order("restart=60000@1x1");
    EXPECT_EQ(client.Post(Asking()).status, 200);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(client.Post(Asking()).curlCode, CURLE_OK);
    }
    EXPECT_EQ(server.Count().messages, 1U);
}

TEST_F(MisbehavingServerTest, IsInServiceAgainAfterTheTimeOfARestart) {
    Order("restart=50@1x1");
    EXPECT_EQ(client.Post(Asking()).status, 200);
    EXPECT_TRUE(Eventually([&] { return client.Post(Asking()).status == 200; }));
}

TEST_F(MisbehavingServerTest, CommitsSeveralFaultsAtOnce) {
    server.Misbehave(
        {ParseMisbehaviour("delay=100"), ParseMisbehaviour("status=500"), ParseMisbehaviour("close-after")});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Post(Asking()).status, 500);
    EXPECT_EQ(client.Post(Asking()).status, 500);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
    EXPECT_EQ(server.Count().connections, 2U);
}
