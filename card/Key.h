// SPDX-License-Identifier: Apache-2.0
// A key as a card keeps it: GlobalPlatform Card 2.3.1, 11.1.8 and 11.8.2.3.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "globalplatform/Bytes.h"
#include "globalplatform/KeyType.h"

namespace Card {

using GlobalPlatform::Bytes;
using GlobalPlatform::KeyComponent;
using GlobalPlatform::KeyComponents;

constexpr std::uint8_t HighestKeyIdentifier = 127;

struct Key {
    KeyComponents components;
    Bytes usage;   // of one or two bytes, or not told
    Bytes access;  // of one byte, or not told

    [[nodiscard]] bool IsAes() const;
    [[nodiscard]] const Bytes& Value() const { return components.front().value; }
    [[nodiscard]] std::size_t Length() const;  // of all components
};

[[nodiscard]] Key AesKey(const Bytes& value);

// Whether another may take its place: same components, of the same lengths; 11.8.2.3.3.
[[nodiscard]] bool SameKind(const Key& left, const Key& right);

// Whether a component of this type is encrypted on its way to the card. Nothing for a type that cards do not
// know.
[[nodiscard]] std::optional<bool> IsSecretType(std::uint8_t type);

// Whether the components make a key, in this order, with values of lengths that can be.
[[nodiscard]] bool IsKey(const Key& key);

// By B.6. Nothing for kinds of keys that have none.
[[nodiscard]] std::optional<Bytes> CheckValue(const Key& key);

// Its entry in the key information template, 11.3.3.1.1: the extended form when something was told about its
// use.
[[nodiscard]] Bytes Information(const Key& key, std::uint8_t identifier, std::uint8_t version);

}  // namespace Card
