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
    ASSERT_EQ(parts->before.size(), 1U);
    EXPECT_TRUE(IsAuthenticationBlock(parts->before.front()));
}

TEST(LoadFile, IsMadeOfADataBlockAlone) {
    const Bytes file = MakeLoadFile(FromHex("616263"));
    EXPECT_EQ(HexText(file), "C403616263");
    EXPECT_TRUE(BeginsLikeLoadFile(file));
    const auto parts = ParseLoadFile(file);
    ASSERT_TRUE(parts);
    EXPECT_EQ(HexText(parts->dataBlock), "616263");
    EXPECT_THAT(parts->before, IsEmpty());
}

TEST(LoadFile, IsNoneWithoutADataBlockInTheEnd) {
    for (const char* bytes : {"", "616263", "E20161", "C40361626", "C403616263E20161", "C4046162"}) {
        const auto file = FromHexText(bytes);
        EXPECT_FALSE(file && ParseLoadFile(*file)) << bytes;
    }
    EXPECT_FALSE(BeginsLikeLoadFile({}));
    EXPECT_FALSE(BeginsLikeLoadFile(FromHex("616263")));
}

TEST(LoadFile, IsAuthenticatedByADomainsAidAndItsSignature) {
    EXPECT_TRUE(IsAuthenticationBlock({0xE2, FromHex("4F05A000000999 C30101")}));
    EXPECT_FALSE(IsAuthenticationBlock({0xE3, FromHex("4F05A000000999 C30101")}));
    EXPECT_FALSE(IsAuthenticationBlock({0xE2, FromHex("4F05A000000999")}));
    EXPECT_FALSE(IsAuthenticationBlock({0xE2, FromHex("C30101 4F05A000000999")}));
    EXPECT_FALSE(IsAuthenticationBlock({0xE2, FromHex("4F05A0")}));
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
