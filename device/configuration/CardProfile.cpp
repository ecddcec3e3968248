// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/CardProfile.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "device/configuration/CardKeys.h"
#include "device/configuration/ProgramSection.h"
#include "device/configuration/Values.h"

namespace Device {

namespace {

std::string TextOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw BadValue(path + " cannot be read: " + std::strerror(errno));
    }
    std::string text(LongestProfile + 1, '\0');
    stream.read(&text[0], static_cast<std::streamsize>(text.size()));
    if (stream.bad() || stream.gcount() == 0) {
        throw BadValue(path + " is no profile; name a file with a section [card]");
    }
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > LongestProfile) {
        throw BadValue(path + " is longer than a profile can be, a mebibyte");
    }
    return text;
}

void ReadSection(const Section& section, Card::Options& options, std::vector<Mistake>& mistakes) {
    SectionReader reader(section, mistakes);
    if (section.kind == "card" && section.name.empty()) {
        reader.ReadKeys(SoftwareCardKeys(options));
    } else if (section.kind == "application") {
        ReadProgramSection(section, options.programs, mistakes);
    } else {
        reader.Reject("a profile has no such section; there are [card] and [application AID]");
    }
}

}  // namespace

void ReadCardProfileText(
    const std::string& path, const std::string& text, Card::Options& options,
    std::vector<Mistake>& mistakes) {
    KeyFile file = ParseKeyFile(text);
    std::vector<Mistake> found = std::move(file.mistakes);
    for (const Section& section : file.sections) {
        ReadSection(section, options, found);
    }
    for (Mistake& mistake : found) {
        mistake.file = path;
        mistakes.push_back(std::move(mistake));
    }
}

void ReadCardProfile(const std::string& path, Card::Options& options, std::vector<Mistake>& mistakes) {
    ReadCardProfileText(path, TextOf(path), options, mistakes);
}

}  // namespace Device
