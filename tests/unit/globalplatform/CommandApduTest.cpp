// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/CommandApdu.h"

#include <gtest/gtest.h>

#include <stdexcept>

using GlobalPlatform::Bytes;
using GlobalPlatform::CommandApdu;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
using GlobalPlatform::ParseCommand;

namespace {

// "data/expected length", with "-" for none; "refused" when the lengths do not agree.
std::string Fields(const std::string& text) {
    const std::optional<CommandApdu> apdu = ParseCommand(FromHexText(text).value());
    if (!apdu) {
        return "refused";
    }
    return HexText(apdu->data) + "/" + (apdu->expectedLength ? std::to_string(*apdu->expectedLength) : "-");
}

}  // namespace

TEST(CommandApdu, HasAHeaderOfFourBytes) {
    const std::optional<CommandApdu> apdu = ParseCommand({0x80, 0xCA, 0x9F, 0x7F});
    ASSERT_TRUE(apdu);
    EXPECT_EQ(apdu->cla, 0x80);
    EXPECT_EQ(apdu->ins, 0xCA);
    EXPECT_EQ(apdu->p1, 0x9F);
    EXPECT_EQ(apdu->p2, 0x7F);
    for (const char* text : {"", "00", "00A404"}) {
        EXPECT_EQ(Fields(text), "refused");
    }
}

TEST(CommandApdu, HasTheFourShortCases) {
    EXPECT_EQ(Fields("00A40400"), "/-");
    EXPECT_EQ(Fields("00A40400 00"), "/256");
    EXPECT_EQ(Fields("00A40400 2A"), "/42");
    EXPECT_EQ(Fields("00A40400 02 AABB"), "AABB/-");
    EXPECT_EQ(Fields("00A40400 02 AABB 00"), "AABB/256");
    EXPECT_EQ(Fields("00A40400 02 AABB FF"), "AABB/255");
}

TEST(CommandApdu, HasTheThreeExtendedCases) {
    EXPECT_EQ(Fields("00A40400 00 0000"), "/65536");
    EXPECT_EQ(Fields("00A40400 00 0100"), "/256");
    EXPECT_EQ(Fields("00A40400 00 0002 AABB"), "AABB/-");
    EXPECT_EQ(Fields("00A40400 00 0002 AABB 0000"), "AABB/65536");
    EXPECT_EQ(Fields("00A40400 00 0002 AABB 012C"), "AABB/300");
}

TEST(CommandApdu, TakesTheMostThatALengthCanSay) {
    Bytes shortCommand = *FromHexText("00A40400FF");
    shortCommand.insert(shortCommand.end(), 255, 0xEE);
    EXPECT_EQ(ParseCommand(shortCommand)->data.size(), 255U);
    Bytes extended = *FromHexText("00A4040000FFFF");
    extended.insert(extended.end(), 65535, 0xEE);
    EXPECT_EQ(ParseCommand(extended)->data.size(), 65535U);
    extended.insert(extended.end(), 2, 0x00);
    EXPECT_EQ(ParseCommand(extended)->expectedLength, 65536U);
}

TEST(CommandApdu, IsRefusedWhenItsLengthsDoNotAgree) {
    for (const char* text :
         {"00A40400 02 AA", "00A40400 02 AABB 00 00", "00A40400 00 00", "00A40400 00 0000 00",
          "00A40400 00 0003 AABB", "00A40400 00 0002 AABB 00", "00A40400 00 0002 AABB 000000",
          "00A40400 FF AA"}) {
        EXPECT_EQ(Fields(text), "refused") << text;
    }
}

TEST(EncodedCommand, ReadsBackAsWhatItWas) {
    for (const char* text :
         {"00A40400", "80CA9F7F00", "80E2000003AABBCC", "80F28002024F0000", "80CA006600012C",
          "80E20000000003AABBCC", "80E20000000003AABBCC0000"}) {
        const GlobalPlatform::Bytes bytes = FromHexText(text).value();
        EXPECT_EQ(GlobalPlatform::EncodeCommand(ParseCommand(bytes).value()), bytes) << text;
    }
}

TEST(EncodedCommand, TakesExtendedLengthsOnlyWhereShortOnesDoNotReach) {
    GlobalPlatform::CommandApdu command;
    command.expectedLength = 256;
    EXPECT_EQ(HexText(GlobalPlatform::EncodeCommand(command)), "0000000000");
    command.expectedLength = 257;
    EXPECT_EQ(HexText(GlobalPlatform::EncodeCommand(command)), "00000000000101");
    command.data = GlobalPlatform::Bytes(256);
    command.expectedLength = 65536;
    const GlobalPlatform::Bytes bytes = GlobalPlatform::EncodeCommand(command);
    EXPECT_EQ(bytes.size(), 4U + 3 + 256 + 2);
    EXPECT_EQ(HexText(GlobalPlatform::First(bytes, 7)), "00000000000100");
    command.data = GlobalPlatform::Bytes(65536);
    EXPECT_THROW(static_cast<void>(GlobalPlatform::EncodeCommand(command)), std::length_error);
}
