// SPDX-License-Identifier: Apache-2.0
// Names of what GlobalPlatform Card 2.3.1 writes in bits and bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

// Of an application's privileges in 1 or 3 bytes, 6.6.1; none of them has no name.
[[nodiscard]] std::vector<std::string> PrivilegeNames(const Bytes& privileges);

// Of a card's state, 5.1.1; empty for what is none.
[[nodiscard]] std::string CardStateName(std::uint8_t state);

// Of an application's state, 5.3.1, also below its lock; empty for what is none. The five lower bits are its
// own once it is selectable.
[[nodiscard]] std::string ApplicationStateName(std::uint8_t state);

}  // namespace GlobalPlatform
