// SPDX-License-Identifier: Apache-2.0
#include "app/NavoProxy.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>

#include "app/Network.h"
#include "app/ResultCode.h"
#include "app/ServerAddress.h"
#include "device/VirtualDevice.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/CurlSpy.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/support/service/StoppedClock.h"

using Na::GetResultCode;
using Na::GetResultCodeText;
using Na::NavoProxy;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr char Context[] = "dbus;com.example.wallet_2817";
constexpr char UuidForm[] = "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";
constexpr time_t Clock = 1420167845;  // 2015-01-02 03:04:05 UTC

// The message that a request carries: its body behind the prefix.
std::string MessageOf(const HttpPeer::Request& request) {
    EXPECT_THAT(request.body, StartsWith("data="));
    return request.body.substr(5);
}

// Text of the member "UUID".
std::string UuidOf(const std::string& message) {
    constexpr char Name[] = "\"UUID\":\"";
    const std::size_t start = message.find(Name);
    if (start == std::string::npos) {
        ADD_FAILURE() << "no UUID in " << message;
        return {};
    }
    const std::size_t valueStart = start + sizeof Name - 1;
    return message.substr(valueStart, message.find('"', valueStart) - valueStart);
}

// The message with its random identifier taken out.
std::string WithoutUuid(std::string message) {
    const std::string uuid = UuidOf(message);
    EXPECT_THAT(uuid, MatchesRegex(UuidForm));
    return message.replace(message.find(uuid), uuid.size(), "RANDOM");
}

class ServerProtocol : public testing::Test {
protected:
    ServerProtocol() {
        world.Configure(
            "[device]\nmodel-name=Two Words\nbuild-string=BUILD7\nlocale=en_GB\nsales-code=ABC\n"
            "[sim 0]\nmcc=262\nmnc=01\n[network]\ntype=wifi\n");
    }

    std::string Send() {
        Na::Json message;
        message.Set("msgCd", "ANY");
        return proxy.SendRequest(Context, message);
    }

    std::string Begin() {
        return proxy.InitializeApdu(Context, "SEID", "SERVICE", "CPLC", "ABCD1234", "PUSH");
    }

    std::size_t LinesWith(const std::string& text) const {
        const auto log = world.LocatedLog();
        return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        }));
    }

    DeviceWorld world;
    HttpPeer peer;
    NavoProxy proxy{peer.Url()};
};

class FailingServer : public ServerProtocol {
protected:
    CurlSpy spy;
};

// A way to the Internet that notes the current result of each step.
class WatchingRoad : public Na::INetwork {
public:
    explicit WatchingRoad(std::vector<Na::ResultCode>* seenResults) : results(seenResults) {}

    std::string GetName() const override { return "watching"; }
    std::string GetConnectionKind() const override { return {}; }
    bool OpenConnection() override {
        Note();
        return true;
    }
    void CloseConnection() override { Note(); }
    std::string GetProxyAddress() override {
        Note();
        return "";
    }

private:
    void Note() { results->push_back(GetResultCode()); }

    std::vector<Na::ResultCode>* results;
};

// The current results at the opening, at the question for a proxy and at the closing.
std::vector<Na::ResultCode> ResultsAlongTheRoad() {
    DeviceWorld world;
    world.Configure("[network]\ntype=disconnected\n");
    HttpPeer peer;
    peer.Script({Answer("{\"resultCode\":\"00000002\"}")});
    std::vector<Na::ResultCode> results;
    Na::Network::GetInstance()->RegisterInterface(std::make_unique<WatchingRoad>(&results));
    Na::SetResultCode(Na::ResultCode::Done);
    NavoProxy(peer.Url()).SendRequest(Context, Na::Json());
    return results;
}

