// SPDX-License-Identifier: Apache-2.0
// A client application beside the test: it has its own process id, package and session.
#pragma once

#include <string>
#include <vector>

#include "navo/Client.h"
#include "tests/support/Process.h"

class ClientProcess {
public:
    ClientProcess(const std::string& program, const Process::Surroundings& surroundings)
        : process({program}, surroundings) {}

    pid_t Pid() const { return process.Pid(); }

    // Each fails the running test when the client reports an error.
    void OpenSession();
    void CloseSession();
    Navo::Map Call(const Navo::Map& request);

    // Call in two steps, so that several clients can be under way.
    void Ask(const Navo::Map& request);
    Navo::Map AwaitReply();

    // Progress of all calls so far.
    std::vector<std::string> Progress() const;

    // Without a word to the service.
    void Die();

private:
    // Text of the next answer, with the word in front of it.
    std::string AwaitAnswer();

    Process process;
    std::size_t answersSeen = 0;
};
