// SPDX-License-Identifier: Apache-2.0
// Exchanges that fail, and how often they are tried.
#include <fstream>

#include "tests/support/TestCertificate.h"
#include "tests/unit/server/HttpExchange.h"

using Na::Http;
using Na::HttpOutcome;
using Na::HttpRequest;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

struct Mapping {
    CURLcode code;
    HttpOutcome outcome;
    int attempts;
};

const Mapping Mappings[] = {
    {CURLE_URL_MALFORMAT, HttpOutcome::MalformedUrl, 1},
    {CURLE_COULDNT_RESOLVE_PROXY, HttpOutcome::NoConnection, 4},
    {CURLE_COULDNT_RESOLVE_HOST, HttpOutcome::NoConnection, 4},
    {CURLE_COULDNT_CONNECT, HttpOutcome::NoConnection, 4},
    {CURLE_SSL_CONNECT_ERROR, HttpOutcome::NoConnection, 4},
    {CURLE_REMOTE_ACCESS_DENIED, HttpOutcome::AccessDenied, 1},
    {CURLE_HTTP_RETURNED_ERROR, HttpOutcome::OtherFailure, 4},
    {CURLE_OPERATION_TIMEDOUT, HttpOutcome::TimedOut, 4},
    {CURLE_HTTP_POST_ERROR, HttpOutcome::NoResponse, 4},
    {CURLE_GOT_NOTHING, HttpOutcome::NoResponse, 4},
    {CURLE_RECV_ERROR, HttpOutcome::NoResponse, 4},
    {CURLE_BAD_CONTENT_ENCODING, HttpOutcome::BadContentEncoding, 1},
    {CURLE_AGAIN, HttpOutcome::TemporarilyUnavailable, 4}};

TEST_F(FailingExchange, GivesEveryCodeOfLibcurlItsOutcomeAndAttempts) {
    for (int code = 1; code < CURL_LAST; ++code) {
        Mapping expected = {static_cast<CURLcode>(code), HttpOutcome::OtherFailure, 1};
        for (const Mapping& mapping : Mappings) {
            expected = mapping.code == code ? mapping : expected;
        }
        const int before = spy.Performs();
        EXPECT_EQ(OutcomeOf(expected.code), expected.outcome) << code;
        EXPECT_EQ(spy.Performs() - before, expected.attempts) << code;
        EXPECT_EQ(http.GetResponseCode(), 0) << code;
    }
}

TEST_F(FailingExchange, EndsWithTheFirstAttemptThatSucceeds) {
    spy.Decide({{CURLE_RECV_ERROR, "broken"}, {CURLE_COULDNT_CONNECT, ""}, {CURLE_OK, "whole"}});
    EXPECT_EQ(Post(), HttpOutcome::Completed);
    EXPECT_EQ(http.GetResponse(), "whole");
    EXPECT_EQ(spy.Performs(), 3);
}

TEST_F(FailingExchange, EndsWithTheFirstAttemptThatCannotBeRepeated) {
    spy.Decide({{CURLE_RECV_ERROR, ""}, {CURLE_PEER_FAILED_VERIFICATION, ""}});
    EXPECT_EQ(Post(), HttpOutcome::OtherFailure);
    EXPECT_EQ(spy.Performs(), 2);
}

TEST_F(FailingExchange, KeepsTheEarlierBodyButNoStatusWhenItFails) {
    peer.Script({Answer("first")});
    Post();
    OutcomeOf(CURLE_GOT_NOTHING);
    EXPECT_EQ(http.GetResponseCode(), 0);
    EXPECT_EQ(http.GetResponse(), "first");
}

TEST_F(HttpExchange, TriesARefusedConnectionFourTimes) {
    const ClosedPort closed;
    EXPECT_EQ(
        http.SendRequest("http://" + closed.Address(), HttpRequest::Post, "data={}", ""),
        HttpOutcome::NoConnection);
    const auto log = world.LocatedLog();
    ASSERT_THAT(log, SizeIs(4));
    EXPECT_EQ(
        log[0],
        std::string("D SendRequest: Error sending request: 7 ") + curl_easy_strerror(CURLE_COULDNT_CONNECT));
    EXPECT_THAT(
        world.Log(), Contains(StartsWith("D/Error details: Failed to connect to 127.0.0.1 port ")).Times(4));
}

TEST_F(HttpExchange, TriesAMalformedUrlOnce) {
    EXPECT_EQ(
        http.SendRequest("http://bad host name/", HttpRequest::Post, "data={}", ""),
        HttpOutcome::MalformedUrl);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D SendRequest: Error sending request: 3 URL using bad/illegal format or missing URL"));
}

TEST_F(HttpExchange, TriesAnUnknownSchemeOnce) {
    EXPECT_EQ(http.SendRequest("nosuch://host/", HttpRequest::Post, "a", ""), HttpOutcome::OtherFailure);
    EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith("D SendRequest: Error sending request: 1 ")));
}

