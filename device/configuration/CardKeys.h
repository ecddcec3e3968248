// SPDX-License-Identifier: Apache-2.0
// What is said of a software card, wherever that is: in a device's description, in a profile, on a command
// line.
#pragma once

#include "card/Options.h"
#include "device/configuration/SectionReader.h"

namespace Device {

// Each key with what sets it in the options, which have to live as long. Where the card is kept is no part of
// them.
[[nodiscard]] Keys SoftwareCardKeys(Card::Options& options);

}  // namespace Device
