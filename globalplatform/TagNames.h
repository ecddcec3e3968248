// SPDX-License-Identifier: Apache-2.0
// Data objects by name, for people.
#pragma once

#include <cstdint>
#include <string_view>

namespace GlobalPlatform {

// The name of the object that stands in the object `within`, 0 at the outside: "AID". A tag means another
// thing in another object. Empty where the standards of this field know none.
[[nodiscard]] std::string_view TagName(std::uint32_t tag, std::uint32_t within = 0);

// Whether the object holds others: bit 6 of its tag's first byte; ISO 7816-4, 5.2.2.1.
[[nodiscard]] bool IsConstructed(std::uint32_t tag);

// Whether the value names a card, its holder or the account behind it: card numbers and what stands in their
// place; EMV Book 3, annex A, and GlobalPlatform Card 2.3.1, H.
[[nodiscard]] bool NamesACard(std::uint32_t tag);

}  // namespace GlobalPlatform
