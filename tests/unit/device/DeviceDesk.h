// SPDX-License-Identifier: Apache-2.0
// A virtual device of a test's own: its configuration file, its log, and the variables that name them.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "device/VirtualDevice.h"
#include "tests/support/TemporaryFolder.h"

// Sets a variable of the environment until the end of its life.
class Variable {
public:
    Variable(const char* variableName, const std::string& value) : name(variableName) {
        const char* current = getenv(name);
        before = current == nullptr ? std::nullopt : std::optional<std::string>(current);
        Set(value);
    }
    ~Variable() {
        if (before) {
            Set(*before);
        } else {
            Remove();
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    void Set(const std::string& value) { setenv(name, value.c_str(), 1); }
    void Remove() { unsetenv(name); }

private:
    const char* name;
    std::optional<std::string> before;
};

class DeviceDesk : public ::testing::Test {
protected:
    DeviceDesk() : configurationVariable("NAVO_DEVICE_CONF", ""), logVariable("NAVO_DLOG", LogFile()) {
        Configure("");
        configurationVariable.Set((folder.Path() / "navo-device.conf").string());
    }

    void Configure(const std::string& text) { folder.Write("navo-device.conf", text); }

    std::string LogFile() const { return (folder.Path() / "log").string(); }

    std::vector<std::string> LogLines() const {
        std::vector<std::string> lines;
        std::istringstream text(std::filesystem::exists(LogFile()) ? ReadFile(LogFile()) : "");
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    TemporaryFolder folder;
    Variable configurationVariable;
    Variable logVariable;
};
