// SPDX-License-Identifier: Apache-2.0
#include "tests/system/Files.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "tests/support/Process.h"

namespace fs = std::filesystem;

namespace {

std::string Filled(std::string text, const std::string& place, const std::string& value) {
    const std::size_t first = text.find(place);
    if (first == std::string::npos) {
        throw std::runtime_error("there is no place " + place);
    }
    for (std::size_t at = first; at != std::string::npos; at = text.find(place, at + value.size())) {
        text.replace(at, place.size(), value);
    }
    return text;
}

}  // namespace

std::string ShippedFile(const std::string& name) {
    const fs::path file = fs::path(NAVO_DATA_DIR) / name;
    if (!fs::exists(file)) {
        throw std::runtime_error("there is no " + name);
    }
    return TextOf(file);
}

std::string ShippedFile(const std::string& name, const std::string& programFolder) {
    return Filled(ShippedFile(name), "@bindir@", programFolder);
}

// A remark has a blank behind its '#', an offer has none.
std::string DropInWithEverything() {
    std::string text;
    for (const std::string& line : LinesOf(ShippedFile("navoagent.device.conf"))) {
        const bool offer = line.size() > 1 && line[0] == '#' && line[1] != ' ';
        text += line.substr(offer ? 1 : 0) + "\n";
    }
    return text;
}

std::string SystemBusConfiguration(const fs::path& policies) {
    return Filled(TextOf(NAVO_SYSTEM_BUS_CONFIGURATION), "@policies@", policies);
}

std::string PolicyOfThePage() {
    const std::string page = TextOf(fs::path(NAVO_DOCS_DIR) / "device-makers.md");
    const std::string begin = "```xml\n";
    const std::size_t at = page.find(begin);
    if (at == std::string::npos) {
        throw std::runtime_error("device-makers.md shows no policy");
    }
    const std::size_t first = at + begin.size();
    return page.substr(first, page.find("```", first) - first);
}

bool IsInstalled(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}
