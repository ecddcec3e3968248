// SPDX-License-Identifier: Apache-2.0
// The hashes of load files, told apart by their lengths; GlobalPlatform Card 2.3.1, C.2.
#pragma once

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

// 20 bytes of SHA-1, 32, 48 or 64 of SHA-2.
[[nodiscard]] constexpr bool IsDigestLength(std::size_t length) {
    return length == 20 || length == 32 || length == 48 || length == 64;
}

// The hash of that length. Throws std::invalid_argument when there is none, and std::runtime_error when the
// cryptographic library fails.
[[nodiscard]] Bytes DigestOfLength(const Bytes& message, std::size_t length);

}  // namespace GlobalPlatform
