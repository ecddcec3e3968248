// SPDX-License-Identifier: Apache-2.0
// What PUT KEY and STORE DATA have in common: keys that come to the card, checked.
#pragma once

#include <map>
#include <vector>

#include "card/Runtime.h"
#include "globalplatform/Tlv.h"

namespace Card {

using Keys = std::map<std::uint8_t, Key>;  // by identifier

// Throws a Refusal for what is no key (6A80), and for a check value that is missing or superfluous (6A80) or
// wrong (6982); 11.8.2.3 and table 11-78.
void RequireKey(const Key& key, const Bytes& checkValue);

// A domain that has a set that opens a channel keeps one.
void RequireCompleteSet(const Application& domain, const Application& before);

// Behind keys that came: initial ones go as soon as the domain has a set of its own that opens a channel.
void SettleKeys(Application& domain, const Application& before);

// What a secret of this length was before it was filled up to whole blocks and encrypted. Throws a Refusal
// when it cannot be of that length.
[[nodiscard]] Bytes DecryptedSecret(
    const Bytes& encrypted, std::size_t length, const Bytes& dataEncryptionKey);

// Puts keys in, beside those that are there or in their place. A set that is new or replaced as a whole
// begins its sequence counter anew; Amendment D, 6.2.2.1.
void StoreKeys(Application& domain, const Application& before, const std::map<std::uint8_t, Keys>& byVersion);

}  // namespace Card
