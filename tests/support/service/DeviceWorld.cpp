// SPDX-License-Identifier: Apache-2.0
#include "tests/support/service/DeviceWorld.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <stdexcept>

#include "common/Locations.h"

namespace fs = std::filesystem;

namespace {

constexpr char ConfigurationName[] = "etc/navo-device.conf";
constexpr char LogName[] = "navo-device.log";

// Variables that would lead the service's HTTP away, or the device to another's files.
constexpr const char* ForeignVariables[] = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                            "ALL_PROXY",  "no_proxy",    "NO_PROXY",    "NAVO_PACKAGE"};

// A locations header that does not begin at the working directory would have the tests write to the system.
void RequireOwnLocations() {
    const std::string location = Locations::SchemaDirectory;
    if (location.compare(0, 15, "/proc/self/cwd/") != 0) {
        throw std::runtime_error(
            "tests need a build with NAVO_SYSROOT=/proc/self/cwd, as the developer presets have");
    }
}

void InstallSettingsSchema() {
    fs::create_directories(Locations::SchemaDirectory);
    fs::copy_file(
        fs::path(NAVO_COMPILED_SCHEMA_DIR) / "gschemas.compiled",
        fs::path(Locations::SchemaDirectory) / "gschemas.compiled", fs::copy_options::overwrite_existing);
}

// Lines of the log file that the service wrote, not the device, as "X/" and the message. A line is
// "X/tag(pid): message".
std::vector<std::string> ServiceLines(const fs::path& file) {
    std::vector<std::string> lines;
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t end = line.find("): ");
        const std::size_t pid = line.rfind('(', end);
        if (line.find('/') != 1 || end == std::string::npos || pid == std::string::npos) {
            ADD_FAILURE() << "a line of the log has no form: " << line;
        } else if (line.substr(2, pid - 2) != "navo-device") {
            lines.push_back(line.substr(0, 2) + line.substr(end + 3));
        }
    }
    return lines;
}

}  // namespace

DeviceWorld::DeviceWorld() : previous(fs::current_path()) {
    RequireOwnLocations();
    folder.Write(ConfigurationName, OrdinaryDevice());
    fs::current_path(folder.Path());
    InstallSettingsSchema();
    for (const char* variable : ForeignVariables) {
        SetVariable(variable, nullptr);
    }
    SetVariable("NAVO_DEVICE_CONF", (folder.Path() / ConfigurationName).c_str());
    SetVariable("NAVO_DLOG", (folder.Path() / LogName).c_str());
    SetVariable("NAVO_MASK", "none");  // the service's lines are looked at as they are
}

DeviceWorld::~DeviceWorld() {
    for (const auto& [name, value] : variables) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
    std::error_code ignored;
    fs::current_path(previous, ignored);
}

void DeviceWorld::SetVariable(const std::string& name, const char* value) {
    const char* before = getenv(name.c_str());
    variables.emplace_back(name, before == nullptr ? std::nullopt : std::optional<std::string>(before));
    if (value == nullptr) {
        unsetenv(name.c_str());
    } else {
        setenv(name.c_str(), value, 1);
    }
}

void DeviceWorld::Configure(const std::string& text) {
    folder.Write(ConfigurationName, text);
}

std::string DeviceWorld::OrdinaryDevice() {
    const std::string certificates = NAVO_DEVICE_CERTIFICATES_DIR;
    return R"([device]
model-name=Test Wearable
build-string=TESTBUILD1
device-name=Wrist
locale=en_GB
sales-code=TST

[sim 0]
mcc=262
mnc=01
imei=350000000000006

[network]
type=wifi

[visibility]
platform=3135A718804C3B67BBC57A6983AE995CAA89945F1D3074142E912A953AE931C3
partner=9C292D88E270567AF4E2924AEF09E128782269461A91C8F1FE2732000E2DC770
public=55139D78F26D4A5E8178A68C4B24EB14BE0635E30706F133EEEB69FFEF5EEFC3

[packages]
trust-environment=true

[package com.example.platform]
version=1.2.3
applications=com.example.platform.app
distributor-root=)" +
           certificates + R"(/platform-root.pem

[package com.example.partner]
applications=com.example.partner.app
distributor-root=)" +
           certificates + R"(/partner-root.pem

[package com.example.public]
distributor-root=)" +
           certificates + R"(/public-root.pem

[package com.example.unsigned]
version=0.1
)";
}

void DeviceWorld::RemoveSettingsSchema() {
    fs::remove_all(folder.Path() / "usr");
}

std::vector<std::string> DeviceWorld::Log() const {
    return ServiceLines(folder.Path() / LogName);
}

void DeviceWorld::InstallInHouseLibraries() {
    for (const fs::path location : {Locations::SecureSpiLibrary, Locations::KeyProvisioningLibrary}) {
        fs::create_directories(location.parent_path());
        fs::remove(location);
        fs::create_symlink(fs::path(NAVO_IN_HOUSE_LIBRARIES_DIR) / location.filename(), location);
    }
}

// A located message is "[/src/file.cpp:12 Function] message".
std::vector<std::string> DeviceWorld::LocatedLog() const {
    std::vector<std::string> lines;
    for (const std::string& line : Log()) {
        const std::size_t function = line.find(' ') + 1;
        const std::size_t end = line.find("] ", function);
        if (line.compare(2, 6, "[/src/") == 0 && function != 0 && end != std::string::npos) {
            lines.push_back(
                line.substr(0, 1) + " " + line.substr(function, end - function) + ": " +
                line.substr(end + 2));
        }
    }
    return lines;
}

// The log is open for appending, so that it goes on at the beginning of the emptied file.
void DeviceWorld::ForgetLog() {
    std::ofstream(folder.Path() / LogName, std::ios::trunc | std::ios::binary);
}
