// SPDX-License-Identifier: Apache-2.0
// SHA-256, FIPS 180-4: the hash of load files and the fingerprint of certificates.
#pragma once

#include <string_view>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

constexpr std::size_t Sha256Length = 32;

// Throws std::runtime_error when the cryptographic library fails.
[[nodiscard]] Bytes Sha256(const Bytes& message);
[[nodiscard]] Bytes Sha256(std::string_view message);

}  // namespace GlobalPlatform
