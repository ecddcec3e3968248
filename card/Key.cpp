// SPDX-License-Identifier: Apache-2.0
#include "card/Key.h"

#include <algorithm>

#include "globalplatform/Aes.h"
#include "globalplatform/Des.h"
#include "globalplatform/KeyType.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace Card {

using namespace GlobalPlatform;

namespace {

using Types = std::vector<std::uint8_t>;

struct KnownType {
    std::uint8_t type;
    bool secret;
};

constexpr KnownType KnownTypes[] = {
    {KeyType::Des, true},
    {KeyType::PreSharedKey, true},
    {KeyType::Aes, true},
    {KeyType::HmacImplicit, true},
    {KeyType::Hmac160, true},
    {KeyType::RsaPublicExponent, false},
    {KeyType::RsaModulus, false},
    {KeyType::RsaPrivateModulus, true},
    {KeyType::RsaPrivateExponent, true},
    {KeyType::RsaFirstPrime, true},
    {KeyType::RsaSecondPrime, true},
    {KeyType::RsaInverse, true},
    {KeyType::RsaFirstExponent, true},
    {KeyType::RsaSecondExponent, true},
    {KeyType::EccPublic, false},
    {KeyType::EccPrivate, true},
    {KeyType::EccField, false},
    {KeyType::EccA, false},
    {KeyType::EccB, false},
    {KeyType::EccGenerator, false},
    {KeyType::EccOrder, false},
    {KeyType::EccCofactor, false},
    {KeyType::EccReference, false},
};

// The parameters of a curve; the cofactor may be left out.
const Types& CurveTypes() {
    static const Types types = {KeyType::EccField,     KeyType::EccA,     KeyType::EccB,
                                KeyType::EccGenerator, KeyType::EccOrder, KeyType::EccCofactor};
    return types;
}

bool IsCurve(const Types& types) {
    const Types& whole = CurveTypes();
    return types == whole || types == Types(whole.begin(), whole.end() - 1);
}

bool IsOneOf(const Types& types, const std::vector<Types>& known) {
    return std::find(known.begin(), known.end(), types) != known.end();
}

// The keys of RSA, and those of ECC on a curve that is named or comes with them; 11.8.2.3.
bool IsAsymmetric(const Types& types) {
    using namespace KeyType;
    const std::vector<Types> whole = {
        {RsaModulus, RsaPublicExponent},
        {RsaModulus, RsaPrivateExponent},
        {RsaPrivateModulus, RsaPrivateExponent},
        {RsaFirstPrime, RsaSecondPrime, RsaInverse, RsaFirstExponent, RsaSecondExponent},
        {EccPublic, EccReference},
        {EccPrivate, EccReference}};
    const bool beginsCurve =
        types.front() == EccReference || types.front() == EccPublic || types.front() == EccPrivate;
    return IsOneOf(types, whole) || (beginsCurve && IsCurve(Types(types.begin() + 1, types.end())));
}

Types TypesOf(const Key& key) {
    Types types;
    for (const KeyComponent& component : key.components) {
        types.push_back(component.type);
    }
    return types;
}

// What stands behind a type: the length of its value, but the reference itself where a curve is named, and a
// point without its first byte.
std::size_t ToldLength(const KeyComponent& component) {
    switch (component.type) {
        case KeyType::EccReference:
            return FromBigEndian(component.value);
        case KeyType::EccPublic:
            return component.value.size() - 1;
        default:
            return component.value.size();
    }
}

// A curve that comes with its key is not told.
bool IsTold(const Key& key, const KeyComponent& component) {
    const bool parameters = key.components.front().type == KeyType::EccReference;
    return parameters || component.type < KeyType::EccField || component.type > KeyType::EccCofactor;
}

}  // namespace

bool Key::IsAes() const {
    return components.size() == 1 && components.front().type == KeyType::Aes;
}

std::size_t Key::Length() const {
    std::size_t length = 0;
    for (const KeyComponent& component : components) {
        length += component.value.size();
    }
    return length;
}

Key AesKey(const Bytes& value) {
    Key key;
    key.components.push_back({KeyType::Aes, value});
    return key;
}

bool SameKind(const Key& left, const Key& right) {
    return std::equal(
        left.components.begin(), left.components.end(), right.components.begin(), right.components.end(),
        [](const KeyComponent& one, const KeyComponent& other) {
            return one.type == other.type && one.value.size() == other.value.size();
        });
}

std::optional<bool> IsSecretType(std::uint8_t type) {
    const auto* const found = std::find_if(
        std::begin(KnownTypes), std::end(KnownTypes),
        [&](const KnownType& each) { return each.type == type; });
    return found == std::end(KnownTypes) ? std::nullopt : std::optional<bool>(found->secret);
}

bool IsKey(const Key& key) {
    if (key.components.empty() || std::any_of(
                                      key.components.begin(), key.components.end(),
                                      [](const KeyComponent& each) { return each.value.empty(); })) {
        return false;
    }
    if (key.components.size() > 1) {
        return IsAsymmetric(TypesOf(key));
    }
    switch (key.components.front().type) {
        case KeyType::Aes:
            return IsAesKeyLength(key.Length());
        case KeyType::Des:
            return IsDesKeyLength(key.Length());
        default:
            return key.components.front().type < KeyType::RsaPublicExponent;
    }
}

std::optional<Bytes> CheckValue(const Key& key) {
    switch (key.components.front().type) {
        case KeyType::Aes:
            return AesKeyCheckValue(key.Value());
        case KeyType::Des:
            return DesKeyCheckValue(key.Value());
        default:
            return std::nullopt;
    }
}

Bytes Information(const Key& key, std::uint8_t identifier, std::uint8_t version) {
    const bool extended = !key.usage.empty() || !key.access.empty();
    Bytes entry = {identifier, version};
    for (const KeyComponent& component : key.components) {
        if (!IsTold(key, component)) {
            continue;
        }
        if (extended) {
            entry.push_back(KeyType::Extended);
        }
        entry.push_back(component.type);
        // One byte tells 256 and more as 00.
        const std::size_t length = ToldLength(component);
        Append(entry, BigEndian(extended || length < 256 ? length : 0, extended ? 2 : 1));
    }
    if (extended) {
        for (const Bytes& field : {key.usage, key.access}) {
            entry.push_back(static_cast<std::uint8_t>(field.size()));
            Append(entry, field);
        }
    }
    return MakeTlv(Tag::KeyInformationData, entry);
}

}  // namespace Card
