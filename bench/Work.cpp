// SPDX-License-Identifier: Apache-2.0
#include "bench/Work.h"

#include <fstream>
#include <stdexcept>

#include "tests/support/service/ResultTexts.h"

namespace Bench {

namespace {

constexpr char Apdu[] = "/0100A4040000";

std::string Json(const std::string& code, const std::string& member, const std::string& value) {
    return R"({"resultCode":")" + code + R"(",")" + member + R"(":")" + value + R"("})";
}

std::string SetOf(unsigned apdus) {
    std::string set;
    for (unsigned apdu = 0; apdu < apdus; ++apdu) {
        set += Apdu;
    }
    return set;
}

// Requests with the very same map, one after the other.
Work Requests(const std::string& name, const Navo::Map& request, bool hasFloor = false) {
    return {name, 20, 120, hasFloor, [request](Stage& stage, unsigned times) {
                for (unsigned sent = 0; sent < times; ++sent) {
                    const Navo::Map reply = stage.Session().Call(request);
                    if (reply.count("ReturnCode") == 0) {
                        throw std::runtime_error("a request was not answered");
                    }
                }
            }};
}

}  // namespace

ScriptedServer::ScriptedServer() = default;

void ScriptedServer::Serve(Stage& stage) {
    // As on a device: programs alone tell who a caller is.
    stage.Surroundings().Device().Set("packages", "trust-environment", "false");
    stage.UseServer(peer.Url(), stage.Surroundings().Write("scripted.pem", certificate.Pem()));
}

void ScriptedServer::Play(Stage& stage, unsigned exchanges, unsigned apdus) {
    std::deque<HttpReaction> answers(exchanges - 1, Answer(Json("00000000", "cApduSet", SetOf(apdus))));
    answers.push_back(Answer(Json("00000001", "note", "")));
    peer.Script(std::move(answers));
    RunScript(stage);
}

void ScriptedServer::AnswerAtLength(Stage& stage, std::size_t bytes) {
    peer.Script({Answer(Json("00000001", "note", std::string(bytes, 'x')))});
    RunScript(stage);
}

void ScriptedServer::RunScript(Stage& stage) {
    const Navo::Map reply = stage.Session().Call(
        {{"Cmd", "65"}, {"ServiceId", "test.service"}, {"FcId", "ISSUE-1"}, {"pushReq", "push"}});
    if (reply.at("ReturnCode") != ResultText::Done) {
        throw std::runtime_error("a script ended with " + reply.at("ReturnCode"));
    }
}

std::vector<Work> AllWork(ScriptedServer& server) {
    return {
        Requests(StatusRequest, {{"Cmd", "66"}}, true),
        Requests("CPLC", {{"Cmd", "67"}}),
        Requests("memory", {{"Cmd", "68"}}),
        Requests("phone information", {{"Cmd", "1F4"}}),
        Requests("server address", {{"Cmd", "1F5"}, {"hostAddr", "https://kms.example:8443"}}),
        {"APDU with progress, in a script", 10, 210, true,
         [&server](Stage& stage, unsigned times) { server.Play(stage, 2, times); }},
        {ScriptExchange, 5, 35, true,
         [&server](Stage& stage, unsigned times) { server.Play(stage, times, 1); }},
        {"MiB of a server's answer", 1, 10, false,
         [&server](Stage& stage, unsigned times) { server.AnswerAtLength(stage, times * (1UL << 20)); }}};
}

}  // namespace Bench