TEST_F(HttpExchange, AsksAgainWhenTheServerClosesWithoutAnAnswer) {
    peer.Script({CloseAtOnce(), CloseAtOnce(), CloseAtOnce(), Answer("at last")});
    EXPECT_EQ(Post(), HttpOutcome::Completed);
    EXPECT_EQ(http.GetResponse(), "at last");
    EXPECT_THAT(peer.Requests(), SizeIs(4));
}

TEST_F(HttpExchange, GivesUpAfterFourCloses) {
    peer.Script(std::deque<HttpReaction>(10, CloseAtOnce()));
    EXPECT_EQ(Post(), HttpOutcome::NoResponse);
    EXPECT_THAT(peer.Requests(), SizeIs(4));
}

TEST_F(HttpExchange, TriesOnceWhenTheAnswerBreaksOff) {
    peer.Script({BreakOff("{\"resultCode\":\"00000000\"}")});
    EXPECT_EQ(Post(), HttpOutcome::OtherFailure);
    EXPECT_THAT(peer.Requests(), SizeIs(1));
    EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith("D SendRequest: Error sending request: 18 ")));
}

TEST_F(HttpExchange, TriesOnceWhenTheAnswerIsNoHttp) {
    peer.Script({HttpReaction{"garbage\r\n\r\n", true}});
    EXPECT_EQ(Post(), HttpOutcome::OtherFailure);
    EXPECT_THAT(peer.Requests(), SizeIs(1));
}

TEST_F(HttpExchange, TriesFourTimesWhenTheTlsHandshakeBreaksOff) {
    HttpPeer secure(TestCertificate({"127.0.0.1"}).ServerContext());
    secure.RefuseConnections(10);
    EXPECT_EQ(http.SendRequest(secure.Url(), HttpRequest::Post, "a", ""), HttpOutcome::NoConnection);
    EXPECT_EQ(secure.Connections(), 4);
}

TEST_F(HttpExchange, TriesOnceWhenTheServersCertificateIsNotTrusted) {
    world.Configure("[trust]\nca-file=" + [this] {
        std::ofstream(world.Path() / "ca.pem") << TestCertificate({"other.example"}).Pem();
        return (world.Path() / "ca.pem").string();
    }());
    HttpPeer secure(TestCertificate({"127.0.0.1"}).ServerContext());
    EXPECT_EQ(http.SendRequest(secure.Url(), HttpRequest::Post, "a", ""), HttpOutcome::OtherFailure);
    EXPECT_EQ(secure.Connections(), 1);
    EXPECT_THAT(secure.Requests(), IsEmpty());
    EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith("D SendRequest: Error sending request: 60 ")));
}

TEST_F(HttpExchange, TriesOnceWhenTheServersCertificateIsForAnotherHost) {
    const TestCertificate certificate({"other.example"});
    std::ofstream(world.Path() / "ca.pem") << certificate.Pem();
    world.Configure("[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    HttpPeer secure(certificate.ServerContext());
    EXPECT_EQ(http.SendRequest(secure.Url(), HttpRequest::Post, "a", ""), HttpOutcome::OtherFailure);
    EXPECT_THAT(secure.Requests(), IsEmpty());
}

TEST_F(HttpExchange, TalksToAServerWhoseCertificateIsTrusted) {
    const TestCertificate certificate({"127.0.0.1"});
    std::ofstream(world.Path() / "ca.pem") << certificate.Pem();
    world.Configure("[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    HttpPeer secure(certificate.ServerContext());
    EXPECT_EQ(http.SendRequest(secure.Url(), HttpRequest::Post, "a", ""), HttpOutcome::Completed);
    EXPECT_THAT(secure.Requests(), SizeIs(1));
}

TEST_F(HttpExchange, FailsWhenLibcurlGivesNoHandle) {
    world.Configure("[fault curl_easy_init]\nresult=0\n");
    EXPECT_EQ(Post(), HttpOutcome::OtherFailure);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E SendRequest: Fatal: can't init curl"));
}

TEST_F(HttpExchange, FailsOnceItsContentWasMovedAway) {
    const Http moved = std::move(http);
    EXPECT_EQ(Post(), HttpOutcome::OtherFailure);
    EXPECT_EQ(http.GetResponse(), "");
    EXPECT_EQ(http.GetResponseCode(), 0);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("E SendRequest: Fatal: not initialized", "E GetResponse: Use of not initialized object"));
}

TEST_F(FailingExchange, SeesNoInternetWhenThePublicPageCannotBeReached) {
    spy.Decide(CURLE_COULDNT_RESOLVE_HOST, 4);
    EXPECT_FALSE(http.IsInternetConnection());
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, "https://www.example.com/");
    EXPECT_EQ(
        world.LocatedLog().back(),
        "E IsInternetConnection: Problem with internet connection. SendRequest returns: 7");
}

}  // namespace
