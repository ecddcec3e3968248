// SPDX-License-Identifier: Apache-2.0
#include "tests/support/BusDaemon.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include "tests/support/Process.h"

namespace {

constexpr int AddressDescriptor = 3;
constexpr std::chrono::seconds TimeToLeave{2};

std::vector<std::string> OwnEnvironment() {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        variables.emplace_back(*entry);
    }
    return variables;
}

std::string ReadLine(int descriptor) {
    std::string line;
    std::array<char, 256> buffer{};
    while (line.find('\n') == std::string::npos) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return {};
        }
        line.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return line.substr(0, line.find('\n'));
}

}  // namespace

BusDaemon::BusDaemon(const Surroundings& surroundings) {
    DescriptorPair announcement = NewPipe();
    const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor log = OpenToWrite(surroundings.log, O_APPEND);
    Launch launch;
    launch.command = {"dbus-daemon", "--config-file=" + surroundings.configuration.string(),
                      "--nofork",    "--nopidfile",
                      "--nosyslog",  "--print-address=" + std::to_string(AddressDescriptor)};
    launch.environment = surroundings.environment.empty() ? OwnEnvironment() : surroundings.environment;
    launch.directory = surroundings.directory;
    launch.descriptors = {nothing.Get(), log.Get(), log.Get(), announcement.second.Get()};
    launch.ownGroup = true;
    pid = Start(launch);
    group = pid;
    announcement.second.Close();
    address = ReadLine(announcement.first.Get());
    if (address.empty()) {
        Stop();
        throw std::runtime_error("dbus-daemon did not start: " + TextOf(surroundings.log));
    }
}

BusDaemon::~BusDaemon() {
    Stop();
}

void BusDaemon::End(int signal) {
    if (pid > 0) {
        kill(pid, signal);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        pid = 0;
    }
}

void BusDaemon::Stop() {
    End(SIGTERM);
    if (group > 0) {
        Eventually([this] { return kill(-group, 0) != 0; }, TimeToLeave);
        kill(-group, SIGKILL);
        group = 0;
    }
}

void BusDaemon::Kill() {
    End(SIGKILL);
}
