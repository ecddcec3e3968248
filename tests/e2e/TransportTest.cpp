// SPDX-License-Identifier: Apache-2.0
// The way to the key server: trust, connections, cookies, proxies and what becomes of their failures.
#include <gtest/gtest.h>

#include "tests/support/HttpPeer.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

using ResultText::HostUnreachable;
using ResultText::NoResponseFromServer;
using ResultText::ProtocolError;

constexpr std::size_t Attempts = 4;

class Transport : public ::testing::Test {
protected:
    std::string AskEligibility() const { return world.Ask({{"Cmd", "69"}}).at("ReturnCode"); }

    std::size_t FailedAttempts(const std::string& code = {}) const {
        return world.LogCount("Error sending request: " + code);
    }

    // Runs the shipped script with a server that misbehaves.
    KeyServerProcess& Misbehaving(const std::string& misbehaviour) {
        return world.StartKeyServer({"--misbehave", misbehaviour});
    }

    World world;
};

TEST_F(Transport, ACertificateThatCannotBeVerifiedGetsNoMessage) {
    KeyServerProcess& server = world.StartUnknownKeyServer({});
    KeyServerProcess& trusted = world.StartKeyServer();
    world.DirectServiceTo(server.Address());
    EXPECT_EQ(world.RunScript().returnCode, ProtocolError);
    EXPECT_EQ(FailedAttempts("60 "), 1U) << "verification failures are not tried again";
    EXPECT_EQ(server.Stop().messages, 0U);
    EXPECT_EQ(trusted.Stop().connections, 0U);
}

TEST_F(Transport, ACertificateForAnotherHostGetsNoMessage) {
    KeyServerProcess& server = world.StartKeyServer({"--certificate-name", "kms.other.example"});
    EXPECT_EQ(world.RunScript().returnCode, ProtocolError);
    EXPECT_EQ(FailedAttempts("60 "), 1U);
    EXPECT_EQ(server.Stop().messages, 0U);
}

TEST_F(Transport, AnExpiredCertificateGetsNoMessage) {
    KeyServerProcess& server = world.StartKeyServer({"--certificate-days", "-1"});
    EXPECT_EQ(world.RunScript().returnCode, ProtocolError);
    EXPECT_EQ(FailedAttempts("60 "), 1U);
    EXPECT_EQ(server.Stop().messages, 0U);
}

TEST_F(Transport, TheHostNameOfTheCertificateIsVerifiedToo) {
    KeyServerProcess& server = world.StartKeyServer();
    std::string address = server.Address();
    address.replace(address.find("127.0.0.1"), 9, "localhost");
    world.DirectServiceTo(address);
    EXPECT_EQ(world.RunScript().returnCode, Done);
}

TEST_F(Transport, AHostWhereNobodyListensIsTriedFourTimes) {
    const ClosedPort port;
    world.DirectServiceTo("https://" + port.Address());
    EXPECT_EQ(AskEligibility(), HostUnreachable);
    EXPECT_EQ(FailedAttempts("7 "), Attempts);
}

TEST_F(Transport, AServerThatSpeaksNoTlsIsTriedFourTimes) {
    KeyServerProcess& server = world.StartKeyServer({"--http"});
    world.DirectServiceTo("https" + server.Address().substr(4));
    EXPECT_EQ(AskEligibility(), HostUnreachable);
    EXPECT_EQ(FailedAttempts("35 "), Attempts);
    EXPECT_EQ(server.Stop().messages, 0U);
}

TEST_F(Transport, AnAddressThatIsNoneIsTriedOnce) {
    world.DirectServiceTo("https://no host");
    EXPECT_EQ(AskEligibility(), ResultText::MalformedUrl);
    EXPECT_EQ(FailedAttempts("3 "), 1U);
    EXPECT_EQ(FailedAttempts(), 1U);
}

TEST_F(Transport, PlainHttpWorksWhereTheAddressSaysSo) {
    KeyServerProcess& server = world.StartKeyServer({"--http"});
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(server.Stop().handshakes, 0U);
}

TEST_F(Transport, AServerThatClosesAfterEachAnswerCostsNoRequest) {
    KeyServerProcess& server = Misbehaving("close-after");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(FailedAttempts(), FailedAttempts("52 ")) << "a kept connection may be found dead, and no more";
    const KeyServerProcess::Counts counts = server.Stop();
    EXPECT_EQ(counts.handshakes, counts.messages);
}

TEST_F(Transport, AServerThatAnnouncesItsClosingCostsNoRequest) {
    KeyServerProcess& server = Misbehaving("connection-close");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(FailedAttempts(), 0U);
    const KeyServerProcess::Counts counts = server.Stop();
    EXPECT_EQ(counts.handshakes, counts.messages);
}

TEST_F(Transport, AServerThatClosesOneIdleConnectionCostsNoRequest) {
    KeyServerProcess& server = Misbehaving("close-after@3x1");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(FailedAttempts(), FailedAttempts("52 ")) << "a kept connection may be found dead, and no more";
    EXPECT_EQ(server.Stop().handshakes, 2U);
}

TEST_F(Transport, AServerThatRestartsInTheMiddleCostsNoRequest) {
    KeyServerProcess& server = Misbehaving("restart@3x1");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(FailedAttempts(), FailedAttempts("52 ")) << "a kept connection may be found dead, and no more";
    EXPECT_EQ(server.Stop().handshakes, 2U);
}

TEST_F(Transport, AConnectionThatClosesInPlaceOfAnAnswerIsTriedAgain) {
    KeyServerProcess& server = Misbehaving("close-before@2x1");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_GE(server.Stop().handshakes, 2U);
}

