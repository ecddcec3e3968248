// SPDX-License-Identifier: Apache-2.0
#include "bench/Inside.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "bench/Callgrind.h"
#include "bench/Runner.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

constexpr char Trigger[] = "desc: Trigger: Client Request: ";
constexpr double NanosecondsPerMicrosecond = 1000;

// Google Benchmark puts how a case was run behind its name.
std::string CaseName(const std::string& name) {
    return name.substr(0, std::min(name.find("/repeats:"), name.find("/manual_time")));
}

// What set one of callgrind's dumps off; nothing for the one at the end. A dump counts all that was executed
// since the one before.
std::string TriggerOf(const fs::path& dump) {
    std::ifstream stream(dump);
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind(Trigger, 0) == 0) {
            return line.substr(sizeof Trigger - 1);
        }
    }
    return {};
}

}  // namespace

InsideValues TimesInside(const Settings& settings, const std::string& group) {
    const std::string output = OutputOf(
        settings.scratch, {NAVO_BENCH_INSIDE, "time", group, "--benchmark_format=json",
                           "--benchmark_min_time=0.03", "--benchmark_enable_random_interleaving=true",
                           "--benchmark_repetitions=" + std::to_string(settings.rounds)});
    InsideValues values;
    const nlohmann::json content = nlohmann::json::parse(output);
    for (const nlohmann::json& run : content.at("benchmarks")) {
        if (run.at("run_type") == "iteration") {
            const double nanoseconds = run.at("real_time").get<double>() / run.at("units").get<double>();
            values[CaseName(run.at("name"))].push_back(nanoseconds / NanosecondsPerMicrosecond);
        }
    }
    return values;
}

InsideValues CountsInside(const Settings& settings, const std::string& group) {
    const fs::path result = settings.scratch / ("inside." + group);
    const std::string output =
        OutputOf(settings.scratch, CountedCommand(result, {NAVO_BENCH_INSIDE, "count", group}));
    const nlohmann::json units = nlohmann::json::parse(output);
    InsideValues values;
    for (const fs::directory_entry& entry : fs::directory_iterator(settings.scratch)) {
        if (entry.path().filename().string().rfind(result.filename().string() + ".", 0) != 0) {
            continue;
        }
        const std::string name = TriggerOf(entry.path());
        if (units.contains(name)) {
            values[name] = {CountIn(entry.path()) / units.at(name).get<double>()};
        }
    }
    if (values.size() != units.size()) {
        throw std::runtime_error("callgrind did not count every case of " + group);
    }
    return values;
}

}  // namespace Bench