TEST_F(ServerProtocol, BeginsASessionWithTheDevicesFacts) {
    const StoppedClock clock(Clock, 0);
    peer.Script({Answer("{\"resultCode\":\"00000000\"}")});
    EXPECT_EQ(Begin(), "{\"resultCode\":\"00000000\"}");
    const HttpPeer::Request request = peer.Requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/IssueCard.do");
    EXPECT_EQ(
        WithoutUuid(request.body),
        "data={\"UUID\":\"RANDOM\",\"agentVersion\":\"1.0.19\",\"cplc\":\"CPLC\",\"deviceCodeVersion\":"
        "\"BUILD7\","
        "\"deviceCsc\":\"ABC\",\"deviceMcc\":\"262\",\"deviceMnc\":\"01\",\"deviceModel\":\"TwoWords\","
        "\"location\":\"GB\",\"msgCd\":\"INITIALIZEAPDU\",\"msgTime\":\"150102030405\",\"pushReq\":\"PUSH\","
        "\"seId\":\"SEID\",\"serviceId\":\"SERVICE\","
        "\"sessionKey\":\"B320F99A10AA1E0A3952E96699A5E364C5E9961B1D61AF10E8196333099A7CF9\"}");
}

TEST_F(ServerProtocol, BeginsASessionWithoutAKeyWhenThereIsNoSeed) {
    proxy.InitializeApdu(Context, "SEID", "SERVICE", "CPLC", "", "PUSH");
    EXPECT_THAT(MessageOf(peer.Requests().at(0)), HasSubstr("\"sessionKey\":\"\""));
    EXPECT_EQ(LinesWith("D GetSessionKey: Bad parameter"), 1U);
}

TEST_F(ServerProtocol, ContinuesTheSessionWithItsIdentifier) {
    const StoppedClock clock(Clock, 0);
    Begin();
    proxy.NextApdu(Context, "SEID", "2/9000");
    proxy.NextApdu(Context, "SEID", "3/9000");
    const auto requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(3));
    const std::string uuid = UuidOf(requests[0].body);
    EXPECT_THAT(uuid, MatchesRegex(UuidForm));
    EXPECT_EQ(
        MessageOf(requests[1]), "{\"UUID\":\"" + uuid +
                                    "\",\"msgCd\":\"NEXTAPDU\",\"msgTime\":\"150102030405\",\"rApduSet\":\"2/"
                                    "9000\",\"seId\":\"SEID\"}");
    EXPECT_EQ(UuidOf(requests[2].body), uuid);
}

TEST_F(ServerProtocol, TakesANewIdentifierForEachSession) {
    Begin();
    Begin();
    proxy.NextApdu(Context, "SEID", "");
    const auto requests = peer.Requests();
    EXPECT_NE(UuidOf(requests.at(0).body), UuidOf(requests.at(1).body));
    EXPECT_EQ(UuidOf(requests.at(2).body), UuidOf(requests.at(1).body));
}

TEST_F(ServerProtocol, SendsAnEmptyIdentifierBeforeASessionBegan) {
    proxy.NextApdu(Context, "SEID", "");
    EXPECT_EQ(UuidOf(peer.Requests().at(0).body), "");
}

TEST_F(ServerProtocol, AsksForEligibilityWithTheDevicesFacts) {
    const StoppedClock clock(Clock, 0);
    proxy.Eligibility(Context, "SEID");
    const auto requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_EQ(
        WithoutUuid(MessageOf(requests[0])),
        "{\"UUID\":\"RANDOM\",\"agentVersion\":\"1.0.19\",\"deviceCodeVersion\":\"BUILD7\",\"deviceCsc\":"
        "\"ABC\","
        "\"deviceMcc\":\"262\",\"deviceMnc\":\"01\",\"deviceModel\":\"TwoWords\",\"deviceRoaming\":\"false\","
        "\"msgCd\":\"ELIGIBILITY\",\"msgTime\":\"150102030405\",\"seId\":\"SEID\"}");
}

TEST_F(ServerProtocol, TellsTheServerThatTheDeviceRoams) {
    world.Configure("[sim 0]\nmcc=262\nmnc=01\nroaming=true\n[network]\ntype=wifi\n");
    proxy.Eligibility(Context, "SEID");
    EXPECT_THAT(peer.Requests().at(0).body, HasSubstr("\"deviceRoaming\":\"true\""));
}

