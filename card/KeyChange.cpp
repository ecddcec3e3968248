// SPDX-License-Identifier: Apache-2.0
#include "card/KeyChange.h"

#include <algorithm>

#include "globalplatform/Aes.h"

namespace Card {

void RequireKey(const Key& key, const Bytes& checkValue) {
    if (!IsKey(key)) {
        Refuse(StatusWord::WrongData);
    }
    const std::optional<Bytes> right = CheckValue(key);
    if (checkValue.size() != (right ? right->size() : 0)) {
        Refuse(StatusWord::WrongData);
    }
    if (right && !SameSecret(*right, checkValue)) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
}

void RequireCompleteSet(const Application& domain, const Application& before) {
    if (before.OpensChannels() && !domain.OpensChannels()) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

void SettleKeys(Application& domain, const Application& before) {
    RequireCompleteSet(domain, before);
    if (domain.OpensChannels() && domain.FirstCompleteSet()->first != InitialKeyVersion) {
        domain.keySets.erase(InitialKeyVersion);
    }
}

Bytes DecryptedSecret(const Bytes& encrypted, std::size_t length, const Bytes& dataEncryptionKey) {
    if (encrypted.size() % AesBlockLength != 0 || encrypted.size() < length ||
        encrypted.size() - length >= AesBlockLength) {
        Refuse(StatusWord::WrongData);
    }
    return First(AesDecryptCbc(dataEncryptionKey, Bytes(AesBlockLength), encrypted), length);
}

void StoreKeys(
    Application& domain, const Application& before, const std::map<std::uint8_t, Keys>& byVersion) {
    for (const auto& [version, keys] : byVersion) {
        KeySet& set = domain.keySets[version];
        const Keys& added = keys;
        const bool whole = std::all_of(
            set.keys.begin(), set.keys.end(), [&](const auto& each) { return added.count(each.first) != 0; });
        if (whole) {
            set.sequenceCounter = 0;
        }
        for (const auto& [identifier, key] : keys) {
            set.keys[identifier] = key;
        }
    }
    SettleKeys(domain, before);
}

}  // namespace Card
