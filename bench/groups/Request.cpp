// SPDX-License-Identifier: Apache-2.0
// A status command over the bus, beside a bare GDBus service that looks the caller's process up, writes the
// same log lines and answers the same map.
#include "bench/Callgrind.h"
#include "bench/Groups.h"
#include "bench/Stage.h"

namespace Bench {

namespace {

constexpr double LargestRatio = 1.25;

struct Payload {
    const char* name;
    std::size_t size;
    unsigned requests;  // of one round
};

constexpr Payload Payloads[] = {
    {"status, 16 B", 16, 200}, {"status, 1 KiB", 1024, 200}, {"status, 64 KiB", 65536, 50}};

void Send(Stage& stage, const Payload& payload, unsigned count) {
    const Navo::Map request = {{"Cmd", "66"}, {"payload", std::string(payload.size, 'x')}};
    for (unsigned sent = 0; sent < count; ++sent) {
        stage.Session().Call(request);
    }
}

double CountRequests(Side side, const Payload& payload, unsigned count, const Settings& settings) {
    const std::filesystem::path result = settings.scratch / "request.count";
    Stage stage(side);
    stage.StartCounted(result);
    Send(stage, payload, count);
    stage.End();
    return CountIn(result);
}

void CountAll(Report& report, const Settings& settings) {
    for (const Payload& payload : Payloads) {
        const auto each = [&](Side side) {
            return PerOperation(payload.requests / 10, payload.requests, [&](unsigned count) {
                return CountRequests(side, payload, count, settings);
            });
        };
        const double ours = each(Side::Ours);
        report.Add({"request", payload.name, Instructions, {ours}, {each(Side::Floor)}, LargestRatio});
        report.Add(
            {"request",
             std::string(payload.name) + ", floor on sd-bus",
             Instructions,
             {ours},
             {each(Side::SdBusFloor)}});
    }
}

// Waiting included, and what it takes of the service's processor.
struct Times {
    double wall;
    double processor;
};

Times TimeOne(Stage& stage, const Payload& payload) {
    Times times = {};
    times.processor = ProcessorTimeOf(
        stage, [&] { times.wall = MicrosecondsOf([&] { Send(stage, payload, payload.requests); }); });
    return {times.wall / payload.requests, times.processor / payload.requests};
}

void TimeAll(Report& report, const Settings& settings, Stage& ours, Stage& floor) {
    for (const Payload& payload : Payloads) {
        Figure wall = {"request", payload.name, Microseconds, {}, {}};
        Figure processor = {"request", std::string(payload.name) + ", CPU time", Microseconds, {}, {}};
        for (unsigned round = 0; round < settings.rounds; ++round) {
            const Times our = TimeOne(ours, payload);
            const Times floors = TimeOne(floor, payload);
            wall.ours.push_back(our.wall);
            wall.floor.push_back(floors.wall);
            processor.ours.push_back(our.processor);
            processor.floor.push_back(floors.processor);
        }
        report.Add(wall);
        report.Add(processor);
    }
}

}  // namespace

void MeasureRequest(Report& report, const Settings& settings) {
    Stage ours(Side::Ours);
    Stage floor(Side::Floor);
    ours.Start();
    floor.Start();
    const auto sendOne = [](Stage& stage) { Send(stage, Payloads[0], 1); };
    RequireSameLines(ours, floor, 0, sendOne);
    Stage sdBusFloor(Side::SdBusFloor);
    sdBusFloor.Start();
    RequireSameLines(ours, sdBusFloor, 0, sendOne);
    sdBusFloor.End();
    if (settings.wall) {
        TimeAll(report, settings, ours, floor);
    }
    ours.End();
    floor.End();
    if (settings.instructions) {
        CountAll(report, settings);
    }
}

}  // namespace Bench
