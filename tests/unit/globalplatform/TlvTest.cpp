// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Tlv.h"

#include <gtest/gtest.h>

using GlobalPlatform::Bytes;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
using GlobalPlatform::LengthValueReader;
using GlobalPlatform::MakeTlv;
using GlobalPlatform::ParseTlv;

namespace {

// Objects as "TAG:VALUE ", or "refused".
std::string Objects(const std::string& text) {
    const auto objects = ParseTlv(FromHexText(text).value());
    if (!objects) {
        return "refused";
    }
    std::string result;
    for (const GlobalPlatform::TlvObject& object : *objects) {
        result += HexText(GlobalPlatform::BigEndian(object.tag, 3)) + ":" + HexText(object.value) + " ";
    }
    return result;
}

}  // namespace

TEST(Tlv, HasTagsOfUpToThreeBytes) {
    EXPECT_EQ(Objects(""), "");
    EXPECT_EQ(Objects("4F00"), "00004F: ");
    EXPECT_EQ(Objects("840101 9F7002ABCD DF812A0105"), "000084:01 009F70:ABCD DF812A:05 ");
    EXPECT_EQ(Objects("DF81812A0105"), "refused");
}

TEST(Tlv, HasLengthsOfUpToThreeBytesBehindTheirMarker) {
    EXPECT_EQ(Objects("C48102AABB"), "0000C4:AABB ");
    EXPECT_EQ(Objects("C4820002AABB"), "0000C4:AABB ");
    EXPECT_EQ(Objects("C483000002AABB"), "0000C4:AABB ");
    EXPECT_EQ(Objects("C48400000002AABB"), "refused");
    EXPECT_EQ(Objects("C480AABB0000"), "refused");
}

TEST(Tlv, IsRefusedWhenItDoesNotFillItsDataExactly) {
    for (const char* text :
         {"4F", "9F", "9F70", "4F05AABB", "4F8105AA", "4F81", "4F83FFFFFFAA", "4F0100 4F"}) {
        EXPECT_EQ(Objects(text), "refused") << text;
    }
}

TEST(Tlv, IsMadeInItsShortestForm) {
    EXPECT_EQ(HexText(MakeTlv(0x4F, {})), "4F00");
    EXPECT_EQ(HexText(MakeTlv(0x9F7F, {0x01})), "9F7F0101");
    EXPECT_EQ(HexText(MakeTlv(0xC4, Bytes(127, 0))).substr(0, 6), "C47F00");
    EXPECT_EQ(HexText(MakeTlv(0xC4, Bytes(128, 0))).substr(0, 6), "C48180");
    EXPECT_EQ(HexText(MakeTlv(0xC4, Bytes(300, 0))).substr(0, 8), "C482012C");
}

TEST(LengthValueFields, EndWhereTheDataEnds) {
    const Bytes data = *FromHexText("02AABB 00 01CC 05DD");
    LengthValueReader reader(data);
    EXPECT_EQ(reader.Next(), (Bytes{0xAA, 0xBB}));
    EXPECT_EQ(reader.Next(), Bytes());
    EXPECT_EQ(reader.Next(), Bytes{0xCC});
    EXPECT_FALSE(reader.AtEnd());
    EXPECT_EQ(reader.Next(), std::nullopt);
}

// GlobalPlatform Card 2.3.1, 11.5.2.3: 80 is a length of 128, and every length is told as shortly as it can
// be.
TEST(LengthValueReader, ReadsLengthsOfUpToThreeBytes) {
    const auto next = [](const std::string& length, std::size_t count) {
        Bytes bytes = FromHexText(length).value();
        bytes.resize(bytes.size() + count, 0x5A);
        LengthValueReader reader(bytes);
        const auto value = reader.NextLong();
        return value && reader.AtEnd() ? static_cast<int>(value->size()) : -1;
    };
    EXPECT_EQ(next("00", 0), 0);
    EXPECT_EQ(next("7F", 127), 127);
    EXPECT_EQ(next("80", 128), 128);
    EXPECT_EQ(next("8180", 128), 128);
    EXPECT_EQ(next("81FF", 255), 255);
    EXPECT_EQ(next("820100", 256), 256);
    EXPECT_EQ(next("82FFFF", 65535), 65535);
    for (const char* length : {"", "817F", "81", "8200FF", "8201", "83000100", "FF"}) {
        EXPECT_EQ(next(length, 127), -1) << length;
    }
    EXPECT_EQ(next("80", 127), -1);
}
