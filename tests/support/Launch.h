// SPDX-License-Identifier: Apache-2.0
// Starts programs: the one place where tests fork for one.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

struct Launch {
    std::vector<std::string> command;      // a program's name without "/" is looked for in PATH
    std::vector<std::string> environment;  // all of it: "NAME=VALUE" each
    std::filesystem::path directory;
    std::vector<int> descriptors;  // what becomes its descriptors 0, 1, 2 and so on; they stay the caller's
    bool ownGroup = false;         // a process group of its own, whose number is its process id
};

// Its process id, once the program runs; one that is not there ends with 127. It does not outlive the thread
// that starts it. Throws std::system_error when there can be no process.
[[nodiscard]] pid_t Start(Launch launch);

// The test's environment without what would lead a program out of its world (proxies, other buses, other
// certificates), and with `changes`: "NAME=VALUE" each.
[[nodiscard]] std::vector<std::string> CleanEnvironment(const std::vector<std::string>& changes);
