// SPDX-License-Identifier: Apache-2.0
// Every failure of the way to the server that a peer on this machine can bring about, for real: at the first
// message, at a later one, and at the eligibility query.
#include <sys/socket.h>

#include <fstream>
#include <memory>

#include "tests/matrix/MatrixWorld.h"
#include "tests/support/TestCertificate.h"

namespace Matrix {

namespace {

constexpr int Attempts = 4;
constexpr char Set[] = "/0180CA006600";
constexpr char DoneAnswer[] = R"({"resultCode":"00000001"})";

// What the server does in place of an answer, as often as it is asked.
struct Misdeed {
    std::string label;
    HttpReaction reaction;
    const char* message;
    int failedAttempts;
};

std::string Section(const std::string& name, const std::string& key, const std::string& value) {
    return "[" + name + "]\n" + key + "=" + value + "\n";
}

// A job whose n-th message meets the misdeed; the eligibility query is message 0.
Case CaseOf(const Misdeed& misdeed, int message) {
    const bool isScript = message > 0;
    Case row = {
        misdeed.label + (isScript ? " at message " + std::to_string(message) : " at the eligibility query"),
        isScript ? ScriptRequest() : Command("69"), Status(misdeed.message)};
    for (int before = 1; before < message; ++before) {
        row.reactions.push_back(CommandSet(Set));
    }
    // A kept connection that closes is replaced by libcurl itself, beside the attempts.
    row.reactions.insert(row.reactions.end(), 2 * Attempts, misdeed.reaction);
    row.failedAttempts = misdeed.failedAttempts;
    return row;
}

std::vector<Case> CasesOf(const std::vector<Misdeed>& misdeeds) {
    std::vector<Case> rows;
    for (const Misdeed& misdeed : misdeeds) {
        for (const int message : {0, 1, 2, 3}) {
            rows.push_back(CaseOf(misdeed, message));
        }
    }
    return rows;
}

// An answer whose head promises more than comes, so that its end can be in its body's middle.
HttpReaction Half() {
    HttpReaction half = Answer(std::string(2000, ' '));
    half.bytes.resize(half.bytes.size() - 1000);
    return half;
}

std::vector<Misdeed> Misdeeds() {
    const std::string head = "HTTP/1.1 200 OK\r\n";
    return {
        {"closes without a byte", CloseAtOnce(), NoResponseFromServer, Attempts},
        {"resets without a byte", HttpReaction{}.ThenReset(), NoResponseFromServer, Attempts},
        // A head without an end and a body that is empty look alike to libcurl.
        {"closes within the head", HttpReaction{head}.ThenClose(), NoResponseFromServer, 0},
        {"closes within the body", Half().ThenClose(), ProtocolError, 1},
        {"resets within the body", Half().ThenReset(), NoResponseFromServer, Attempts},
        {"closes within a chunk",
         HttpReaction{head + "Transfer-Encoding: chunked\r\n\r\nFF\r\n{"}.ThenClose(), ProtocolError, 1},
        {"sends a chunk without a length",
         HttpReaction{head + "Transfer-Encoding: chunked\r\n\r\nno length\r\n"}.ThenClose(),
         NoResponseFromServer, Attempts},
        {"sends another encoding", HttpReaction{head + "Transfer-Encoding: unheard-of\r\n\r\n{}"}.ThenClose(),
         BadContentEncoding, 1},
        {"sends what is not compressed as if it were",
         HttpReaction{head + "Transfer-Encoding: gzip\r\n\r\nnot compressed at all"}.ThenClose(),
         BadContentEncoding, 1},
        {"speaks no HTTP", HttpReaction{"220 mail.example ready\r\n\r\n"}.ThenClose(), ProtocolError, 1},
        {"speaks another HTTP", HttpReaction{"HTTP/7.3 200 OK\r\n\r\n{}"}.ThenClose(), ProtocolError, 1},
        {"redirects to where nobody speaks its protocol",
         Answer("", 307, "Location: gopher://127.0.0.1/\r\n"), ProtocolError, 1},
        {"redirects to a file", Answer("", 302, "Location: file:///proc/self/status\r\n"), ProtocolError, 1},
        {"redirects to no address", Answer("", 302, "Location: http://[::/\r\n"), MalformedUrl, 1}};
}

class TransportFault : public MatrixWorld {
protected:
    // Rows of a server that is not the world's peer: it is reached, or not, by its address alone.
    static std::vector<Case> Reaching(
        const std::string& label, const std::string& address, const char* message, int failedAttempts) {
        std::vector<Case> rows;
        for (const bool isScript : {true, false}) {
            Case row = {
                label + (isScript ? ", script" : ", eligibility"), isScript ? ScriptRequest() : Command("69"),
                Status(message)};
            row.address = address;
            row.failedAttempts = failedAttempts;
            row.sent.emplace();
            rows.push_back(row);
        }
        return rows;
    }

