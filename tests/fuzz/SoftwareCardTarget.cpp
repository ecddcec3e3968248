// SPDX-License-Identifier: Apache-2.0
// Commands to the software card: the first byte says whether a channel is open already, whether it is that of
// a supplementary security domain, whether it protects both directions, and in which manner the card answers;
// then each command is a length of two bytes and that many bytes.
#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/CardHost.h"

namespace {

using GlobalPlatform::Bytes;
using GlobalPlatform::CommandApdu;
using GlobalPlatform::SecurityLevel;

constexpr std::uint8_t ChannelFlag = 0x01;
constexpr std::uint8_t ByteProtocolFlag = 0x02;
constexpr std::uint8_t ProtectionFlag = 0x04;
constexpr std::uint8_t DomainFlag = 0x08;
constexpr std::uint8_t DelegationFlag = 0x10;  // the domain manages by tokens, else by its own authority

constexpr std::uint8_t EveryAbility = 0x70;  // of SCP03

Bytes Transmit(Card::SoftwareCard& card, const Bytes& command) {
    Bytes response = card.Transmit(command);
    Require(response.size() >= 2, "every command is answered with a status word");
    const std::uint8_t first = response[response.size() - 2];
    const bool interindustry = first >= 0x61 && first <= 0x6F;
    Require(interindustry || first == 0x90, "a status word is a published one");
    return response;
}

// A domain with the keys that tokens, receipts and load files need above it; the channel is its own then.
void MakeDomain(Card::SoftwareCard& card, const GlobalPlatform::StaticKeys& keys, bool delegated) {
    static_cast<void>(OpenChannel(card, keys, SecurityLevel::None));
    SendTo(card, "80D80001187088111080D2A5B08FA0EE51143B459E638106DF03504A77");
    SendTo(card, "80D80001187188111080D2A5B08FA0EE51143B459E638106DF03504A77");
    SendTo(
        card, delegated ? "80E60C002107A000000151535008A00000015153504107A000000999100103E0800002C90000"
                        : "80E60C002107A000000151535008A00000015153504107A000000999100103DEDF8002C90000");
    SendTo(card, "00A4040007A0000009991001");
    static_cast<void>(OpenChannel(card, keys, SecurityLevel::None));
    SendTo(card, "80F0400F07A0000009991001");
}

// A part of a command has no code of its own, nor has its answer.
bool IsPart(const CommandApdu& command) {
    const bool chains = command.ins == 0xD8 || command.ins == 0xE4 || command.ins == 0xE6;
    return chains && (command.p1 & 0x80) != 0;
}

// What can be protected goes so, and what is answered is protected too.
void TransmitProtected(
    Card::SoftwareCard& card, GlobalPlatform::SecureMessaging& channel, const Bytes& bytes) {
    const std::optional<CommandApdu> command = GlobalPlatform::ParseCommand(bytes);
    if (!command || (command->cla & 0x7F) != 0 || IsPart(*command) || command->data.size() > 60000) {
        Transmit(card, bytes);
        return;
    }
    CommandApdu plain = *command;
    plain.extended = true;
    plain.expectedLength = 65536;
    const CommandApdu wrapped = channel.Wrap(plain, SecurityLevel::BothEncrypted);
    const Bytes response = Transmit(card, GlobalPlatform::EncodeCommand(wrapped));
    const auto status =
        static_cast<std::uint16_t>(response[response.size() - 2] << 8 | response[response.size() - 1]);
    const bool isProtected = status == 0x9000 || status >> 8 == 0x62 || status >> 8 == 0x63;
    Require(
        !isProtected ||
            channel.UnwrapResponse(
                GlobalPlatform::First(response, response.size() - 2), status, SecurityLevel::BothEncrypted),
        "the host opens what the card protects");
}

// Any application counts, echoes and tells what it was given, behind any instruction that is free.
Card::Program EveryApplication() {
    using Kind = Card::AnswerPart::Kind;
    const auto part = [](Kind kind) {
        Card::AnswerPart made;
        made.kind = kind;
        made.counter = "any";
        made.width = 1;
        made.path = {0x0101, 0x5A};
        made.tag = 0x6F;
        return made;
    };
    Card::AnswerPart object = part(Kind::Object);
    object.parts = {
        part(Kind::ApplicationAid), part(Kind::CommandData), part(Kind::CommandData),
        part(Kind::StoredObject)};
    Card::Program program;
    program.beginning = true;
    program.selection = {{{object}}};
    const Card::MaskedByte any{0, 0};
    program.rules.push_back({{{any, {0xB0, 0xF0}, any, any}, {}}, {{{object, part(Kind::NextCounter)}}}});
    program.rules.push_back(
        {{{any, {0xD0, 0xF8}, any, any}, {{0x80, 0x80}}, Card::CommandPattern::Data::Beginning},
         {{{part(Kind::CommandData), part(Kind::NextCounter)}}}});
    return program;
}

Bytes NextCommand(FuzzInput& input) {
    Bytes command;
    for (std::uint32_t left = input.Number(2); left > 0 && !input.AtEnd(); --left) {
        command.push_back(input.Byte());
    }
    return command;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::uint8_t manner = input.Byte();
    const bool protects = (manner & ProtectionFlag) != 0;
    Card::Options options;
    options.channelOption = EveryAbility;
    options.programs = {EveryApplication()};
    Card::SoftwareCard card(options);
    std::optional<GlobalPlatform::SecureMessaging> channel;
    if ((manner & DomainFlag) != 0) {
        MakeDomain(card, options.keys, (manner & DelegationFlag) != 0);
    }
    // At level None, what the fuzzer sends gets to the commands' own code as it is.
    if ((manner & ChannelFlag) != 0) {
        channel =
            OpenChannel(card, options.keys, protects ? SecurityLevel::BothEncrypted : SecurityLevel::None);
    }
    options.byteProtocol = (manner & ByteProtocolFlag) != 0 && !protects;
    card.Configure(options);
    while (!input.AtEnd()) {
        const Bytes command = NextCommand(input);
        if (channel && protects) {
            TransmitProtected(card, *channel, command);
        } else {
            Transmit(card, command);
        }
    }
    return 0;
}
