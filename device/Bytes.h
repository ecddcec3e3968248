// Bytes and their hexadecimal text, as the device's rooms exchange them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Device {

using Bytes = std::vector<std::uint8_t>;

// Two upper-case digits for each byte.
std::string HexText(const Bytes& bytes);

// Nothing when a character is no hexadecimal digit or the number of digits is odd. Blanks are skipped.
std::optional<Bytes> FromHexText(const std::string& text);

void Append(Bytes& target, const Bytes& tail);

}  // namespace Device
