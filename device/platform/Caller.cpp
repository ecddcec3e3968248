// SPDX-License-Identifier: Apache-2.0
#include "device/platform/Caller.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "device/gate/OwnProcess.h"

namespace Device {

namespace {

constexpr char Variable[] = "NAVO_PACKAGE=";

// What a process was started with; a process of another user shows nothing. The kernel fills the buffer as
// far as there is something, so that the first short read is the last one.
std::string ReadAll(const std::string& path) {
    std::string text;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::array<char, 16384> buffer;
    for (bool more = file >= 0; more;) {
        const ssize_t count = read(file, buffer.data(), buffer.size());
        text.append(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
        more = count < 0 ? errno == EINTR : static_cast<std::size_t>(count) == buffer.size();
    }
    if (file >= 0) {
        close(file);
    }
    return text;
}

std::string PackageInEnvironment(int pid) {
    if (pid == OwnProcess()) {
        const char* value = std::getenv("NAVO_PACKAGE");
        return value == nullptr ? "" : value;
    }
    const std::string environment = ReadAll("/proc/" + std::to_string(pid) + "/environ");
    for (std::size_t start = 0; start < environment.size();) {
        const std::string entry = environment.c_str() + start;
        if (entry.compare(0, sizeof(Variable) - 1, Variable) == 0) {
            return entry.substr(sizeof(Variable) - 1);
        }
        start += entry.size() + 1;
    }
    return {};
}

void Free(char* text) {
    std::free(text);
}

// Without links; empty when nothing is there.
std::string RealPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(char*)> real(realpath(path.c_str(), nullptr), Free);
    return real ? real.get() : "";
}

// The program that a process runs, as the kernel tells it: without links. Empty when it tells none.
std::string ProgramOf(int pid) {
    std::array<char, PATH_MAX> path;
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    return {path.data(), length < 0 ? 0 : static_cast<std::size_t>(length)};
}

}  // namespace

std::string PackageOfProcess(const Configuration& device, int pid) {
    if (device.trustEnvironment) {
        const std::string named = PackageInEnvironment(pid);
        if (!named.empty()) {
            return named;
        }
    }
    std::string program;
    for (const auto& package : device.packages) {
        for (const std::string& listed : package.second.executables) {
            program = program.empty() ? ProgramOf(pid) : program;
            // To follow links takes a look at each part of a path.
            if (!program.empty() && (listed == program || RealPath(listed) == program)) {
                return package.first;
            }
        }
    }
    return {};
}

}  // namespace Device
