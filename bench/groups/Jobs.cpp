// SPDX-License-Identifier: Apache-2.0
// What each kind of work costs the whole service: instructions, time of its processor, and what it asks of
// the kernel.
#include "bench/Callgrind.h"

#include <functional>
#include "bench/Groups.h"
#include "bench/Memory.h"
#include "bench/SystemCalls.h"
#include "bench/Work.h"

namespace Bench {

namespace {

constexpr char Group[] = "jobs";
constexpr double MostCallsOfTheDevice = 20;    // for a status request
constexpr double MostCallsOfAnExchange = 60;   // without the device's
constexpr double LargestAnswer = 10 << 20;     // in bytes
constexpr double MostMemoryOfAnAnswer = 40e6;  // at its peak, in bytes

std::vector<double> FloorOf(const Work& work, const std::function<double(Side)>& each) {
    return work.hasFloor ? std::vector<double>{each(Side::Floor)} : std::vector<double>{};
}

void CountInstructionsOf(Report& report, const Settings& settings, const Work& work, ScriptedServer& server) {
    const auto each = [&](Side side) {
        return PerOperation(work.few, work.many, [&](unsigned times) {
            return CountOf(side, work, times, server, settings, &Stage::StartCounted, CountIn);
        });
    };
    const double ours = each(Side::Ours);
    report.Add({Group, work.name, Instructions, {ours}, FloorOf(work, each)});
    if (work.hasFloor) {
        report.Add({Group, work.name + ", sd-bus", Instructions, {ours}, {each(Side::SdBusFloor)}});
    }
}

void CountCallsOf(Report& report, const Settings& settings, const Work& work, ScriptedServer& server) {
    const auto callsOf = [&](Side side) {
        const auto traced = [&](unsigned times) {
            return CountOf(side, work, times, server, settings, &Stage::StartTraced, SystemCallsIn);
        };
        const SystemCalls few = traced(work.few);
        const SystemCalls many = traced(work.many);
        const double operations = work.many - work.few;
        return SystemCalls{(many.device - few.device) / operations, (many.others - few.others) / operations};
    };
    const SystemCalls ours = callsOf(Side::Ours);
    Figure device = {Group, work.name + ", device's", Calls, {ours.device}, {}};
    Figure others = {Group, work.name, Calls, {ours.others}, {}};
    if (work.hasFloor) {
        const SystemCalls floor = callsOf(Side::Floor);
        device.floor = {floor.device};
        others.floor = {floor.others};
    }
    if (work.name == StatusRequest) {
        device.limit = MostCallsOfTheDevice;
    } else if (work.name == ScriptExchange) {
        others.limit = MostCallsOfAnExchange;
    }
    report.Add(others);
    report.Add(device);
}

// Each value is the cost of one.
struct Burden {
    double processor;
    double waits;
};

Burden BurdenOf(Stage& stage, const Work& work) {
    const double waits = WaitsOf(stage.Pid());
    const double processor = ProcessorTimeOf(stage, [&] { work.run(stage, work.many); });
    return {processor / work.many, (WaitsOf(stage.Pid()) - waits) / work.many};
}

void TimeOf(Report& report, const Settings& settings, const Work& work, ScriptedServer& server) {
    Figure processor = {Group, work.name + ", CPU time", Microseconds, {}, {}};
    Figure waits = {Group, work.name + ", waits", Count, {}, {}};
    const auto take = [&](Side side, std::vector<double> Figure::* values) {
        Stage stage(side);
        server.Serve(stage);
        stage.Start();
        work.run(stage, work.few);
        for (unsigned round = 0; round < settings.rounds; ++round) {
            const Burden burden = BurdenOf(stage, work);
            (processor.*values).push_back(burden.processor);
            (waits.*values).push_back(burden.waits);
        }
        stage.End();
    };
    take(Side::Ours, &Figure::ours);
    if (work.hasFloor) {
        take(Side::Floor, &Figure::floor);
    }
    report.Add(processor);
    report.Add(waits);
}

// The most that the service had in memory at once.
void WeighAnAnswer(Report& report, ScriptedServer& server) {
    Stage stage(Side::Ours);
    server.Serve(stage);
    stage.Start();
    server.AnswerAtLength(stage, static_cast<std::size_t>(LargestAnswer));
    report.Add(
        {Group,
         "memory at an answer of 10 MiB",
         ByteCount,
         {MemoryOf(stage.Pid()).peak},
         {},
         std::nullopt,
         MostMemoryOfAnAnswer});
    stage.End();
}

}  // namespace

void MeasureJobs(Report& report, const Settings& settings) {
    ScriptedServer server;
    for (const Work& work : AllWork(server)) {
        if (settings.instructions) {
            CountInstructionsOf(report, settings, work, server);
            CountCallsOf(report, settings, work, server);
        }
        if (settings.wall) {
            TimeOf(report, settings, work, server);
        }
    }
    if (settings.wall) {
        WeighAnAnswer(report, server);
    }
}

}  // namespace Bench
