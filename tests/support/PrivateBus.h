// SPDX-License-Identifier: Apache-2.0
// A system bus of one's own: a real dbus-daemon with the shipped policy, started by any user.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/BusDaemon.h"

// What the bus gives to the services that it starts.
struct BusSurroundings {
    // Folder of activation files; empty: nothing can be started by name.
    std::filesystem::path services;
    // All of it; empty: the test's own.
    std::vector<std::string> environment;
    // Empty: the bus's folder.
    std::filesystem::path workingDirectory;
};

// The socket, the configuration and "bus.log" lie in the folder, whose path must be short.
class PrivateBus : public BusDaemon {
public:
    explicit PrivateBus(const std::filesystem::path& folder, const BusSurroundings& surroundings = {});
};
