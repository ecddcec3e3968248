// SPDX-License-Identifier: Apache-2.0
#include "tests/support/PrivateBus.h"

#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "tests/support/Process.h"

namespace fs = std::filesystem;

namespace {

void Replace(std::string& text, const std::string& place, const std::string& value) {
    const std::size_t at = text.find(place);
    if (at == std::string::npos) {
        throw std::runtime_error("private-bus.conf.in has no place " + place);
    }
    // The comment at the head of the template names the places too.
    for (std::size_t next = at; next != std::string::npos; next = text.find(place, next + value.size())) {
        text.replace(next, place.size(), value);
    }
}

fs::path WriteConfiguration(const fs::path& folder, const fs::path& services) {
    const fs::path data = NAVO_TEST_DATA_DIR;
    std::string text = TextOf(data / "private-bus.conf.in");
    Replace(text, "@socket@", folder / "bus");
    Replace(text, "@policy@", data / "com.orvenco.navoa.conf");
    Replace(text, "@services@", services);
    Replace(text, "@user@", std::to_string(geteuid()));
    const fs::path file = folder / "bus.conf";
    std::ofstream(file, std::ios::binary) << text;
    return file;
}

BusDaemon::Surroundings DaemonIn(const fs::path& folder, const BusSurroundings& surroundings) {
    const fs::path services = surroundings.services.empty() ? folder / "services" : surroundings.services;
    fs::create_directories(services);
    return {
        WriteConfiguration(folder, services), folder / "bus.log",
        surroundings.workingDirectory.empty() ? folder : surroundings.workingDirectory,
        surroundings.environment};
}

}  // namespace

PrivateBus::PrivateBus(const fs::path& folder, const BusSurroundings& surroundings)
    : BusDaemon(DaemonIn(folder, surroundings)) {}