    void CheckReaching(
        const std::string& label, const std::string& address, const char* message, int failedAttempts,
        const std::string& sections = {}, const std::string& network = "type=wifi") {
        for (Case& row : Reaching(label, address, message, failedAttempts)) {
            row.sections = sections;
            row.network = network;
            Check(row);
        }
    }

    std::string Trusting(const TestCertificate& certificate) const {
        const std::string file = Folder() + "/ca.pem";
        std::ofstream(file) << certificate.Pem();
        return Section("trust", "ca-file", file);
    }
};

// A server in TLS, with the client's trust in its certificate.
class SecureTransportFault : public TransportFault {
protected:
    SecureTransportFault() : secure(certificate.ServerContext()) {}

    // The same rows, their reactions on the secure peer.
    void CheckSecurely(std::vector<Case> rows) {
        for (Case& row : rows) {
            secure.Script(std::move(row.reactions));
            row.reactions.clear();
            row.address = secure.Url();
            row.sections = Trusting(certificate);
            row.label += " in TLS";
            Check(row);
            secure.CloseConnections();
        }
    }

    const TestCertificate certificate{{"127.0.0.1"}};
    HttpPeer secure;
};

}  // namespace

TEST_F(TransportFault, OfAServerHasOneReplyAndLeavesNothingBehind) {
    CheckAll(CasesOf(Misdeeds()));
}

TEST_F(TransportFault, OfARedirectLoopEndsIt) {
    std::deque<HttpReaction> loop(40, Answer("", 307, "Location: /IssueCard.do\r\n"));
    Case first = {"redirect loop", ScriptRequest(), Status(ProtocolError)};
    first.reactions = loop;
    first.failedAttempts = 1;
    Case later = first;
    later.label += " at a later message";
    later.reactions.push_front(CommandSet(Set));
    Case eligibility = first;
    eligibility.label += " at the eligibility query";
    eligibility.request = Command("69");
    Case circle = first;
    circle.label = "circle of two places";
    for (std::size_t i = 0; i < circle.reactions.size(); i += 2) {
        circle.reactions[i] = Answer("", 308, "Location: /elsewhere\r\n");
    }
    CheckAll({first, later, eligibility, circle});
}

TEST_F(TransportFault, OfASlowServerOnlyTakesTime) {
    using std::chrono::milliseconds;
    Case slow = {"slow answers", ScriptRequest(), Status(Done)};
    slow.reactions = {
        CommandSet(Set).Slowly(milliseconds(300)), Result("00000001").Slowly(milliseconds(300))};
    slow.failedAttempts = 0;
    Case halting = slow;
    halting.label = "an answer that halts and breaks off";
    halting.reply = Status(ProtocolError);
    halting.reactions = {Half().ThenClose().Slowly(milliseconds(100))};
    halting.failedAttempts = 1;
    CheckAll({slow, halting});
}

// The only time that is limited is the one to connect, twenty seconds, handshake included.
TEST_F(TransportFault, OfASilentHandshakeTimesOutFourTimes) {
    HttpPeer silent;
    Case row = Reaching("silent handshake", "https://" + silent.Address(), TimedOut, Attempts).front();
    Check(row);
    silent.CloseConnections();
}

TEST_F(TransportFault, OfAnAddressIsOneReply) {
    const ClosedPort closed;
    const std::string noHost = std::string(70, 'x') + ".invalid";  // no name has a part so long
    CheckReaching("refused", "http://" + closed.Address(), HostUnreachable, Attempts);
    CheckReaching("refused in TLS", "https://" + closed.Address(), HostUnreachable, Attempts);
    CheckReaching("unresolvable", "http://" + noHost, HostUnreachable, Attempts);
    CheckReaching("malformed", "http://a host", MalformedUrl, 1);
    CheckReaching("port out of range", "http://127.0.0.1:65536", MalformedUrl, 1);
    CheckReaching("unknown scheme", "abcde://127.0.0.1", ProtocolError, 1);
    CheckReaching("file that is not there", "file:///nowhere", ProtocolError, 1);
    std::ofstream(Folder() + "/IssueCard.do") << DoneAnswer;
    CheckReaching("file", "file://" + Folder(), ProtocolError, 1);
}

TEST_F(TransportFault, OfAProxyIsOneReply) {
    const ClosedPort closed;
    const std::string noHost = std::string(70, 'x') + ".invalid:8080";
    const std::string address = "http://kms.example";
    const auto through = [](const std::string& proxy) { return "type=wifi\nproxy=" + proxy; };
    CheckReaching("proxy refused", address, HostUnreachable, Attempts, {}, through(closed.Address()));
    CheckReaching(
        "proxy of a full URL refused", address, HostUnreachable, Attempts, {},
        through("http://" + closed.Address()));
    CheckReaching(
        "proxy refused for TLS", "https://kms.example", HostUnreachable, Attempts, {},
        through(closed.Address()));
    CheckReaching("proxy unresolvable", address, HostUnreachable, Attempts, {}, through(noHost));
    CheckReaching("proxy that is no address", address, HostUnreachable, Attempts, {}, through("a b c"));
    for (const int status : {400, 403, 404, 407, 500, 502, 503, 504}) {
        HttpPeer proxy;
        proxy.Script(std::deque<HttpReaction>(8 * Attempts, Answer("", status).ThenClose()));
        CheckReaching(
            "tunnel denied with " + std::to_string(status), "https://kms.example", NoResponseFromServer,
            Attempts, {}, through(proxy.Address()));
        proxy.Script(std::deque<HttpReaction>(8, Answer("", status)));
        CheckReaching(
            "request denied with " + std::to_string(status), address, std::to_string(status).c_str(), 0, {},
            through(proxy.Address()));
        proxy.CloseConnections();
    }
    HttpPeer silent;
    silent.Script(std::deque<HttpReaction>(8 * Attempts, CloseAtOnce()));
    CheckReaching(
        "proxy that closes", address, NoResponseFromServer, Attempts, {}, through(silent.Address()));
}

TEST_F(TransportFault, OfACertificateIsOneReplyAndNoMessage) {
    const TestCertificate good({"127.0.0.1"});
    const TestCertificate unknown({"127.0.0.1"});
    const TestCertificate otherHost({"kms.other.example"});
    const TestCertificate expired({"127.0.0.1"}, -60);
    const struct {
        const char* label;
        const TestCertificate& server;
        const TestCertificate& trusted;
    } rows[] = {
        {"untrusted", unknown, good},
        {"another host's", otherHost, otherHost},
        {"expired", expired, expired}};
    for (const auto& row : rows) {
        HttpPeer server(row.server.ServerContext());
        CheckReaching(row.label, server.Url(), ProtocolError, 1, Trusting(row.trusted));
        server.CloseConnections();
        EXPECT_EQ(server.Requests().size(), 0U) << row.label;
    }
    HttpPeer server(good.ServerContext());
    CheckReaching("trusted", server.Url(), Done, 0, Trusting(good));
    server.CloseConnections();
}

TEST_F(TransportFault, OfAHandshakeIsTriedFourTimes) {
    const TestCertificate certificate({"127.0.0.1"});
    HttpPeer server(certificate.ServerContext());
    for (Case& row : Reaching("closes in the handshake", server.Url(), HostUnreachable, Attempts)) {
        server.RefuseConnections(Attempts);
        row.sections = Trusting(certificate);
        Check(row);
        EXPECT_EQ(server.Handshakes(), 0);
    }
}

TEST_F(SecureTransportFault, OfAServerHasOneReplyAndLeavesNothingBehind) {
    CheckSecurely(CasesOf(Misdeeds()));
}

}  // namespace Matrix
