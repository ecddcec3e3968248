// SPDX-License-Identifier: Apache-2.0
#include "commandline/PrivateFile.h"

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <iostream>

namespace CommandLine {

namespace {

constexpr mode_t AllPermissions = 07777;
constexpr mode_t Readers = S_IRGRP | S_IROTH;
constexpr mode_t Writers = S_IWGRP | S_IWOTH;

// Empty when they cannot do anything.
std::string OpenToOthers(const std::string& file) {
    struct stat status{};
    if (stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    const bool canRead = (status.st_mode & Readers) != 0;
    const bool canWrite = (status.st_mode & Writers) != 0;
    if (!canRead && !canWrite) {
        return {};
    }
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%03o", static_cast<unsigned>(status.st_mode & AllPermissions));
    return file + " holds keys, and others can " +
           (canRead && canWrite ? "read and write"
            : canRead           ? "read"
                                : "write") +
           " it (mode " + mode.data() + "); chmod 600 keeps them out";
}

}  // namespace

// In one write each, so that it does not mix with a log.
void WarnOfOpenKeys(const std::string& program, const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        const std::string warning = OpenToOthers(file);
        if (!warning.empty()) {
            std::cerr << program + ": warning: " + warning + "\n";
        }
    }
}

}  // namespace CommandLine
