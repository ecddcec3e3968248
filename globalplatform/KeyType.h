// SPDX-License-Identifier: Apache-2.0
// Types of keys and of their components; GlobalPlatform Card 2.3.1, 11.1.8.
#pragma once

#include <cstdint>
#include <vector>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

namespace KeyType {
constexpr std::uint8_t Des = 0x80;
constexpr std::uint8_t PreSharedKey = 0x85;
constexpr std::uint8_t Aes = 0x88;
constexpr std::uint8_t HmacImplicit = 0x90;
constexpr std::uint8_t Hmac160 = 0x91;
constexpr std::uint8_t RsaPublicExponent = 0xA0;
constexpr std::uint8_t RsaModulus = 0xA1;
constexpr std::uint8_t RsaPrivateModulus = 0xA2;
constexpr std::uint8_t RsaPrivateExponent = 0xA3;
constexpr std::uint8_t RsaFirstPrime = 0xA4;
constexpr std::uint8_t RsaSecondPrime = 0xA5;
constexpr std::uint8_t RsaInverse = 0xA6;
constexpr std::uint8_t RsaFirstExponent = 0xA7;
constexpr std::uint8_t RsaSecondExponent = 0xA8;
constexpr std::uint8_t EccPublic = 0xB0;
constexpr std::uint8_t EccPrivate = 0xB1;
constexpr std::uint8_t EccField = 0xB2;
constexpr std::uint8_t EccA = 0xB3;
constexpr std::uint8_t EccB = 0xB4;
constexpr std::uint8_t EccGenerator = 0xB5;
constexpr std::uint8_t EccOrder = 0xB6;
constexpr std::uint8_t EccCofactor = 0xB7;
constexpr std::uint8_t EccReference = 0xF0;
constexpr std::uint8_t Extended = 0xFF;  // the type follows
constexpr std::uint8_t LowestStandard = 0x80;
}  // namespace KeyType

struct KeyComponent {
    std::uint8_t type = 0;
    Bytes value;  // in the clear
};

// Of one key, in the order of 11.8.2.3; a symmetric one has a single component.
using KeyComponents = std::vector<KeyComponent>;

}  // namespace GlobalPlatform
