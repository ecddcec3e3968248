// SPDX-License-Identifier: Apache-2.0
// Status words in words, for people.
#pragma once

#include <string_view>

namespace GlobalPlatform {

// Of a status word as four upper-case digits, by ISO 7816-4, 5.1.3 and GlobalPlatform Card 2.3.1, 11.1.3; "an
// unknown status word" for any other.
[[nodiscard]] std::string_view StatusMeaning(std::string_view statusWord);

}  // namespace GlobalPlatform
