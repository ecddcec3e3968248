// SPDX-License-Identifier: Apache-2.0
// Commands to the software card: the first byte says whether a channel is open already and in which manner
// the card answers; then each command is a length of two bytes and that many bytes.
#include "card/SoftwareCard.h"

#include "globalplatform/Scp03.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

using GlobalPlatform::Bytes;
using GlobalPlatform::CommandApdu;

constexpr std::uint8_t ChannelFlag = 0x01;
constexpr std::uint8_t ByteProtocolFlag = 0x02;

Bytes Hex(const char* text) {
    return GlobalPlatform::FromHexText(text).value();
}

Bytes Transmit(Card::SoftwareCard& card, const Bytes& command) {
    Bytes response = card.Transmit(command);
    Require(response.size() >= 2, "every command is answered with a status word");
    const std::uint8_t first = response[response.size() - 2];
    const bool interindustry = first >= 0x61 && first <= 0x6F;
    Require(interindustry || first == 0x90 || first == 0x94, "a status word is a published one");
    return response;
}

// A channel that protects nothing, so that what the fuzzer sends gets to the commands' own code.
void OpenChannel(Card::SoftwareCard& card, const GlobalPlatform::StaticKeys& staticKeys) {
    const Bytes host = Hex("0102030405060708");
    const Bytes update = Transmit(card, Hex("8050000008010203040506070800"));
    Require(update.size() == 34, "a plain card gives a challenge");
    const Bytes challenge(update.begin() + 13, update.begin() + 21);
    const GlobalPlatform::SessionKeys keys = GlobalPlatform::DeriveSessionKeys(staticKeys, host, challenge);
    CommandApdu authenticate;
    authenticate.cla = 0x80;
    authenticate.ins = 0x82;
    authenticate.data = GlobalPlatform::HostCryptogram(keys, host, challenge);
    GlobalPlatform::SecureMessaging channel(keys);
    Require(
        Transmit(
            card, GlobalPlatform::EncodeCommand(
                      channel.Wrap(authenticate, GlobalPlatform::SecurityLevel::CommandMac))) == Hex("9000"),
        "the card lets its host in");
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
    Card::Options options;
    Card::SoftwareCard card(options);
    if ((manner & ChannelFlag) != 0) {
        OpenChannel(card, options.keys);
    }
    options.byteProtocol = (manner & ByteProtocolFlag) != 0;
    card.Configure(options);
    while (!input.AtEnd()) {
        Transmit(card, NextCommand(input));
    }
    return 0;
}
