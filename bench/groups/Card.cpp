// SPDX-License-Identifier: Apache-2.0
// What a command costs the software card, which answers in the place of a chip.
#include "bench/Groups.h"
#include "bench/Inside.h"

namespace Bench {

namespace {

constexpr char Group[] = "card";
constexpr const char* Commands[] = {"SELECT", "GET DATA", "STORE DATA, protected", "GET STATUS, 100 entries"};

void AddCommands(Report& report, const InsideValues& values, const std::string& unit) {
    for (const std::string name : Commands) {
        const auto floor = values.find(std::string(Group) + "/floor/" + name);
        report.Add(
            {Group, name, unit, values.at(std::string(Group) + "/ours/" + name),
             floor == values.end() ? std::vector<double>() : floor->second});
    }
}

}  // namespace

void MeasureCard(Report& report, const Settings& settings) {
    if (settings.instructions) {
        AddCommands(report, CountsInside(settings, Group), Instructions);
    }
    if (settings.wall) {
        AddCommands(report, TimesInside(settings, Group), Microseconds);
    }
}

}  // namespace Bench
