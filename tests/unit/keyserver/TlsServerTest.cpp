// SPDX-License-Identifier: Apache-2.0
#include <curl/curl.h>
#include <gmock/gmock.h>

#include <mutex>
#include <stdexcept>

#include "keyserver/Server.h"
#include "keyserver/http/Certificates.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"

using namespace KeyServer;
using testing::AnyOf;
using testing::HasSubstr;

namespace {

class TlsServerTest : public testing::Test {
protected:
    std::unique_ptr<Server> Started(
        CertificateOrder order = {}, std::vector<Misbehaviour> misbehaviours = {}) {
        order.folder = (folder.Path() / "certificates").string();
        const CertificateFiles files = MakeCertificates(order);
        authority = files.authority;
        ServerOptions options;
        options.certificateFile = files.certificate;
        options.keyFile = files.key;
        options.misbehaviours = std::move(misbehaviours);
        options.log = [this](const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex);
            log += line + "\n";
        };
        auto server = std::make_unique<Server>(std::move(options), CatalogueOf(TwoSteps));
        server->Start();
        return server;
    }

    std::string Log() {
        const std::lock_guard<std::mutex> lock(mutex);
        return log;
    }

    TemporaryFolder folder;
    std::string authority;

private:
    std::mutex mutex;
    std::string log;
};

}  // namespace

TEST_F(TlsServerTest, NeedsOneHandshakeForAScript) {
    const auto server = Started();
    HttpClient client(server->Url(), authority);
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/019000")).body, SecondAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/019000/019000")).body, FinalAnswer);
    EXPECT_EQ(server->Count().connections, 1U);
    EXPECT_EQ(server->Count().handshakes, 1U);
}

TEST_F(TlsServerTest, CountsAHandshakeForEachConnection) {
    const auto server = Started();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(HttpClient(server->Url(), authority).Post(Asking()).status, 200);
    }
    EXPECT_EQ(server->Count().handshakes, 3U);
}

TEST_F(TlsServerTest, HasTheSameCertificateAndAnotherConnectionAfterEachRestart) {
    const auto server = Started({}, {ParseMisbehaviour("restart")});
    HttpClient client(server->Url(), authority);
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/019000")).body, SecondAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/019000/019000")).body, FinalAnswer);
    EXPECT_EQ(server->Count().handshakes, 3U);
}

TEST_F(TlsServerTest, IsNotTrustedByAClientThatDoesNotKnowItsAuthority) {
    const auto server = Started();
    const HttpAnswer answer = HttpClient(server->Url()).Post(Opening("A"));
    EXPECT_EQ(answer.curlCode, CURLE_PEER_FAILED_VERIFICATION) << answer.problem;
    EXPECT_EQ(server->Count().messages, 0U);
    EXPECT_TRUE(Eventually([this] { return Log().find("no TLS handshake: ") != std::string::npos; }));
}

TEST_F(TlsServerTest, ShowsAnExpiredCertificateToOrder) {
    CertificateOrder order;
    order.days = -1;
    const auto server = Started(order);
    const HttpAnswer answer = HttpClient(server->Url(), authority).Post(Opening("A"));
    EXPECT_EQ(answer.curlCode, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_THAT(answer.problem, HasSubstr("expired"));
}

TEST_F(TlsServerTest, ShowsACertificateForAnotherNameToOrder) {
    CertificateOrder order;
    order.names = {"other.example"};
    const auto server = Started(order);
    const HttpAnswer answer = HttpClient(server->Url(), authority).Post(Opening("A"));
    EXPECT_EQ(answer.curlCode, CURLE_PEER_FAILED_VERIFICATION) << answer.problem;
}

TEST_F(TlsServerTest, SurvivesAClientThatSpeaksPlainHttp) {
    const auto server = Started();
    RawClient plain(server->Port());
    plain.Send(HttpPost(Opening("A")));
    plain.ReadToEnd();
    EXPECT_THAT(Log(), HasSubstr("no TLS handshake: "));
    EXPECT_EQ(HttpClient(server->Url(), authority).Post(Asking()).status, 200);
    EXPECT_EQ(server->Count().handshakes, 1U);
}

TEST_F(TlsServerTest, CutsAndClosesUnderTlsToo) {
    const auto server = Started();
    HttpClient client(server->Url(), authority);
    server->Misbehave({ParseMisbehaviour("close-before@1x1")});
    EXPECT_THAT(client.Post(Asking()).curlCode, AnyOf(CURLE_GOT_NOTHING, CURLE_RECV_ERROR));
    server->Misbehave({ParseMisbehaviour("reset")});
    EXPECT_THAT(client.Post(Asking()).curlCode, AnyOf(CURLE_GOT_NOTHING, CURLE_RECV_ERROR));
    server->Misbehave({ParseMisbehaviour("close-after")});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client.Post(Asking()).status, 200);
    }
    EXPECT_EQ(server->Count().handshakes, 5U);
}

TEST_F(TlsServerTest, CarriesMessagesOfManyRecords) {
    const auto server = Started();
    HttpClient client(server->Url(), authority);
    EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(client.Post(Responding("A", "/01" + std::string(65530, 'A') + "9000")).body, SecondAnswer);
    server->Misbehave({ParseMisbehaviour("not-json=nested")});
    EXPECT_TRUE(client.Post(Asking()).body == std::string(100000, '['));
    EXPECT_EQ(server->Count().handshakes, 1U);
}

TEST_F(TlsServerTest, NamesTheCertificateOrKeyThatCannotBeUsed) {
    CertificateOrder order;
    order.folder = (folder.Path() / "one").string();
    const CertificateFiles one = MakeCertificates(order);
    order.folder = (folder.Path() / "two").string();
    const CertificateFiles two = MakeCertificates(order);
    ServerOptions options;
    options.certificateFile = one.certificate;
    options.keyFile = two.key;
    try {
        const Server server(options, CatalogueOf(TwoSteps));
        FAIL() << "the key belongs to another certificate";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(two.key));
    }
    options.certificateFile = "/nowhere/server.pem";
    EXPECT_THROW(Server(options, CatalogueOf(TwoSteps)), std::runtime_error);
}
