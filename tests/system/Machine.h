// SPDX-License-Identifier: Apache-2.0
// A booted system for one test: a real systemd in namespaces of its own, with the shipped unit, bus policy,
// account and folders installed below /usr/local and the service's device described in /etc. The account
// "member" belongs to the group whose members may talk to the service, "stranger" does not. Everything in it
// ends with it.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

class Machine {
public:
    // Boots it, and returns when the system bus runs; `more` are further files by their place in it.
    explicit Machine(const std::map<std::string, std::string>& more = {});
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // Why this place lets none be booted; empty when one was.
    const std::string& Impediment() const { return impediment; }

    struct Result {
        ExitStatus status;
        std::string output;
        std::string errors;
    };
    Result Run(const std::string& account, const std::vector<std::string>& command);
    std::unique_ptr<Process> Start(const std::string& account, const std::vector<std::string>& command);

    // A file of it, as the test finds it.
    std::filesystem::path At(const std::filesystem::path& place) const;

    // What its systemd says of the service's unit.
    std::string Property(const std::string& name);
    std::string Journal();

private:
    void LayOut(const std::map<std::string, std::string>& more) const;
    bool IsUp();
    void TakeIn(const std::string& account);

    TemporaryFolder folder;
    std::unique_ptr<Process> boot;
    std::string impediment;
    std::string init;  // process id of its systemd
    int programs = 0;
};
