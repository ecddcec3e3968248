// SPDX-License-Identifier: Apache-2.0
// A card's content as a text that lasts: JSON, all bytes in hexadecimal.
//
//   {"format": "software-card-2", "state": "0F", "issuerDomain": AID, "failedAuthentications": 0,
//    "keySets": [{"version": 1, "sequenceCounter": 0,
//                 "keys": [{"identifier": 1, "components": [{"type": "88", "value": KEY}, ...],
//                           "usage": BYTES, "access": BYTES}, ...]}, ...],
//    "loadFiles": [{"aid": AID, "size": 20, "version": "0100", "modules": [AID, ...]}, ...],
//    "applications": [{"aid": AID, "loadFile": AID, "module": AID, "privileges": "000000", "state": "07",
//                      "parameters": 2, "implicitSelection": BYTES,
//                      "data": [{"tag": "5F50", "value": BYTES}, ...]}, ...],
//    "data": [as that of an application; the issuer domain's own]}
//
// A load file whose code says nothing of itself has neither version nor modules, and a key whose use was not
// told has neither usage nor access. Format 1, of version 1.6.0, is read too.
#pragma once

#include <string>

#include "card/CardContent.h"

namespace Card {

[[nodiscard]] std::string EncodeState(const CardContent& content);

// Throws std::runtime_error that says what is wrong when the text is not whole or no card can be so.
CardContent DecodeState(const std::string& text);

}  // namespace Card
