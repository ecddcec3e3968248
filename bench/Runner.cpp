// SPDX-License-Identifier: Apache-2.0
#include "bench/Runner.h"

#include <atomic>
#include <chrono>
#include <stdexcept>

#include "tests/support/Process.h"

namespace Bench {

namespace {

constexpr std::chrono::minutes LongestRun{10};

}  // namespace

std::string OutputOf(const std::filesystem::path& directory, const std::vector<std::string>& command) {
    static std::atomic<int> runs{0};
    const std::string name = "run" + std::to_string(++runs);
    Process process(command, {directory, CleanEnvironment({}), name});
    const std::optional<ExitStatus> status = process.WaitForEnd(LongestRun);
    if (status != 0) {
        const std::string ending = status ? "ended with " + std::to_string(*status) : "does not end";
        throw std::runtime_error(command.front() + " " + ending + ": " + process.Errors());
    }
    return process.Output();
}

}  // namespace Bench
