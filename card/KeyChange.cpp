// SPDX-License-Identifier: Apache-2.0
#include "card/KeyChange.h"

#include <algorithm>

#include "card/Fields.h"
#include "globalplatform/Aes.h"
#include "globalplatform/KeyType.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

// The only value of `tag` among the objects, of a length from least to most.
Bytes Value(const std::vector<TlvObject>& objects, std::uint32_t tag, std::size_t least, std::size_t most) {
    const Bytes* value = FindObject(objects, tag);
    if (value == nullptr || value->size() < least || value->size() > most) {
        Refuse(StatusWord::WrongData);
    }
    return *value;
}

KeyTemplate ReadKeyTemplate(const Bytes& value) {
    const std::vector<TlvObject> objects = Objects(value);
    KeyTemplate read;
    read.usage = Value(objects, Tag::KeyUsage, 1, 2);
    if (FindObject(objects, Tag::KeyAccess) != nullptr) {
        read.access = Value(objects, Tag::KeyAccess, 1, 1);
    }
    read.type = Value(objects, Tag::KeyTypeCode, 1, 1).front();
    read.length = FromBigEndian(Value(objects, Tag::KeyLength, 1, 2));
    read.identifier = Value(objects, Tag::KeyIdentifierOfTemplate, 1, 1).front();
    read.version = Value(objects, Tag::KeyVersionOfTemplate, 1, 1).front();
    if (FindObject(objects, Tag::KeyCheckValue) != nullptr) {
        read.checkValue = Value(objects, Tag::KeyCheckValue, 1, 3);
    }
    const bool symmetric = read.type >= KeyType::LowestStandard && read.type < KeyType::RsaPublicExponent;
    const bool numbered =
        read.identifier <= HighestKeyIdentifier && read.version >= 1 && read.version <= HighestKeyVersion;
    if (!symmetric || !numbered) {
        Refuse(StatusWord::WrongData);
    }
    return read;
}

}  // namespace

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

void RequireCompleteSet(const CardContent& content) {
    if (content.FirstCompleteSet() == content.keySets.end()) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

void SettleKeys(CardContent& content) {
    RequireCompleteSet(content);
    if (content.FirstCompleteSet()->first != InitialKeyVersion) {
        content.keySets.erase(InitialKeyVersion);
    }
}

Bytes DecryptedSecret(const Bytes& encrypted, std::size_t length, const Bytes& dataEncryptionKey) {
    if (encrypted.size() % AesBlockLength != 0 || encrypted.size() < length ||
        encrypted.size() - length >= AesBlockLength) {
        Refuse(StatusWord::WrongData);
    }
    return First(AesDecryptCbc(dataEncryptionKey, Bytes(AesBlockLength), encrypted), length);
}

std::vector<KeyTemplate> ReadKeyTemplates(const Bytes& value) {
    std::vector<KeyTemplate> templates;
    for (const TlvObject& object : Objects(value)) {
        if (object.tag != Tag::KeyTemplate) {
            Refuse(StatusWord::WrongData);
        }
        KeyTemplate read = ReadKeyTemplate(object.value);
        const bool twice = std::any_of(templates.begin(), templates.end(), [&](const KeyTemplate& each) {
            return each.version == read.version && each.identifier == read.identifier;
        });
        if (twice) {
            Refuse(StatusWord::WrongData);
        }
        templates.push_back(std::move(read));
    }
    if (templates.empty()) {
        Refuse(StatusWord::WrongData);
    }
    return templates;
}

Key StoredKey(const KeyTemplate& announced, const Bytes& encrypted, const Bytes& dataEncryptionKey) {
    Key key;
    key.components.push_back(
        {announced.type, DecryptedSecret(encrypted, announced.length, dataEncryptionKey)});
    key.usage = announced.usage;
    key.access = announced.access;
    RequireKey(key, announced.checkValue);
    return key;
}

void StoreKeys(CardContent& content, const std::map<std::uint8_t, Keys>& byVersion) {
    for (const auto& [version, keys] : byVersion) {
        KeySet& set = content.keySets[version];
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
    SettleKeys(content);
}

}  // namespace Card
