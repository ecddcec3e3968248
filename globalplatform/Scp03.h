// SPDX-License-Identifier: Apache-2.0
// Secure Channel Protocol 03, as both ends of a channel need it: GlobalPlatform Card, Amendment D
// (version 1.1.1). Cryptograms, codes and challenges have 8 bytes (S8 mode).
#pragma once

#include <cstdint>
#include <optional>

#include "globalplatform/CommandApdu.h"

namespace GlobalPlatform {

constexpr std::size_t ChallengeLength = 8;
constexpr std::size_t CryptogramLength = 8;
constexpr std::size_t CommandMacLength = 8;
constexpr std::size_t ResponseMacLength = 8;
constexpr std::size_t SequenceCounterLength = 3;

constexpr std::uint8_t SecureMessagingClassBit = 0x04;

// As the answer to INITIALIZE UPDATE and the card data name it; 5.1 and 7.1.1.6.
constexpr std::uint8_t SecureChannelProtocol = 0x03;

// The option "i", 5.1: what the card is able to do beside commands with codes.
namespace ChannelOption {
constexpr std::uint8_t PseudoRandomChallenge = 0x10;
constexpr std::uint8_t ResponseMac = 0x20;
constexpr std::uint8_t ResponseEncryption = 0x40;
}  // namespace ChannelOption

// 00, 10, 20, 30, 60 or 70: what encrypts responses gives them codes too.
[[nodiscard]] bool IsChannelOption(std::uint8_t option);

// P1 of EXTERNAL AUTHENTICATE, 7.1.2; an R-MAC session may also reach what lies between.
enum class SecurityLevel : std::uint8_t {
    None = 0x00,
    CommandMac = 0x01,
    CommandMacAndDecryption = 0x03,
    CommandAndResponseMac = 0x11,
    DecryptionAndResponseMac = 0x13,
    BothEncrypted = 0x33,
};

// Whether EXTERNAL AUTHENTICATE may ask a card of this option for it.
[[nodiscard]] bool IsSecurityLevel(std::uint8_t level, std::uint8_t option);

[[nodiscard]] bool ProtectsResponses(SecurityLevel level);

// Key-ENC, Key-MAC and Key-DEK, AES keys of the same length; 4.1.2 and 6.1.
struct StaticKeys {
    Bytes encryption;
    Bytes mac;
    Bytes dataEncryption;
};

// Whether they are such keys.
[[nodiscard]] bool AreChannelKeys(const StaticKeys& keys);

// S-ENC, S-MAC and S-RMAC; 6.2.1.
struct SessionKeys {
    Bytes encryption;
    Bytes commandMac;
    Bytes responseMac{};
};

// NIST SP 800-108 in counter mode with AES-CMAC and a counter of 8 bits between the two parts of the fixed
// input. `bits` is a multiple of 8. Throws std::length_error beyond 255 blocks.
[[nodiscard]] Bytes DeriveInCounterMode(
    const Bytes& key, const Bytes& before, const Bytes& after, std::size_t bits);

// The data derivation of 4.1.5.
[[nodiscard]] Bytes DeriveData(
    const Bytes& key, std::uint8_t derivationConstant, const Bytes& context, std::size_t bits);

// The data that answers INITIALIZE UPDATE, 7.1.1.6.
struct ChannelAnswer {
    Bytes diversification;
    std::uint8_t keyVersion = 0;
    std::uint8_t protocol = 0;
    std::uint8_t option = 0;  // "i"
    Bytes challenge;
    Bytes cryptogram;  // empty where the data ends before, as other protocols' does; the challenge too then
    Bytes rest;        // a sequence counter, or nothing
};

// Nothing when the data does not reach up to the protocol's option.
[[nodiscard]] std::optional<ChannelAnswer> ReadChannelAnswer(const Bytes& data);

[[nodiscard]] SessionKeys DeriveSessionKeys(
    const StaticKeys& keys, const Bytes& hostChallenge, const Bytes& cardChallenge);

// The pseudo-random challenge of 6.2.2.1, of the application that opens the channel.
[[nodiscard]] Bytes DeriveCardChallenge(
    const Bytes& encryptionKey, const Bytes& sequenceCounter, const Bytes& applicationAid);

// 6.2.2.2 and 6.2.2.3.
[[nodiscard]] Bytes CardCryptogram(
    const SessionKeys& keys, const Bytes& hostChallenge, const Bytes& cardChallenge);
[[nodiscard]] Bytes HostCryptogram(
    const SessionKeys& keys, const Bytes& hostChallenge, const Bytes& cardChallenge);

// One end of an open channel: the chained code and the encryption counter. The first command to pass is
// EXTERNAL AUTHENTICATE, which is neither encrypted nor counted.
class SecureMessaging {
public:
    explicit SecureMessaging(SessionKeys sessionKeys) : keys(std::move(sessionKeys)), chain(AesBlock()) {}

    // The command under the level: encrypted, its class marked, the code behind its data; 6.2.4 and 6.2.6.
    // Throws std::length_error when there is no room left for it.
    [[nodiscard]] CommandApdu Wrap(const CommandApdu& plain, SecurityLevel level);

    // The command as it was before; nothing when its code or its padding is wrong. The channel must not be
    // used any more then. Level None gives the command as it is.
    [[nodiscard]] std::optional<CommandApdu> Unwrap(const CommandApdu& wrapped, SecurityLevel level);

    // The data of a response that is success or a warning, behind the command that passed last: encrypted and
    // with its code, as the level has it; 6.2.5 and 6.2.7. The status word goes into the code.
    [[nodiscard]] Bytes WrapResponse(const Bytes& data, std::uint16_t status, SecurityLevel level) const;

    // The data as it was before; nothing when its code or its padding is wrong.
    [[nodiscard]] std::optional<Bytes> UnwrapResponse(
        const Bytes& wrapped, std::uint16_t status, SecurityLevel level) const;

private:
    static Bytes AesBlock() { return Bytes(16, 0); }

    Bytes ChainedMac(const CommandApdu& command, std::size_t macLength) const;
    Bytes NextInitialVector();
    Bytes ResponseInitialVector() const;
    Bytes ResponseMac(const Bytes& data, std::uint16_t status) const;

    SessionKeys keys;
    Bytes chain;  // the whole last code
    std::uint64_t counter = 0;
    bool authenticated = false;  // EXTERNAL AUTHENTICATE has passed
};

}  // namespace GlobalPlatform
