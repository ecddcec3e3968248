// SPDX-License-Identifier: Apache-2.0
#include "tests/support/CardHost.h"

#include <stdexcept>

using GlobalPlatform::Bytes;
using GlobalPlatform::CommandApdu;
using GlobalPlatform::HexText;
using GlobalPlatform::SecureMessaging;
using GlobalPlatform::SecurityLevel;

Bytes SendTo(Card::SoftwareCard& card, const Bytes& command) {
    Bytes response = card.Transmit(command);
    const unsigned first = response.at(response.size() - 2);
    if (first != 0x90 && first != 0x63) {
        throw std::runtime_error("the card answers " + HexText(response) + " to " + HexText(command));
    }
    return response;
}

Bytes SendTo(Card::SoftwareCard& card, const std::string& command) {
    return SendTo(card, GlobalPlatform::FromHexText(command).value());
}

SecureMessaging OpenChannel(
    Card::SoftwareCard& card, const GlobalPlatform::StaticKeys& keys, SecurityLevel level) {
    const Bytes host = GlobalPlatform::FromHexText("0102030405060708").value();
    const Bytes challenge =
        GlobalPlatform::ReadChannelAnswer(SendTo(card, "80500000080102030405060708")).value().challenge;
    const GlobalPlatform::SessionKeys session = GlobalPlatform::DeriveSessionKeys(keys, host, challenge);
    SecureMessaging channel(session);
    CommandApdu authenticate;
    authenticate.cla = 0x80;
    authenticate.ins = 0x82;
    authenticate.p1 = static_cast<std::uint8_t>(level);
    authenticate.data = GlobalPlatform::HostCryptogram(session, host, challenge);
    SendTo(card, GlobalPlatform::EncodeCommand(channel.Wrap(authenticate, SecurityLevel::CommandMac)));
    return channel;
}
