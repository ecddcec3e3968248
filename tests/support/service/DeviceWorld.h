// SPDX-License-Identifier: Apache-2.0
// The surroundings of the service inside a test's own process: a working directory of its own, so that the
// fixed locations lie below it, the virtual device's configuration, and the log.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TemporaryFolder.h"

class DeviceWorld {
public:
    // Makes the folder, enters it, installs the compiled settings schema below it, and points the virtual
    // device at an ordinary device: eSE present, Wi-Fi connected, one SIM.
    DeviceWorld();
    ~DeviceWorld();
    DeviceWorld(const DeviceWorld&) = delete;
    DeviceWorld& operator=(const DeviceWorld&) = delete;

    const std::filesystem::path& Path() const { return folder.Path(); }

    // Replaces the device's configuration; it holds from the next platform call on.
    void Configure(const std::string& text);

    // The ordinary device of the constructor, to build a changed one from.
    static std::string OrdinaryDevice();

    void RemoveSettingsSchema();

    // Puts the stand-ins for the maker's two libraries where the service looks for them.
    void InstallInHouseLibraries();

    // Lines that the service logged so far, each as "E/", "I/" or "D/", then the message as it stands.
    std::vector<std::string> Log() const;

    // Messages of located lines without their prefix, each as "LEVEL Function: message" with LEVEL E, I or D.
    std::vector<std::string> LocatedLog() const;

    void ForgetLog();

private:
    // Sets a variable of the environment, or with null removes it, until the world ends.
    void SetVariable(const std::string& name, const char* value);

    TemporaryFolder folder;
    std::filesystem::path previous;
    std::vector<std::pair<std::string, std::optional<std::string>>> variables;  // as they were before
};
