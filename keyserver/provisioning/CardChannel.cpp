// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/CardChannel.h"

#include <stdexcept>

#include <openssl/rand.h>

#include "globalplatform/Aes.h"
#include "keyserver/provisioning/CardCommands.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

constexpr std::uint8_t LongCryptograms = 0x01;  // of the parameter "i": S16 mode

Bytes RandomChallenge() {
    Bytes challenge(ChallengeLength);
    if (RAND_bytes(challenge.data(), static_cast<int>(challenge.size())) != 1) {
        throw std::runtime_error("the system has no random numbers");
    }
    return challenge;
}

[[noreturn]] void RefuseLength(const Bytes& data) {
    throw CardProblem(
        ResultCode::WrongCardData, "the response to INITIALIZE UPDATE has " + std::to_string(data.size()) +
                                       " bytes; SCP03 has 29 or 32");
}

ChannelAnswer RequireAnswer(const Bytes& data) {
    std::optional<ChannelAnswer> card = ReadChannelAnswer(data);
    if (!card) {
        RefuseLength(data);
    }
    if (card->protocol != SecureChannelProtocol || (card->option & LongCryptograms) != 0) {
        throw CardProblem(
            ResultCode::UnknownAlgorithm, "the card speaks SCP" + HexText({card->protocol}) + " with i=" +
                                              HexText({card->option}) + ", not SCP03 in S8 mode");
    }
    if (card->cryptogram.empty() || (!card->rest.empty() && card->rest.size() != SequenceCounterLength)) {
        RefuseLength(data);
    }
    return std::move(*card);
}

}  // namespace

CardResponse ResponseOpener::Open(CardResponse response) const {
    const std::string& status = response.statusWord;
    const std::string kind = status.substr(0, 2);
    if (!messaging || (status != "9000" && kind != "62" && kind != "63")) {
        return response;
    }
    std::optional<Bytes> data = messaging->UnwrapResponse(
        response.data, static_cast<std::uint16_t>(std::stoul(status, nullptr, 16)), level);
    if (!data) {
        throw CardProblem(
            ResultCode::WrongCryptogram,
            "a response with " + status + " does not have the code of the channel");
    }
    response.data = std::move(*data);
    return response;
}

CardChannel::CardChannel(const ChannelPlan& channelPlan, const KeyRing& keyRing)
    : plan(channelPlan), ring(keyRing), hostChallenge(plan.hostChallenge.value_or(RandomChallenge())) {}

std::vector<PlainCommand> CardChannel::OpeningCommands() const {
    return {SelectCommand(plan.domain), InitializeUpdateCommand(plan.keyVersion, hostChallenge)};
}

PlainCommand CardChannel::Authenticate(const std::vector<CardResponse>& responses) {
    const ChannelAnswer card = RequireAnswer(responses.at(1).data);
    if (!IsSecurityLevel(static_cast<std::uint8_t>(plan.level), card.option)) {
        throw CardProblem(
            ResultCode::UnknownAlgorithm, "the card's SCP03 with i=" + HexText({card.option}) +
                                              " has no security level " +
                                              HexText({static_cast<std::uint8_t>(plan.level)}));
    }
    const auto found = ring.find(card.keyVersion);
    if (found == ring.end()) {
        throw CardProblem(
            ResultCode::UnknownKeys,
            "the card uses keys of version " + HexText({card.keyVersion}) + ", which the catalogue has not");
    }
    keys = {card.keyVersion, found->second};
    const SessionKeys session = DeriveSessionKeys(keys.keys, hostChallenge, card.challenge);
    if (!SameSecret(CardCryptogram(session, hostChallenge, card.challenge), card.cryptogram)) {
        throw CardProblem(
            ResultCode::WrongCryptogram,
            "the card's cryptogram is not that of the keys of version " + HexText({card.keyVersion}));
    }
    PlainCommand command =
        ExternalAuthenticateCommand(plan.level, HostCryptogram(session, hostChallenge, card.challenge));
    messaging.emplace(session);
    command.apdu = messaging->Wrap(command.apdu, plan.level);
    return command;
}

}  // namespace KeyServer
