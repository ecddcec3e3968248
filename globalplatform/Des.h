// SPDX-License-Identifier: Apache-2.0
// Check values of triple DES keys, which cards keep though their channels do without.
#pragma once

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

// Of two or three keys.
[[nodiscard]] constexpr bool IsDesKeyLength(std::size_t length) {
    return length == 16 || length == 24;
}

// The first three bytes of eight encrypted zeros; GlobalPlatform Card 2.3.1, B.6. Throws
// std::invalid_argument for another length and std::runtime_error when the cryptographic library fails.
[[nodiscard]] Bytes DesKeyCheckValue(const Bytes& key);

}  // namespace GlobalPlatform
