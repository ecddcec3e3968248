#include "../Groups.h"
#include "../Inside.h"

namespace Bench {

namespace {

constexpr char Group[] = "growth";

struct Comparison {
    const char* large;
    const char* small;  // stands in place of a floor
    std::optional<double> target;
};

// A KiB of a set may cost a little more in a large one; the registry is searched from its begin.
const Comparison Comparisons[] = {
    {"request, clients 200", "request, clients 1", 1.05},
    {"request, clients 10000", "request, clients 1", std::nullopt},
    {"set KiB, of 4", "set KiB, of 1", 1.05},
    {"set KiB, of 16", "set KiB, of 1", 1.05},
    {"set KiB, of 64", "set KiB, of 1", 1.05},
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

}  // namespace

void MeasureGrowth(Report& report, const Settings& settings) {
    if (settings.instructions) {
        AddInside(report, CountsInside(settings, Group), Instructions);
    }
    if (settings.wall) {
        AddInside(report, TimesInside(settings, Group), Microseconds);
    }
}

}  // namespace Bench
