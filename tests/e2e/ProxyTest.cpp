// SPDX-License-Identifier: Apache-2.0
// The whole main job through a proxy that other people wrote.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Tinyproxy.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

using ResultText::HostUnreachable;
using ResultText::NoResponseFromServer;
using ResultText::ProtocolError;

using ::testing::AnyOf;
using ::testing::Eq;

constexpr char TestService[] = "test.service";
constexpr char Query[] = "80CA9F7F00";
constexpr std::size_t Attempts = 4;

class Proxy : public ::testing::Test {
protected:
    void SetUp() override {
        if (!Tinyproxy::IsInstalled()) {
            GTEST_SKIP() << "tinyproxy is not installed";
        }
    }

    // A server with a script of four sets.
    KeyServerProcess& Serve(std::vector<std::string> options = {}) {
        const std::string script = ScriptOf({{Query}, {Query, Query}, {Query}, {Query}});
        options.insert(options.begin(), {"--script", world.Write("script.json", script)});
        return world.StartKeyServer(options);
    }

    std::string Run() const { return world.RunScript(TestService).returnCode; }
    std::size_t FailedAttempts() const { return world.LogCount("Error sending request: "); }

    World world;
};

std::string HostOf(const KeyServerProcess& server) {
    return server.Address().substr(server.Address().find("://") + 3);
}

TEST_F(Proxy, GivenAsHostAndPortCarriesTheJobThroughOneTunnel) {
    KeyServerProcess& server = Serve();
    const Tinyproxy proxy(world);
    world.Device().UseProxy(proxy.Address());
    EXPECT_EQ(Run(), Done);
    EXPECT_TRUE(world.LogHas("Using proxy http://" + proxy.Address() + "/ for connection"));
    EXPECT_EQ(proxy.Requests(), std::vector<std::string>{"CONNECT " + HostOf(server) + " HTTP/1.1"});
    EXPECT_EQ(server.Count("NEXTAPDU"), 4U);
    EXPECT_EQ(server.Stop().handshakes, 1U);
    EXPECT_EQ(FailedAttempts(), 0U);
    EXPECT_TRUE(world.ElementIsClosed());
}

TEST_F(Proxy, GivenAsAFullAddressIsTakenAsItStands) {
    KeyServerProcess& server = Serve();
    const Tinyproxy proxy(world);
    world.Device().UseProxy("http://" + proxy.Address());
    EXPECT_EQ(Run(), Done);
    EXPECT_TRUE(world.LogHas("Using proxy http://" + proxy.Address() + " for connection"));
    EXPECT_EQ(proxy.Requests(), std::vector<std::string>{"CONNECT " + HostOf(server) + " HTTP/1.1"});
    EXPECT_EQ(server.Stop().handshakes, 1U);
}

TEST_F(Proxy, GetsThePlainRequestsThemselves) {
    KeyServerProcess& server = Serve({"--http"});
    const Tinyproxy proxy(world);
    for (const std::string& address : {proxy.Address(), "http://" + proxy.Address() + "/"}) {
        const std::size_t before = proxy.Count("POST " + server.Address() + "/IssueCard.do");
        world.Device().UseProxy(address);
        EXPECT_EQ(Run(), Done);
        EXPECT_EQ(proxy.Count("POST " + server.Address() + "/IssueCard.do"), before + 5);
    }
    EXPECT_EQ(proxy.Count("CONNECT"), 0U);
    EXPECT_EQ(server.Count("INITIALIZEAPDU"), 2U);
    EXPECT_EQ(FailedAttempts(), 0U);
}

TEST_F(Proxy, CarriesTheEligibilityQueryAndTheCookies) {
    HttpPeer server;
    server.Script({Answer(R"({"resultCode":"00000001"})", 200, "Set-Cookie: session=kept; Max-Age=600\r\n")});
    const Tinyproxy proxy(world);
    world.DirectServiceTo(server.Url());
    world.Device().UseProxy(proxy.Address());
    for (int request = 0; request < 2; ++request) {
        EXPECT_EQ(world.Ask({{"Cmd", "69"}}).at("ReturnCode"), Done);
    }
    auto requests = server.Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].headers.count("cookie"), 0U);
    EXPECT_EQ(requests[1].headers["cookie"], "session=kept");
    EXPECT_EQ(requests[1].headers["user-agent"], "libcurl");
    EXPECT_EQ(proxy.Count("POST "), 2U);
}

