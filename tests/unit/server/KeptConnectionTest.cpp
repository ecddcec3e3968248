// SPDX-License-Identifier: Apache-2.0
// How many connections and handshakes a job costs.
#include <gmock/gmock.h>

#include <fstream>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/TestCertificate.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/ResultCodePrinter.h"

using Na::NavoProxy;
using testing::SizeIs;

namespace {

constexpr char Good[] = "{\"resultCode\":\"00000000\"}";

class KeptConnection : public testing::Test {
protected:
    // Sends one message of the job, which has to succeed.
    static void Send(NavoProxy& sender) {
        Na::SetResultCode(Na::ResultCode(999));
        EXPECT_EQ(sender.NextApdu("dbus;client_1", "SEID", "1/9000"), Good);
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::CommandSetToRun);
    }

    static void Send(NavoProxy& sender, int times) {
        for (int i = 0; i < times; ++i) {
            Send(sender);
        }
    }

    static std::deque<HttpReaction> GoodAnswers() { return std::deque<HttpReaction>(50, Answer(Good)); }

    // In TLS, since not every libcurl keeps a connection without it where TLS was asked for in case it can be
    // had.
    KeptConnection() {
        std::ofstream(world.Path() / "ca.pem") << certificate.Pem();
        world.Configure(
            "[network]\ntype=wifi\n[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    }

    DeviceWorld world;
    const TestCertificate certificate{{"127.0.0.1"}};
    HttpPeer peer{certificate.ServerContext()};
    NavoProxy job{peer.Url()};
};

TEST_F(KeptConnection, ServesEveryMessageOfAJob) {
    peer.Script(GoodAnswers());
    Send(job, 10);
    EXPECT_EQ(peer.Connections(), 1);
    EXPECT_THAT(peer.Requests(), SizeIs(10));
}

TEST_F(KeptConnection, CostsOneHandshakeForAJob) {
    peer.Script(GoodAnswers());
    Send(job, 10);
    EXPECT_EQ(peer.Handshakes(), 1);
    EXPECT_EQ(peer.Connections(), 1);
}

TEST_F(KeptConnection, IsSharedByJobsThatTakeTurns) {
    peer.Script(GoodAnswers());
    NavoProxy other(peer.Url());
    Send(job);
    Send(other);
    Send(job);
    Send(other);
    EXPECT_EQ(peer.Connections(), 1);
}

TEST_F(KeptConnection, CostsNoRequestWhenTheServerClosesItWhileItIsIdle) {
    HttpPeer plain;
    plain.Script(GoodAnswers());
    NavoProxy plainJob(plain.Url());
    Send(plainJob);
    plain.CloseConnections();
    Send(plainJob);
    EXPECT_EQ(plain.Connections(), 2);
    EXPECT_THAT(plain.Requests(), SizeIs(2));
}

TEST_F(KeptConnection, CostsNoRequestWhenTheServerClosesItsTlsWhileItIsIdle) {
    peer.Script(GoodAnswers());
    Send(job);
    peer.CloseConnections();
    Send(job);
    EXPECT_EQ(peer.Handshakes(), 2);
    EXPECT_THAT(peer.Requests(), SizeIs(2));
}

TEST_F(KeptConnection, IsMadeAnewWhenTheServerClosesAfterEachAnswer) {
    peer.Script(std::deque<HttpReaction>(5, Answer(Good, 200, "Connection: close\r\n").ThenClose()));
    Send(job, 5);
    EXPECT_EQ(peer.Connections(), 5);
    EXPECT_THAT(peer.Requests(), SizeIs(5));
}

TEST_F(KeptConnection, IsMadeAnewWhenTheServerClosesAfterEachAnswerWithoutSayingSo) {
    peer.Script(std::deque<HttpReaction>(5, Answer(Good).ThenClose()));
    Send(job, 5);
    EXPECT_THAT(peer.Requests(), SizeIs(5));
}

TEST_F(KeptConnection, IsMadeAnewWhenTheServerClosesItInsteadOfAnswering) {
    peer.Script({Answer(Good), CloseAtOnce(), Answer(Good), Answer(Good)});
    Send(job, 3);
    EXPECT_EQ(peer.Connections(), 2);
    EXPECT_THAT(peer.Requests(), SizeIs(4));
}

TEST_F(KeptConnection, OutlivesAServerThatRestarts) {
    peer.Script(GoodAnswers());
    Send(job);
    peer.Restart();
    Send(job, 2);
    EXPECT_EQ(peer.Connections(), 2);
}

TEST_F(KeptConnection, IsKeptAfterAnErrorStatus) {
    peer.Script({Answer("sorry", 500), Answer(Good)});
    EXPECT_EQ(job.NextApdu("dbus;client_1", "SEID", ""), "");
    Send(job);
    EXPECT_EQ(peer.Connections(), 1);
}

TEST_F(KeptConnection, DoesNotOutliveItsSettingsOfAProxy) {
    HttpPeer plain;
    plain.Script(GoodAnswers());
    NavoProxy plainJob(plain.Url());
    Send(plainJob);
    HttpPeer forwarder;
    forwarder.Script(GoodAnswers());
    world.Configure("[network]\ntype=wifi\nproxy=" + forwarder.Address() + "\n");
    Send(plainJob);
    EXPECT_EQ(plain.Connections(), 1);
    EXPECT_THAT(forwarder.Requests(), SizeIs(1));
}

}  // namespace
