// SPDX-License-Identifier: Apache-2.0
// PUT KEY: GlobalPlatform Card 2.3.1, 11.8, and Amendment D (version 1.1.1), 7.2.
#include <algorithm>

#include "card/Commands.h"
#include "card/KeyChange.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/KeyType.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::uint8_t GreatestNumber = 0x7F;

struct NewKeys {
    std::uint8_t version = 0;
    Keys keys;
    Bytes confirmation;  // the version and the check values
};

// A field of the command, or wrong data.
Bytes Taken(std::optional<Bytes> field) {
    if (!field) {
        Refuse(StatusWord::WrongData);
    }
    return std::move(*field);
}

// A secret in either form: the whole component encrypted, or the secret's length in front of it; the
// component's own length tells them apart, 11.8.2.3.2.
Bytes SecretIn(const Bytes& component, const Bytes& dataEncryptionKey) {
    if (component.size() % AesBlockLength == 0) {
        return DecryptedSecret(component, component.size(), dataEncryptionKey);
    }
    LengthValueReader reader(component);
    const std::optional<std::size_t> length = reader.LongLength();
    if (!length) {
        Refuse(StatusWord::WrongData);
    }
    return DecryptedSecret(Last(component, reader.Left()), *length, dataEncryptionKey);
}

KeyComponent ReadComponent(
    LengthValueReader& reader, std::uint8_t type, bool extended, const Bytes& dataEncryptionKey) {
    if (extended) {
        type = Taken(reader.Take(1)).front();
    }
    const std::optional<bool> secret = IsSecretType(type);
    if (!secret) {
        Refuse(StatusWord::WrongData);
    }
    Bytes value = Taken(reader.NextLong());
    if (*secret) {
        value = SecretIn(value, dataEncryptionKey);
    }
    return {type, std::move(value)};
}

// Types and components, check value, and in the extended form what the key is for. The length of the check
// value is told from a type by its being smaller.
Key ReadKey(LengthValueReader& reader, const Bytes& dataEncryptionKey, Bytes& confirmation) {
    Key key;
    std::uint8_t next = Taken(reader.Take(1)).front();
    const bool extended = next == KeyType::Extended;
    for (; next >= KeyType::LowestStandard; next = Taken(reader.Take(1)).front()) {
        if ((next == KeyType::Extended) != extended) {
            Refuse(StatusWord::WrongData);
        }
        key.components.push_back(ReadComponent(reader, next, extended, dataEncryptionKey));
    }
    const Bytes checkValue = Taken(reader.Take(next));
    if (extended) {
        key.usage = Taken(reader.Next());
        key.access = Taken(reader.Next());
    }
    RequireKey(key, checkValue);
    Append(confirmation, checkValue);
    return key;
}

// New version, then the keys. Several have identifiers that follow each other.
NewKeys ReadKeys(const CommandApdu& command, const Bytes& dataEncryptionKey) {
    LengthValueReader reader(command.data);
    const std::uint8_t version = Taken(reader.Take(1)).front();
    if (version == 0 || version > GreatestNumber || reader.AtEnd()) {
        Refuse(StatusWord::WrongData);
    }
    NewKeys read{version, {}, {version}};
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

// Takes the keys that are replaced out of their version; 11.8.2.1. Their kind stays, 11.8.2.3.3.
void TakeReplaced(KeySets& sets, std::uint8_t version, const Keys& keys) {
    const auto set = sets.find(version);
    if (set == sets.end()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    for (const auto& [identifier, key] : keys) {
        const auto replaced = set->second.keys.find(identifier);
        if (replaced == set->second.keys.end()) {
            Refuse(StatusWord::ReferencedDataNotFound);
        }
        if (!SameKind(replaced->second, key)) {
            Refuse(StatusWord::WrongData);
        }
        set->second.keys.erase(replaced);
    }
    if (set->second.keys.empty()) {
        sets.erase(set);
    }
}

// A set that goes on keeps its sequence counter, so that none of its challenges comes again.
void PutIn(KeySets& sets, const NewKeys& read) {
    KeySet& set = sets[read.version];
    for (const auto& [identifier, key] : read.keys) {
        if (!set.keys.emplace(identifier, key).second) {
            Refuse(StatusWord::WrongData);
        }
    }
}

}  // namespace

Answer PutKey(Runtime& card, const CommandApdu& command) {
    const NewKeys read = ReadKeys(command, card.session.channel->dataEncryptionKey);
    CardContent changed = card.Content();
    Application& domain = *changed.FindSelectable(card.session.selected);
    if (command.p1 != 0) {
        TakeReplaced(domain.keySets, command.p1, read.keys);
    }
    PutIn(domain.keySets, read);
    SettleKeys(domain, *card.SelectedDomain());
    card.Commit(std::move(changed));
    return {read.confirmation};
}

}  // namespace Card
