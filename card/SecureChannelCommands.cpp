// SPDX-License-Identifier: Apache-2.0
// Opening of a secure channel: GlobalPlatform Card, Amendment D (version 1.1.1), 7.1.
#include <openssl/rand.h>

#include <stdexcept>

#include "card/Commands.h"
#include "card/Hierarchy.h"
#include "card/Identification.h"
#include "globalplatform/Aes.h"

namespace Card {

namespace {

KeySets::const_iterator FindKeySet(const Application& owner, std::uint8_t version) {
    return version == 0 ? owner.FirstCompleteSet() : owner.keySets.find(version);
}

// A channel that repeats its counter would repeat its keys, so the new counter lasts before anything is said.
std::uint32_t NextSequenceCounter(Runtime& card, const Association& keyOwner, std::uint8_t version) {
    CardContent changed = card.Content();
    std::uint32_t& counter = changed.Associated(keyOwner)->keySets.at(version).sequenceCounter;
    if (counter == GreatestSequenceCounter) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    const std::uint32_t next = ++counter;
    card.Commit(std::move(changed));
    return next;
}

// Each domain counts those with its own keys.
void CountFailures(Runtime& card, const Association& keyOwner, std::uint32_t count) {
    const Application* owner = card.Content().Associated(keyOwner);
    if (owner != nullptr && owner->failedAuthentications != count) {
        CardContent changed = card.Content();
        changed.Associated(keyOwner)->failedAuthentications = count;
        card.Commit(std::move(changed));
    }
}

[[noreturn]] void FailAuthentication(Runtime& card, const Association& keyOwner, StatusWord status) {
    const Application* owner = card.Content().Associated(keyOwner);
    CountFailures(card, keyOwner, owner == nullptr ? 0 : owner->failedAuthentications + 1);
    Refuse(status);
}

// What answers INITIALIZE UPDATE behind the diversification data; 7.1.1.6.
struct CardChallenge {
    Bytes challenge;
    Bytes counter;  // behind the cryptogram; none with a random challenge
};

// Without a sequence counter, what the system thinks of.
Bytes RandomChallenge() {
    Bytes challenge(ChallengeLength);
    if (RAND_bytes(challenge.data(), static_cast<int>(challenge.size())) != 1) {
        throw std::runtime_error("the system has no random numbers");
    }
    return challenge;
}

CardChallenge NextChallenge(
    Runtime& card, const Association& keyOwner, std::uint8_t version, const StaticKeys& keys) {
    if ((card.options.channelOption & ChannelOption::PseudoRandomChallenge) == 0) {
        return {RandomChallenge(), {}};
    }
    const Bytes counter = BigEndian(NextSequenceCounter(card, keyOwner, version), SequenceCounterLength);
    return {DeriveCardChallenge(keys.encryption, counter, card.session.selected), counter};
}

}  // namespace

const Application& KeyOwner(const CardContent& content, const Application& domain) {
    const Application* owner = &domain;
    const Application* above = owner;
    while (above != nullptr && !owner->OpensChannels()) {
        above = Above(content, *owner);
        owner = above == nullptr ? owner : above;
    }
    return *owner;
}

// The attempt alone terminates the channel that was open; 5.6.
Answer InitializeUpdate(Runtime& card, const CommandApdu& command) {
    card.EndChannel();
    if (command.p2 != 0) {
        Refuse(StatusWord::WrongParameters);
    }
    if (command.data.size() != ChallengeLength) {
        Refuse(StatusWord::WrongLength);
    }
    const CardContent& content = card.Content();
    const Application& owner = KeyOwner(content, *card.SelectedDomain());
    const auto found = FindKeySet(owner, command.p1);
    if (found == owner.keySets.end() || !found->second.Complete()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (owner.failedAuthentications >= card.options.authenticationAttempts) {
        Refuse(StatusWord::AuthenticationBlocked);
    }
    const std::uint8_t version = found->first;
    const StaticKeys keys = found->second.Static();
    const Association keyOwner = content.AssociationWith(owner);
    const CardChallenge next = NextChallenge(card, keyOwner, version, keys);
    const Bytes& challenge = next.challenge;
    const SessionKeys sessionKeys = DeriveSessionKeys(keys, command.data, challenge);
    Bytes response = KeyDiversificationData(card.options);
    Append(response, {version, SecureChannelProtocol, card.options.channelOption});
    Append(response, challenge);
    Append(response, CardCryptogram(sessionKeys, command.data, challenge));
    Append(response, next.counter);
    card.session.challenge = Challenge{
        keyOwner, HostCryptogram(sessionKeys, command.data, challenge), SecureMessaging(sessionKeys),
        keys.dataEncryption};
    return {response};
}

// Gets its command with its code. Only the command right behind a challenge answers it; a channel that is
// open goes on.
Answer ExternalAuthenticate(Runtime& card, const CommandApdu& command) {
    if (!card.session.challenge) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Challenge challenge = std::move(*card.session.challenge);
    card.EndChannel();
    if (!IsSecurityLevel(command.p1, card.options.channelOption) || command.p2 != 0) {
        Refuse(StatusWord::WrongParameters);
    }
    if (command.data.size() != CryptogramLength + CommandMacLength) {
        Refuse(StatusWord::WrongLength);
    }
    if (!SameSecret(First(command.data, CryptogramLength), challenge.hostCryptogram)) {
        FailAuthentication(card, challenge.keyOwner, StatusWord::AuthenticationFailed);
    }
    if (!challenge.messaging.Unwrap(command, SecurityLevel::CommandMac)) {
        FailAuthentication(card, challenge.keyOwner, StatusWord::SecurityNotSatisfied);
    }
    CountFailures(card, challenge.keyOwner, 0);
    const SecurityLevel level{command.p1};
    card.session.channel =
        Channel{std::move(challenge.messaging), level, level, std::move(challenge.dataEncryptionKey)};
    return {};
}

}  // namespace Card