TEST_F(Transport, AConnectionThatAlwaysClosesInPlaceOfAnAnswerGivesNoResponse) {
    Misbehaving("close-before@2");
    EXPECT_EQ(world.RunScript().returnCode, NoResponseFromServer);
    EXPECT_EQ(FailedAttempts("52 "), Attempts);
}

TEST_F(Transport, AnAnswerThatBreaksOffIsNotTriedAgain) {
    KeyServerProcess& server = Misbehaving("close-middle@2");
    EXPECT_EQ(world.RunScript().returnCode, ProtocolError);
    EXPECT_EQ(FailedAttempts(), 1U);
    EXPECT_EQ(server.Stop().messages, 2U);
}

TEST_F(Transport, BytesThatAreNoHttpAreNotTriedAgain) {
    KeyServerProcess& server = Misbehaving("garbage@2");
    EXPECT_EQ(world.RunScript().returnCode, ProtocolError);
    EXPECT_EQ(FailedAttempts(), 1U);
    EXPECT_EQ(server.Stop().messages, 2U);
}

TEST_F(Transport, ARedirectThatComesBackToItsPlaceIsFollowed) {
    KeyServerProcess& server = Misbehaving("redirect=307@2x2");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(FailedAttempts(), 0U);
    EXPECT_EQ(server.Stop().handshakes, 1U);
}

TEST_F(Transport, ARedirectLoopEnds) {
    KeyServerProcess& server = Misbehaving("redirect=307@2");
    EXPECT_EQ(world.RunScript().returnCode, ProtocolError);
    EXPECT_EQ(FailedAttempts("47 "), 1U);
    EXPECT_EQ(server.Stop().messages, 32U) << "the first, the second, and thirty redirects";
}

TEST_F(Transport, CookiesComeBackToTheServerForEachClientApart) {
    HttpPeer server;
    server.Script({
        Answer(R"({"resultCode":"00000001"})", 200, "Set-Cookie: session=first; Max-Age=600\r\n"),
        Answer(R"({"resultCode":"00000001"})"),
        Answer(R"({"resultCode":"00000001"})"),
    });
    world.DirectServiceTo(server.Url());
    EXPECT_EQ(AskEligibility(), Done);
    const auto file = world.Folder() / "tmp/com.orvenco.navoa/.ssid" /
                      ("dbus_com.example.wallet_" + std::to_string(getpid()));
    EXPECT_NE(TextOf(file).find("session\tfirst"), std::string::npos);

    EXPECT_EQ(AskEligibility(), Done);
    const auto other = world.StartClient("com.example.bank");
    other->OpenSession();
    EXPECT_EQ(other->Call({{"Cmd", "69"}}).at("ReturnCode"), Done);
    other->CloseSession();

    auto requests = server.Requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].headers.count("cookie"), 0U);
    EXPECT_EQ(requests[1].headers["cookie"], "session=first");
    EXPECT_EQ(requests[2].headers.count("cookie"), 0U);
}

TEST_F(Transport, WithoutAPlaceForCookiesRequestsGoOutAllTheSame) {
    HttpPeer server;
    world.Write("tmp/com.orvenco.navoa", "a file where a folder should be");
    world.DirectServiceTo(server.Url());
    EXPECT_EQ(AskEligibility(), Done);
    EXPECT_EQ(server.Requests().size(), 1U);
}

TEST_F(Transport, AMessageIsAFormOfCompactJsonThatIsNotEscaped) {
    HttpPeer server;
    world.DirectServiceTo(server.Url() + "/base");
    world.Device().Set("device", "model-name", "A+B & C=%41 \"D\"");
    EXPECT_EQ(AskEligibility(), Done);
    auto request = server.Requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/base/IssueCard.do");
    EXPECT_EQ(request.headers["content-type"], "application/x-www-form-urlencoded");
    EXPECT_EQ(request.headers["user-agent"], "libcurl");
    EXPECT_EQ(request.headers["accept"], "*/*");
    EXPECT_EQ(request.body.rfind("data={\"UUID\":\"", 0), 0U) << request.body;
    EXPECT_EQ(request.body.find(' '), std::string::npos) << request.body;
    EXPECT_NE(request.body.find(R"("deviceModel":"A+B&C=%41\"D\"")"), std::string::npos) << request.body;
}

TEST_F(Transport, AnAnswerIsUnescapedBeforeItIsRead) {
    HttpPeer server;
    server.Script({Answer(R"(%7B"resultCode":"1050000%33"})")});
    world.DirectServiceTo(server.Url());
    EXPECT_EQ(AskEligibility(), ResultText::DeviceNotAvailable3);
}

TEST_F(Transport, TheProxyOfThePlatformIsUsed) {
    HttpPeer proxy;
    world.Device().UseProxy(proxy.Address());
    world.DirectServiceTo("http://kms.example:8080");
    EXPECT_EQ(AskEligibility(), Done);
    EXPECT_EQ(proxy.Requests().at(0).target, "http://kms.example:8080/IssueCard.do");
    EXPECT_TRUE(world.LogHas("Using proxy http://" + proxy.Address() + "/ for connection"));
}

TEST_F(Transport, AProxyThatIsNotThereIsTriedFourTimes) {
    const ClosedPort proxy;
    world.Device().UseProxy("http://" + proxy.Address());
    world.DirectServiceTo("http://kms.example");
    EXPECT_EQ(AskEligibility(), HostUnreachable);
    EXPECT_EQ(FailedAttempts("7 "), Attempts);
}

}  // namespace
