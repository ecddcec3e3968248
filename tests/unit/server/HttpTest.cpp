// SPDX-License-Identifier: Apache-2.0
// One request and its answer.
#include <stdlib.h>

#include <fstream>

#include "tests/support/TestCertificate.h"
#include "tests/unit/server/HttpExchange.h"

using Na::Http;
using Na::HttpOutcome;
using Na::HttpRequest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

TEST_F(HttpExchange, GivesStatusAndBodyOfTheAnswer) {
    peer.Script({Answer("{\"resultCode\":\"00000000\"}", 201)});
    EXPECT_EQ(Post(), HttpOutcome::Completed);
    EXPECT_EQ(http.GetResponseCode(), 201);
    EXPECT_EQ(http.GetResponse(), "{\"resultCode\":\"00000000\"}");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(HttpExchange, HasNeitherStatusNorBodyBeforeTheFirstAnswer) {
    EXPECT_EQ(http.GetResponseCode(), 0);
    EXPECT_EQ(http.GetResponse(), "");
}

TEST_F(HttpExchange, CompletesWithAnErrorStatus) {
    for (const int status : {400, 404, 500, 503}) {
        peer.Script({Answer("sorry", status)});
        EXPECT_EQ(Post(), HttpOutcome::Completed);
        EXPECT_EQ(http.GetResponseCode(), status);
        EXPECT_EQ(http.GetResponse(), "sorry");
    }
}

TEST_F(HttpExchange, PostsToThePathWithItsHeaders) {
    Post("data={\"a\":\"b\"}");
    const HttpPeer::Request request = OnlyRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/IssueCard.do");
    EXPECT_EQ(request.body, "data={\"a\":\"b\"}");
    EXPECT_EQ(request.headers.at("user-agent"), "libcurl");
    EXPECT_EQ(request.headers.at("accept"), "*/*");
    EXPECT_EQ(request.headers.at("content-type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(request.headers.at("content-length"), "14");
}

TEST_F(HttpExchange, GetsWithItsHeaders) {
    EXPECT_EQ(Get(), HttpOutcome::Completed);
    const HttpPeer::Request request = OnlyRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/page");
    EXPECT_EQ(request.headers.at("user-agent"), "libcurl");
    EXPECT_EQ(request.headers.at("accept"), "*/*");
    EXPECT_EQ(request.headers.count("content-type"), 0U);
}

TEST_F(HttpExchange, LeavesOutEveryBlankOfThePostedBody) {
    Post(" data={\"model\" : \"two  words\"} ");
    EXPECT_EQ(OnlyRequest().body, "data={\"model\":\"twowords\"}");
}

TEST_F(HttpExchange, EscapesNothingElse) {
    const std::string body = "data=\t\n%20+&=\"\\\xC3\xA9;#?";
    Post(body);
    EXPECT_EQ(OnlyRequest().body, body);
}

TEST_F(HttpExchange, PostsAMessageOfSeveralMegabytes) {
    const std::string body(3000000, 'A');
    EXPECT_EQ(Post(body), HttpOutcome::Completed);
    EXPECT_EQ(OnlyRequest().body, body);
}

TEST_F(HttpExchange, UnescapesTheAnswer) {
    peer.Script({Answer("two%20words%2C 100%25 a+b %zz %")});
    Post();
    EXPECT_EQ(http.GetResponse(), "two words, 100% a+b %zz %");
}

TEST_F(HttpExchange, KeepsWhatFollowsAnEscapedZeroByte) {
    peer.Script({Answer("a%00b")});
    Post();
    EXPECT_EQ(http.GetResponse(), std::string("a\0b", 3));
}

TEST_F(HttpExchange, GivesAnEmptyBodyForAnEmptyAnswer) {
    peer.Script({Answer("first"), Answer("")});
    Post();
    Post();
    EXPECT_EQ(http.GetResponseCode(), 200);
    EXPECT_EQ(http.GetResponse(), "");
}

TEST_F(HttpExchange, PutsALargeAnswerTogether) {
    const std::string body(3000000, 'x');
    peer.Script({Answer(body)});
    Post();
    EXPECT_EQ(http.GetResponse(), body);
}

TEST_F(HttpExchange, RefusesAnyOtherTypeOfRequest) {
    EXPECT_EQ(
        http.SendRequest(peer.Url(), static_cast<HttpRequest>(2), "body", ""),
        HttpOutcome::UnsupportedRequest);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E SendRequest: Unsupported request type"));
    EXPECT_EQ(peer.Connections(), 0);
}

TEST_F(HttpExchange, NamesTheCookieFileAfterTheContext) {
    Post();
    EXPECT_THAT(CookieFiles(), ElementsAre("dbus_com.example.wallet_2817"));
}

TEST_F(HttpExchange, ReplacesSevenCharactersInTheNameOfTheCookieFile) {
    Http("app:1/x").SendRequest(peer.Url(), HttpRequest::Get, "", "");
    EXPECT_THAT(CookieFiles(), ElementsAre("app_1_x"));
    fs::remove(fs::path(Locations::CookieDirectory) / "app_1_x");
    Http("a;b:c,d/e\\f*g+h i.j-k").SendRequest(peer.Url(), HttpRequest::Get, "", "");
    EXPECT_THAT(CookieFiles(), ElementsAre("a_b_c_d_e_f_g_h i.j-k"));
}

TEST_F(HttpExchange, SendsTheCookiesThatTheContextWasGiven) {
    peer.Script({Answer("{}", 200, "Set-Cookie: session=abc; Max-Age=3600\r\n"), Answer("{}"), Answer("{}")});
    Post();
    Http(ExchangeContext).SendRequest(peer.Url(), HttpRequest::Post, "data={}", "");
    Http("another").SendRequest(peer.Url(), HttpRequest::Post, "data={}", "");
    const auto requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(requests[0].headers.count("cookie"), 0U);
    EXPECT_EQ(requests[1].headers.at("cookie"), "session=abc");
    EXPECT_EQ(requests[2].headers.count("cookie"), 0U);
}

TEST_F(HttpExchange, KeepsTheCookieFolderFromOtherUsers) {
    Post();
    EXPECT_EQ(fs::status(Locations::CookieDirectory).permissions(), fs::perms::owner_all);
}

TEST_F(HttpExchange, GoesOnWithoutCookiesWhenTheirFolderCannotBeMade) {
    std::ofstream(world.Path() / "tmp") << "no folder";
    EXPECT_EQ(Post(), HttpOutcome::Completed);
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(StartsWith("D SystemMkDir: Path '")));  // the warning is not written
}

TEST_F(HttpExchange, FollowsARedirect) {
    peer.Script({Answer("", 302, "Location: /elsewhere\r\n"), Answer("found")});
    EXPECT_EQ(Get(), HttpOutcome::Completed);
    EXPECT_EQ(http.GetResponse(), "found");
    EXPECT_EQ(http.GetResponseCode(), 200);
}

TEST_F(HttpExchange, EndsALoopOfRedirects) {
    peer.Script(std::deque<HttpReaction>(100, Answer("", 302, "Location: /again\r\n")));
    EXPECT_EQ(Get(), HttpOutcome::OtherFailure);
    EXPECT_THAT(peer.Requests(), SizeIs(31));
}

TEST_F(HttpExchange, SpeaksToAProxyWithoutASchemeInHttp) {
    http.SendRequest("http://server.invalid/IssueCard.do", HttpRequest::Post, "data={}", peer.Address());
    EXPECT_EQ(OnlyRequest().target, "http://server.invalid/IssueCard.do");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D SendRequest: Using proxy http://" + peer.Address() + "/ for connection"));
}

TEST_F(HttpExchange, LeavesAProxyThatNamesHttpAsItIs) {
    http.SendRequest("http://server.invalid/", HttpRequest::Get, "", peer.Url());
    EXPECT_EQ(OnlyRequest().target, "http://server.invalid/");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D SendRequest: Using proxy " + peer.Url() + " for connection"));
}

// The public page is reached through a proxy that answers in its place.
TEST_F(HttpExchange, SeesTheInternetWhenThePublicPageAnswers) {
    const TestCertificate certificate({"www.example.com"});
    std::ofstream(world.Path() / "ca.pem") << certificate.Pem();
    world.Configure("[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    peer.TunnelInto(certificate.ServerContext());
    setenv("https_proxy", peer.Url().c_str(), 1);
    const bool connected = http.IsInternetConnection();
    unsetenv("https_proxy");
    EXPECT_TRUE(connected);
    const auto requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_EQ(requests[0].target, "www.example.com:443");
    EXPECT_EQ(requests[1].method, "GET");
    EXPECT_EQ(requests[1].target, "/");
    EXPECT_EQ(requests[1].headers.at("host"), "www.example.com");
    EXPECT_THAT(world.Log(), IsEmpty());
}

}  // namespace
