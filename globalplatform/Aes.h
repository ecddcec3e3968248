// SPDX-License-Identifier: Apache-2.0
// AES in the forms that GlobalPlatform uses. Keys have 16, 24 or 32 bytes, initialisation vectors 16. Each
// function throws std::invalid_argument for a length that cannot be and std::runtime_error when the
// cryptographic library fails.
#pragma once

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

constexpr std::size_t AesBlockLength = 16;
constexpr std::size_t AesKeyLength = 16;   // of AES-128, the shortest
constexpr std::size_t LongestAesKey = 32;  // of AES-256
constexpr std::size_t AesKeyCheckValueLength = 3;

[[nodiscard]] constexpr bool IsAesKeyLength(std::size_t length) {
    return length == 16 || length == 24 || length == 32;
}

// The whole code of 16 bytes; NIST SP 800-38B.
[[nodiscard]] Bytes AesCmac(const Bytes& key, const Bytes& message);

// Whole blocks, no padding; NIST SP 800-38A.
[[nodiscard]] Bytes AesEncryptBlock(const Bytes& key, const Bytes& block);
[[nodiscard]] Bytes AesEncryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& plain);
[[nodiscard]] Bytes AesDecryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& encrypted);

// Padding method 2 of ISO/IEC 9797-1: the byte 80, then zeros to the end of the block.
[[nodiscard]] Bytes Pad80(const Bytes& plain, std::size_t blockLength = AesBlockLength);

// Nothing when the padding is none.
[[nodiscard]] std::optional<Bytes> Unpad80(const Bytes& padded);

// The first three bytes of sixteen encrypted bytes 01; GlobalPlatform Card 2.3, B.6 as of AES
// keys.
[[nodiscard]] Bytes AesKeyCheckValue(const Bytes& key);

// Whether two texts are the same, in a time that tells nothing of where they differ.
[[nodiscard]] bool SameSecret(const Bytes& left, const Bytes& right);

}  // namespace GlobalPlatform
