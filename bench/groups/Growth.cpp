#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>

#include "../Callgrind.h"
#include "../Groups.h"
#include "../Inside.h"
#include "e2e/World.h"
#include "soak/Holdings.h"

namespace Bench {

namespace {

constexpr char Group[] = "growth";
constexpr unsigned ManyClients = 200;
constexpr double MostGrowth = 1.05;
constexpr double MostKept = 1024;  // bytes of a status request, whose job stays

struct Comparison {
    const char* large;
    const char* small;  // stands in place of a floor
    std::optional<double> target;
};

// The registry is searched from its begin, which only very many clients make felt.
const Comparison Comparisons[] = {
    {"request, registered 200", "request, registered 1", std::nullopt},
    {"request, registered 10000", "request, registered 1", std::nullopt},
    {"set KiB, of 4", "set KiB, of 1", MostGrowth},
    {"set KiB, of 16", "set KiB, of 1", MostGrowth},
    {"set KiB, of 64", "set KiB, of 1", MostGrowth},
};

void AddInside(Report& report, const InsideValues& values, const std::string& unit) {
    const bool counted = unit == Instructions;
    for (const Comparison& comparison : Comparisons) {
        const std::string key = std::string(Group) + "/ours/";
        report.Add(
            {Group, comparison.large, unit, values.at(key + comparison.large),
             values.at(key + comparison.small), counted ? comparison.target : std::nullopt});
    }
}

// A service on a bus with so many clients, each a process with a session; the last of them is this one, which
// asks.
class LiveService {
public:
    LiveService(const std::vector<std::string>& command, unsigned clients) {
        service = world.Start(command);
        if (!Eventually([this] { return world.ServiceProcess() == service->Pid(); })) {
            throw std::runtime_error("the service does not start: " + service->Errors());
        }
        for (unsigned i = 1; i < clients; ++i) {
            others.push_back(world.StartClient("com.example.other"));
            others.back()->OpenSession();
        }
        session = std::make_unique<Navo::Session>(world.Options());
        Ask();
    }

    void Ask(unsigned requests = 1) {
        for (unsigned i = 0; i < requests; ++i) {
            if (session->Call({{"Cmd", "66"}}).count("ReturnCode") == 0) {
                throw std::runtime_error("a status request was not answered");
            }
        }
    }

    // Bytes that only this process has.
    double PrivateDirty() const {
        return 1024 * static_cast<double>(HoldingsOf(service->Pid()).privateDirty);
    }

    // The service ends with its last session.
    void Close() {
        session->Close();
        for (const auto& other : others) {
            other->CloseSession();
        }
        if (service->WaitForEnd() != 0) {
            throw std::runtime_error("the service did not end well: " + service->Errors());
        }
    }

private:
    World world;
    std::unique_ptr<Process> service;
    std::vector<std::unique_ptr<ClientProcess>> others;
    std::unique_ptr<Navo::Session> session;
};

double RequestInstructions(const Settings& settings, unsigned clients) {
    return PerOperation(20, 220, [&](unsigned requests) {
        const std::filesystem::path result =
            settings.scratch / ("live." + std::to_string(clients) + "." + std::to_string(requests));
        LiveService service(CountedCommand(result, {NAVO_AGENT_PROGRAM}), clients);
        service.Ask(requests);
        service.Close();
        return CountIn(result);
    });
}

double RequestTime(LiveService& service) {
    using Clock = std::chrono::steady_clock;
    constexpr unsigned Requests = 50;
    const Clock::time_point begin = Clock::now();
    service.Ask(Requests);
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / Requests;
}

const char LiveFigure[] = "request, live clients 200";

void AddLiveTimes(Report& report, const Settings& settings) {
    LiveService many({NAVO_AGENT_PROGRAM}, ManyClients);
    LiveService one({NAVO_AGENT_PROGRAM}, 1);
    Figure figure{Group, LiveFigure, Microseconds, {}, {}};
    for (unsigned round = 0; round < settings.rounds; ++round) {
        figure.ours.push_back(RequestTime(many));
        figure.floor.push_back(RequestTime(one));
    }
    report.Add(std::move(figure));
}

// The allocator takes memory in steps, so one value needs many requests.
void AddKept(Report& report) {
    constexpr unsigned WarmUp = 500;
    constexpr unsigned Requests = 4000;
    LiveService service({NAVO_AGENT_PROGRAM}, 1);
    service.Ask(WarmUp);
    const double before = service.PrivateDirty();
    service.Ask(Requests);
    const double kept = (service.PrivateDirty() - before) / Requests;
    report.Add({Group, "kept of a status request", ByteCount, {kept}, {}, std::nullopt, MostKept});
}

}  // namespace

void MeasureGrowth(Report& report, const Settings& settings) {
    if (settings.instructions) {
        AddInside(report, CountsInside(settings, Group), Instructions);
        report.Add(
            {Group,
             LiveFigure,
             Instructions,
             {RequestInstructions(settings, ManyClients)},
             {RequestInstructions(settings, 1)},
             MostGrowth});
    }
    if (settings.wall) {
        AddInside(report, TimesInside(settings, Group), Microseconds);
        AddLiveTimes(report, settings);
        AddKept(report);
    }
}

}  // namespace Bench
