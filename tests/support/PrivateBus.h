// A system bus of one's own: a real dbus-daemon with the shipped policy, started by any user.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

// What the bus gives to the services that it starts.
struct BusSurroundings {
    // Folder of activation files; empty: nothing can be started by name.
    std::filesystem::path services;
    // Changes to the test's own environment: "NAME=VALUE" sets, "NAME" alone removes.
    std::vector<std::string> environment;
    // Empty: the bus's folder.
    std::filesystem::path workingDirectory;
};

// Owns the daemon's process and, on Linux, its process group, so that no service that the bus started
// outlives it. The socket, the configuration and "bus.log" (the error output of the bus and of what it
// started) lie in the folder, whose path must be short.
class PrivateBus {
public:
    // Returns once the bus accepts connections; throws std::runtime_error with the daemon's own words
    // otherwise.
    explicit PrivateBus(const std::filesystem::path& folder, const BusSurroundings& surroundings = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& Address() const { return address; }
    // 0 once stopped.
    pid_t Pid() const { return pid; }
    const std::filesystem::path& LogFile() const { return logFile; }

    // Ends the bus and waits for it. Services that it started lose their connection; those that have not gone
    // two seconds later are killed.
    void Stop();

private:
    std::filesystem::path folder;
    std::filesystem::path logFile;
    std::string address;
    pid_t pid = 0;
};
