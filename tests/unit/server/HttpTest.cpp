#include "common/Http.h"

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "common/Locations.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/TestCertificate.h"
#include "tests/support/service/CurlSpy.h"
#include "tests/support/service/DeviceWorld.h"

using Na::ConnectionShare;
using Na::Http;
using Na::HttpOutcome;
using Na::HttpRequest;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr char Context[] = "dbus;com.example.wallet_2817";

class HttpExchange : public testing::Test {
protected:
    HttpOutcome Post(const std::string& body = "data={}", const std::string& proxy = "") {
        return http.SendRequest(peer.Url() + "/IssueCard.do", HttpRequest::Post, body, proxy);
    }

    HttpOutcome Get() { return http.SendRequest(peer.Url() + "/page", HttpRequest::Get, "", ""); }

    HttpPeer::Request OnlyRequest() {
        const auto requests = peer.Requests();
        EXPECT_THAT(requests, SizeIs(1));
        return requests.empty() ? HttpPeer::Request() : requests.front();
    }

    std::vector<std::string> CookieFiles() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(Locations::CookieDirectory)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    DeviceWorld world;
    HttpPeer peer;
    Http http{Context};
};

class FailingExchange : public HttpExchange {
protected:
    // Outcome when every attempt ends with the code.
    HttpOutcome OutcomeOf(CURLcode code) {
        spy.Decide(code, 10);
        return Post();
    }

    CurlSpy spy;
};

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
    Http(Context).SendRequest(peer.Url(), HttpRequest::Post, "data={}", "");
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

TEST_F(FailingExchange, LooksForHttpAnywhereInTheProxy) {
    spy.Decide(CURLE_OK, 4);
    const char* const forms[][2] = {
        {"10.0.0.1:3128", "http://10.0.0.1:3128/"},
        {"https://proxy:1", "https://proxy:1"},
        {"proxy.http.example:1", "proxy.http.example:1"},
        {"HTTP://proxy:1", "http://HTTP://proxy:1/"}};
    for (const auto& form : forms) {
        Post("data={}", form[0]);
        EXPECT_EQ(spy.Last(CURLOPT_PROXY).text, form[1]);
    }
}

TEST_F(FailingExchange, SetsItsOptionsInTheirOrder) {
    spy.Decide(CURLE_OK, 1);
    Post("data={}", "10.0.0.1:3128");
    EXPECT_THAT(
        spy.OptionNames(), ElementsAre(
                               CURLOPT_ERRORBUFFER, CURLOPT_PROXY, CURLOPT_VERBOSE, CURLOPT_FOLLOWLOCATION,
                               CURLOPT_CONNECTTIMEOUT, CURLOPT_USE_SSL, CURLOPT_URL, CURLOPT_POSTFIELDSIZE,
                               CURLOPT_COPYPOSTFIELDS, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                               CURLOPT_COOKIEFILE, CURLOPT_HTTPHEADER, CURLOPT_COOKIEFILE, CURLOPT_COOKIEJAR,
                               CURLOPT_MAXREDIRS, CURLOPT_SOCKOPTFUNCTION));
    EXPECT_EQ(spy.Last(CURLOPT_VERBOSE).number, 1);
    EXPECT_EQ(spy.Last(CURLOPT_FOLLOWLOCATION).number, 1);
    EXPECT_EQ(spy.Last(CURLOPT_CONNECTTIMEOUT).number, 20);
    EXPECT_EQ(spy.Last(CURLOPT_USE_SSL).number, 3);
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, peer.Url() + "/IssueCard.do");
    EXPECT_EQ(spy.Last(CURLOPT_POSTFIELDSIZE).number, 7);
    EXPECT_EQ(spy.Options()[11].text, "");
    const std::string cookies = std::string(Locations::CookieDirectory) + "/dbus_com.example.wallet_2817";
    EXPECT_EQ(spy.Last(CURLOPT_COOKIEFILE).text, cookies);
    EXPECT_EQ(spy.Last(CURLOPT_COOKIEJAR).text, cookies);
    EXPECT_EQ(spy.Last(CURLOPT_MAXREDIRS).number, 30);
}

TEST_F(FailingExchange, SetsFewerOptionsForAGetThroughNoProxy) {
    spy.Decide(CURLE_OK, 1);
    Get();
    EXPECT_THAT(
        spy.OptionNames(),
        ElementsAre(
            CURLOPT_ERRORBUFFER, CURLOPT_VERBOSE, CURLOPT_FOLLOWLOCATION, CURLOPT_CONNECTTIMEOUT,
            CURLOPT_USE_SSL, CURLOPT_URL, CURLOPT_HTTPGET, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
            CURLOPT_COOKIEFILE, CURLOPT_HTTPHEADER, CURLOPT_COOKIEFILE, CURLOPT_COOKIEJAR, CURLOPT_MAXREDIRS,
            CURLOPT_SOCKOPTFUNCTION));
}