TEST_F(Proxy, WhoseCertificateIsNotTheServersCannotReadAlong) {
    KeyServerProcess& trusted = world.StartKeyServer();
    KeyServerProcess& other = world.StartUnknownKeyServer({});
    const Tinyproxy proxy(world);
    world.DirectServiceTo(other.Address());
    world.Device().UseProxy(proxy.Address());
    EXPECT_EQ(Run(), ResultText::ProtocolError);
    EXPECT_EQ(proxy.Requests(), std::vector<std::string>{"CONNECT " + HostOf(other) + " HTTP/1.1"});
    EXPECT_EQ(other.Stop().messages, 0U);
    EXPECT_EQ(trusted.Stop().connections, 0U);
}

TEST_F(Proxy, ThatRefusesIsTriedFourTimes) {
    Serve();
    const ClosedPort closed;
    for (const std::string& address : {closed.Address(), "http://" + closed.Address()}) {
        const std::size_t before = FailedAttempts();
        world.Device().UseProxy(address);
        EXPECT_EQ(Run(), HostUnreachable);
        EXPECT_EQ(FailedAttempts(), before + Attempts);
        EXPECT_TRUE(world.ElementIsClosed());
    }
    world.Device().UseProxy("");
    EXPECT_EQ(Run(), Done);
}

TEST_F(Proxy, ThatDeniesTheTunnelGetsNoMessageThrough) {
    KeyServerProcess& server = Serve();
    const Tinyproxy denying(world, "ConnectPort 1\n");
    world.Device().UseProxy(denying.Address());
    EXPECT_EQ(Run(), NoResponseFromServer);
    EXPECT_EQ(denying.Count("CONNECT " + HostOf(server)), Attempts);
    EXPECT_TRUE(world.LogHas("response 403"));
    EXPECT_TRUE(world.ElementIsClosed());
    EXPECT_EQ(server.Count("INITIALIZEAPDU"), 0U);

    const Tinyproxy allowing(world);
    world.Device().UseProxy(allowing.Address());
    EXPECT_EQ(Run(), Done);
}

// The proxy answers and closes without having read the message, so that its answer may be lost to a reset.
TEST_F(Proxy, ThatDeniesAPlainRequestEndsTheJob) {
    KeyServerProcess& server = Serve({"--http"});
    const Tinyproxy denying(world, "Allow 127.9.9.9\n");
    world.Device().UseProxy(denying.Address());
    EXPECT_THAT(Run(), AnyOf(Eq("403"), Eq(NoResponseFromServer)));
    EXPECT_TRUE(world.ElementIsClosed());
    EXPECT_EQ(server.Count("INITIALIZEAPDU"), 0U);
}

TEST_F(Proxy, ThatCannotReachTheServerSaysSo) {
    const ClosedPort closed;
    const Tinyproxy proxy(world);
    world.Device().UseProxy(proxy.Address());
    world.DirectServiceTo("https://" + closed.Address());
    EXPECT_EQ(world.Ask({{"Cmd", "69"}}).at("ReturnCode"), NoResponseFromServer);
    EXPECT_TRUE(world.LogHas("response 500"));
    EXPECT_EQ(proxy.Count("CONNECT " + closed.Address()), Attempts);
}

// Runs the script and kills the proxy when the second set is on its way to the card.
std::string RunUntilItDies(const World& world, Tinyproxy& proxy) {
    int progress = 0;
    Navo::CallOptions options;
    options.onProgress = [&](const std::string&) {
        if (++progress == 2) {
            proxy.Die();
        }
    };
    Navo::Session session(world.Options());
    return session.Call({{"Cmd", "65"}, {"ServiceId", TestService}, {"FcId", "A"}}, options).at("ReturnCode");
}

// The third answer takes so long that the proxy is gone before it comes. A death in the very moment of
// sending is no failure to connect, and not tried again.
TEST_F(Proxy, ThatDiesInTheMiddleEndsTheJobAndTheNextOneWorksThroughAnother) {
    for (const bool plain : {false, true}) {
        std::vector<std::string> options = {"--misbehave", "delay=1000@3x1"};
        if (plain) {
            options.emplace_back("--http");
        }
        Serve(options);
        Tinyproxy proxy(world);
        world.Device().UseProxy(proxy.Address());
        EXPECT_THAT(RunUntilItDies(world, proxy), AnyOf(Eq(HostUnreachable), Eq(ProtocolError)));
        EXPECT_TRUE(world.ElementIsClosed());

        const Tinyproxy another(world);
        world.Device().UseProxy(another.Address());
        EXPECT_EQ(Run(), Done);
        EXPECT_GE(another.Requests().size(), 1U);
    }
}

}  // namespace
