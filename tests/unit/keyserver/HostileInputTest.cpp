// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <random>

#include "keyserver/Server.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"

using namespace KeyServer;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class HostileInputTest : public testing::Test {
protected:
    HostileInputTest() {
        ServerOptions options;
        options.http.mostBytes = 4096;
        server = std::make_unique<Server>(std::move(options), CatalogueOf(TwoSteps));
        server->Start();
    }

    ~HostileInputTest() override {
        EXPECT_EQ(HttpClient(server->Url()).Post(Asking()).status, 200) << "the server serves on";
    }

    std::string AnswerTo(const std::string& bytes) {
        RawClient raw(server->Port());
        raw.Send(bytes);
        raw.EndSending();
        return raw.ReadToEnd();
    }

    std::unique_ptr<Server> server;
};

constexpr char PostHead[] = "POST /IssueCard.do HTTP/1.1\r\nHost: localhost\r\n";

}  // namespace

TEST_F(HostileInputTest, IsNoHttp) {
    EXPECT_THAT(AnswerTo("GARBAGE\r\n\r\n"), StartsWith("HTTP/1.1 400"));
    EXPECT_EQ(AnswerTo(""), "");
    AnswerTo(std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03", 11));
    AnswerTo(std::string(1000, '\0'));
    AnswerTo("\r\n\r\n\r\n");
}

TEST_F(HostileInputTest, IsRefusedOnceThenTheConnectionEnds) {
    const std::string answer = AnswerTo("GARBAGE\r\n\r\n" + HttpPost(Asking()));
    EXPECT_EQ(answer.find("HTTP/1.1"), answer.rfind("HTTP/1.1"));
}

TEST_F(HostileInputTest, HasAnEndlessRequestLineOrHeader) {
    EXPECT_THAT(AnswerTo("GET /" + std::string(100000, 'a') + " HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 4"));
    EXPECT_THAT(
        AnswerTo(std::string(PostHead) + "X: " + std::string(100000, 'a') + "\r\n\r\n"),
        StartsWith("HTTP/1.1 4"));
}

TEST_F(HostileInputTest, AnnouncesMoreThanIsAllowed) {
    EXPECT_THAT(AnswerTo(HttpPost("data=" + std::string(5000, 'x'))), StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(
        AnswerTo(
            std::string(PostHead) + "Content-Length: 18446744073709551615\r\n\r\n" + std::string(9000, 'x')),
        StartsWith("HTTP/1.1 413"));
}

TEST_F(HostileInputTest, SendsAnEndlessChunkedBody) {
    std::string chunks = std::string(PostHead) + "Transfer-Encoding: chunked\r\n\r\n";
    for (int i = 0; i < 100; ++i) {
        chunks += "100\r\n" + std::string(256, 'x') + "\r\n";
    }
    EXPECT_THAT(AnswerTo(chunks), StartsWith("HTTP/1.1 413"));
}

TEST_F(HostileInputTest, SendsLessThanItAnnounces) {
    EXPECT_THAT(
        AnswerTo(std::string(PostHead) + "Content-Length: 100\r\n\r\ndata={"), StartsWith("HTTP/1.1 400"));
    EXPECT_THAT(
        AnswerTo(std::string(PostHead) + "Transfer-Encoding: chunked\r\n\r\nFF\r\nabc"),
        StartsWith("HTTP/1.1 400"));
}

TEST_F(HostileInputTest, SendsABodyInChunks) {
    const std::string body = Asking();
    std::string chunked = std::string(PostHead) + "Transfer-Encoding: chunked\r\nConnection: close\r\n\r\n";
    for (const char character : body) {
        chunked += std::string("1\r\n") + character + "\r\n";
    }
    EXPECT_THAT(AnswerTo(chunked + "0\r\n\r\n"), HasSubstr("00000001"));
}

TEST_F(HostileInputTest, SendsSeveralRequestsAtOnce) {
    const std::string answers = AnswerTo(HttpPost(Opening("A")) + HttpPost(Responding("A", "/019000")));
    EXPECT_THAT(answers, HasSubstr(FirstAnswer));
    EXPECT_THAT(answers, HasSubstr(SecondAnswer));
}

TEST_F(HostileInputTest, SendsARequestByteByByte) {
    RawClient raw(server->Port());
    for (const char character : HttpPost(Asking(), "Connection: close\r\n")) {
        raw.Send(std::string(1, character));
    }
    EXPECT_THAT(raw.ReadToEnd(), HasSubstr("00000001"));
}

TEST_F(HostileInputTest, WaitsForPermissionToSendItsBody) {
    RawClient raw(server->Port());
    const std::string body = Asking();
    raw.Send(
        std::string(PostHead) + "Expect: 100-continue\r\nContent-Length: " + std::to_string(body.size()) +
        "\r\n\r\n");
    EXPECT_TRUE(raw.ReadUntil("HTTP/1.1 100"));
    raw.Send(body);
    EXPECT_TRUE(raw.ReadUntil("00000001"));
}

TEST_F(HostileInputTest, GoesAwayBeforeTheAnswer) {
    for (int i = 0; i < 20; ++i) {
        RawClient(server->Port()).Send(HttpPost(Opening("A" + std::to_string(i))));
    }
    EXPECT_TRUE(Eventually([this] { return server->Count().messages == 20; }));
}

TEST_F(HostileInputTest, SendsDeepAndHugeJson) {
    HttpClient client(server->Url());
    EXPECT_THAT(client.Post("data=" + std::string(4000, '[')).body, HasSubstr("10300004"));
    EXPECT_THAT(client.Post("data={\"UUID\":" + std::string(2000, '9') + "}").body, HasSubstr("10300004"));
    EXPECT_THAT(client.Post("data={\"UUID\":\"\xFF\"}").body, HasSubstr("10300004"));
    EXPECT_THAT(client.Post(std::string("data={\"UUID\":\"\0\"}", 17)).body, HasSubstr("10300004"));
    EXPECT_THAT(client.Post(R"(data={"UUID":"A","UUID":"B"})").body, HasSubstr("10300004"));
}

TEST_F(HostileInputTest, SendsRandomBytesAndRandomlyBrokenMessages) {
    std::mt19937 random(20240131);
    const std::string good = HttpPost(Opening("A"), "Connection: close\r\n");
    for (int round = 0; round < 200; ++round) {
        std::string bytes = good;
        for (int change = 0; change < 5; ++change) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        AnswerTo(round % 2 == 0 ? bytes : bytes.substr(0, random() % bytes.size()));
    }
}
