// A software card in a test's hand.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "card/SoftwareCard.h"

class CardDesk : public ::testing::Test {
protected:
    CardDesk() : card(std::make_unique<Card::SoftwareCard>(settings)) { card->Reset(); }

    // Command and response as hexadecimal text; blanks in the command do not count.
    std::string Send(const std::string& command) {
        return GlobalPlatform::HexText(card->Transmit(GlobalPlatform::FromHexText(command).value()));
    }

    std::string StatusOf(const std::string& command) {
        const std::string response = Send(command);
        return response.substr(response.size() - 4);
    }

    // Opens a session without secure messaging.
    void Authenticate() {
        ASSERT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
        ASSERT_EQ(StatusOf("84820000 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "9000");
    }

    // A load file of 20 bytes of code, and one selectable instance of it.
    void LoadFile() {
        ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
        ASSERT_EQ(StatusOf("80E80000 0A C414 0102030405060708"), "9000");
        ASSERT_EQ(StatusOf("80E88001 0C 090A0B0C0D0E0F1011121314"), "9000");
    }

    void InstallApplication() { ASSERT_EQ(StatusOf(std::string("80E60C00 20") + InstallFields), "9000"); }

    static constexpr char InstallFields[] =
        "07A0000009990001 08A000000999000101 08A000000999000102 0100 02C900 00";

    // Free non-volatile memory as the card tells it.
    unsigned long FreeMemory() {
        const std::string response = Send("80CAFF2100");
        return std::stoul(response.substr(18, 8), nullptr, 16);
    }

    Card::Options settings;
    std::unique_ptr<Card::SoftwareCard> card;
};
