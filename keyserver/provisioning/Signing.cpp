// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/Signing.h"

#include "globalplatform/Aes.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Signature.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"
#include "globalplatform/Token.h"
#include "keyserver/provisioning/ValueReader.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

// Of a public key the point, of a private one the number.
KeyComponents ReadEcc(const Place& place) {
    constexpr std::size_t LongestPoint = 133;  // of the curve of 521 bits
    place.OnlyMembers({"curve", "public", "private"});
    const bool isPublic = place.Has("public");
    if (isPublic == place.Has("private")) {
        place.Complain("must have either \"public\" or \"private\"");
    }
    const std::uint8_t type = isPublic ? KeyType::EccPublic : KeyType::EccPrivate;
    const Bytes value = ReadHex(place.At(isPublic ? "public" : "private"), 1, LongestPoint);
    return {{type, value}, {KeyType::EccReference, ReadHex(place.At("curve"), 1, 1)}};
}

KeyComponents ReadKey(const Place& place) {
    place.OnlyMembers({"name", "comment", "aes", "des", "ecc"});
    KeyComponents key;
    if (place.Has("aes")) {
        key = {{KeyType::Aes, ReadHex(place.At("aes"), AesKeyLength, LongestAesKey)}};
    } else if (place.Has("des")) {
        key = {{KeyType::Des, ReadHex(place.At("des"), 16, 16)}};
    } else {
        key = ReadEcc(place.At("ecc"));
    }
    if (!IsSigningKey(key) && !IsVerificationKey(key)) {
        place.Complain("no key can be so");
    }
    return key;
}

}  // namespace

SignatureKeys ReadSignatureKeys(const Place& place) {
    SignatureKeys keys;
    for (const Place& key : place.Items()) {
        const std::string name = key.At("name").NonEmptyText();
        if (!keys.emplace(name, ReadKey(key)).second) {
            key.At("name").Complain("there is a key \"" + name + "\" already");
        }
    }
    return keys;
}

const KeyComponents& ReadNamedKey(const Place& place, const SignatureKeys& keys) {
    const auto found = keys.find(place.Text());
    if (found == keys.end()) {
        place.Complain("\"signatureKeys\" has no key \"" + place.Text() + "\"");
    }
    return found->second;
}

void AddToken(PlainCommand& command, const KeyComponents& key) {
    CommandApdu& apdu = command.apdu;
    const bool deletion = apdu.ins == Instruction::Delete;
    if (!deletion && apdu.ins != Instruction::Install) {
        return;
    }
    if (!deletion) {
        apdu.data.pop_back();
    }
    const Bytes token = Sign(key, TokenText(apdu.p1, apdu.p2, apdu.data));
    if (deletion) {
        Append(apdu.data, MakeTlv(Tag::Token, token));
    } else {
        apdu.data.push_back(static_cast<std::uint8_t>(token.size()));
        Append(apdu.data, token);
    }
}

std::uint16_t CheckReceipt(
    const PlainCommand& command, const CardResponse& response, const KeyComponents& key) {
    const std::optional<Confirmation> confirmation = ParseConfirmation(response.data);
    if (!confirmation) {
        throw CardProblem(ResultCode::WrongCardData, command.title + " was answered without a receipt");
    }
    const Bytes text = ReceiptText(confirmation->data, command.receiptFields);
    if (!VerifySignature(key, text, confirmation->receipt)) {
        throw CardProblem(
            ResultCode::WrongCryptogram, "the receipt of " + command.title + " is not that of the key");
    }
    return confirmation->counter;
}

}  // namespace KeyServer
