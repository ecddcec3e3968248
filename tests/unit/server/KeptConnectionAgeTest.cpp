// SPDX-License-Identifier: Apache-2.0
// When a connection that was kept is used no more.
#include <gmock/gmock.h>

#include <ctime>
#include <fstream>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/TestCertificate.h"
#include "tests/support/service/DeviceWorld.h"

using Na::ConnectionShare;
using Na::NavoProxy;
using testing::SizeIs;

namespace {

constexpr char Good[] = "{\"resultCode\":\"00000000\"}";

time_t secondsPassed = 0;  // added to the clock that goes on while the device sleeps

class ConnectionBetweenJobs : public testing::Test {
protected:
    ConnectionBetweenJobs() {
        secondsPassed = 0;
        ConnectionShare::OfProcess().Close();
        std::ofstream(world.Path() / "ca.pem") << certificate.Pem();
        Connect("type=wifi");
        peer.Script(std::deque<HttpReaction>(50, Answer(Good)));
    }
    ~ConnectionBetweenJobs() override { ConnectionShare::OfProcess().Close(); }

    // One whole job of one message, which has to succeed.
    static void Run(const std::string& url) {
        Na::SetResultCode(Na::ResultCode::Unknown);
        NavoProxy job(url);
        EXPECT_EQ(job.NextApdu("dbus;client_1", "SEID", "1/9000"), Good);
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::CommandSetToRun);
    }

    void Run() { Run(peer.Url()); }

    static void Pass(time_t seconds) { secondsPassed += seconds; }

    // The device trusts the peer, whatever way leads to it.
    void Connect(const std::string& network) {
        world.Configure(
            "[network]\n" + network + "\n[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    }

    DeviceWorld world;
    const TestCertificate certificate{{"127.0.0.1"}};
    // In TLS, since not every libcurl keeps a connection without it where TLS was asked for in case it can be
    // had.
    HttpPeer peer{certificate.ServerContext()};
};

TEST_F(ConnectionBetweenJobs, ServesTheNextJobToo) {
    Run();
    Run();
    EXPECT_EQ(peer.Connections(), 1);
}

TEST_F(ConnectionBetweenJobs, IsUsedForAMinuteAfterItsLastExchange) {
    Run();
    Pass(59);
    Run();
    EXPECT_EQ(peer.Connections(), 1);
    Pass(60);
    Run();
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(ConnectionBetweenJobs, IsUsedForTenMinutesAtMost) {
    Run();
    for (int i = 0; i < 11; ++i) {
        Pass(50);
        Run();
    }
    EXPECT_EQ(peer.Connections(), 1);
    Pass(50);
    Run();
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(ConnectionBetweenJobs, IsNotUsedOnAnotherKindOfNetwork) {
    Run();
    Connect("type=cellular");
    Run();
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(ConnectionBetweenJobs, IsNotUsedThroughAnotherProxy) {
    HttpPeer plain;
    plain.Script({Answer(Good), Answer(Good)});
    HttpPeer proxy;
    proxy.Script({Answer(Good)});
    Run(plain.Url());
    Connect("type=wifi\nproxy=" + proxy.Address());
    Run(plain.Url());
    EXPECT_THAT(proxy.Requests(), SizeIs(1));
    Connect("type=wifi");
    Run(plain.Url());
    EXPECT_EQ(plain.Connections(), 2);
}

TEST_F(ConnectionBetweenJobs, IsNotUsedForAnotherServer) {
    HttpPeer other;
    other.Script({Answer(Good)});
    Run();
    Run(other.Url());
    EXPECT_THAT(other.Requests(), SizeIs(1));
    Run();
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(ConnectionBetweenJobs, CostsNothingWhenTheServerClosedItMeanwhile) {
    Run();
    peer.CloseConnections();
    Run();
    EXPECT_EQ(peer.Connections(), 2);
    EXPECT_THAT(peer.Requests(), SizeIs(2));
}

TEST_F(ConnectionBetweenJobs, IsMadeAnewWhenTheServerClosesItInsteadOfAnswering) {
    peer.Script({Answer(Good), CloseAtOnce(), Answer(Good)});
    Run();
    Run();
    EXPECT_THAT(peer.Requests(), SizeIs(3));
}

TEST_F(ConnectionBetweenJobs, IsMadeAnewWhenTheServerResetsItInsteadOfAnswering) {
    peer.Script({Answer(Good), CloseAtOnce().ThenReset(), Answer(Good)});
    Run();
    Run();
    EXPECT_THAT(peer.Requests(), SizeIs(3));
}

TEST_F(ConnectionBetweenJobs, IsGivenUpWhenAnExchangeFails) {
    peer.Script({Answer(Good), BreakOff("half of this"), Answer(Good)});
    Run();
    NavoProxy failing(peer.Url());
    EXPECT_EQ(failing.NextApdu("dbus;client_1", "SEID", "1/9000"), "");
    Run();
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(ConnectionBetweenJobs, GivesNoTrustToAServerWhoseCertificateChanged) {
    const TestCertificate trusted({"127.0.0.1"});
    const TestCertificate stranger({"127.0.0.1"});
    std::ofstream(world.Path() / "ca.pem") << trusted.Pem();
    const std::string url = "https://127.0.0.1:1";
    HttpPeer proxy;
    proxy.Script({Answer(Good), Answer(Good)});
    proxy.TunnelInto(trusted.ServerContext());
    world.Configure(
        "[network]\ntype=wifi\nproxy=" + proxy.Address() +
        "\n[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    Run(url);
    proxy.TunnelInto(stranger.ServerContext());
    proxy.CloseConnections();
    NavoProxy job(url);
    EXPECT_EQ(job.NextApdu("dbus;client_1", "SEID", "1/9000"), "");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ProtocolError);
}

}  // namespace

extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* now);

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    const int result = __real_clock_gettime(clock, now);
    if (clock == CLOCK_BOOTTIME) {
        now->tv_sec += secondsPassed;
    }
    return result;
}

}  // extern "C"
