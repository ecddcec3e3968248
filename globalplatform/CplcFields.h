// SPDX-License-Identifier: Apache-2.0
// Card production life cycle data, field by field (GlobalPlatform Card, GET DATA 9F7F).
#pragma once

#include <string>
#include <vector>

namespace GlobalPlatform {

struct CplcField {
    std::string key;      // for programs: "icFabricator"
    std::string label;    // for people: "IC fabricator"
    std::string value;    // hexadecimal, as on the card
    std::string meaning;  // of a date: "2022-05-03 if it is of 2017 to 2026"; else empty
};

// The 18 fields of 42 bytes, in card order; nothing for a text of another length.
// A date has but the last digit of its year, and is taken to be of the ten years that end with `thisYear`.
[[nodiscard]] std::vector<CplcField> DecodeCplc(const std::string& cplc, int thisYear);
[[nodiscard]] std::vector<CplcField> DecodeCplc(const std::string& cplc);

}  // namespace GlobalPlatform
