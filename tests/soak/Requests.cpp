// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/Requests.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace {

constexpr char Done[] = "00000001_";

const RequestKind& NextOfMix(const std::vector<RequestKind>& kinds, std::mt19937& random) {
    unsigned at = std::uniform_int_distribution<unsigned>(0, ShareTotal - 1)(random);
    for (const RequestKind& kind : kinds) {
        if (at < kind.share) {
            return kind;
        }
        at -= kind.share;
    }
    throw std::logic_error("the shares of the mix do not reach their total");
}

const RequestKind& KindNamed(const std::vector<RequestKind>& kinds, const std::string& name) {
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const RequestKind& kind) { return kind.name == name; });
    if (found == kinds.end()) {
        throw std::logic_error("there is no kind of request " + name);
    }
    return *found;
}

}  // namespace

std::vector<RequestKind> RequestKinds(const std::string& ccmScript, const std::string& server) {
    return {
        {"status", {{"Cmd", "66"}}, "10000001_", 50},
        {"cplc", {{"Cmd", "67"}}, "4F52", 12},
        {"memory", {{"Cmd", "68"}}, "1", 12},
        {"phone", {{"Cmd", "1F4"}}, "", 12},
        {"address", {{"Cmd", "1F5"}, {"hostAddr", server}}, Done, 2},
        {"key", {{"Cmd", "3F1"}, {"keyName", "none"}, {"keyType", "1"}, {"injectionType", "1"}}, "", 6},
        {"ccm", {{"Cmd", "90"}, {"CcmScriptData", ccmScript}}, Done, 4},
        {"eligibility", {{"Cmd", "69"}}, Done, 1},
        {"script",
         {{"Cmd", "65"}, {"ServiceId", "test.service"}, {"FcId", "ISSUE"}, {"pushReq", "x"}},
         Done,
         1},
    };
}

void SendRequests(
    const std::vector<RequestKind>& kinds, const std::string& kind, unsigned count, unsigned seed,
    Navo::Session& session) {
    std::mt19937 random(seed);
    for (unsigned sent = 0; sent < count; ++sent) {
        const RequestKind& next = kind.empty() ? NextOfMix(kinds, random) : KindNamed(kinds, kind);
        const Navo::Map reply = session.Call(next.request);
        const auto code = reply.find("ReturnCode");
        if (code == reply.end() || code->second.compare(0, next.outcome.size(), next.outcome) != 0) {
            throw std::runtime_error(
                next.name + " was answered with " + (code == reply.end() ? "nothing" : code->second));
        }
    }
}
