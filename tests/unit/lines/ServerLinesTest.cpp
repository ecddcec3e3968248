// SPDX-License-Identifier: Apache-2.0
// What the road to the server tells of its work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "app/NavoProxy.h"
#include "common/Http.h"
#include "common/Locations.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char Context[] = "dbus;com.example.wallet_2817";

class ServerLines : public testing::Test {
protected:
    ServerLines() { AllLines().clear(); }

    std::string CookieFile() const {
        return std::string(Locations::CookieDirectory) + "/dbus_com.example.wallet_2817";
    }

    DeviceWorld world;
    HttpPeer peer;
};

}  // namespace

TEST_F(ServerLines, ShowEachStepOfAnExchange) {
    peer.Script({Answer("two%20words")});
    Na::Http http(Context);
    http.SendRequest(peer.Url(), Na::HttpRequest::Post, "data={\"a\":\"b c\"}", "");
    http.GetResponse();
    EXPECT_THAT(
        LinesOfSource("common/Http.cpp"),
        ElementsAre(
            "T SendRequest: HTTP:\nurl " + peer.Url(), "T SendRequest: HTTP:\nreq data={\"a\":\"b c\"}",
            "T SendRequest: Sending HTTP POST data (15 bytes):\ndata={\"a\":\"bc\"}",
            "T SendRequest: Cookies storage: " + CookieFile(),
            std::string("T SendRequest: dir: ") + Locations::CookieDirectory, "T curl_write_cb: WCB: data:\n",
            "T curl_write_cb: two%20words", "T SendRequest: HTTP:\nresp(HTTP 200): two words",
            "T GetResponse: HTTP: resp two words"));
}

TEST_F(ServerLines, ShowTheProxyBeforeTheBody) {
    Na::Http http(Context);
    http.SendRequest("http://server.invalid/", Na::HttpRequest::Post, "a", peer.Address());
    const std::vector<std::string> lines = LinesOfSource("common/Http.cpp");
    ASSERT_GE(lines.size(), 4U);
    EXPECT_THAT(
        std::vector<std::string>(lines.begin() + 1, lines.begin() + 4),
        ElementsAre(
            "T SendRequest: HTTP:\nreq a",
            "D SendRequest: Using proxy http://" + peer.Address() + "/ for connection",
            "T SendRequest: Sending HTTP POST data (1 bytes):\na"));
}

TEST_F(ServerLines, ShowNoBodyWhereNoneIsSent) {
    Na::Http http(Context);
    http.SendRequest(peer.Url(), Na::HttpRequest::Get, "unused", "");
    http.SendRequest(peer.Url(), Na::HttpRequest::Post, "  ", "");
    EXPECT_THAT(LinesOfSource("common/Http.cpp"), Not(Contains(HasSubstr("Sending HTTP POST data"))));
}

TEST_F(ServerLines, EndAtARequestThatIsNotSupported) {
    Na::Http http(Context);
    http.SendRequest(peer.Url(), static_cast<Na::HttpRequest>(2), "body", "");
    EXPECT_THAT(
        LinesOfSource("common/Http.cpp"),
        ElementsAre(
            "T SendRequest: HTTP:\nurl " + peer.Url(), "T SendRequest: HTTP:\nreq body",
            "E SendRequest: Unsupported request type"));
}

TEST_F(ServerLines, WarnThatCookiesCannotBeUsed) {
    std::ofstream(world.Path() / "tmp") << "no folder";
    Na::Http http(Context);
    http.SendRequest(peer.Url(), Na::HttpRequest::Get, "", "");
    const std::vector<std::string> lines = LinesOfSource("common/Http.cpp");
    ASSERT_GE(lines.size(), 5U);
    EXPECT_EQ(lines[3], std::string("T SendRequest: dir: ") + Locations::CookieDirectory);
    EXPECT_EQ(lines[4], "W SendRequest: Can't use cookies. System error");
}

// The event is in progress for as long as the exchange goes on, and reading the answer waits for its end.
TEST_F(ServerLines, ShowTheEventOfAnExchange) {
    Na::Http http(Context);
    http.SendRequest(peer.Url(), Na::HttpRequest::Post, "a", "");
    const std::vector<std::string> lines = LinesOfSource("common/Utils.cpp");
    ASSERT_GE(lines.size(), 2U);
    EXPECT_THAT(lines.front(), StartsWith("T Start: Start 0x"));
    EXPECT_THAT(lines.back(), StartsWith("T Done: Up 0x"));
    AllLines().clear();
    http.GetResponse();
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"),
        ElementsAre(
            StartsWith("T Wait: 0x"), StartsWith("T Wait: Wait 0x"), StartsWith("T Wait: Finished 0x")));
}

TEST_F(ServerLines, ShowAMessageWithItsAddress) {
    Na::NavoProxy proxy(peer.Url());
    Na::Json message;
    message.Set("msgCd", "two words");
    proxy.SendRequest(Context, message);
    EXPECT_THAT(
        LinesOfSource("app/NavoProxy.cpp"),
        ElementsAre("T SendRequest: " + peer.Url() + " <= data={\"msgCd\":\"two words\"}"));
}

TEST_F(ServerLines, ShowWhatGoesIntoASessionKey) {
    Na::NavoProxy::GetSessionKey("150102030405", "ABCD1234", 50);
    EXPECT_THAT(
        LinesOfSource("app/NavoProxy.cpp"),
        ElementsAre(
            "T GetSessionKey: val1[12]: 150102030405", "T GetSessionKey: val2[8]: ABCD1234",
            StartsWith("T GetSessionKey: inp1[60]: "), StartsWith("T GetSessionKey: inp2[56]: "),
            StartsWith("T GetSessionKey: skey[64]: ")));
    AllLines().clear();
    Na::NavoProxy::GetSessionKey("150102030405", "", 50);
    EXPECT_THAT(
        LinesOfSource("app/NavoProxy.cpp"),
        ElementsAre(
            "T GetSessionKey: val1[12]: 150102030405",
            "T GetSessionKey: val2[0]: ", "D GetSessionKey: Bad parameter"));
}

TEST_F(ServerLines, ShowNoMoreThanTheBeginOfAJsonText) {
    Na::Json json;
    const std::string value(200, 'x');
    EXPECT_TRUE(json.Parse("{\"a\":\"" + value + "\"}"));
    EXPECT_THAT(
        LinesOfSource("common/Json.cpp"), ElementsAre("T Parse: data: {\"a\":\"" + value.substr(0, 114)));
}

TEST_F(ServerLines, WarnOfEachMemberThatIsNoText) {
    Na::Json json;
    EXPECT_TRUE(json.Parse(R"({"number":1,"text":"x","list":["y"],"nothing":null})"));
    const char Warning[] = "W Parse: Error parsing JSON object";
    EXPECT_THAT(
        LinesOfSource("common/Json.cpp"),
        ElementsAre(
            StartsWith("T Parse: data: "), Warning, "T Parse: number value is NULL", Warning,
            "T Parse: list value is NULL", Warning, "T Parse: nothing value is NULL"));
}

TEST_F(ServerLines, ShowTheTextThatCannotBeLoadedBeforeTheReason) {
    const Na::Json json("nonsense");
    EXPECT_THAT(
        LinesOfSource("common/Json.cpp"),
        ElementsAre(
            "T Parse: data: nonsense", StartsWith("E Parse: json_parser_load_from_data failed : "),
            "D Json: Json plain data parsing return error"));
}
