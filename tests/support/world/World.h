// SPDX-License-Identifier: Apache-2.0
// Everything around a client of the service, for one test: a private system bus with the shipped policy and
// the activation file of the built service, the virtual device, key servers and client processes, all below
// one folder, which is also the working directory of every process. At the end every process is ended and
// waited for.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "navo/Client.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/world/BusCaller.h"
#include "tests/support/world/ClientProcess.h"
#include "tests/support/world/KeyServerProcess.h"
#include "tests/support/world/VirtualDeviceFile.h"

// The package of the test's own process, a privileged one unless a test installs it otherwise.
constexpr char TestPackage[] = "com.example.wallet";

class World {
public:
    // The bus runs and the device is there; the service starts with its first client.
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    const std::filesystem::path& Folder() const { return folder.Path(); }
    const std::string& BusAddress() const { return bus.Address(); }
    VirtualDeviceFile& Device() { return device; }

    // The maker's libraries, where the service looks for them.
    void InstallInHouseLibraries() const;
    void RemoveInHouseLibraries() const;

    // Makes the test's own process a client. The session of a test must end before its world.
    Navo::SessionOptions Options() const;

    // One request in a session of its own; the service ends afterwards unless somebody else holds it.
    Navo::Map Ask(const Navo::Map& request) const;

    // A script run by the server for this process.
    struct Job {
        std::string returnCode;
        std::vector<std::string> progress;
    };
    Job RunScript(const std::string& serviceId = "demo.card") const;

    // A file below the world's folder, with its whole path.
    std::string Write(const std::string& name, const std::string& text) const {
        return folder.Write(name, text);
    }

    // A key server with a certificate that it made itself (unless it speaks plain HTTP), which the device
    // trusts, and the service directed to it.
    KeyServerProcess& StartKeyServer(const std::vector<std::string>& options = {});
    // One that the service does not know of, and the device does not trust.
    KeyServerProcess& StartUnknownKeyServer(const std::vector<std::string>& options);
    void DirectServiceTo(const std::string& address) const;

    // Another application, with a process and a package of its own.
    std::unique_ptr<ClientProcess> StartClient(const std::string& package);

    // Any program in this world, to its end. The package may be empty.
    struct Result {
        ExitStatus status;
        std::string output;
        std::string errors;
    };
    Result Run(const std::vector<std::string>& command);
    std::unique_ptr<Process> Start(const std::vector<std::string>& command, const std::string& package = {});

    // navoctl as the privileged package.
    Result Navoctl(const std::vector<std::string>& arguments, const std::string& package = TestPackage);
    std::unique_ptr<Process> StartNavoctl(
        const std::vector<std::string>& arguments, const std::string& package = TestPackage);

    // The service itself, by hand instead of by the bus.
    std::unique_ptr<Process> StartService();

    // Process that has the service's name; 0 when nobody has.
    pid_t ServiceProcess() const;

    // How a service ended that the bus had started; nothing when it still runs at the deadline.
    std::optional<ExitStatus> AwaitEndOf(pid_t service) const;

    // What a process holds of the system.
    struct Holdings {
        int descriptors = 0;
        int watches = 0;  // of files, by inotify
    };
    static Holdings HoldingsOf(pid_t process);

    void StopBus();

    // Lines of the service's log, without what the platform puts in front of each.
    std::vector<std::string> Log() const;
    bool LogHas(const std::string& text) const { return LogCount(text) > 0; }
    std::size_t LogCount(const std::string& text) const;

    // By the log: the channel to the card that was opened last was closed again.
    bool ElementIsClosed() const;

private:
    static Result ResultOf(Process& process);
    void ShowLogs() const;
    void EndServices() const;
    void ReportSanitizers() const;

    TemporaryFolder folder;
    VirtualDeviceFile device;
    std::vector<std::string> environment;
    PrivateBus bus;
    std::vector<std::unique_ptr<KeyServerProcess>> keyServers;
    int programs = 0;
};
