// SPDX-License-Identifier: Apache-2.0
// The structure of load files, as a card takes them apart and a server puts them together.
#include "globalplatform/LoadFile.h"

#include <gmock/gmock.h>

#include <string>

using namespace GlobalPlatform;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Bytes FromHex(const std::string& text) {
    return FromHexText(text).value();
}

// Header and Applet components of an applet's code; the applets A00000099900 01 and 02.
constexpr char TwoApplets[] =
    "010011DECAFFED010204000107A0000009990001"
    "0300170208A0000009990001010010"
    "08A0000009990001020020";

}  // namespace

TEST(LoadFile, IsADataBlockBehindWhatAuthenticatesIt) {
    const auto parts = ParseLoadFile(FromHex("E20A 4F05A000000999 C30101 C403616263"));
    ASSERT_TRUE(parts);
    EXPECT_EQ(HexText(parts->dataBlock), "616263");
    ASSERT_EQ(parts->blocks.size(), 1U);
    EXPECT_EQ(HexText(parts->blocks.front().domain), "A000000999");
    EXPECT_EQ(HexText(parts->blocks.front().signature), "01");
    EXPECT_EQ(HexText(AuthenticationObject(parts->blocks.front())), "E20A4F05A000000999C30101");
}

TEST(LoadFile, IsMadeOfADataBlockAlone) {
    const Bytes file = MakeLoadFile(FromHex("616263"));
    EXPECT_EQ(HexText(file), "C403616263");
    EXPECT_TRUE(BeginsLikeLoadFile(file));
    const auto parts = ParseLoadFile(file);
    ASSERT_TRUE(parts);
    EXPECT_EQ(HexText(parts->dataBlock), "616263");
    EXPECT_TRUE(parts->blocks.empty());
}

TEST(LoadFile, IsNoneWithoutADataBlockInTheEnd) {
    for (const char* bytes :
         {"", "616263", "E20161", "C40361626", "C403616263E20161", "C4046162", "E20161C403616263",
          "E3074F05A000000999C403616263", "E2074F05A000000999C403616263",
          "E20AC301014F05A000000999C403616263", "E2034F05A0C403616263", "D30101C403616263"}) {
        const auto file = FromHexText(bytes);
        EXPECT_FALSE(file && ParseLoadFile(*file)) << bytes;
    }
    EXPECT_FALSE(BeginsLikeLoadFile({}));
    EXPECT_FALSE(BeginsLikeLoadFile(FromHex("616263")));
}

// GlobalPlatform Card 2.3.1, 11.6.2.3.
TEST(LoadFile, MayBeEncryptedBehindItsInitialVector) {
    const auto parts = ParseLoadFile(FromHex("E20A 4F05A000000999 C30101 D30210 11 D403 616263"));
    ASSERT_TRUE(parts);
    EXPECT_TRUE(parts->ciphered);
    EXPECT_EQ(HexText(parts->initialVector), "1011");
    EXPECT_EQ(HexText(parts->dataBlock), "616263");
    EXPECT_EQ(ParseLoadFile(FromHex("D403616263"))->initialVector.size(), 0U);
}

TEST(DescribeCode, ReadsTheHeaderAndTheAppletsOfACapFile) {
    const auto code = DescribeCode(FromHex(TwoApplets));
    ASSERT_TRUE(code);
    EXPECT_TRUE(code->known);
    EXPECT_EQ(HexText(code->package), "A0000009990001");
    EXPECT_EQ(HexText(code->version), "0100");
    EXPECT_THAT(code->modules, ElementsAre(FromHex("A000000999000101"), FromHex("A000000999000102")));
}

TEST(DescribeCode, FindsNoModulesInALibrary) {
    const auto code = DescribeCode(FromHex("010011DECAFFED010204020307A0000009990001"));
    ASSERT_TRUE(code);
    EXPECT_TRUE(code->known);
    EXPECT_EQ(HexText(code->version), "0302");
    EXPECT_THAT(code->modules, IsEmpty());
}

TEST(DescribeCode, KnowsNothingOfOtherCode) {
    for (const char* bytes : {"616263", ""}) {
        const auto code = DescribeCode(FromHex(bytes));
        ASSERT_TRUE(code);
        EXPECT_FALSE(code->known);
        EXPECT_THAT(code->modules, IsEmpty());
    }
}

TEST(DescribeCode, GivesNothingForDamagedComponents) {
    const std::string header = "010011DECAFFED010204000107A0000009990001";
    // Cut off in a length, in a component, in an applet's AID; one behind the number that is told.
    for (const char* rest : {"0300", "03000102", "030004010404A0", "03000100FF"}) {
        EXPECT_FALSE(DescribeCode(FromHex(header + rest))) << rest;
    }
    // Cut off in its versions and in its AID; an AID that is none.
    for (const char* code :
         {"010004DECAFFED", "010009DECAFFED0102040001", "01000EDECAFFED010204000107A0000009",
          "01000EDECAFFED010204000104A0000009"}) {
        EXPECT_FALSE(DescribeCode(FromHex(code))) << code;
    }
}
