// SPDX-License-Identifier: Apache-2.0
// The sections [card] and [card uicc].
#pragma once

#include <string>
#include <vector>

#include "device/configuration/Configuration.h"

namespace Device {

// Reads a card's section into `card`. File names count from the folder of `configurationPath`.
void ReadCardSection(
    const Section& section, const std::string& configurationPath, CardSettings& card,
    std::vector<Mistake>& mistakes);

}  // namespace Device
