// SPDX-License-Identifier: Apache-2.0
#include "bench/Groups.h"
#include "bench/Inside.h"

namespace Bench {

namespace {

constexpr double MostInstructions = 1.30;     // of the floor's
constexpr double LongestWithProgress = 30;    // us for an APDU
constexpr double LongestWithoutProgress = 5;  // us for an APDU
constexpr double MostGrowth = 1.05;           // of an APDU's cost from a set of 10 to one of 5,000

constexpr const char* Commands[] = {"3 bytes", "5 bytes", "261 bytes"};
constexpr const char* Counts[] = {"1", "10", "1000", "5000"};

std::string NameOf(const std::string& command, const std::string& count) {
    return command + ", set of " + count;
}

double LimitOf(const std::string& command) {
    return command == Commands[0] ? LongestWithoutProgress : LongestWithProgress;
}

// An APDU's cost within sets of so many.
void AddSets(
    Report& report, const InsideValues& values, const std::string& unit, const std::string& command) {
    const bool counted = unit == Instructions;
    for (const char* count : Counts) {
        const std::string name = NameOf(command, count);
        Figure figure{"relay", name, unit, values.at("relay/ours/" + name), values.at("relay/floor/" + name)};
        figure.target = counted ? std::optional(MostInstructions) : std::nullopt;
        figure.limit = counted ? std::nullopt : std::optional(LimitOf(command));
        report.Add(std::move(figure));
    }
}

// In place of a floor stands the shorter set.
void AddGrowth(Report& report, const InsideValues& values, const std::string& command) {
    report.Add(
        {"relay", command + ", set of 5000 beside 10", Instructions,
         values.at("relay/ours/" + NameOf(command, "5000")), values.at("relay/ours/" + NameOf(command, "10")),
         MostGrowth});
}

}  // namespace

void MeasureRelay(Report& report, const Settings& settings) {
    if (settings.instructions) {
        const InsideValues counts = CountsInside(settings, "relay");
        for (const char* command : Commands) {
            AddSets(report, counts, Instructions, command);
            AddGrowth(report, counts, command);
        }
    }
    if (settings.wall) {
        const InsideValues times = TimesInside(settings, "relay");
        for (const char* command : Commands) {
            AddSets(report, times, Microseconds, command);
        }
    }
}

}  // namespace Bench
