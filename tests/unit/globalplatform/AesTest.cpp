// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Aes.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace GlobalPlatform;

namespace {

Bytes Hex(const char* text) {
    return FromHexText(text).value();
}

// The key and the four blocks that NIST's examples share.
const Bytes NistKey = Hex("2b7e151628aed2a6abf7158809cf4f3c");
const Bytes NistText =
    Hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");

}  // namespace

// NIST SP 800-38B, D.1.
TEST(AesCmac, AgreesWithThePublishedExamples) {
    EXPECT_EQ(AesCmac(NistKey, {}), Hex("bb1d6929e95937287fa37d129b756746"));
    EXPECT_EQ(AesCmac(NistKey, First(NistText, 16)), Hex("070a16b46b4d4144f79bdd9dd04a287c"));
    EXPECT_EQ(AesCmac(NistKey, First(NistText, 40)), Hex("dfa66747de9ae63030ca32611497c827"));
    EXPECT_EQ(AesCmac(NistKey, NistText), Hex("51f0bebf7e3b9d92fc49741779363cfe"));
}

// NIST SP 800-38A, F.1.1 and F.2.1.
TEST(Aes, AgreesWithThePublishedExamples) {
    const Bytes vector = Hex("000102030405060708090a0b0c0d0e0f");
    EXPECT_EQ(AesEncryptBlock(NistKey, First(NistText, 16)), Hex("3ad77bb40d7a3660a89ecaf32466ef97"));
    const Bytes encrypted =
        Hex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
            "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
    EXPECT_EQ(AesEncryptCbc(NistKey, vector, NistText), encrypted);
    EXPECT_EQ(AesDecryptCbc(NistKey, vector, encrypted), NistText);
    EXPECT_EQ(AesEncryptCbc(NistKey, vector, {}), Bytes());
}

TEST(Aes, RefusesLengthsThatCannotBe) {
    EXPECT_THROW(static_cast<void>(AesCmac(Bytes(15), {})), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(AesEncryptBlock(Bytes(24), Bytes(16))), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(AesEncryptBlock(NistKey, Bytes(32))), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(AesEncryptCbc(NistKey, Bytes(8), Bytes(16))), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(AesDecryptCbc(NistKey, Bytes(16), Bytes(17))), std::invalid_argument);
}

TEST(Padding, FillsABlockAndAddsOneWhereNoneIsLeft) {
    EXPECT_EQ(Pad80({}), Hex("80000000000000000000000000000000"));
    EXPECT_EQ(Pad80(Bytes(15, 0x11)), Hex("11111111111111111111111111111180"));
    EXPECT_EQ(Pad80(Bytes(16, 0x11)).size(), 32U);
}

TEST(Padding, IsTakenOffOnlyWhereItIsOne) {
    EXPECT_EQ(Unpad80(Pad80(Hex("1180000000"))), Hex("1180000000"));
    EXPECT_EQ(Unpad80(Hex("80")), Bytes());
    EXPECT_FALSE(Unpad80({}));
    EXPECT_FALSE(Unpad80(Bytes(16, 0)));
    EXPECT_FALSE(Unpad80(Bytes(16, 0x11)));
    Bytes wholeBlockOfZeros = Bytes(32, 0);
    wholeBlockOfZeros[15] = 0x80;
    EXPECT_FALSE(Unpad80(wholeBlockOfZeros));
}

// The value that GlobalPlatform's well-known test key has.
TEST(KeyCheckValue, IsTheBeginningOfOnesEncrypted) {
    const Bytes key = Hex("404142434445464748494A4B4C4D4E4F");
    EXPECT_EQ(AesKeyCheckValue(key), First(AesEncryptBlock(key, Bytes(16, 0x01)), 3));
    EXPECT_EQ(HexText(AesKeyCheckValue(key)), "504A77");
}

TEST(SameSecret, ComparesContentAndLength) {
    EXPECT_TRUE(SameSecret(Hex("0102"), Hex("0102")));
    EXPECT_FALSE(SameSecret(Hex("0102"), Hex("0103")));
    EXPECT_FALSE(SameSecret(Hex("0102"), Hex("010203")));
}
