// SPDX-License-Identifier: Apache-2.0
// navo-device: tells what the virtual device would make of its description, before a service meets it.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "commandline/CommandLine.h"
#include "commandline/PrivateFile.h"
#include "device/configuration/Configuration.h"

namespace {

constexpr int ExitSuccess = 0;
constexpr int ExitFailure = 1;

constexpr char Footer[] =
    "Example:\n"
    "  navo-device check /etc/navo-device.conf\n\n"
    "Exit status: 0 when the device can follow its description, 1 when not, 2 for a wrong command line.\n"
    "See navo-device(1).";

bool HasOwnKeys(const Device::CardSettings& card) {
    const Card::Options plain;
    const auto& keys = card.software.keys;
    return card.namesKeys && (keys.encryption != plain.keys.encryption || keys.mac != plain.keys.mac ||
                              keys.dataEncryption != plain.keys.dataEncryption);
}

void WarnOfOpenKeys(const std::string& file, const Device::Configuration& configuration) {
    std::vector<std::string> files = {configuration.libraries.keyFile};
    for (const Device::CardSettings* card : {&configuration.embeddedElement, &configuration.uicc}) {
        files.push_back(card->software.stateFile);
        files.push_back(HasOwnKeys(*card) ? file : "");
    }
    CommandLine::WarnOfOpenKeys("navo-device", files);
}

// Each mistake on a line of its own; the exit status.
int Check(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    if (!stream || (stream.peek() != std::ifstream::traits_type::eof() && !(text << stream.rdbuf()))) {
        std::cerr << "navo-device: " << file << ": " << std::strerror(errno) << "\n";
        return ExitFailure;
    }
    const Device::Configuration configuration = Device::ReadConfiguration(file, text.str());
    WarnOfOpenKeys(file, configuration);
    for (const Device::Mistake& mistake : configuration.mistakes) {
        std::cout << Device::Describe(configuration, mistake) << "\n";
    }
    if (!configuration.mistakes.empty()) {
        std::cerr << "navo-device: " << configuration.mistakes.size()
                  << (configuration.mistakes.size() == 1 ? " mistake" : " mistakes")
                  << "; a service on this device would fail at everything\n";
        return ExitFailure;
    }
    std::cout << file << ": in order\n";
    return ExitSuccess;
}

}  // namespace

int main(int count, char** arguments) {
    CLI::App app("Looks at the description of a virtual device.", "navo-device");
    CommandLine::Hints hints;
    CommandLine::Prepare(app, NAVO_VERSION, hints);
    app.require_subcommand(1);
    app.footer(Footer);
    std::string file;
    CLI::App* const check =
        app.add_subcommand("check", "Print every mistake of a description, with its line");
    check->add_option("FILE", file, "The description")->required();
    check->footer("Example:\n  navo-device check /etc/navo-device.conf");
    if (const std::optional<int> status = CommandLine::ParseOrSay(app, count, arguments)) {
        return *status;
    }
    return Check(file);
}
