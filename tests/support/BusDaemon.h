// SPDX-License-Identifier: Apache-2.0
// A dbus-daemon of a test's own, whatever its configuration says.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

// Owns the daemon's process and its process group, so that no service that the bus started outlives it.
class BusDaemon {
public:
    struct Surroundings {
        std::filesystem::path configuration;
        std::filesystem::path log;             // the error output of the bus and of what it starts
        std::filesystem::path directory;       // that they work in
        std::vector<std::string> environment;  // of both, all of it; empty: the test's own
    };

    // Returns once the bus accepts connections; throws std::runtime_error with the daemon's own words
    // otherwise.
    explicit BusDaemon(const Surroundings& surroundings);
    ~BusDaemon();
    BusDaemon(const BusDaemon&) = delete;
    BusDaemon& operator=(const BusDaemon&) = delete;

    const std::string& Address() const { return address; }
    pid_t Pid() const { return pid; }  // 0 once stopped

    // Ends the bus and waits for it. Services that it started lose their connection; those that have not gone
    // two seconds later are killed.
    void Stop();

    // Ends the bus at once, with all connections.
    void Kill();

private:
    void End(int signal);

    std::string address;
    pid_t pid = 0;
    pid_t group = 0;
};
