// SPDX-License-Identifier: Apache-2.0
// A card's content as a text that lasts: JSON, all bytes in hexadecimal.
//
//   {"format": "software-card-3", "state": "0F", "restrictions": "00", "issuerDomain": AID,
//    "failedAuthentications": 0, "confirmations": 0,
//    "keySets": [{"version": 1, "sequenceCounter": 0,
//                 "keys": [{"identifier": 1, "components": [{"type": "88", "value": KEY}, ...],
//                           "usage": BYTES, "access": BYTES}, ...]}, ...],
//    "loadFiles": [{"aid": AID, "domain": AID, "size": 20, "version": "0100", "modules": [AID, ...]}, ...],
//    "applications": [{"aid": AID, "domain": AID, "loadFile": AID, "module": AID, "privileges": "000000",
//                      "state": "07", "parameters": 2, "implicitSelection": BYTES,
//                      "memory": {"reserved": 0, "quota": 100}, "volatileMemory": {"reserved": 0},
//                      "data": [{"tag": "5F50", "value": BYTES}, ...],
//                      "counters": [{"name": "transactions", "value": 3}, ...],
//                      "securityDomain": {"failedAuthentications": 0, "confirmations": 0,
//                                         "restrictions": "00", "keySets": [as that of the card]}}, ...],
//    "data": [as that of an application; the issuer domain's own]}
//
// A load file whose code says nothing of itself has neither version nor modules, and a key whose use was not
// told has neither usage nor access. An empty "domain" is the issuer domain, a size of 0 that of the file
// that comes with each card, and "securityDomain" is there for a security domain alone; an application
// that has counted nothing has no counters. Formats 1, of version 1.6.0, and 2 are read too.
#pragma once

#include <string>

#include "card/CardContent.h"

namespace Card {

[[nodiscard]] std::string EncodeState(const CardContent& content);

// Throws std::runtime_error that says what is wrong when the text is not whole or no card can be so.
CardContent DecodeState(const std::string& text);

}  // namespace Card
