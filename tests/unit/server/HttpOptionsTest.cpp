// SPDX-License-Identifier: Apache-2.0
// What libcurl is asked for, in which order.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iterator>

#include "tests/unit/server/HttpExchange.h"

using Na::ConnectionShare;
using Na::Http;
using Na::HttpOutcome;
using Na::HttpRequest;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

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

// How the process takes the signal, for as long as it lives.
class PipeSignal {
public:
    explicit PipeSignal(void (*handler)(int)) : before(std::signal(SIGPIPE, handler)) {}
    ~PipeSignal() { static_cast<void>(std::signal(SIGPIPE, before)); }
    PipeSignal(const PipeSignal&) = delete;
    PipeSignal& operator=(const PipeSignal&) = delete;

private:
    void (*before)(int);
};

TEST_F(FailingExchange, LeavesTheSignalToLibcurlInAProcessThatDoesNotIgnoreIt) {
    const PipeSignal fatal(SIG_DFL);
    spy.Decide(CURLE_OK, 1);
    Get();
    EXPECT_THAT(spy.OptionNames(), Not(Contains(CURLOPT_NOSIGNAL)));
}

TEST_F(FailingExchange, SetsItsOptionsInTheirOrder) {
    const PipeSignal ignored(SIG_IGN);
    spy.Decide(CURLE_OK, 1);
    Post("data={}", "10.0.0.1:3128");
    EXPECT_THAT(
        spy.OptionNames(),
        ElementsAre(
            CURLOPT_ERRORBUFFER, CURLOPT_PROXY, CURLOPT_VERBOSE, CURLOPT_FOLLOWLOCATION,
            CURLOPT_CONNECTTIMEOUT, CURLOPT_USE_SSL, CURLOPT_URL, CURLOPT_POSTFIELDSIZE,
            CURLOPT_COPYPOSTFIELDS, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, CURLOPT_COOKIEFILE,
            CURLOPT_HTTPHEADER, CURLOPT_COOKIEFILE, CURLOPT_COOKIEJAR, CURLOPT_MAXREDIRS,
            CURLOPT_SOCKOPTFUNCTION, CURLOPT_SOCKOPTDATA, CURLOPT_PROTOCOLS_STR, CURLOPT_REDIR_PROTOCOLS_STR,
            CURLOPT_DEBUGFUNCTION, CURLOPT_DEBUGDATA, CURLOPT_NOSIGNAL));
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
    const PipeSignal ignored(SIG_IGN);
    spy.Decide(CURLE_OK, 1);
    Get();
    EXPECT_THAT(
        spy.OptionNames(),
        ElementsAre(
            CURLOPT_ERRORBUFFER, CURLOPT_VERBOSE, CURLOPT_FOLLOWLOCATION, CURLOPT_CONNECTTIMEOUT,
            CURLOPT_USE_SSL, CURLOPT_URL, CURLOPT_HTTPGET, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
            CURLOPT_COOKIEFILE, CURLOPT_HTTPHEADER, CURLOPT_COOKIEFILE, CURLOPT_COOKIEJAR, CURLOPT_MAXREDIRS,
            CURLOPT_SOCKOPTFUNCTION, CURLOPT_SOCKOPTDATA, CURLOPT_PROTOCOLS_STR, CURLOPT_REDIR_PROTOCOLS_STR,
            CURLOPT_DEBUGFUNCTION, CURLOPT_DEBUGDATA, CURLOPT_NOSIGNAL));
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
    ConnectionShare connections;
    Http sharing(ExchangeContext, &connections);
    spy.Decide(CURLE_OK, 1);
    sharing.SendRequest(peer.Url(), HttpRequest::Post, "data={}", "");
    const auto names = spy.OptionNames();
    const auto share = std::find(names.begin(), names.end(), CURLOPT_SHARE);
    ASSERT_NE(share, names.end());
    EXPECT_EQ(*std::prev(share), CURLOPT_COOKIEJAR);
    EXPECT_EQ(*std::next(share), CURLOPT_MAXREDIRS);
}

TEST_F(FailingExchange, SharesNothingWithALibcurlThatIsTooOld) {
    spy.DecideVersion(0x073800);
    ConnectionShare connections;
    Http sharing(ExchangeContext, &connections);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(sharing.SendRequest(peer.Url(), HttpRequest::Post, "data={}", ""), HttpOutcome::Completed);
    }
    EXPECT_THAT(spy.OptionNames(), Not(Contains(CURLOPT_SHARE)));
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(FailingExchange, GivesUpASocketThatIsSilentForAMinute) {
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
    EXPECT_EQ(limit, 60000U);
    EXPECT_EQ(prepare(nullptr, -1, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
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
    {
        const Na::_CURL_LIFECYCLE lifecycle;
    }
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
