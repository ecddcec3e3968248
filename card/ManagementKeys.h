// SPDX-License-Identifier: Apache-2.0
// The keys that a domain verifies tokens and load files with, reads encrypted code with and signs receipts
// with; GlobalPlatform Card 2.3.1, C.1. Which version means which is a custom of cards.
#pragma once

#include "card/CardContent.h"

namespace Card {

// Their versions. Of several keys of a version, the first that can do it does it.
namespace ManagementKey {
constexpr std::uint8_t Token = 0x70;
constexpr std::uint8_t Receipt = 0x71;
constexpr std::uint8_t Authentication = 0x73;  // of load files
constexpr std::uint8_t LoadFile = 0x75;        // that are encrypted
}  // namespace ManagementKey

// Throws a Refusal (6985) when the domain has none.
[[nodiscard]] const KeyComponents& RequireVerificationKey(const Application& domain, std::uint8_t version);
[[nodiscard]] const KeyComponents& RequireSigningKey(const Application& domain, std::uint8_t version);

// AES, or DES of 16 bytes.
[[nodiscard]] const KeyComponents& RequireCipherKey(const Application& domain, std::uint8_t version);

}  // namespace Card
