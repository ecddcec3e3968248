// SPDX-License-Identifier: Apache-2.0
#include "bench/Callgrind.h"

#include <atomic>
#include <fstream>
#include <stdexcept>

#include "bench/Runner.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

// Lines that hold the counts of all events; only instructions are recorded, so each has one number.
constexpr const char* TotalKeys[] = {"totals: ", "summary: "};

}  // namespace

// Threads take turns fairly, so that one that waits for another does not spin through its whole share.
std::vector<std::string> CountedCommand(const fs::path& result, const std::vector<std::string>& command) {
    std::vector<std::string> counted = {
        "valgrind", "--tool=callgrind", "--quiet", "--fair-sched=yes",
        "--callgrind-out-file=" + result.string()};
    counted.insert(counted.end(), command.begin(), command.end());
    return counted;
}

double CountIn(const fs::path& result) {
    std::ifstream stream(result);
    for (std::string line; std::getline(stream, line);) {
        for (const std::string key : TotalKeys) {
            if (line.compare(0, key.size(), key) == 0) {
                return std::stod(line.substr(key.size()));
            }
        }
    }
    throw std::runtime_error("no count of instructions in " + result.string());
}

double CountInstructions(const fs::path& scratch, const std::vector<std::string>& command) {
    static std::atomic<int> runs{0};
    const fs::path result = scratch / ("callgrind." + std::to_string(++runs));
    OutputOf(scratch, CountedCommand(result, command));
    return CountIn(result);
}

double PerOperation(
    unsigned few, unsigned many, const std::function<double(unsigned operations)>& instructions) {
    const double base = instructions(few);
    return (instructions(many) - base) / (many - few);
}

}  // namespace Bench
