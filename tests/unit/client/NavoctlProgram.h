// SPDX-License-Identifier: Apache-2.0
// The built navoctl as a process.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

struct ProgramEnd {
    int status = -1;  // exit status; -1 when a signal ended it
    int signal = 0;   // that signal; 0 for an exit
    std::string output;
    std::string errors;
};

struct ProgramSetting {
    int outputDescriptor = -1;  // instead of a file; given away
    int errorDescriptor = -1;   // instead of a file; given away
    bool ignoresHangUp = false;
    std::vector<std::string> environment = {};  // beside the usual: "NAME=VALUE" each
};

class NavoctlProgram {
public:
    NavoctlProgram(
        const std::string& busAddress, const std::vector<std::string>& arguments,
        const ProgramSetting& setting = {});

    void Send(int signal) { process.Signal(signal); }

    // The next line of its errors, as soon as it is there; nothing at their end.
    std::optional<std::string> ReadErrorLine();

    // One line into its standard input.
    void Say(const std::string& line) const { process.Say(line); }

    // All that it has put out so far.
    std::string Output() const { return process.Output(); }

    // Waits, and reads what was not read before.
    ProgramEnd Wait();

    // Starts it and waits for its end.
    static ProgramEnd Run(
        const std::string& busAddress, const std::vector<std::string>& arguments,
        const std::vector<std::string>& environment = {});

private:
    TemporaryFolder folder;
    Process process;
    std::size_t errorsRead = 0;  // characters
};
