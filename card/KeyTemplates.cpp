// SPDX-License-Identifier: Apache-2.0
#include "card/KeyTemplates.h"

#include <algorithm>

#include "card/Fields.h"
#include "globalplatform/KeyType.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

constexpr std::uint32_t SymmetricKeyGroup = 0x8113;

struct Value {
    std::uint8_t type;
    std::uint32_t group;
};

// Of a private key of RSA, the modulus comes as that of a public one.
constexpr Value AsymmetricValues[] = {
    {KeyType::RsaModulus, 0x0010},
    {KeyType::RsaPublicExponent, 0x0011},
    {KeyType::RsaPrivateExponent, 0x8112},
    {KeyType::RsaInverse, 0x8121},
    {KeyType::RsaSecondExponent, 0x8122},
    {KeyType::RsaFirstExponent, 0x8123},
    {KeyType::RsaSecondPrime, 0x8124},
    {KeyType::RsaFirstPrime, 0x8125},
    {KeyType::EccField, 0x0030},
    {KeyType::EccA, 0x0031},
    {KeyType::EccB, 0x0032},
    {KeyType::EccGenerator, 0x0033},
    {KeyType::EccOrder, 0x0034},
    {KeyType::EccCofactor, 0x0035},
    {KeyType::EccPublic, 0x0036},
    {KeyType::EccPrivate, 0x8137},
};

// The only value of `tag` among the objects, of a length from least to most.
Bytes ValueOf(const std::vector<TlvObject>& objects, std::uint32_t tag, std::size_t least, std::size_t most) {
    const Bytes* value = FindObject(objects, tag);
    if (value == nullptr || value->size() < least || value->size() > most) {
        Refuse(StatusWord::WrongData);
    }
    return *value;
}

bool IsCurve(std::uint8_t type) {
    return type == KeyType::EccReference || (type >= KeyType::EccField && type <= KeyType::EccCofactor);
}

bool IsKnown(std::uint8_t type) {
    return type != KeyType::RsaPrivateModulus && IsSecretType(type).has_value();
}

// Parameters of a curve tell no more than what they are; they belong to the key that they stand behind.
KeyTemplate ReadKeyTemplate(const Bytes& value, const std::vector<KeyTemplate>& before) {
    const std::vector<TlvObject> objects = Objects(value);
    const std::uint8_t type = ValueOf(objects, Tag::KeyTypeCode, 1, 1).front();
    const bool belongs =
        IsCurve(type) && !before.empty() && FindObject(objects, Tag::KeyVersionOfTemplate) == nullptr;
    KeyTemplate read = belongs ? before.back() : KeyTemplate();
    read.type = type;
    if (type == KeyType::EccReference) {
        read.reference = ValueOf(objects, Tag::CurveReference, 1, 2);
    } else {
        read.length = FromBigEndian(ValueOf(objects, Tag::KeyLength, 1, 2));
    }
    if (belongs) {
        return read;
    }
    read.usage = ValueOf(objects, Tag::KeyUsage, 1, 2);
    if (FindObject(objects, Tag::KeyAccess) != nullptr) {
        read.access = ValueOf(objects, Tag::KeyAccess, 1, 1);
    }
    read.identifier = ValueOf(objects, Tag::KeyIdentifierOfTemplate, 1, 1).front();
    read.version = ValueOf(objects, Tag::KeyVersionOfTemplate, 1, 1).front();
    if (FindObject(objects, Tag::KeyCheckValue) != nullptr) {
        read.checkValue = ValueOf(objects, Tag::KeyCheckValue, 1, 3);
    }
    return read;
}

bool SameKey(const KeyTemplate& left, const KeyTemplate& right) {
    return left.version == right.version && left.identifier == right.identifier;
}

// The same use, and a check value of what is a key by itself alone.
bool Agree(const KeyTemplate& left, const KeyTemplate& right) {
    return left.usage == right.usage && left.access == right.access && left.checkValue.empty() &&
           right.checkValue.empty();
}

KeyComponent ComponentOf(const KeyTemplate& announced, const Bytes& value, const Bytes& dataEncryptionKey) {
    if (announced.type == KeyType::EccReference) {
        return {announced.type, announced.reference};
    }
    if (*IsSecretType(announced.type)) {
        return {announced.type, DecryptedSecret(value, announced.length, dataEncryptionKey)};
    }
    if (value.size() != announced.length) {
        Refuse(StatusWord::WrongData);
    }
    return {announced.type, value};
}

// The parts of a key of RSA by the Chinese remainder theorem come in an order of their own.
void Arrange(KeyComponents& components) {
    if (components.front().type == KeyType::RsaInverse) {
        std::sort(
            components.begin(), components.end(),
            [](const KeyComponent& left, const KeyComponent& right) { return left.type < right.type; });
    }
}

}  // namespace

std::vector<KeyTemplate> ReadKeyTemplates(const Bytes& value) {
    std::vector<KeyTemplate> templates;
    for (const TlvObject& object : Objects(value)) {
        if (object.tag != Tag::KeyTemplate) {
            Refuse(StatusWord::WrongData);
        }
        KeyTemplate read = ReadKeyTemplate(object.value, templates);
        const auto earlier = std::find_if(
            templates.begin(), templates.end(), [&](const KeyTemplate& each) { return SameKey(each, read); });
        const bool apart = earlier != templates.end() && !SameKey(templates.back(), read);
        const bool numbered =
            read.identifier <= HighestKeyIdentifier && read.version >= 1 && read.version <= HighestKeyVersion;
        if (!IsKnown(read.type) || !numbered || apart ||
            (earlier != templates.end() && !Agree(*earlier, read))) {
            Refuse(StatusWord::WrongData);
        }
        templates.push_back(std::move(read));
    }
    if (templates.empty()) {
        Refuse(StatusWord::WrongData);
    }
    return templates;
}

std::optional<std::uint32_t> ValueGroup(const KeyTemplate& announced) {
    if (announced.type == KeyType::EccReference) {
        return std::nullopt;
    }
    const auto* const found = std::find_if(
        std::begin(AsymmetricValues), std::end(AsymmetricValues),
        [&](const Value& each) { return each.type == announced.type; });
    return found == std::end(AsymmetricValues) ? SymmetricKeyGroup : found->group;
}

std::map<std::uint8_t, Keys> KeysOf(
    const std::vector<KeyTemplate>& announced, const std::vector<Bytes>& values,
    const Bytes& dataEncryptionKey) {
    std::map<std::uint8_t, Keys> byVersion;
    for (std::size_t at = 0; at < announced.size(); ++at) {
        Key& key = byVersion[announced[at].version][announced[at].identifier];
        key.components.push_back(ComponentOf(announced[at], values.at(at), dataEncryptionKey));
        key.usage = announced[at].usage;
        key.access = announced[at].access;
        if (at + 1 == announced.size() || !SameKey(announced[at], announced[at + 1])) {
            Arrange(key.components);
            RequireKey(key, announced[at].checkValue);
        }
    }
    return byVersion;
}

}  // namespace Card
