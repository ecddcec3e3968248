// SPDX-License-Identifier: Apache-2.0
// What a service asks of the kernel: system calls, by strace, and how often its threads gave up the
// processor.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Bench {

// Of all threads. The virtual device's part is told from the rest by the files that it works with: its
// description, its log, and what the kernel shows of callers.
struct SystemCalls {
    double device = 0;
    double others = 0;
};

// The command that runs another one and leaves its system calls in `result`, one a line.
std::vector<std::string> TracedCommand(
    const std::filesystem::path& result, const std::vector<std::string>& command);

// What a command has left; throws std::runtime_error when there is nothing.
SystemCalls SystemCallsIn(const std::filesystem::path& result);

// How often the threads of a process have waited so far; what others took from them is not counted.
double WaitsOf(pid_t process);

}  // namespace Bench
