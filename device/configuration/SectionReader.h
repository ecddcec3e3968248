// SPDX-License-Identifier: Apache-2.0
// Reads the keys of a section, and notes what cannot be followed.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "device/configuration/KeyFile.h"

namespace Device {

using Setter = std::function<void(const std::string& value)>;
using Keys = std::vector<std::pair<std::string, Setter>>;

class SectionReader {
public:
    SectionReader(const Section& readSection, std::vector<Mistake>& noted)
        : section(readSection), mistakes(noted) {}

    // Gives each value to its key's setter, and notes keys that are not among them.
    void ReadKeys(const Keys& keys);

    // Runs `action` and notes a BadValue as a mistake of this entry.
    void Guarded(const Entry& entry, const std::function<void()>& action);

    // A mistake of the whole section.
    void Reject(const std::string& problem) {
        mistakes.push_back({section.line, section.Heading(), problem});
    }

private:
    const Section& section;
    std::vector<Mistake>& mistakes;
};

}  // namespace Device
