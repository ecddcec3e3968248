// SPDX-License-Identifier: Apache-2.0
// PUT KEY for AES keys: GlobalPlatform Card 2.3.1, 11.8, and Amendment D (version 1.1.2), 7.2.
#include "card/Commands.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::uint8_t MoreCommandsFlag = 0x80;
constexpr std::uint8_t GreatestNumber = 0x7F;

using Keys = std::map<std::uint8_t, Bytes>;

struct NewKeys {
    std::uint8_t version = 0;
    Keys keys;
    Bytes confirmation;  // the version and the check values
};

// The length of the key, then the key under the static key for data encryption.
Bytes DecryptedKey(const Bytes& field, const Bytes& dataEncryptionKey) {
    if (field.size() != 1 + AesKeyLength || field.front() != AesKeyLength) {
        Refuse(StatusWord::WrongData);
    }
    return AesDecryptCbc(dataEncryptionKey, Bytes(AesBlockLength), Last(field, AesKeyLength));
}

Bytes ReadKey(LengthValueReader& reader, const Bytes& dataEncryptionKey, Bytes& confirmation) {
    const std::optional<Bytes> type = reader.Take(1);
    const std::optional<Bytes> field = type ? reader.Next() : std::nullopt;
    const std::optional<Bytes> checkValue = field ? reader.Next() : std::nullopt;
    if (!checkValue) {
        Refuse(StatusWord::WrongData);
    }
    if (type->front() != AesKeyType) {
        Refuse(StatusWord::AlgorithmNotSupported);
    }
    Bytes key = DecryptedKey(*field, dataEncryptionKey);
    if (!checkValue->empty() && checkValue->size() != AesKeyCheckValueLength) {
        Refuse(StatusWord::WrongData);
    }
    if (!checkValue->empty() && !SameSecret(AesKeyCheckValue(key), *checkValue)) {
        Refuse(StatusWord::InvalidKeyCheckValue);
    }
    Append(confirmation, *checkValue);
    return key;
}

// New version, then for each key its type, its value and its check value. Several keys have identifiers that
// follow each other.
NewKeys ReadKeys(const CommandApdu& command, const Bytes& dataEncryptionKey) {
    LengthValueReader reader(command.data);
    const std::optional<Bytes> version = reader.Take(1);
    if (!version || version->front() == 0 || version->front() > GreatestNumber || reader.AtEnd()) {
        Refuse(StatusWord::WrongData);
    }
    NewKeys read;
    read.version = version->front();
    read.confirmation = *version;
    unsigned identifier = command.p2 & GreatestNumber;
    const bool several = (command.p2 & SeveralKeysFlag) != 0;
    while (!reader.AtEnd()) {
        if (identifier > GreatestNumber || (!several && !read.keys.empty())) {
            Refuse(StatusWord::WrongData);
        }
        read.keys[static_cast<std::uint8_t>(identifier++)] =
            ReadKey(reader, dataEncryptionKey, read.confirmation);
    }
    return read;
}

// Takes the keys that are replaced out of their version; 11.8.2.1.
void TakeReplaced(CardContent& content, std::uint8_t version, const Keys& keys) {
    const auto set = content.keySets.find(version);
    if (set == content.keySets.end()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    for (const auto& key : keys) {
        if (set->second.keys.erase(key.first) == 0) {
            Refuse(StatusWord::ReferencedDataNotFound);
        }
    }
    if (set->second.keys.empty()) {
        content.keySets.erase(set);
    }
}

// A set that goes on keeps its sequence counter, so that none of its challenges comes again.
void PutIn(CardContent& content, const NewKeys& read) {
    KeySet& set = content.keySets[read.version];
    for (const auto& [identifier, value] : read.keys) {
        if (!set.keys.emplace(identifier, value).second) {
            Refuse(StatusWord::WrongData);
        }
    }
}

}  // namespace

Answer PutKey(Runtime& card, const CommandApdu& command) {
    if ((command.p1 & MoreCommandsFlag) != 0 || (command.p2 & GreatestNumber) == 0) {
        Refuse(StatusWord::WrongParameters);
    }
    const NewKeys read = ReadKeys(command, card.session.channel->dataEncryptionKey);
    CardContent changed = card.Content();
    if (command.p1 != 0) {
        TakeReplaced(changed, command.p1, read.keys);
    }
    PutIn(changed, read);
    if (changed.FirstCompleteSet() == changed.keySets.end()) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    card.Commit(std::move(changed));
    return {read.confirmation};
}

}  // namespace Card
