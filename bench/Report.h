// SPDX-License-Identifier: Apache-2.0
// Figures of a run: what our work costs beside a floor that does the same unavoidable work with nothing of
// ours.
#pragma once

#include <iosfwd>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace Bench {

constexpr char Instructions[] = "instructions";
constexpr char Microseconds[] = "us";
constexpr char Milliseconds[] = "ms";
constexpr char ByteCount[] = "bytes";
constexpr char Count[] = "count";
constexpr char Calls[] = "calls";  // of the system, judged like instructions

struct Figure {
    std::string group;
    std::string name;           // at most LongestName characters, unique within its group and unit
    std::string unit;           // one of the above
    std::vector<double> ours;   // one value a round, at least one
    std::vector<double> floor;  // the same; empty when nothing can stand beside it
    std::optional<double> target = std::nullopt;  // largest ratio of the medians, ours to floor
    std::optional<double> limit = std::nullopt;   // largest median of ours
};

constexpr std::size_t LongestName = 44;

// Of values in any order, at least one. A quantile is a share between 0 and 1.
double Quantile(std::vector<double> values, double share);
double Median(const std::vector<double>& values);

// Ours to floor; nothing without a floor, or with one that is 0.
std::optional<double> RatioOf(const Figure& figure);

// Whether target and limit hold; nothing when the figure has neither.
std::optional<bool> IsMet(const Figure& figure);

class Report {
public:
    // Shows each figure on the stream, if there is one, as soon as it is there: a run takes minutes.
    explicit Report(std::ostream* stream = nullptr) : progress(stream) {}

    // Throws std::logic_error for a figure that breaks the rules above.
    void Add(Figure figure);

    const std::vector<Figure>& Figures() const { return figures; }

    // A table for each group: median, quartiles, floor, ratio, target. At most 120 columns.
    void Print(std::ostream& stream) const;

    nlohmann::json ToJson() const;

private:
    std::ostream* progress;
    std::vector<Figure> figures;
};

// Counts of an earlier run that later ones are held against: "group/name" to instructions, and "group/name,
// system calls".
using Baseline = std::map<std::string, double>;

// Medians of those figures that count instructions or system calls.
Baseline CountsOf(const Report& report);

// The earlier baseline with the given groups' counts replaced by those of the report.
Baseline Updated(const Baseline& earlier, const Report& report, const std::vector<std::string>& groups);

// One sentence for each count of these groups that is more than 5 % above the baseline, missing in the report
// or unknown to the baseline. Empty when all is well; times are never looked at.
std::vector<std::string> Deviations(
    const Baseline& baseline, const Report& report, const std::vector<std::string>& groups);

}  // namespace Bench
