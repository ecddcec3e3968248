// SPDX-License-Identifier: Apache-2.0
#include "bench/Report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <stdexcept>

namespace Bench {

namespace {

constexpr std::array<const char*, 6> Units = {Instructions, Microseconds, Milliseconds,
                                              ByteCount,    Count,        Calls};

// Short enough for a column.
std::string Abbreviated(const std::string& unit) {
    return unit == Instructions ? "ins"
           : unit == ByteCount  ? "B"
           : unit == Calls      ? "sys"
           : unit == Count      ? ""
                                : unit;
}

void RequireRules(const Figure& figure, const std::vector<Figure>& others) {
    const auto isTwin = [&](const Figure& other) {
        return other.group == figure.group && other.name == figure.name && other.unit == figure.unit;
    };
    if (figure.ours.empty() || figure.name.size() > LongestName ||
        std::find(Units.begin(), Units.end(), figure.unit) == Units.end() ||
        std::any_of(others.begin(), others.end(), isTwin)) {
        throw std::logic_error("not a figure that can be reported: " + figure.group + "/" + figure.name);
    }
}

// Three significant digits below a thousand, whole and in groups of three above.
std::string Written(double value) {
    std::array<char, 64> text{};
    const int decimals = value >= 100 ? 0 : value >= 10 ? 1 : value >= 1 || value == 0 ? 2 : 3;
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    std::string written = text.data();
    const std::size_t point = std::min(written.find('.'), written.size());
    for (std::size_t at = point; at > 3; at -= 3) {
        written.insert(at - 3, ",");
    }
    return written;
}

std::string Padded(const std::string& text, int width) {
    std::array<char, 256> padded{};
    std::snprintf(padded.data(), padded.size(), "%*s", width, text.c_str());
    return padded.data();
}

std::string RatioText(double ratio) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f", ratio);
    return text.data();
}

std::string Expectation(const Figure& figure) {
    std::string text;
    if (figure.target) {
        text += " <=" + RatioText(*figure.target) + "x";
    }
    if (figure.limit) {
        text += " <=" + Written(*figure.limit);
    }
    const std::optional<bool> met = IsMet(figure);
    return met ? text + (*met ? " met" : " NOT MET") : text;
}

// How far the quartiles lie from the median, in percent of it.
std::string Spread(const std::vector<double>& values) {
    const double median = Median(values);
    if (values.size() == 1 || median == 0) {
        return "";
    }
    const auto distance = [&](double share) {
        return std::clamp(100 * (Quantile(values, share) / median - 1), -999.9, 999.9);
    };
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%+.1f..%+.1f%%", distance(0.25), distance(0.75));
    return text.data();
}

std::string Row(const Figure& figure) {
    const std::optional<double> ratio = RatioOf(figure);
    std::string row = "  " + Padded(figure.name, -static_cast<int>(LongestName));
    row += Padded(Written(Median(figure.ours)), 12) + " " + Padded(Abbreviated(figure.unit), -3);
    row += Padded(Spread(figure.ours), 17);
    row += Padded(figure.floor.empty() ? "" : Written(Median(figure.floor)), 12);
    return row + Padded(ratio ? RatioText(*ratio) : "", 6) + Expectation(figure);
}

std::string Heading(const std::string& group) {
    std::string row = Padded(group, -static_cast<int>(LongestName) - 2);
    row += Padded("ours", 12) + "    " + Padded("quartiles", 17) + Padded("floor", 12);
    return row + Padded("ratio", 6) + " target";
}

bool Holds(const std::vector<std::string>& groups, const std::string& key) {
    return std::find(groups.begin(), groups.end(), key.substr(0, key.find('/'))) != groups.end();
}

constexpr double Tolerance = 1.05;
constexpr char SystemCallsSuffix[] = ", system calls";

}  // namespace

double Quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    const double position = share * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(position);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return values.at(below) + (position - std::floor(position)) * (values.at(above) - values.at(below));
}

double Median(const std::vector<double>& values) {
    return Quantile(values, 0.5);
}

std::optional<double> RatioOf(const Figure& figure) {
    if (figure.floor.empty() || Median(figure.floor) == 0) {
        return std::nullopt;
    }
    return Median(figure.ours) / Median(figure.floor);
}

std::optional<bool> IsMet(const Figure& figure) {
    if (!figure.target && !figure.limit) {
        return std::nullopt;
    }
    const std::optional<double> ratio = RatioOf(figure);
    const bool targetMet = !figure.target || (ratio && *ratio <= *figure.target);
    return targetMet && (!figure.limit || Median(figure.ours) <= *figure.limit);
}

void Report::Add(Figure figure) {
    RequireRules(figure, figures);
    if (progress != nullptr) {
        *progress << Row(figure) << std::endl;
    }
    figures.push_back(std::move(figure));
}

void Report::Print(std::ostream& stream) const {
    const std::string* group = nullptr;
    for (const Figure& figure : figures) {
        if (group == nullptr || *group != figure.group) {
            stream << "\n" << Heading(figure.group) << "\n";
        }
        group = &figure.group;
        stream << Row(figure) << "\n";
    }
    stream << std::flush;
}

nlohmann::json Report::ToJson() const {
    nlohmann::json list = nlohmann::json::array();
    for (const Figure& figure : figures) {
        nlohmann::json entry = {
            {"group", figure.group}, {"name", figure.name},   {"unit", figure.unit},
            {"ours", figure.ours},   {"floor", figure.floor}, {"median", Median(figure.ours)},
        };
        const auto add = [&entry](const char* key, const auto& value) {
            if (value) {
                entry[key] = *value;
            }
        };
        add("ratio", RatioOf(figure));
        add("target", figure.target);
        add("limit", figure.limit);
        add("met", IsMet(figure));
        list.push_back(std::move(entry));
    }
    return {{"figures", list}};
}

Baseline CountsOf(const Report& report) {
    Baseline counts;
    for (const Figure& figure : report.Figures()) {
        if (figure.unit == Instructions) {
            counts[figure.group + "/" + figure.name] = std::round(Median(figure.ours));
        } else if (figure.unit == Calls) {
            // Of so few that a part of one may be a hundredth of all.
            counts[figure.group + "/" + figure.name + SystemCallsSuffix] =
                std::round(10 * Median(figure.ours)) / 10;
        }
    }
    return counts;
}

Baseline Updated(const Baseline& earlier, const Report& report, const std::vector<std::string>& groups) {
    Baseline updated = CountsOf(report);
    for (const auto& [key, count] : earlier) {
        if (!Holds(groups, key)) {
            updated.emplace(key, count);
        }
    }
    return updated;
}

std::vector<std::string> Deviations(
    const Baseline& baseline, const Report& report, const std::vector<std::string>& groups) {
    const Baseline counts = CountsOf(report);
    std::vector<std::string> sentences;
    for (const auto& [key, count] : counts) {
        const auto known = baseline.find(key);
        if (known == baseline.end()) {
            sentences.push_back(key + " is not in the baseline");
        } else if (count > known->second * Tolerance) {
            sentences.push_back(
                key + " takes " + Written(count) + "; the baseline has " + Written(known->second));
        }
    }
    for (const auto& [key, count] : baseline) {
        if (Holds(groups, key) && counts.count(key) == 0) {
            sentences.push_back(key + " is in the baseline and was not measured");
        }
    }
    return sentences;
}

}  // namespace Bench
