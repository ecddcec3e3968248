// SPDX-License-Identifier: Apache-2.0
#include "bench/Callgrind.h"
#include "bench/Groups.h"
#include "bench/Inside.h"
#include "bench/Memory.h"
#include "bench/Stage.h"

namespace Bench {

namespace {

constexpr char Group[] = "growth";
constexpr unsigned ManyClients = 200;
constexpr double MostGrowth = 1.05;

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

// Of so many clients, this process is the last.
double RequestInstructions(const Settings& settings, unsigned clients) {
    return PerOperation(20, 220, [&](unsigned requests) {
        const std::filesystem::path result =
            settings.scratch / ("live." + std::to_string(clients) + "." + std::to_string(requests));
        Stage stage(Side::Ours);
        stage.WithOthers(clients - 1);
        stage.StartCounted(result);
        stage.AskForStatus(requests);
        stage.End();
        return CountIn(result);
    });
}

double RequestTime(Stage& stage) {
    constexpr unsigned Requests = 50;
    return MicrosecondsOf([&] { stage.AskForStatus(Requests); }) / Requests;
}

const char LiveFigure[] = "request, live clients 200";

void AddLiveTimes(Report& report, const Settings& settings) {
    Stage many(Side::Ours);
    many.WithOthers(ManyClients - 1);
    many.Start();
    Stage one(Side::Ours);
    one.Start();
    many.AskForStatus(1);
    one.AskForStatus(1);
    Figure figure{Group, LiveFigure, Microseconds, {}, {}};
    for (unsigned round = 0; round < settings.rounds; ++round) {
        figure.ours.push_back(RequestTime(many));
        figure.floor.push_back(RequestTime(one));
    }
    many.End();
    one.End();
    report.Add(std::move(figure));
}

struct Payload {
    const char* name;
    std::size_t size;
    unsigned requests;
};

constexpr Payload Payloads[] = {
    {"kept of a request of 16 B", 16, 500},
    {"kept of a request of 64 KiB", 64 << 10, 2000},
    {"kept of a request of 4 MiB", 4 << 20, 200}};
constexpr unsigned Batches = 9;
constexpr double MostKept = 350;  // bytes

// What a request leaves behind, of each batch. What the first ones need once is no growth; nor is a piece of
// the heap that is used in another way from some moment on, which is why the middle of several batches
// counts.
std::vector<double> KeptOf(Stage& stage, const Payload& payload) {
    const Navo::Map request = {{"Cmd", "66"}, {"payload", std::string(payload.size, 'x')}};
    const auto memoryAfterBatch = [&] {
        for (unsigned sent = 0; sent < payload.requests; ++sent) {
            stage.Session().Call(request);
        }
        return MemoryOf(stage.Pid()).privateDirty;
    };
    std::vector<double> kept;
    double before = memoryAfterBatch();
    for (unsigned batch = 0; batch < Batches; ++batch) {
        const double after = memoryAfterBatch();
        kept.push_back((after - before) / payload.requests);
        before = after;
    }
    return kept;
}

void AddKept(Report& report) {
    for (const Payload& payload : Payloads) {
        Stage stage(Side::Ours);
        stage.Start();
        report.Add({Group, payload.name, ByteCount, KeptOf(stage, payload), {}, std::nullopt, MostKept});
        stage.End();
    }
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
        AddKept(report);
        AddInside(report, TimesInside(settings, Group), Microseconds);
        AddLiveTimes(report, settings);
    }
}

}  // namespace Bench
