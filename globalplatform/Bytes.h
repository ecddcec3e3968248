// SPDX-License-Identifier: Apache-2.0
// Bytes and their hexadecimal text, as the rooms around the service exchange them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace GlobalPlatform {

using Bytes = std::vector<std::uint8_t>;

// Two upper-case digits for each byte.
[[nodiscard]] std::string HexText(const Bytes& bytes);

// Nothing when a character is no hexadecimal digit or the number of digits is odd. Blanks are skipped.
[[nodiscard]] std::optional<Bytes> FromHexText(const std::string& text);

void Append(Bytes& target, const Bytes& tail);

// `number` in `width` bytes, most significant first.
[[nodiscard]] Bytes BigEndian(std::uint64_t number, std::size_t width);

// The number that they write; of more than eight bytes, the last eight.
[[nodiscard]] std::uint64_t FromBigEndian(const Bytes& bytes);

// The first or the last `count` bytes; all of them when there are fewer.
[[nodiscard]] Bytes First(const Bytes& bytes, std::size_t count);
[[nodiscard]] Bytes Last(const Bytes& bytes, std::size_t count);

[[nodiscard]] bool BeginsWith(const Bytes& bytes, const Bytes& beginning);

}  // namespace GlobalPlatform
