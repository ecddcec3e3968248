// SPDX-License-Identifier: Apache-2.0
// Sends the service very many requests of mixed kinds from very many client processes and watches what it
// holds: all of it has to stay where it is, but for the jobs, which are kept by design and whose cost is
// measured for each kind first.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>

#include "tests/soak/Holdings.h"
#include "tests/soak/LargeAnswers.h"
#include "tests/soak/Requests.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace fs = std::filesystem;

namespace {

struct Plan {
    unsigned requests = 300000;
    unsigned clients = 40;             // at a time
    unsigned requestsOfAClient = 250;  // then it closes its session, or dies without
    unsigned perKind = 2000;           // requests to learn a kind's cost from
};

constexpr unsigned WarmUp = 300;
constexpr unsigned OneInSoManyDies = 25;
constexpr unsigned Samples = 15;

// Memory that a run may take beyond what its kept jobs cost: the allocator's own wavering.
constexpr double FreeGrowth = 1024;     // KiB
constexpr double FreeShare = 0.15;      // of the jobs' cost
constexpr double DeadClientCost = 4;    // KiB, the most that a client may leave that never said a word
constexpr double ScriptsAreRarer = 10;  // kinds that talk to a server are measured with fewer requests

std::string Self() {
    return fs::read_symlink("/proc/self/exe");
}

// A service that runs as long as this object lives, with everything that its requests need.
class Surroundings {
public:
    Surroundings() {
        fs::create_symlink("/dev/null", world.Folder() / "dlog");
        world.InstallInHouseLibraries();
        const std::string script = world.Write("soak.json", ScriptOf({{"00A4040000", "80CA9F7F00"}}));
        server = world.StartKeyServer({"--script", script, "--eligibility", "00000001", "--quiet"}).Address();
        const World::Result converted =
            world.Run({"sh", "-c", "printf '00A4040000\\n80CA9F7F00\\n' | " NAVO_CCM_PROGRAM});
        ccmScript = converted.output.substr(0, converted.output.find('\n'));
        anchor = std::make_unique<Navo::Session>(world.Options());
        service = world.ServiceProcess();
    }

    // A client process that sends requests; a kind or "" for the mix.
    std::unique_ptr<Process> StartClient(const std::string& kind, unsigned count, unsigned seed, bool dies) {
        return world.Start(
            {Self(), "client", world.BusAddress(), ccmScript, server, kind, std::to_string(count),
             std::to_string(seed), dies ? "dies" : "closes"},
            TestPackage);
    }

