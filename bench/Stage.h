// SPDX-License-Identifier: Apache-2.0
// A service on a bus of its own: ours, or the floor that stands beside it.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "navo/Client.h"
#include "tests/support/world/World.h"

namespace Bench {

// Ours, and floors over GDBus and over systemd's bus library.
enum class Side { Ours, Floor, SdBusFloor };

// Microseconds of processor time that a process has taken so far, system calls included.
double ProcessorTimeOf(pid_t process);

class Stage {
public:
    explicit Stage(Side whoseService) : side(whoseService) {}

    World& Surroundings() { return world; }

    // Directs the service to this key server and makes the device trust these certificates; before Start.
    void UseServer(const std::string& address, const std::filesystem::path& trusted);

    // The floor leaves out the log lines; before Start.
    void WithoutLines() { silent = true; }

    // So many other processes have a session before this one has; before Start.
    void WithOthers(unsigned clients) { otherClients = clients; }

    // Returns when the service has its name on the bus and this process its session.
    void Start();
    // The same under callgrind, which leaves its count in the file when the service ends.
    void StartCounted(const std::filesystem::path& count);
    // The same under strace, which leaves each system call in the file.
    void StartTraced(const std::filesystem::path& calls);

    // Not of a service that is counted or traced.
    pid_t Pid() const { return service->Pid(); }

    static std::filesystem::path ProgramOf(Side side);
    std::vector<std::string> Command() const;

    // This process as the service's client; while it lasts, the service does.
    Navo::Session& Session() { return *session; }

    // Sends so many status requests, one after the other; throws when one is not answered.
    void AskForStatus(unsigned requests);

    // Closes all sessions, upon which the service ends, and waits for that; throws when it does not end well.
    void End();

private:
    void Run(const std::vector<std::string>& command);

    Side side;
    World world;
    std::string server;
    bool silent = false;
    unsigned otherClients = 0;
    std::unique_ptr<Process> service;
    std::vector<std::unique_ptr<ClientProcess>> others;
    std::unique_ptr<Navo::Session> session;
};

// Does the same once on each side, and throws std::runtime_error when the two then log lines that differ in
// more than so many, numbers and addresses aside.
void RequireSameLines(
    Stage& ours, Stage& floor, std::size_t tolerated, const std::function<void(Stage&)>& action);

// Time that something takes, in microseconds.
template <typename Action>
double MicrosecondsOf(Action&& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
    return taken.count();
}

// What a service takes of the processor for something that this process asks of it, in microseconds.
template <typename Action>
double ProcessorTimeOf(const Stage& stage, Action&& action) {
    const double before = ProcessorTimeOf(stage.Pid());
    action();
    return ProcessorTimeOf(stage.Pid()) - before;
}

}  // namespace Bench
