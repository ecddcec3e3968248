// SPDX-License-Identifier: Apache-2.0
// A card's content as a text that lasts: JSON, all bytes in hexadecimal.
//
//   {"format": "software-card-1", "state": "0F", "issuerDomain": AID, "failedAuthentications": 0,
//    "keySets": [{"version": 1, "sequenceCounter": 0, "keys": [{"identifier": 1, "value": KEY}, ...]}, ...],
//    "loadFiles": [{"aid": AID, "size": 20, "modules": [AID, ...]}, ...],
//    "applications": [{"aid": AID, "loadFile": AID, "module": AID, "privileges": "000000", "state": "07",
//                      "parameters": 2, "data": [{"tag": "5F50", "value": BYTES}, ...]}, ...],
//    "data": [as that of an application; the issuer domain's own]}
#pragma once

#include <string>

#include "card/CardContent.h"

namespace Card {

[[nodiscard]] std::string EncodeState(const CardContent& content);

// Throws std::runtime_error that says what is wrong when the text is not whole or no card can be so.
CardContent DecodeState(const std::string& text);

}  // namespace Card