TEST_F(FailingExchange, SetsItsHeadersInTheirOrder) {
    spy.Decide(CURLE_OK, 2);
    Get();
    EXPECT_EQ(spy.Last(CURLOPT_HTTPHEADER).text, "User-Agent: libcurl\nAccept: */*\n");
    Post();
    EXPECT_EQ(
        spy.Last(CURLOPT_HTTPHEADER).text,
        "User-Agent: libcurl\nAccept: */*\nContent-type: application/x-www-form-urlencoded\n");
}

TEST_F(FailingExchange, NamesNoFileOfCookiesWithoutAContext) {
    spy.Decide(CURLE_OK, 1);
    Http("").SendRequest(peer.Url(), HttpRequest::Get, "", "");
    EXPECT_EQ(spy.Last(CURLOPT_COOKIEJAR).text, std::string(Locations::CookieDirectory) + "/");
}

TEST_F(FailingExchange, SetsNoBodyWhenNothingButBlanksIsPosted) {
    spy.Decide(CURLE_OK, 1);
    Post("   ");
    EXPECT_THAT(spy.OptionNames(), Not(Contains(CURLOPT_POSTFIELDSIZE)));
    EXPECT_THAT(spy.OptionNames(), Not(Contains(CURLOPT_COPYPOSTFIELDS)));
}

TEST_F(FailingExchange, SharesConnectionsAfterEveryOtherStatedOption) {
    const ConnectionShare connections;
    Http sharing(Context, &connections);
    spy.Decide(CURLE_OK, 1);
    sharing.SendRequest(peer.Url(), HttpRequest::Post, "data={}", "");
    const auto names = spy.OptionNames();
    ASSERT_GE(names.size(), 4U);
    EXPECT_THAT(
        std::vector<CURLoption>(names.end() - 4, names.end()),
        ElementsAre(CURLOPT_COOKIEJAR, CURLOPT_SHARE, CURLOPT_MAXREDIRS, CURLOPT_SOCKOPTFUNCTION));
}

TEST_F(FailingExchange, SharesNothingWithALibcurlThatIsTooOld) {
    spy.DecideVersion(0x073800);
    const ConnectionShare connections;
    Http sharing(Context, &connections);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(sharing.SendRequest(peer.Url(), HttpRequest::Post, "data={}", ""), HttpOutcome::Completed);
    }
    EXPECT_THAT(spy.OptionNames(), Not(Contains(CURLOPT_SHARE)));
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(FailingExchange, GivesUpASocketThatIsSilentForTwentySeconds) {
    spy.Decide(CURLE_OK, 1);
    Post();
    auto* const prepare =
        reinterpret_cast<curl_sockopt_callback>(const_cast<void*>(spy.Last(CURLOPT_SOCKOPTFUNCTION).pointer));
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(prepare(nullptr, socket, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
    unsigned limit = 0;
    socklen_t length = sizeof limit;
    getsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &limit, &length);
    close(socket);
    EXPECT_EQ(limit, 20000U);
    EXPECT_EQ(prepare(nullptr, -1, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
}

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
    EXPECT_EQ(log[0], "D SendRequest: Error sending request: 7 Couldn't connect to server");
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

TEST_F(FailingExchange, SeesNoInternetWhenThePublicPageCannotBeReached) {
    spy.Decide(CURLE_COULDNT_RESOLVE_HOST, 4);
    EXPECT_FALSE(http.IsInternetConnection());
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, "https://www.example.com/");
    EXPECT_EQ(
        world.LocatedLog().back(),
        "E IsInternetConnection: Problem with internet connection. SendRequest returns: 7");
}

TEST(CurlWriteCallback, AppendsAndTakesEveryByte) {
    std::string target = "before ";
    char bytes[] = {'a', '\0', 'b', 'c', 'd', 'e'};
    EXPECT_EQ(Na::curl_write_cb(bytes, 2, 3, &target), 6U);
    EXPECT_EQ(target, "before " + std::string("a\0bcde", 6));
    EXPECT_EQ(Na::curl_write_cb(bytes, 1, 0, &target), 0U);
}

TEST(CurlLifecycle, StartsAndStopsLibcurl) {
    const DeviceWorld world;
    const CurlSpy spy;
    { const Na::_CURL_LIFECYCLE lifecycle; }
    EXPECT_EQ(spy.Starts(), 1);
    EXPECT_EQ(spy.StartFlags(), 3);
    EXPECT_EQ(spy.Stops(), 1);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(CurlLifecycle, SaysThatLibcurlDidNotStart) {
    const DeviceWorld world;
    {
        CurlSpy spy;
        spy.DecideStart(CURLE_FAILED_INIT);
        const Na::_CURL_LIFECYCLE lifecycle;
    }
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("E _CURL_LIFECYCLE: Fatal: cUrl initialization failed with code: 2"));
    curl_global_init(CURL_GLOBAL_ALL);  // balances the stop
}

}  // namespace
