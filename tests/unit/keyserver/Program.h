// SPDX-License-Identifier: Apache-2.0
// The built navo-keyserver as a process.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

// The program, running; ended with the test.
class Program {
public:
    Program(const TemporaryFolder& folder, std::vector<std::string> arguments)
        : process(CommandWith(std::move(arguments)), {folder.Path(), CleanEnvironment({}), "keyserver"}) {}

    Ended Wait() {
        const std::optional<ExitStatus> status = process.WaitForEnd();
        return {status.value_or(-1), process.Output(), process.Errors()};
    }

    Ended End(int signal) {
        process.Signal(signal);
        return Wait();
    }

    void Signal(int signal) const { process.Signal(signal); }

    // All that it has said so far.
    std::string Errors() const { return process.Errors(); }

    // The address that the program printed.
    std::string Url() const {
        const std::string head = "navo-keyserver listening on ";
        std::vector<std::string> lines;
        const bool printed = Eventually([&] {
            lines = process.OutputLines();
            return !lines.empty() && lines.front().compare(0, head.size(), head) == 0;
        });
        return printed ? lines.front().substr(head.size()) : "";
    }

private:
    static std::vector<std::string> CommandWith(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), PROGRAM);
        return arguments;
    }

    Process process;
};
