// SPDX-License-Identifier: Apache-2.0
// The sections [application AID] of a profile.
#pragma once

#include <vector>

#include "card/Program.h"
#include "device/configuration/KeyFile.h"

namespace Device {

// Adds the application's program.
void ReadProgramSection(
    const Section& section, std::vector<Card::Program>& programs, std::vector<Mistake>& mistakes);

}  // namespace Device
