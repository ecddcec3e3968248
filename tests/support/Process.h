// SPDX-License-Identifier: Apache-2.0
// A program in a process of its own, held by its real process id.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/Descriptor.h"
#include "tests/support/Eventually.h"
#include "tests/support/Launch.h"

// 0 to 255 as the program said it; the negative number of the signal that ended it otherwise.
using ExitStatus = int;

// Status of a child that is over; nothing while it runs. The child is gone afterwards.
std::optional<ExitStatus> Collect(pid_t child);

// Asks a child of this process to end, insists after a while, and waits for it.
void EndChild(pid_t child);

class Process {
public:
    struct Surroundings {
        std::filesystem::path directory;
        std::vector<std::string> environment;  // all of it
        std::string name;                      // of the files that take its output: NAME.out, NAME.err

        // In place of those files, where they are given; they become the process's own.
        int output = -1;
        int errors = -1;
    };

    // Throws std::system_error when it cannot be started; a program that is not there ends with 127.
    Process(const std::vector<std::string>& command, const Surroundings& surroundings);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Pid() const { return pid; }
    bool IsRunning();

    // Nothing when it still runs at the deadline.
    std::optional<ExitStatus> WaitForEnd(std::chrono::milliseconds limit = Patience);

    // One line into its standard input.
    void Say(const std::string& line) const;

    void Signal(int number) const;
    void End();

    // All that it wrote so far.
    std::string Output() const;
    std::string Errors() const;
    std::vector<std::string> OutputLines() const;

private:
    std::filesystem::path output;
    std::filesystem::path errors;
    Descriptor input;
    pid_t pid = 0;
    std::optional<ExitStatus> ending;
};

// A program's end, and all that it wrote.
struct Ended {
    int status = -1;  // -1 when it still runs at the deadline
    std::string output;
    std::string errors;
};

// Runs a program until it ends; in a folder of its own, and in a clean environment.
[[nodiscard]] Ended RunToEnd(const std::vector<std::string>& command);

// What such a program writes to its standard output.
[[nodiscard]] std::string OutputOf(const std::vector<std::string>& command);

// Complete lines of a text, without their ends.
[[nodiscard]] std::vector<std::string> LinesOf(const std::string& text);

// Whole text of a file, empty when there is none.
[[nodiscard]] std::string TextOf(const std::filesystem::path& file);
