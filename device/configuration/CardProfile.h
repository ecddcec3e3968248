// SPDX-License-Identifier: Apache-2.0
// Profiles: files that say how a software card is and behaves, for any device and any reader.
#pragma once

#include <string>
#include <vector>

#include "card/Options.h"
#include "device/configuration/KeyFile.h"

namespace Device {

constexpr std::size_t LongestProfile = 1 << 20;  // in bytes

// Reads a profile into the options. What the device could not follow is added to the mistakes, with the
// profile's path. Throws BadValue when the file cannot be read.
void ReadCardProfile(const std::string& path, Card::Options& options, std::vector<Mistake>& mistakes);

// The same of a profile's text.
void ReadCardProfileText(
    const std::string& path, const std::string& text, Card::Options& options, std::vector<Mistake>& mistakes);

}  // namespace Device
