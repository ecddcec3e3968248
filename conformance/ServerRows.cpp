// SPDX-License-Identifier: Apache-2.0
// Scripts and questions by way of a key server, and what becomes of its failures.
#include <cstdint>

#include "conformance/Kit.h"
#include "conformance/Row.h"
#include "keyserver/service/Misbehaviour.h"
#include "navo/Outcome.h"
#include "navo/Vocabulary.h"

namespace Conformance {

namespace {

using Navo::Map;

constexpr char Done[] = "00000001";

Map ScriptRequest(const char* serviceId) {
    return {{Navo::Key::Cmd, Navo::CommandText(Navo::Command::RunScript)}, {Navo::Key::ServiceId, serviceId}};
}

Map EligibilityRequest() {
    return {{Navo::Key::Cmd, Navo::CommandText(Navo::Command::Eligibility)}};
}

// What the request ends with when the server commits this fault; some message must have reached it.
std::string CodeUnder(Kit& kit, const std::string& fault, const char* serviceId = ServiceId::Card) {
    KeyServer::Server& server = kit.Trusted();
    const std::uint64_t before = server.Count().messages;
    if (!fault.empty()) {
        server.Misbehave({KeyServer::ParseMisbehaviour(fault)});
    }
    const std::string code = kit.CodeOf(ScriptRequest(serviceId));
    ExpectThat(
        server.Count().messages > before,
        "no message came to the key server; the request ended with \"" + code + "\"");
    return code;
}

void RunsAScript(Kit& kit) {
    Expect(CodeUnder(kit, ""), Done, "a script of two sets");
    Expect(std::to_string(kit.Trusted().Count().sessions > 0 ? 1 : 0), "1", "sessions of the key server");
}

void ShowsProgress(Kit& kit) {
    kit.Trusted();
    Navo::Session session(kit.SessionOptions());
    std::string progress;
    Navo::CallOptions options;
    options.onProgress = [&progress](const std::string& text) { progress += text + ";"; };
    const Map reply = session.Call(ScriptRequest(ServiceId::Card), options);
    session.Close();
    Expect(progress, "A4_Select Service;CA_Research;", "the progress of the script");
    Expect(Navo::SplitResultMessage(reply.at(Navo::Key::ReturnCode)).code, Done, "its reply");
}

void ReportsTheCard(Kit& kit) {
    Expect(
        CodeUnder(kit, "", ServiceId::Refused), KeyServer::ResultCode::UnexpectedStatusWord,
        "a script that the card refused");
}

void UnknownService(Kit& kit) {
    Expect(
        CodeUnder(kit, "", ServiceId::Unknown), KeyServer::ResultCode::InvalidMessage,
        "a service that the key server does not have");
}

void MalformedSet(Kit& kit) {
    Expect(
        CodeUnder(kit, "", ServiceId::Malformed), KeyServer::ResultCode::RelayFailed,
        "a command of one digit");
}

void Eligibility(Kit& kit) {
    kit.Trusted();
    Expect(kit.CodeOf(EligibilityRequest()), Done, "the first answer to 69");
    Expect(kit.CodeOf(EligibilityRequest()), KeyServer::ResultCode::ForeignDevice, "the second one");
}

void HttpStatus(Kit& kit) {
    for (const char* status : {"404", "500"}) {
        Expect(CodeUnder(kit, "status=" + std::string(status)), status, "HTTP status " + std::string(status));
    }
}

void NoAnswer(Kit& kit) {
    Expect(CodeUnder(kit, "empty"), "10100019", "an empty answer");
}

void DroppedConnection(Kit& kit) {
    Expect(CodeUnder(kit, "close-before@1x1"), Done, "a connection that was closed once");
}

void LateAnswer(Kit& kit) {
    Expect(CodeUnder(kit, "delay=700@2x1"), Done, "an answer that takes most of a second");
}

void OwnCode(Kit& kit) {
    Expect(CodeUnder(kit, "code=20100042@2"), "20100042", "a code of the server's own");
}

void UntrustedCertificate(Kit& kit) {
    const auto server = kit.NewUntrusted();
    kit.Direct(kit.AddressOf(*server, "https"));
    Expect(kit.CodeOf(ScriptRequest(ServiceId::Card)), "10100007", "a certificate that nobody signed");
    Expect(std::to_string(server->Count().messages), "0", "messages that came to that server");
}

void NobodyThere(Kit& kit) {
    std::string address;
    {
        const auto server = kit.NewUntrusted();
        address = kit.AddressOf(*server, "https");
    }
    kit.Direct(address);
    Expect(kit.CodeOf(ScriptRequest(ServiceId::Card)), "10100005", "a port where nobody listens");
}

// The second client asks when the first command goes to the card, and is answered behind the last message.
void OneAfterTheOther(Kit& kit) {
    kit.Trusted();
    const auto other = kit.NewClient();
    Expect(other->AskAndAwait("Open").text, "Success", "another client's opening");
    Navo::Session session(kit.SessionOptions());
    bool hasAsked = false;
    Navo::CallOptions options;
    options.onProgress = [&](const std::string&) {
        if (!hasAsked) {
            other->Ask("66");
            hasAsked = true;
        }
    };
    const Map reply = session.Call(ScriptRequest(ServiceId::Card), options);
    ExpectThat(hasAsked, "the script showed no progress");
    const OtherAnswer answer = other->Await();
    session.Close();
    Expect(other->AskAndAwait("Close").text, "Success", "the other client's closing");
    Expect(Navo::SplitResultMessage(reply.at(Navo::Key::ReturnCode)).code, Done, "the script");
    ExpectThat(answer.at >= kit.LastMessage(), "the other client was answered before the script was over");
}

// A client's own limit ends nothing but its waiting.
void GivingUp(Kit& kit) {
    KeyServer::Server& server = kit.Trusted();
    server.Misbehave({KeyServer::ParseMisbehaviour("delay=1000@1x1")});
    Navo::Session session(kit.SessionOptions());
    Navo::CallOptions options;
    options.timeLimit = std::chrono::milliseconds(100);
    try {
        static_cast<void>(session.Call(ScriptRequest(ServiceId::Card), options));
        throw DoesNotHold("the reply came before the server's answer");
    } catch (const Navo::ClientError& error) {
        Expect(Navo::NameOf(error.Kind()), "timed-out", "waiting for a tenth of a second");
    }
    const Map reply = session.Call({{Navo::Key::Cmd, "66"}});
    session.Close();
    Expect(Navo::SplitResultMessage(reply.at(Navo::Key::ReturnCode)).code, "10000001", "the next request");
}

void AddressIsKept(Kit& kit) {
    kit.Trusted();
    const auto caller = kit.NewCaller();
    const std::string owner = caller->Owner();
    ExpectThat(owner.empty() || caller->AwaitEndOf(owner), "the service does not end");
    Expect(CodeUnder(kit, ""), Done, "a script by another process of the service");
}

}  // namespace

std::vector<Row> ServerRows() {
    return {
        {"script.done", "A script runs by HTTPS from its first message to 00000001", RunsAScript},
        {"script.progress", "Each command shows its progress, in order, before the reply", ShowsProgress},
        {"script.refused", "What the card answers comes to the server, and its verdict to the client",
         ReportsTheCard},
        {"script.unknown-service", "The server's code for an unknown service comes to the client",
         UnknownService},
        {"script.malformed", "A malformed command is reported to the server, whose code comes to the client",
         MalformedSet},
        {"script.own-code", "A code that only the server knows comes to the client", OwnCode},
        {"eligibility", "69 answers with the server's code", Eligibility},
        {"address.kept", "The stored address outlives the process of the service", AddressIsKept},
        {"server.status", "An HTTP status but 200 is the code", HttpStatus},
        {"server.empty", "An empty answer is 10100019", NoAnswer},
        {"server.dropped", "A message whose connection was dropped is sent once more", DroppedConnection},
        {"server.late", "A server that takes its time is waited for", LateAnswer},
        {"queue.order", "While a script runs, another client's request waits", OneAfterTheOther},
        {"queue.given-up", "A client that gives up waiting is served all the same, and then again", GivingUp},
        {"tls.untrusted", "A server whose certificate is not trusted is not talked to: 10100007",
         UntrustedCertificate},
        {"server.unreachable", "A server that is not there is 10100005", NobodyThere}};
}

}  // namespace Conformance
