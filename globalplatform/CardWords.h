// SPDX-License-Identifier: Apache-2.0
// What a card says of itself in bytes, in words.
#pragma once

#include <string>
#include <vector>

namespace GlobalPlatform {

// Each takes hexadecimal text and gives lines for people; none for a text that cannot be such a value.

// Privileges of an application: 1 or 3 bytes, GlobalPlatform Card 2.3.1, 6.6.1.
[[nodiscard]] std::vector<std::string> PrivilegeWords(const std::string& hexadecimal);

// A life cycle state: one byte, whose meaning is another for a card, a security domain, an application and a
// load file; GlobalPlatform Card 2.3.1, 11.1.1.
[[nodiscard]] std::vector<std::string> LifeCycleWords(const std::string& hexadecimal);

// An answer to reset: ISO 7816-3, 8.2.
[[nodiscard]] std::vector<std::string> AtrWords(const std::string& hexadecimal);

}  // namespace GlobalPlatform
