// SPDX-License-Identifier: Apache-2.0
// Triple DES in the forms that GlobalPlatform uses beside secure channels. Keys have 16 bytes, where nothing
// else is said. Each function throws std::invalid_argument for a length that cannot be and std::runtime_error
// when the cryptographic library fails.
#pragma once

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

constexpr std::size_t DesBlockLength = 8;
constexpr std::size_t DesMacKeyLength = 16;

// Of two or three keys.
[[nodiscard]] constexpr bool IsDesKeyLength(std::size_t length) {
    return length == 16 || length == 24;
}

// The first three bytes of eight encrypted zeros; GlobalPlatform Card 2.3.1, B.6. Of 16 or 24 bytes.
[[nodiscard]] Bytes DesKeyCheckValue(const Bytes& key);

// MAC algorithm 3 of ISO/IEC 9797-1 with padding method 2: single DES, and triple DES in the last block;
// B.1.2.2.
[[nodiscard]] Bytes DesMac(const Bytes& key, const Bytes& message);

// Whole blocks, no padding; B.1.1.1.
[[nodiscard]] Bytes DesEncryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& plain);
[[nodiscard]] Bytes DesDecryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& encrypted);

}  // namespace GlobalPlatform
