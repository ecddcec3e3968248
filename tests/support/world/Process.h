// A program in a process of its own, held by its real process id.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/world/Eventually.h"

// The test's environment without what would lead a program out of its world (proxies, other buses, other
// certificates), and with `changes`: "NAME=VALUE" each.
std::vector<std::string> CleanEnvironment(const std::vector<std::string>& changes);

// Names that CleanEnvironment takes out.
const std::vector<std::string>& UnwantedVariables();

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
    };

    // Throws std::system_error when it cannot be started; a program that is not there ends with 127.
    Process(std::vector<std::string> command, const Surroundings& surroundings);
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
    pid_t pid = 0;
    int input = -1;
    std::optional<ExitStatus> ending;
};

// Complete lines of a text, without their ends.
std::vector<std::string> LinesOf(const std::string& text);

// Whole text of a file, empty when there is none.
std::string TextOf(const std::filesystem::path& file);
