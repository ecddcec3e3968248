// SPDX-License-Identifier: Apache-2.0
// Counts of executed instructions, by valgrind's tool callgrind. They do not depend on how busy the machine
// is.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Bench {

// The command that runs another one and, when that has ended in good order, leaves its count in `result`.
// Programs that it starts are not counted.
std::vector<std::string> CountedCommand(
    const std::filesystem::path& result, const std::vector<std::string>& command);

// The count that a command has left; throws std::runtime_error when there is none.
double CountIn(const std::filesystem::path& result);

// Runs a command to its end and counts. Its environment is that of this process; throws std::runtime_error
// with its error output when it fails.
double CountInstructions(const std::filesystem::path& scratch, const std::vector<std::string>& command);

// What one operation costs: the difference of two runs with so many of them, so that start and end fall out.
double PerOperation(
    unsigned few, unsigned many, const std::function<double(unsigned operations)>& instructions);

}  // namespace Bench
