// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <stdexcept>

#include "app/AgentJob.h"
#include "app/Se.h"
#include "app/jobs/JobServices.h"
#include "bench/inside/BusService.h"
#include "bench/inside/Case.h"
#include "common/Json.h"

namespace Inside {

namespace {

constexpr unsigned RequestsOfARun = 200;

// A text of this capacity begins at the same place of a page in every run. How many instructions the C
// library needs to compare two texts depends on how near they lie to the end of a page, which made a tenth of
// the cost among many clients.
constexpr std::size_t OwnPages = 1048576;

// A transport that takes replies and lets them fall.
class DeafPort : public Na::IClientPort {
public:
    const char* GetName() const override { return "deaf port"; }
    bool SendResult(const std::string&, const Na::RequestMap&) override { return true; }
    bool SendProgressCode(const std::string&, const std::string&) override { return true; }
    int StartListen() override { return 0; }
    void StopListen() override {}
};

// A registry that knows so many clients, of which the last to come asks.
class Crowd {
public:
    explicit Crowd(unsigned count) {
        auto owned = std::make_unique<DeafPort>();
        port = owned.get();
        registry.RegisterPort(std::move(owned));
        asking.reserve(OwnPages);
        for (unsigned i = 0; i < count; ++i) {
            asking.assign("dbus;com.example.wallet_").append(std::to_string(100000 + i));
            registry.OnClientConnected(port, asking);
        }
    }

    void Ask() { registry.OnClientData(port, asking, status); }

private:
    Na::ClientListener registry;
    DeafPort* port;  // the registry's
    std::string asking;
    const Na::RequestMap status = {{"Cmd", "66"}};
};

void AddCrowd(Cases& cases, unsigned count) {
    const auto crowd = std::make_shared<Crowd>(count);
    const auto ask = [crowd] {
        for (unsigned i = 0; i < RequestsOfARun; ++i) {
            crowd->Ask();
        }
    };
    ask();
    cases.push_back({"growth/ours/request, registered " + std::to_string(count), RequestsOfARun, ask});
}

class SetJob : public Na::AgentJob {
public:
    SetJob() : AgentJob(std::make_unique<Na::JobRequest>()) {
        request->port = &port;
        request->clientId = "dbus;app_1";
    }
    void Execute() override {}

private:
    DeafPort port;
};

// A server's answer with a set of that many KiB at most, of commands of 5 bytes.
std::string AnswerWith(unsigned kibibytes) {
    const std::string item = "/0100A4040000";
    std::string set;
    while (set.size() + item.size() <= kibibytes * std::size_t{1024}) {
        set += item;
    }
    return R"({"resultCode":"00000000","cApduSet":")" + set + R"("})";
}

// From the server's answer to the next message's text, all in memory.
std::string RunSet(const Na::AgentJob& job, Na::Se& element, const std::string& answer) {
    const std::string commandSet = Na::Json(answer).Get("cApduSet");
    Na::Json message;
    message.Set("msgCd", "NEXTAPDU");
    message.Set("rApduSet", Na::SendApdu(job, element, commandSet));
    return message.Construct();
}

void AddSets(Cases& cases) {
    const auto job = std::make_shared<SetJob>();
    const auto session = std::make_shared<Na::SeSession>(0);
    for (const unsigned kibibytes : {1U, 4U, 16U, 64U}) {
        const std::string answer = AnswerWith(kibibytes);
        if (RunSet(*job, session->Element(), answer).size() < answer.size() / 2) {
            throw std::runtime_error("the set was not relayed");
        }
        const auto run = [=] { RunSet(*job, session->Element(), answer); };
        cases.push_back({"growth/ours/set KiB, of " + std::to_string(kibibytes), kibibytes, run});
    }
}

}  // namespace

void AddGrowth(Cases& cases) {
    Service();  // the device around what is measured
    for (const unsigned count : {1U, 200U, 10000U}) {
        AddCrowd(cases, count);
    }
    AddSets(cases);
}

}  // namespace Inside
