// SPDX-License-Identifier: Apache-2.0
#include "device/platform/Caller.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>

namespace Device {

namespace {

constexpr char Variable[] = "NAVO_PACKAGE=";

// /proc/PID/environ shows what a process was started with, and no more than the kernel's page of it matters
// here; a process of another user shows nothing.
std::string ReadAll(const std::string& path) {
    std::string text;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::array<char, 4096> buffer;
    for (ssize_t count; file >= 0 && (count = read(file, buffer.data(), buffer.size())) != 0;) {
        if (count < 0 && errno != EINTR) {
            break;
        }
        text.append(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    if (file >= 0) {
        close(file);
    }
    return text;
}

std::string PackageInEnvironment(int pid) {
    if (pid == getpid()) {
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

}  // namespace

std::string PackageOfProcess(const Configuration& device, int pid) {
    if (device.trustEnvironment) {
        const std::string named = PackageInEnvironment(pid);
        if (!named.empty()) {
            return named;
        }
    }
    const std::string executable = RealPath("/proc/" + std::to_string(pid) + "/exe");
    for (const auto& package : device.packages) {
        for (const std::string& listed : package.second.executables) {
            if (!executable.empty() && RealPath(listed) == executable) {
                return package.first;
            }
        }
    }
    return {};
}

}  // namespace Device
