// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>

#include "bench/Groups.h"
#include "bench/Inside.h"

namespace Bench {

namespace {

constexpr char Group[] = "relay";
constexpr double MostInstructions = 1.30;     // of the floor's
constexpr double LongestWithProgress = 30;    // us for an APDU
constexpr double LongestWithoutProgress = 5;  // us for an APDU
constexpr double MostGrowth = 1.05;           // of an APDU's cost from a set of 10 to one of 5,000

struct Command {
    const char* name;
    std::array<const char*, 4> counts;  // of sets; for many long ones there is no room in a message
    bool hasProgress;
};

constexpr Command Commands[] = {
    {"3 bytes", {"1", "10", "1000", "5000"}, false},
    {"5 bytes", {"1", "10", "1000", "5000"}, true},
    {"261 bytes", {"1", "10", "50", "120"}, true}};

constexpr char CountOnSdBus[] = "10";
constexpr double MostExcess = 3000;  // instructions for an APDU of 261 bytes, beside the floor

std::string NameOf(const std::string& command, const std::string& count) {
    return command + ", set of " + count;
}

// An APDU's cost within sets of so many.
void AddSets(Report& report, const InsideValues& values, const std::string& unit, const Command& command) {
    const bool counted = unit == Instructions;
    const double limit = command.hasProgress ? LongestWithProgress : LongestWithoutProgress;
    for (const char* count : command.counts) {
        const std::string name = NameOf(command.name, count);
        Figure figure{Group, name, unit, values.at("relay/ours/" + name), values.at("relay/floor/" + name)};
        figure.target = counted ? std::optional(MostInstructions) : std::nullopt;
        figure.limit = counted ? std::nullopt : std::optional(limit);
        report.Add(std::move(figure));
    }
}

// The floor over systemd's bus library, which differs where there is a signal.
void AddSdBus(Report& report, const InsideValues& values, const std::string& unit, const Command& command) {
    if (command.hasProgress) {
        const std::string name = NameOf(command.name, CountOnSdBus);
        report.Add(
            {Group, name + ", floor on sd-bus", unit, values.at("relay/ours/" + name),
             values.at("relay/sd-bus/" + name)});
    }
}

// In place of a floor stands the shorter set.
void AddGrowth(Report& report, const InsideValues& values, const Command& command) {
    const std::string longest = NameOf(command.name, command.counts.back());
    report.Add(
        {Group, longest + " beside 10", Instructions, values.at("relay/ours/" + longest),
         values.at("relay/ours/" + NameOf(command.name, "10")), MostGrowth});
}

// The threads of the bus library now and then meet more often than they need to, which only adds: the least
// of some counts is nearest to what is done.
InsideValues LeastCounts(const Settings& settings) {
    constexpr int Runs = 3;
    InsideValues least = CountsInside(settings, Group);
    for (int run = 1; run < Runs; ++run) {
        for (const auto& [name, values] : CountsInside(settings, Group)) {
            least.at(name)[0] = std::min(least.at(name)[0], values[0]);
        }
    }
    return least;
}

// What the service adds to the floor, a value for each length of the set. As the difference of two counts it
// differs by hundreds, so that the baseline does not hold it.
void AddExcess(Report& report, const InsideValues& values, const Command& command) {
    std::vector<double> excess;
    for (const char* count : command.counts) {
        const std::string name = NameOf(command.name, count);
        excess.push_back(values.at("relay/ours/" + name)[0] - values.at("relay/floor/" + name)[0]);
    }
    report.Add(
        {Group,
         std::string(command.name) + ", instructions above the floor",
         Count,
         excess,
         {},
         std::nullopt,
         MostExcess});
}

}  // namespace

void MeasureRelay(Report& report, const Settings& settings) {
    if (settings.instructions) {
        const InsideValues counts = LeastCounts(settings);
        for (const Command& command : Commands) {
            AddSets(report, counts, Instructions, command);
            AddSdBus(report, counts, Instructions, command);
            AddGrowth(report, counts, command);
            AddExcess(report, counts, command);
        }
    }
    if (settings.wall) {
        const InsideValues times = TimesInside(settings, Group);
        for (const Command& command : Commands) {
            AddSets(report, times, Microseconds, command);
            AddSdBus(report, times, Microseconds, command);
        }
    }
}

}  // namespace Bench
