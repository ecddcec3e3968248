// SPDX-License-Identifier: Apache-2.0
// The agent and a card behind it, as a dialogue sees them: relays each command set and gives the responses.
// The card opens SCP03 channels with its keys; what it answers to a command inside is up to the test.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "globalplatform/Scp03.h"
#include "keyserver/service/Dialogue.h"

class PlayedCard {
public:
    using Bytes = GlobalPlatform::Bytes;
    using CommandApdu = GlobalPlatform::CommandApdu;

    // Response with its status word to a command that came through the channel, or in the clear without one.
    using Answer = std::function<std::string(const CommandApdu& plain)>;

    explicit PlayedCard(Answer inChannel) : answer(std::move(inChannel)) {}

    // Plays a session from its first move to its end. At most 2000 sets.
    KeyServer::Turn Play(KeyServer::Dialogue& dialogue);

    // The responses to one command set, as the agent sends them.
    std::string Relay(const std::string& commandSet);

    // In place of the true response to INITIALIZE UPDATE, when set.
    std::optional<std::string> identification;
    std::string authenticationStatus = "9000";
    GlobalPlatform::StaticKeys keys{Bytes(16, 0x11), Bytes(16, 0x22), Bytes(16, 0x33)};
    std::uint8_t keyVersion = 1;
    std::string counter = "000001";

    std::vector<CommandApdu> commands;                   // without those that open a channel
    std::vector<std::size_t> setSizes;                   // number of commands of each set
    std::vector<std::string> notes;                      // of all moves
    std::vector<KeyServer::Verdict> verdicts;            // of all moves
    std::vector<std::uint8_t> wantedVersions;            // of keys, of each INITIALIZE UPDATE
    std::size_t channels = 0;                            // opened
    std::optional<GlobalPlatform::SecurityLevel> level;  // of the last channel
    Bytes hostChallenge;                                 // of the last channel

private:
    std::string Respond(const CommandApdu& apdu);
    std::string Identify(const CommandApdu& apdu);
    std::string Authenticate(const CommandApdu& apdu);

    Answer answer;
    GlobalPlatform::SessionKeys session;
    std::optional<GlobalPlatform::SecureMessaging> channel;
};

// An "INITIALIZEAPDU" that suits every card service.
const KeyServer::Message& AnyOpening();
