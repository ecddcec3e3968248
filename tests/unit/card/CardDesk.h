// SPDX-License-Identifier: Apache-2.0
// A software card in a test's hand, and the host's end of a secure channel to it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "card/SoftwareCard.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Scp03.h"

class CardDesk : public ::testing::Test {
protected:
    using Bytes = GlobalPlatform::Bytes;
    using Level = GlobalPlatform::SecurityLevel;

    CardDesk() { Restart(); }

    // A card made anew from the options.
    void Restart() {
        card.reset();
        card = std::make_unique<Card::SoftwareCard>(options);
        channel.reset();
    }

    // Command and response as hexadecimal text; blanks in the command do not count.
    std::string Send(const std::string& command) {
        return GlobalPlatform::HexText(card->Transmit(FromHex(command)));
    }

    // The length of hexadecimal text in bytes, in one byte.
    static std::string Length(const std::string& hex) {
        return GlobalPlatform::HexText({static_cast<std::uint8_t>(hex.size() / 2)});
    }

    // Behind its length; behind tag and length.
    static std::string Field(const std::string& value) { return Length(value) + value; }

    static std::string Tlv(const std::string& tag, const std::string& value) {
        return tag + Length(value) + value;
    }

    std::string SendWith(const std::string& header, const std::string& data) {
        return Send(header + Length(data) + data);
    }

    // Whole blocks as the host's key for secrets encrypts them.
    std::string Encrypted(const std::string& value) const {
        return GlobalPlatform::HexText(
            GlobalPlatform::AesEncryptCbc(hostKeys.dataEncryption, Bytes(16), FromHex(value)));
    }

    // As Send, but protected as the open channel asks for.
    std::string SendProtected(const std::string& command) { return Send(Protected(command)); }

    std::string Protected(const std::string& command) {
        const std::optional<GlobalPlatform::CommandApdu> plain =
            GlobalPlatform::ParseCommand(FromHex(command));
        return GlobalPlatform::HexText(GlobalPlatform::EncodeCommand(channel->Wrap(plain.value(), level)));
    }

    // As SendProtected, with the response as it was before the level protected it; empty when its code is
    // wrong.
    std::string SendSecurely(const std::string& command) { return Opened(SendProtected(command)); }

    std::string Opened(const std::string& response) const {
        const std::string status = StatusIn(response);
        if (status != "9000" && status.substr(0, 2) != "62" && status.substr(0, 2) != "63") {
            return response;
        }
        const Bytes data = FromHex(response.substr(0, response.size() - 4));
        const auto plain =
            channel->UnwrapResponse(data, static_cast<std::uint16_t>(std::stoul(status, nullptr, 16)), level);
        return plain ? GlobalPlatform::HexText(*plain) + status : "";
    }

    // A protected command in two parts, the first with so many bytes of data.
    std::vector<std::string> InParts(const std::string& command, std::size_t firstLength) {
        const auto whole = GlobalPlatform::ParseCommand(FromHex(Protected(command)));
        GlobalPlatform::CommandApdu first = whole.value();
        GlobalPlatform::CommandApdu last = whole.value();
        first.p1 |= 0x80;
        first.data.resize(firstLength);
        first.expectedLength.reset();
        first.extended = last.extended = false;
        last.data.erase(last.data.begin(), last.data.begin() + static_cast<std::ptrdiff_t>(firstLength));
        last.expectedLength.reset();
        return {
            GlobalPlatform::HexText(GlobalPlatform::EncodeCommand(first)),
            GlobalPlatform::HexText(GlobalPlatform::EncodeCommand(last))};
    }

    std::string StatusOf(const std::string& command) { return StatusIn(Send(command)); }

    static std::string StatusIn(const std::string& response) {
        return response.size() < 4 ? response : response.substr(response.size() - 4);
    }

    static Bytes FromHex(const std::string& text) { return GlobalPlatform::FromHexText(text).value(); }

    // INITIALIZE UPDATE with the keys of the options; the cryptogram of the card is checked.
    void Initialize(std::uint8_t version = 0) {
        const Bytes hostChallenge = FromHex("0102030405060708");
        const Bytes response =
            FromHex(Send("8050" + GlobalPlatform::HexText({version}) + "00 08 0102030405060708 00"));
        const bool counts = (options.channelOption & 0x10) != 0;
        ASSERT_EQ(response.size(), (counts ? 32 : 29) + 2U) << GlobalPlatform::HexText(response);
        const Bytes cardChallenge(response.begin() + 13, response.begin() + 21);
        const GlobalPlatform::SessionKeys keys =
            GlobalPlatform::DeriveSessionKeys(hostKeys, hostChallenge, cardChallenge);
        ASSERT_EQ(
            GlobalPlatform::CardCryptogram(keys, hostChallenge, cardChallenge),
            Bytes(response.begin() + 21, response.begin() + 29));
        hostCryptogram = GlobalPlatform::HostCryptogram(keys, hostChallenge, cardChallenge);
        channel.emplace(keys);
    }

    // EXTERNAL AUTHENTICATE as it answers the last challenge.
    std::string Authentication(Level wanted = Level::None) {
        level = wanted;
        return Protected(
            "8082" + GlobalPlatform::HexText({static_cast<std::uint8_t>(wanted)}) + "00 08" +
            GlobalPlatform::HexText(hostCryptogram));
    }

    void Authenticate(Level wanted = Level::None, std::uint8_t version = 0) {
        Initialize(version);
        ASSERT_EQ(Send(Authentication(wanted)), "9000");
    }

    // A load file of 20 bytes of code, and one selectable instance of it; in a channel without protection.
    void LoadFile() {
        ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
        ASSERT_EQ(StatusOf("80E80000 0A C414 0102030405060708"), "9000");
        ASSERT_EQ(StatusOf("80E88001 0C 090A0B0C0D0E0F1011121314"), "9000");
    }

    void InstallApplication() { ASSERT_EQ(StatusOf(std::string("80E60C00 20") + InstallFields), "9000"); }

    static constexpr char InstallFields[] =
        "07A0000009990001 08A000000999000101 08A000000999000102 0100 02C900 00";

    // One key of PUT KEY: type, encrypted value and check value.
    std::string KeyField(const std::string& key) const {
        const Bytes value = FromHex(key);
        const Bytes encrypted = GlobalPlatform::AesEncryptCbc(hostKeys.dataEncryption, Bytes(16), value);
        return "881110" + GlobalPlatform::HexText(encrypted) + "03" +
               GlobalPlatform::HexText(GlobalPlatform::AesKeyCheckValue(value));
    }

    // Free non-volatile memory as the card tells it.
    unsigned long FreeMemory() {
        const std::string response = Send("80CAFF2100");
        return std::stoul(response.substr(18, 8), nullptr, 16);
    }

    Card::Options options;
    GlobalPlatform::StaticKeys hostKeys = options.keys;
    std::unique_ptr<Card::SoftwareCard> card;
    std::optional<GlobalPlatform::SecureMessaging> channel;
    Level level = Level::None;
    Bytes hostCryptogram;
};