TEST_F(ServerProtocol, LeavesTheSessionAloneWhenItAsksForEligibility) {
    Begin();
    proxy.Eligibility(Context, "SEID");
    proxy.NextApdu(Context, "SEID", "");
    const auto requests = peer.Requests();
    EXPECT_NE(UuidOf(requests.at(1).body), UuidOf(requests.at(0).body));
    EXPECT_EQ(UuidOf(requests.at(2).body), UuidOf(requests.at(0).body));
}

TEST_F(ServerProtocol, AsksForEligibilityThreeTimesWhileTheServerSaysToWait) {
    peer.Script(std::deque<HttpReaction>(5, Answer("{\"resultCode\":\"10500006\"}")));
    EXPECT_FALSE(proxy.Eligibility(Context, "SEID"));
    const auto requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(requests[1].body, requests[0].body);
    EXPECT_EQ(requests[2].body, requests[0].body);
    EXPECT_EQ(Na::GetResultMessage(), ResultText::PleaseWait);
}

TEST_F(ServerProtocol, StopsAskingForEligibilityAtAnyOtherAnswer) {
    peer.Script({Answer("{\"resultCode\":\"10500006\"}"), Answer("{\"resultCode\":\"00000001\"}")});
    EXPECT_FALSE(proxy.Eligibility(Context, "SEID"));  // the flag is false after a success too
    EXPECT_THAT(peer.Requests(), SizeIs(2));
    EXPECT_EQ(GetResultCodeText(), "00000001");
}

TEST_F(ServerProtocol, AnswersNoEligibilityEvenWithoutAResultOfTheServer) {
    peer.Script({Answer("{}")});
    EXPECT_FALSE(proxy.Eligibility(Context, "SEID"));
    EXPECT_EQ(GetResultCode(), Na::ResultCode::Done);
}

// What a server answers, and what becomes the current result.
struct AnswerCase {
    const char* name;
    const char* body;
    Na::ResultCode code;
    const char* text;
};

void PrintTo(const AnswerCase& each, std::ostream* stream) {
    *stream << each.name;
}

class ServerAnswer : public ServerProtocol, public testing::WithParamInterface<AnswerCase> {};

