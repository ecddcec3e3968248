// SPDX-License-Identifier: Apache-2.0
// Measures what the service costs, each figure beside a floor that does the same unavoidable work.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "bench/Groups.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace Bench;

struct Group {
    const char* name;
    void (*measure)(Report& report, const Settings& settings);
    bool onlyByName = false;  // it needs programs that nothing else does
};

constexpr Group Groups[] = {
    {"relay", MeasureRelay},   {"request", MeasureRequest}, {"jobs", MeasureJobs},
    {"script", MeasureScript}, {"pcsc", MeasurePcsc},       {"start", MeasureStart},
    {"growth", MeasureGrowth}, {"card", MeasureCard},       {"peers", MeasurePeers, true},
};

struct Options {
    Settings settings;
    std::vector<std::string> groups;  // none: all of them
    std::string json;
    std::string baseline = NAVO_BENCH_BASELINE;
    bool check = false;
    bool writeBaseline = false;
};

std::vector<std::string> GroupNames(bool all) {
    std::vector<std::string> names;
    for (const Group& group : Groups) {
        if (all || !group.onlyByName) {
            names.emplace_back(group.name);
        }
    }
    return names;
}

void Describe(CLI::App& line, Options& options) {
    line.add_option("GROUP", options.groups, "Groups to measure; all but the peers when none is named")
        ->check(CLI::IsMember(GroupNames(true)));
    line.add_option("--rounds", options.settings.rounds, "Rounds of each time; ours and floor take turns")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    auto* const wall = line.add_flag_callback(
        "--wall", [&] { options.settings.instructions = false; }, "Times and sizes only");
    line.add_flag_callback(
            "--instructions", [&] { options.settings.wall = false; }, "Instruction counts only")
        ->excludes(wall);
    line.add_option("--json", options.json, "File to write all figures to");
    line.add_option("--baseline", options.baseline, "File of earlier instruction counts");
    line.add_flag("--check", options.check, "Fail when an instruction count is over 5 % above the baseline")
        ->excludes(wall);
    line.add_flag("--write-baseline", options.writeBaseline, "Make this run's counts the baseline")
        ->excludes(wall);
}

Baseline ReadBaseline(const std::string& file) {
    std::ifstream stream(file);
    return stream ? nlohmann::json::parse(stream).get<Baseline>() : Baseline();
}

void Write(const std::string& file, const nlohmann::json& content) {
    std::ofstream stream(file);
    stream << content.dump(2) << "\n" << std::flush;
    if (!stream) {
        throw std::runtime_error("cannot write " + file);
    }
}

Report Measure(const Options& options) {
    Report report(&std::cerr);
    for (const Group& group : Groups) {
        if (std::count(options.groups.begin(), options.groups.end(), group.name) == 0) {
            continue;
        }
        std::cerr << "navo-bench: measuring " << group.name << "\n";
        const TemporaryFolder folder;
        Settings settings = options.settings;
        settings.scratch = folder.Path();
        group.measure(report, settings);
    }
    return report;
}

int Run(Options& options) {
    if (options.groups.empty()) {
        options.groups = GroupNames(false);
    }
    const Report report = Measure(options);
    report.Print(std::cout);
    if (!options.json.empty()) {
        nlohmann::json content = report.ToJson();
        content["rounds"] = options.settings.rounds;
        Write(options.json, content);
    }
    if (options.writeBaseline) {
        Write(options.baseline, Updated(ReadBaseline(options.baseline), report, options.groups));
    }
    if (!options.check) {
        return 0;
    }
    const std::vector<std::string> deviations =
        Deviations(ReadBaseline(options.baseline), report, options.groups);
    for (const std::string& sentence : deviations) {
        std::cout << "  " << sentence << "\n";
    }
    std::cout << (deviations.empty() ? "\nNo instruction count is above the baseline.\n" : "\n");
    return deviations.empty() ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    CLI::App line("Measures what the service costs beside what cannot be avoided.", "navo-bench");
    Options options;
    Describe(line, options);
    CLI11_PARSE(line, count, arguments);
    try {
        return Run(options);
    } catch (const std::exception& error) {
        std::cerr << "navo-bench: " << error.what() << "\n";
        return 2;
    }
}