    Holdings Now() const { return HoldingsOf(service); }
    std::vector<RequestKind> Kinds() const { return RequestKinds(ccmScript, server); }

private:
    World world;
    std::string server;
    std::string ccmScript;
    std::unique_ptr<Navo::Session> anchor;  // keeps the service when all others have closed
    pid_t service = 0;
};

void RequireSuccess(Process& client) {
    const std::optional<ExitStatus> status = client.WaitForEnd(std::chrono::minutes(10));
    if (status != 0 && status != -SIGKILL) {
        throw std::runtime_error("a client failed: " + client.Errors());
    }
}

// KiB that one request leaves behind.
double CostOf(Surroundings& surroundings, const std::string& kind, unsigned count) {
    RequireSuccess(*surroundings.StartClient(kind, WarmUp, 1, false));
    const Holdings before = surroundings.Now();
    RequireSuccess(*surroundings.StartClient(kind, count, 2, false));
    const Holdings after = surroundings.Now();
    return (static_cast<double>(after.privateDirty) - static_cast<double>(before.privateDirty)) / count;
}

// What one job may keep: its object, its request and its reply, of a few hundred bytes each.
constexpr double MostPerRequest = 2;  // KiB

using Costs = std::map<std::string, double>;

Costs CostOfEachKind(Surroundings& surroundings, const Plan& plan) {
    std::printf("%-12s %10s\n", "kind", "bytes kept per request");
    Costs costs;
    for (const RequestKind& kind : surroundings.Kinds()) {
        const bool rare = kind.name == "script" || kind.name == "eligibility";
        const unsigned count = rare ? static_cast<unsigned>(plan.perKind / ScriptsAreRarer) : plan.perKind;
        costs[kind.name] = CostOf(surroundings, kind.name, count);
        std::printf("%-12s %10.0f\n", kind.name.c_str(), 1024 * costs[kind.name]);
        std::fflush(stdout);
    }
    return costs;
}

double CostOfTheMix(const Costs& costs, const std::vector<RequestKind>& kinds) {
    double cost = 0;
    for (const RequestKind& kind : kinds) {
        cost += costs.at(kind.name) * kind.share / ShareTotal;
    }
    return cost;
}

void PrintSample(unsigned requests, const Holdings& now) {
    std::printf(
        "%9u %13llu %9llu %12d %8u %8d\n", requests, static_cast<unsigned long long>(now.privateDirty),
        static_cast<unsigned long long>(now.resident), now.descriptors, now.threads, now.watches);
    std::fflush(stdout);
}

struct Run {
    Holdings before;
    Holdings after;
    unsigned requests = 0;
    unsigned dead = 0;
};

// Keeps so many clients under way until all requests are sent.
Run SendTheMix(Surroundings& surroundings, const Plan& plan) {
    std::printf(
        "\n%9s %13s %9s %12s %8s %8s\n", "requests", "private KiB", "RSS KiB", "descriptors", "threads",
        "watches");
    Run run;
    run.before = surroundings.Now();
    PrintSample(0, run.before);
    std::deque<std::unique_ptr<Process>> clients;
    unsigned nextSample = plan.requests / Samples;
    for (unsigned started = 0; started * plan.requestsOfAClient < plan.requests || !clients.empty();) {
        if (started * plan.requestsOfAClient < plan.requests && clients.size() < plan.clients) {
            const bool dies = started % OneInSoManyDies == OneInSoManyDies - 1;
            clients.push_back(surroundings.StartClient("", plan.requestsOfAClient, ++started, dies));
            run.dead += dies ? 1 : 0;
            continue;
        }
        RequireSuccess(*clients.front());
        clients.pop_front();
        run.requests += plan.requestsOfAClient;
        if (run.requests >= nextSample) {
            PrintSample(run.requests, surroundings.Now());
            nextSample += plan.requests / Samples;
        }
    }
    run.after = surroundings.Now();
    PrintSample(run.requests, run.after);
    return run;
}

bool Check(bool holds, const std::string& what) {
    std::printf("%s %s\n", holds ? "ok  " : "FAIL", what.c_str());
    return holds;
}

bool JudgeCosts(const Costs& costs) {
    bool good = true;
    for (const auto& [kind, cost] : costs) {
        if (cost > MostPerRequest) {
            char text[100];
            std::snprintf(text, sizeof text, "a request of kind %s keeps %.1f KiB", kind.c_str(), cost);
            good = Check(false, text);
        }
    }
    return good && Check(true, "no kind of request keeps more than 2 KiB");
}

bool Judge(const Run& run, double costOfARequest) {
    const double grown =
        static_cast<double>(run.after.privateDirty) - static_cast<double>(run.before.privateDirty);
    const double jobs = costOfARequest * run.requests;
    const double allowed = jobs * (1 + FreeShare) + FreeGrowth + DeadClientCost * run.dead;
    char text[200];
    std::snprintf(
        text, sizeof text, "memory grew by %.0f KiB: %.0f for the kept jobs of %u requests, %.0f allowed",
        grown, jobs, run.requests, allowed);
    bool good = Check(grown <= allowed, text);
    // The connection to the server is kept for the next job.
    const int kept = 1;
    good =
        Check(run.after.descriptors <= run.before.descriptors + kept, "no descriptor is left open") && good;
    good = Check(run.after.threads <= run.before.threads, "no thread is left") && good;
    return Check(run.after.watches <= run.before.watches, "no file is watched that was not before") && good;
}

// client BUS CCM-SCRIPT SERVER KIND COUNT SEED closes|dies
int BeAClient(const std::vector<std::string>& arguments) {
    Navo::SessionOptions options;
    options.busAddress = arguments.at(1);
    Navo::Session session(options);
    SendRequests(
        RequestKinds(arguments.at(2), arguments.at(3)), arguments.at(4),
        static_cast<unsigned>(std::stoul(arguments.at(5))),
        static_cast<unsigned>(std::stoul(arguments.at(6))), session);
    if (arguments.at(7) == "dies") {
        std::raise(SIGKILL);
    }
    session.Close();
    return 0;
}

int Soak(const std::vector<std::string>& arguments) {
    Plan plan;
    if (!arguments.empty()) {
        plan.requests = static_cast<unsigned>(std::stoul(arguments.at(0)));
        plan.perKind = std::min(plan.perKind, plan.requests / 2);
        plan.clients = std::min(plan.clients, plan.requests / plan.requestsOfAClient + 1);
    }
    Surroundings surroundings;
    const Costs costs = CostOfEachKind(surroundings, plan);
    const Run run = SendTheMix(surroundings, plan);
    std::printf("\n%u clients died without closing their session\n", run.dead);
    const bool cheap = JudgeCosts(costs);
    return Judge(run, CostOfTheMix(costs, surroundings.Kinds())) && cheap ? 0 : 1;
}

int TakeLargeAnswers() {
    return Check(LargeAnswersStaySmall(), "an answer of 16 MiB takes 64 MiB at the most") ? 0 : 1;
}

}  // namespace

// navo-soak [REQUESTS | answers]
int main(int count, char** words) {
    const std::vector<std::string> arguments(words + 1, words + count);
    try {
        const std::string first = arguments.empty() ? "" : arguments.front();
        return first == "client"    ? BeAClient(arguments)
               : first == "answers" ? TakeLargeAnswers()
                                    : Soak(arguments);
    } catch (const std::exception& error) {
        std::cerr << "navo-soak: " << error.what() << "\n";
        return 2;
    }
}
