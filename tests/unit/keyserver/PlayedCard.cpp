// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/keyserver/PlayedCard.h"

#include <gtest/gtest.h>

#include "keyserver/service/ApduText.h"
#include "tests/support/keyserver/Samples.h"

using namespace GlobalPlatform;

namespace {

constexpr std::uint8_t InitializeUpdate = 0x50;
constexpr std::uint8_t ExternalAuthenticate = 0x82;
constexpr std::uint8_t Select = 0xA4;

}  // namespace

KeyServer::Turn PlayedCard::Play(KeyServer::Dialogue& dialogue) {
    constexpr int MostSets = 2000;
    KeyServer::Turn turn = dialogue.Begin();
    for (int i = 0; i < MostSets && !turn.Ends(); ++i) {
        turn = dialogue.Continue(KeyServer::ParseResponseSet(Relay(turn.commandSet)));
        notes.insert(notes.end(), turn.notes.begin(), turn.notes.end());
        verdicts.insert(verdicts.end(), turn.verdicts.begin(), turn.verdicts.end());
    }
    return turn;
}

std::string PlayedCard::Relay(const std::string& commandSet) {
    std::string responses;
    std::size_t count = 0;
    for (const std::string& command : KeyServer::ParseResponseSet(commandSet).responses) {
        const auto apdu = ParseCommand(FromHexText(command).value());
        EXPECT_TRUE(apdu) << command;
        responses += "/01" + (apdu ? Respond(*apdu) : "6700");
        ++count;
    }
    setSizes.push_back(count);
    return responses;
}

std::string PlayedCard::Respond(const CommandApdu& apdu) {
    if (apdu.ins == InitializeUpdate) {
        return Identify(apdu);
    }
    if (apdu.ins == ExternalAuthenticate) {
        return Authenticate(apdu);
    }
    if (apdu.ins == Select) {
        channel.reset();
    }
    std::optional<CommandApdu> plain = apdu;
    if (channel) {
        plain = channel->Unwrap(apdu, *level);
    }
    if (!plain) {
        ADD_FAILURE() << "a command does not fit the channel";
        return "6982";
    }
    const bool opens = apdu.ins == Select && apdu.data.empty();
    if (!opens) {
        commands.push_back(*plain);
    }
    return opens ? "9000" : answer(*plain);
}

std::string PlayedCard::Identify(const CommandApdu& apdu) {
    wantedVersions.push_back(apdu.p1);
    if (identification) {
        return *identification;
    }
    const Bytes cardChallenge(8, 0xC5);
    hostChallenge = apdu.data;
    session = DeriveSessionKeys(keys, hostChallenge, cardChallenge);
    return std::string(20, '0') + HexText({keyVersion, 0x03, 0x10}) + HexText(cardChallenge) +
           HexText(CardCryptogram(session, hostChallenge, cardChallenge)) + counter + "9000";
}

std::string PlayedCard::Authenticate(const CommandApdu& apdu) {
    channel.emplace(session);
    level = static_cast<SecurityLevel>(apdu.p1);
    const auto plain = channel->Unwrap(apdu, SecurityLevel::CommandMac);
    if (!plain || plain->data != HostCryptogram(session, hostChallenge, Bytes(8, 0xC5))) {
        channel.reset();
        return "6300";
    }
    ++channels;
    return authenticationStatus;
}

const KeyServer::Message& AnyOpening() {
    static const KeyServer::Message opening(Opening("A"));
    return opening;
}
