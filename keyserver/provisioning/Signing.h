// SPDX-License-Identifier: Apache-2.0
// The catalogue's keys that sign tokens and load files and verify receipts, and what is done with them;
// GlobalPlatform Card 2.3.1, C.
#pragma once

#include "globalplatform/KeyType.h"
#include "keyserver/provisioning/CardService.h"
#include "keyserver/service/Reading.h"

namespace KeyServer {

using GlobalPlatform::KeyComponents;

using SignatureKeys = std::map<std::string, KeyComponents>;  // by name

// Keys of a service that manages under delegation; what is absent neither signs nor verifies.
struct Delegation {
    std::optional<KeyComponents> tokenKey;
    std::optional<KeyComponents> receiptKey;
};

// A list of named keys: AES, DES of 16 bytes, or ECC on a named curve. Throws ScriptError.
[[nodiscard]] SignatureKeys ReadSignatureKeys(const Place& place);

// The key that the place names. Throws ScriptError.
[[nodiscard]] const KeyComponents& ReadNamedKey(const Place& place, const SignatureKeys& keys);

// Puts the token into a form of INSTALL, which has an empty one until then, or behind the data of DELETE.
void AddToken(PlainCommand& command, const KeyComponents& key);

// The number of the receipt that answers a command. Throws CardProblem when there is none or it is wrong.
[[nodiscard]] std::uint16_t CheckReceipt(
    const PlainCommand& command, const CardResponse& response, const KeyComponents& key);

}  // namespace KeyServer
