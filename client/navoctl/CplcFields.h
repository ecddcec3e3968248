// SPDX-License-Identifier: Apache-2.0
// Card production life cycle data, field by field (GlobalPlatform Card, GET DATA 9F7F).
#pragma once

#include <string>
#include <vector>

struct CplcField {
    std::string key;      // for programs: "icFabricator"
    std::string label;    // for people: "IC fabricator"
    std::string value;    // hexadecimal, as on the card
    std::string meaning;  // of a date: "day 123 of a year ending in 4"; else empty
};

// The 18 fields of 42 bytes, in card order; nothing for a text of another length.
[[nodiscard]] std::vector<CplcField> DecodeCplc(const std::string& cplc);
