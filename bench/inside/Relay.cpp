// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "app/AgentJob.h"
#include "app/Se.h"
#include "app/jobs/JobServices.h"
#include "bench/floors/RelayFloor.h"
#include "bench/inside/BusService.h"
#include "bench/inside/Case.h"
#include "bench/inside/PlainPlatform.h"

namespace Inside {

namespace {

// A run relays so many APDUs at least, in as many sets as that takes.
constexpr unsigned LeastApdus = 1000;

// The set that is relayed by systemd's bus library as well.
constexpr unsigned CountOnSdBus = 10;

class IdleJob : public Na::AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override {}
};

// A job of the service's client, with the secure element open.
class OpenJob {
public:
    OpenJob() : job(Request()), session(0) {
        if (!session.IsOpen()) {
            throw std::runtime_error("the secure element does not open");
        }
    }

    std::string Relay(const std::string& commandSet) {
        return Na::SendApdu(job, session.Element(), commandSet);
    }

private:
    static std::unique_ptr<Na::JobRequest> Request() {
        auto request = std::make_unique<Na::JobRequest>();
        request->clientId = Service().ClientId();
        request->port = Service().Port();
        return request;
    }

    IdleJob job;
    Na::SeSession session;
};

struct Command {
    const char* name;
    std::string digits;
    std::vector<unsigned> counts;  // of the sets; a longer set's responses would not be sent any more
};

// The shortest form of SELECT, a full STORE-like command, and one so short that no progress is reported.
std::vector<Command> Commands() {
    std::string full = "00A40400FF";
    for (int i = 0; i < 255; ++i) {
        full += "5A";
    }
    return {
        {"3 bytes", "00A404", {1, 10, 1000, 5000}},
        {"5 bytes", "00A4040000", {1, 10, 1000, 5000}},
        {"261 bytes", full + "00", {1, 10, 50, 120}}};
}

std::string SetOf(const std::string& command, unsigned count) {
    std::string set;
    for (unsigned i = 0; i < count; ++i) {
        set += "/01" + command;
    }
    return set;
}

std::string Figure(const std::string& command, unsigned count) {
    return command + ", set of " + std::to_string(count);
}

struct Work {
    std::string responses;
    Logged log;
};

template <typename Relay>
Work WorkOf(Relay&& relay) {
    const Logged before = WrittenToLog();
    Work work{relay(), WrittenToLog()};
    work.log.lines -= before.lines;
    work.log.characters -= before.characters;
    return work;
}

// Both sides have to give the same responses and the same lines, or they would not have done the same. A line
// number may have a digit more.
void RequireEqual(const Work& ours, const Work& floor) {
    const double characters = static_cast<double>(ours.log.characters);
    const double difference = std::abs(characters - static_cast<double>(floor.log.characters));
    if (ours.responses.empty() || ours.responses != floor.responses || ours.log.lines != floor.log.lines ||
        difference > 0.01 * characters) {
        throw std::runtime_error("service and floor relay differently");
    }
}

void AddSet(Cases& cases, const std::shared_ptr<OpenJob>& job, const Command& command, unsigned count) {
    const std::string set = SetOf(command.digits, count);
    const unsigned times = std::max(1U, LeastApdus / count);
    const std::string& id = Service().ClientId();
    const Floor::Client client{Service().Connection(), id, "/navoa/client/" + id.substr(id.find('_') + 1)};
    RequireEqual(
        WorkOf([&] { return job->Relay(set); }), WorkOf([&] { return Floor::RelaySet(client, set); }));
    const std::string figure = Figure(command.name, count);
    const auto flush = [] { Service().Flush(); };
    const auto ours = [=] {
        for (unsigned i = 0; i < times; ++i) {
            job->Relay(set);
        }
    };
    const auto floor = [=] {
        for (unsigned i = 0; i < times; ++i) {
            Floor::RelaySet(client, set);
        }
    };
    cases.push_back({"relay/ours/" + figure, times * count, ours, flush});
    cases.push_back({"relay/floor/" + figure, times * count, floor, flush});
    if (count == CountOnSdBus) {
        const auto onSdBus = [=] {
            for (unsigned i = 0; i < times; ++i) {
                Floor::RelaySetOnSdBus(client, set);
            }
        };
        onSdBus();
        Floor::FlushSdBus();
        cases.push_back({"relay/sd-bus/" + figure, times * count, onSdBus, Floor::FlushSdBus});
    }
}

}  // namespace

void AddRelay(Cases& cases) {
    const auto job = std::make_shared<OpenJob>();
    for (const Command& command : Commands()) {
        for (const unsigned count : command.counts) {
            AddSet(cases, job, command, count);
        }
    }
}

}  // namespace Inside
