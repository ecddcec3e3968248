// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Scp03.h"

#include <stdexcept>
#include <utility>

#include "globalplatform/Aes.h"
#include "globalplatform/Tlv.h"

namespace GlobalPlatform {

namespace {

// 4.1.5, table 4-1.
constexpr std::uint8_t CardCryptogramConstant = 0x00;
constexpr std::uint8_t HostCryptogramConstant = 0x01;
constexpr std::uint8_t CardChallengeConstant = 0x02;
constexpr std::uint8_t EncryptionKeyConstant = 0x04;
constexpr std::uint8_t CommandMacKeyConstant = 0x06;
constexpr std::uint8_t ResponseMacKeyConstant = 0x07;

// The bits of a security level.
constexpr std::uint8_t DecryptionBit = 0x02;
constexpr std::uint8_t ResponseMacBit = 0x10;
constexpr std::uint8_t ResponseEncryptionBit = 0x20;

constexpr std::size_t LabelZeros = 11;
constexpr std::uint8_t ResponseCounterMark = 0x80;
constexpr std::size_t MostDerivedBits = std::size_t{255} * 8 * AesBlockLength;

Bytes Joined(Bytes first, const Bytes& second) {
    Append(first, second);
    return first;
}

bool Has(SecurityLevel level, std::uint8_t bit) {
    return (static_cast<std::uint8_t>(level) & bit) != 0;
}

bool Encrypts(SecurityLevel level) {
    return Has(level, DecryptionBit);
}

bool EncryptsResponses(SecurityLevel level) {
    return Has(level, ResponseEncryptionBit);
}

// Nothing when the bytes are no padded blocks.
std::optional<Bytes> Decrypted(const Bytes& key, const Bytes& initialVector, const Bytes& encrypted) {
    return encrypted.size() % AesBlockLength == 0 ? Unpad80(AesDecryptCbc(key, initialVector, encrypted))
                                                  : std::nullopt;
}

}  // namespace

bool IsChannelOption(std::uint8_t option) {
    const std::uint8_t responses = option & ~ChannelOption::PseudoRandomChallenge;
    return responses == 0 || responses == ChannelOption::ResponseMac ||
           responses == (ChannelOption::ResponseMac | ChannelOption::ResponseEncryption);
}

bool IsSecurityLevel(std::uint8_t level, std::uint8_t option) {
    switch (SecurityLevel{level}) {
        case SecurityLevel::None:
        case SecurityLevel::CommandMac:
        case SecurityLevel::CommandMacAndDecryption:
            return true;
        case SecurityLevel::CommandAndResponseMac:
        case SecurityLevel::DecryptionAndResponseMac:
            return (option & ChannelOption::ResponseMac) != 0;
        case SecurityLevel::BothEncrypted:
            return (option & ChannelOption::ResponseEncryption) != 0;
        default:
            return false;
    }
}

bool AreChannelKeys(const StaticKeys& keys) {
    const std::size_t length = keys.mac.size();
    return IsAesKeyLength(length) && keys.encryption.size() == length && keys.dataEncryption.size() == length;
}

bool ProtectsResponses(SecurityLevel level) {
    return Has(level, ResponseMacBit);
}

Bytes DeriveInCounterMode(const Bytes& key, const Bytes& before, const Bytes& after, std::size_t bits) {
    if (bits > MostDerivedBits) {
        throw std::length_error("a counter of 8 bits does not reach beyond 255 blocks");
    }
    Bytes derived;
    for (std::uint8_t counter = 1; derived.size() < bits / 8; ++counter) {
        Bytes input = before;
        input.push_back(counter);
        Append(input, after);
        Append(derived, AesCmac(key, input));
    }
    derived.resize(bits / 8);
    return derived;
}

Bytes DeriveData(const Bytes& key, std::uint8_t derivationConstant, const Bytes& context, std::size_t bits) {
    Bytes before(LabelZeros, 0);
    before.push_back(derivationConstant);
    before.push_back(0);
    Append(before, BigEndian(bits, 2));
    return DeriveInCounterMode(key, before, context, bits);
}

std::optional<ChannelAnswer> ReadChannelAnswer(const Bytes& data) {
    constexpr std::size_t DiversificationLength = 10;
    constexpr std::size_t InformationLength = 3;
    LengthValueReader reader(data);
    std::optional<Bytes> diversification = reader.Take(DiversificationLength);
    const std::optional<Bytes> information = reader.Take(InformationLength);
    if (!diversification || !information) {
        return std::nullopt;
    }
    ChannelAnswer answer;
    answer.diversification = std::move(*diversification);
    answer.keyVersion = information->at(0);
    answer.protocol = information->at(1);
    answer.option = information->at(2);
    if (reader.Left() >= ChallengeLength + CryptogramLength) {
        answer.challenge = *reader.Take(ChallengeLength);
        answer.cryptogram = *reader.Take(CryptogramLength);
        answer.rest = *reader.Take(reader.Left());
    }
    return answer;
}

SessionKeys DeriveSessionKeys(
    const StaticKeys& keys, const Bytes& hostChallenge, const Bytes& cardChallenge) {
    const Bytes context = Joined(hostChallenge, cardChallenge);
    return {
        DeriveData(keys.encryption, EncryptionKeyConstant, context, 8 * keys.encryption.size()),
        DeriveData(keys.mac, CommandMacKeyConstant, context, 8 * keys.mac.size()),
        DeriveData(keys.mac, ResponseMacKeyConstant, context, 8 * keys.mac.size())};
}

Bytes DeriveCardChallenge(
    const Bytes& encryptionKey, const Bytes& sequenceCounter, const Bytes& applicationAid) {
    return DeriveData(
        encryptionKey, CardChallengeConstant, Joined(sequenceCounter, applicationAid), 8 * ChallengeLength);
}

Bytes CardCryptogram(const SessionKeys& keys, const Bytes& hostChallenge, const Bytes& cardChallenge) {
    return DeriveData(
        keys.commandMac, CardCryptogramConstant, Joined(hostChallenge, cardChallenge), 8 * CryptogramLength);
}

Bytes HostCryptogram(const SessionKeys& keys, const Bytes& hostChallenge, const Bytes& cardChallenge) {
    return DeriveData(
        keys.commandMac, HostCryptogramConstant, Joined(hostChallenge, cardChallenge), 8 * CryptogramLength);
}

// The code covers the length that the command has on its way, with the code itself. Logical channels do not
// enter into it.
Bytes SecureMessaging::ChainedMac(const CommandApdu& command, std::size_t macLength) const {
    CommandApdu sized = command;
    sized.data.resize(command.data.size() + macLength);
    const Bytes length = DataLengthField(sized);
    Bytes input = chain;
    Append(input, {static_cast<std::uint8_t>(command.cla & 0xFC), command.ins, command.p1, command.p2});
    Append(input, length);
    Append(input, command.data);
    return AesCmac(keys.commandMac, input);
}

// Counts each command, also those without data.
Bytes SecureMessaging::NextInitialVector() {
    ++counter;
    return AesEncryptBlock(keys.encryption, BigEndian(counter, AesBlockLength));
}

CommandApdu SecureMessaging::Wrap(const CommandApdu& plain, SecurityLevel level) {
    CommandApdu wrapped = plain;
    if (!authenticated) {
        level = SecurityLevel::CommandMac;
    }
    if (level == SecurityLevel::None) {
        return wrapped;
    }
    if (authenticated) {
        const Bytes initialVector = NextInitialVector();
        if (Encrypts(level) && !wrapped.data.empty()) {
            wrapped.data = AesEncryptCbc(keys.encryption, initialVector, Pad80(wrapped.data));
        }
    }
    if (wrapped.data.size() + CommandMacLength > 65535) {
        throw std::length_error("a command APDU has no room for its code");
    }
    wrapped.cla |= SecureMessagingClassBit;
    chain = ChainedMac(wrapped, CommandMacLength);
    Append(wrapped.data, First(chain, CommandMacLength));
    authenticated = true;
    return wrapped;
}

std::optional<CommandApdu> SecureMessaging::Unwrap(const CommandApdu& wrapped, SecurityLevel level) {
    CommandApdu plain = wrapped;
    if (!authenticated) {
        level = SecurityLevel::CommandMac;
    }
    if (level == SecurityLevel::None) {
        return plain;
    }
    if ((wrapped.cla & SecureMessagingClassBit) == 0 || wrapped.data.size() < CommandMacLength) {
        return std::nullopt;
    }
    plain.data.resize(wrapped.data.size() - CommandMacLength);
    const Bytes mac = ChainedMac(plain, CommandMacLength);
    if (!SameSecret(First(mac, CommandMacLength), Last(wrapped.data, CommandMacLength))) {
        return std::nullopt;
    }
    chain = mac;
    plain.cla = static_cast<std::uint8_t>(plain.cla & ~SecureMessagingClassBit);
    if (authenticated) {
        const Bytes initialVector = NextInitialVector();
        if (Encrypts(level) && !plain.data.empty()) {
            std::optional<Bytes> data = Decrypted(keys.encryption, initialVector, plain.data);
            if (!data) {
                return std::nullopt;
            }
            plain.data = std::move(*data);
        }
    }
    authenticated = true;
    return plain;
}

// That of the command, with its first byte told apart.
Bytes SecureMessaging::ResponseInitialVector() const {
    Bytes block = BigEndian(counter, AesBlockLength);
    block.front() = ResponseCounterMark;
    return AesEncryptBlock(keys.encryption, block);
}

// Chained to the command's code, which it leaves as it is.
Bytes SecureMessaging::ResponseMac(const Bytes& data, std::uint16_t status) const {
    Bytes input = chain;
    Append(input, data);
    Append(input, BigEndian(status, 2));
    return First(AesCmac(keys.responseMac, input), ResponseMacLength);
}

Bytes SecureMessaging::WrapResponse(const Bytes& data, std::uint16_t status, SecurityLevel level) const {
    Bytes wrapped = data;
    if (EncryptsResponses(level) && !data.empty()) {
        wrapped = AesEncryptCbc(keys.encryption, ResponseInitialVector(), Pad80(data));
    }
    if (ProtectsResponses(level)) {
        Append(wrapped, ResponseMac(wrapped, status));
    }
    return wrapped;
}

std::optional<Bytes> SecureMessaging::UnwrapResponse(
    const Bytes& wrapped, std::uint16_t status, SecurityLevel level) const {
    if (!ProtectsResponses(level)) {
        return wrapped;
    }
    if (wrapped.size() < ResponseMacLength) {
        return std::nullopt;
    }
    const Bytes data = First(wrapped, wrapped.size() - ResponseMacLength);
    if (!SameSecret(ResponseMac(data, status), Last(wrapped, ResponseMacLength))) {
        return std::nullopt;
    }
    return EncryptsResponses(level) && !data.empty()
               ? Decrypted(keys.encryption, ResponseInitialVector(), data)
               : data;
}

}  // namespace GlobalPlatform
