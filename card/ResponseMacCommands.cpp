// SPDX-License-Identifier: Apache-2.0
// R-MAC sessions, in which responses are protected for a while: GlobalPlatform Card, Amendment D
// (version 1.1.1), 7.1.3 and 7.1.4.
#include "card/Commands.h"

namespace Card {

namespace {

constexpr std::uint8_t CommandMacBit = 0x01;
constexpr std::uint8_t DecryptionBit = 0x02;
constexpr std::uint8_t ResponseMac = 0x10;
constexpr std::uint8_t ResponseMacAndEncryption = 0x30;
constexpr std::uint8_t ResponseEncryptionBit = 0x20;

// P2.
constexpr std::uint8_t Begin = 0x01;
constexpr std::uint8_t EndAndReturn = 0x03;

std::uint8_t Bits(SecurityLevel level) {
    return static_cast<std::uint8_t>(level);
}

void RequireAbility(const Options& options, std::uint8_t ability) {
    if ((options.channelOption & ability) == 0) {
        Refuse(StatusWord::InstructionNotSupported);
    }
}

// 7.1.3.7: the level has it already, or not what it builds on.
bool MayBegin(std::uint8_t level, std::uint8_t wanted) {
    const bool encrypted = wanted == ResponseMacAndEncryption;
    const bool has = (level & (encrypted ? ResponseEncryptionBit : ResponseMac)) != 0;
    return !has && (level & (encrypted ? DecryptionBit : CommandMacBit)) != 0;
}

}  // namespace

// From the next command on. The data is for nobody here.
Answer BeginResponseMac(Runtime& card, const CommandApdu& command) {
    RequireAbility(card.options, ChannelOption::ResponseMac);
    const bool known = command.p1 == ResponseMac || command.p1 == ResponseMacAndEncryption;
    const auto level = static_cast<std::uint8_t>(Bits(card.session.channel->level) | command.p1);
    if (!known || command.p2 != Begin) {
        Refuse(StatusWord::WrongParameters);
    }
    if (!MayBegin(Bits(card.session.channel->level), command.p1)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (!IsSecurityLevel(level, card.options.channelOption)) {
        Refuse(StatusWord::WrongParameters);
    }
    card.session.channel->level = SecurityLevel{level};
    return {};
}

// Its answer is the last that is protected so.
Answer EndResponseMac(Runtime& card, const CommandApdu& command) {
    RequireAbility(card.options, ChannelOption::ResponseMac);
    Channel& channel = *card.session.channel;
    if (command.p1 != 0 || command.p2 != EndAndReturn) {
        Refuse(StatusWord::WrongParameters);
    }
    if (channel.level == channel.agreed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    channel.level = channel.agreed;
    return {};
}

}  // namespace Card