TEST_P(ServerAnswer, BecomesTheCurrentResultAndIsHandedOn) {
    peer.Script({Answer(GetParam().body)});
    EXPECT_EQ(Send(), GetParam().body);
    EXPECT_EQ(GetResultCode(), GetParam().code);
    EXPECT_EQ(GetResultCodeText(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    NavoProxy, ServerAnswer,
    testing::Values(
        AnswerCase{"KnownCode", "{\"resultCode\":\"00000000\"}", Na::ResultCode::CommandSetToRun, "00000000"},
        AnswerCase{"CodeOfAnotherKey", "{\"resultCode\":\"20000001\"}", Na::ResultCode(20000000), "20000001"},
        AnswerCase{"UnknownCode", "{\"resultCode\":\"77777777\"}", Na::ResultCode::Unknown, "77777777"},
        AnswerCase{
            "TextThatIsNoCode", "{\"resultCode\":\"anything at all\"}", Na::ResultCode::Unknown,
            "anything at all"},
        AnswerCase{"NoCode", "{}", Na::ResultCode::Done, "00000001"},
        AnswerCase{"EmptyCode", "{\"resultCode\":\"\"}", Na::ResultCode::Done, "00000001"},
        AnswerCase{"CodeAsANumber", "{\"resultCode\":10500006}", Na::ResultCode::Done, "00000001"},
        AnswerCase{"Array", "[]", Na::ResultCode::Done, "00000001"},
        AnswerCase{"NoJson", "<html></html>", Na::ResultCode::Done, "00000001"},
        AnswerCase{"Blank", " ", Na::ResultCode::Done, "00000001"},
        AnswerCase{"InvalidUtf8", "{\"resultCode\":\"\xFF\"}", Na::ResultCode::Done, "00000001"},
        AnswerCase{
            "Surrogate", "{\"resultCode\":\"\\ud800x\"}", Na::ResultCode::NoResponseFromServer, "10100019"},
        AnswerCase{"OctalCharacter", "{\"resultCode\":\"\\101\"}", Na::ResultCode::Unknown, "A"}),
    [](const testing::TestParamInfo<AnswerCase>& answer) { return answer.param.name; });

TEST_F(ServerProtocol, IsUnescapedBeforeItIsRead) {
    peer.Script({Answer("%7B%22resultCode%22%3A%2210%2500004%22%7D")});
    EXPECT_EQ(Send(), "{\"resultCode\":\"10%00004\"}");
    EXPECT_EQ(GetResultCodeText(), "10%00004");
}

TEST_F(ServerProtocol, HasNoResultWhenTheBodyIsEmpty) {
    peer.Script({Answer("")});
    EXPECT_EQ(Send(), "");
    EXPECT_EQ(GetResultCode(), Na::ResultCode::NoResponseFromServer);
    EXPECT_EQ(LinesWith("E Parse: json_parser_load_from_data failed : the text is empty"), 1U);
    EXPECT_EQ(LinesWith("D Json: Json plain data parsing return error"), 1U);
}

TEST_F(ServerProtocol, MakesAnyOtherHttpStatusTheResult) {
    for (const int status : {201, 204, 400, 404, 500, 503}) {
        peer.Script({Answer(status == 204 ? "" : "{\"resultCode\":\"00000000\"}", status)});
        EXPECT_EQ(Send(), "");
        EXPECT_EQ(GetResultCodeText(), std::to_string(status));
        EXPECT_EQ(Na::GetResultMessage(), std::to_string(status));
    }
}

TEST_F(ServerProtocol, TakesAnAnswerWithoutAnHttpStatusForAProtocolError) {
    TemporaryFolder folder;
    folder.Write("IssueCard.do", "{\"resultCode\":\"00000000\"}");
    NavoProxy files("file://" + folder.Path().string());
    EXPECT_EQ(files.SendRequest(Context, Na::Json()), "");
    EXPECT_EQ(GetResultCode(), Na::ResultCode::ProtocolError);
}

struct FailureCase {
    CURLcode code;
    Na::ResultCode result;
};

TEST_F(FailingServer, GivesEveryTransportFailureItsResult) {
    const FailureCase cases[] = {
        {CURLE_URL_MALFORMAT, Na::ResultCode::MalformedUrl},
        {CURLE_BAD_CONTENT_ENCODING, Na::ResultCode::BadContentEncoding},
        {CURLE_AGAIN, Na::ResultCode::TemporarilyUnavailable},
        {CURLE_HTTP_POST_ERROR, Na::ResultCode::NoResponseFromServer},
        {CURLE_GOT_NOTHING, Na::ResultCode::NoResponseFromServer},
        {CURLE_RECV_ERROR, Na::ResultCode::NoResponseFromServer},
        {CURLE_OPERATION_TIMEDOUT, Na::ResultCode::TimedOut},
        {CURLE_COULDNT_RESOLVE_PROXY, Na::ResultCode::HostUnreachable},
        {CURLE_COULDNT_RESOLVE_HOST, Na::ResultCode::HostUnreachable},
        {CURLE_COULDNT_CONNECT, Na::ResultCode::HostUnreachable},
        {CURLE_SSL_CONNECT_ERROR, Na::ResultCode::HostUnreachable},
        {CURLE_REMOTE_ACCESS_DENIED, Na::ResultCode::ConnectionRefused},
        {CURLE_HTTP_RETURNED_ERROR, Na::ResultCode::ProtocolError},
        {CURLE_PEER_FAILED_VERIFICATION, Na::ResultCode::ProtocolError},
        {CURLE_PARTIAL_FILE, Na::ResultCode::ProtocolError},
        {CURLE_UNSUPPORTED_PROTOCOL, Na::ResultCode::ProtocolError},
        {CURLE_TOO_MANY_REDIRECTS, Na::ResultCode::ProtocolError},
        {CURLE_SEND_ERROR, Na::ResultCode::ProtocolError}};
    for (const FailureCase& each : cases) {
        spy.Decide(each.code, 4);
        EXPECT_EQ(Send(), "");
        EXPECT_EQ(GetResultCode(), each.result) << each.code;
        spy.Decide({});
    }
}

TEST_F(ServerProtocol, ReportsAnUnreachableServerAfterFourAttempts) {
    const ClosedPort closed;
    NavoProxy unreachable("http://" + closed.Address());
    EXPECT_FALSE(unreachable.Eligibility(Context, "SEID"));
    EXPECT_EQ(Na::GetResultMessage().substr(0, 9), "10100005_");
    EXPECT_EQ(LinesWith("D SendRequest: Error sending request: 7 "), 4U);
}

TEST_F(ServerProtocol, SendsNothingWithoutANetwork) {
    world.Configure("[network]\ntype=disconnected\n");
    EXPECT_EQ(Send(), "");
    EXPECT_EQ(GetResultCode(), Na::ResultCode::NetworkUnavailable);
    EXPECT_EQ(peer.Connections(), 0);
    EXPECT_EQ(LinesWith("ConnectionDown"), 0U);
}

TEST_F(ServerProtocol, TakesTheConnectionDownOnceAfterEachSend) {
    peer.Script({Answer("{}"), Answer("", 404), Answer(""), BreakOff("{\"resultCode\":\"0\"}")});
    for (std::size_t sends = 1; sends <= 4; ++sends) {
        Send();
        EXPECT_EQ(LinesWith("D ConnectionDown: Connection down on interface: Tizen network"), sends);
        EXPECT_EQ(Device::OpenHandles(), 0U);
    }
}

TEST(ServerRequest, StartsAsAnUnknownErrorAndHasItsResultWhenTheConnectionGoesDown) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // a process whose networks nobody else uses
    const std::vector<Na::ResultCode> expected = {
        Na::ResultCode::UnknownError, Na::ResultCode::UnknownError, Na::ResultCode(2)};
    EXPECT_EXIT(std::_Exit(ResultsAlongTheRoad() == expected ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(ServerProtocol, GoesThroughThePlatformsProxy) {
    HttpPeer forwarder;
    world.Configure("[network]\ntype=wifi\nproxy=" + forwarder.Address() + "\n");
    Send();
    EXPECT_EQ(forwarder.Requests().at(0).target, peer.Url() + "/IssueCard.do");
    EXPECT_EQ(peer.Connections(), 0);
}

TEST_F(ServerProtocol, NamesItsCookiesAfterTheClient) {
    peer.Script({Answer("{}", 200, "Set-Cookie: node=7\r\n")});
    Send();
    Send();
    EXPECT_EQ(peer.Requests().at(1).headers.at("cookie"), "node=7");
    EXPECT_TRUE(std::filesystem::exists("tmp/com.orvenco.navoa/.ssid/dbus_com.example.wallet_2817"));
}

TEST_F(FailingServer, GoesToTheGivenAddressFirst) {
    Na::SetNavoAddress("https://stored.example");
    spy.Decide(CURLE_OK, 1);
    Send();
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, peer.Url() + "/IssueCard.do");
}

TEST_F(FailingServer, GoesToTheStoredAddressWhenNoneIsGiven) {
    Na::SetNavoAddress("https://stored.example");
    spy.Decide(CURLE_OK, 1);
    NavoProxy().SendRequest(Context, Na::Json());
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, "https://stored.example/IssueCard.do");
}

TEST_F(FailingServer, GoesToTheBuiltInAddressWhenNoneIsStored) {
    spy.Decide(CURLE_OK, 1);
    NavoProxy().SendRequest(Context, Na::Json());
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, "https://kms.orvenco.example/IssueCard.do");
}

TEST_F(FailingServer, GoesToTheBuiltInAddressAgainOnceAnEmptyOneIsStored) {
    Na::SetNavoAddress("https://stored.example");
    Na::SetNavoAddress("");
    spy.Decide(CURLE_OK, 1);
    NavoProxy().SendRequest(Context, Na::Json());
    EXPECT_EQ(spy.Last(CURLOPT_URL).text, "https://kms.orvenco.example/IssueCard.do");
}

}  // namespace
