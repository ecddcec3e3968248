// SPDX-License-Identifier: Apache-2.0
// Readers of single values. Each throws BadValue for a text that is not of its form.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "device/configuration/Configuration.h"
#include "device/names/Bytes.h"

namespace Device {

// Says what is wrong with a value and what would be right.
class BadValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using Choices = std::vector<std::pair<std::string, int>>;

[[nodiscard]] bool BooleanValue(const std::string& text);
[[nodiscard]] std::uint64_t NumberValue(const std::string& text, std::uint64_t lowest, std::uint64_t highest);

// 32 bits with a sign, in decimal.
[[nodiscard]] std::int32_t SignedValue(const std::string& text);

// One of the words, or a number from 0 to `highest` that stands for itself.
[[nodiscard]] int ChoiceValue(const std::string& text, const Choices& choices, int highest);

// Decimal digits only, or nothing at all.
[[nodiscard]] std::string DigitsValue(const std::string& text, std::size_t lowest, std::size_t highest);

[[nodiscard]] Bytes BytesValue(const std::string& text, std::size_t lowest, std::size_t highest);

// Parts between semicolons; the last semicolon may end the list.
[[nodiscard]] std::vector<std::string> ListValue(const std::string& text);

// A platform error by its name, or a number in decimal or, with 0x, as 32 bits of hexadecimal.
[[nodiscard]] int ResultValue(const std::string& text);

// 64 hexadecimal digits, with or without colons; the result is upper-case without.
[[nodiscard]] std::string FingerprintValue(const std::string& text);

// Answers of a card rule: "6A82", "6110*3, 9000", "card, empty"; "00{300}" repeats a byte.
[[nodiscard]] std::vector<ScriptedAnswer> AnswersValue(const std::string& text);

// An absolute path as it stands, any other below the folder of `configurationPath`.
[[nodiscard]] std::string PathValue(const std::string& text, const std::string& configurationPath);

}  // namespace Device
