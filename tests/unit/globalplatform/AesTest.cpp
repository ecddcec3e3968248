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

// NIST SP 800-38A, F.1.3 and F.1.5; SP 800-38B, D.2 and D.3.
TEST(Aes, AgreesWithThePublishedExamplesOfLongerKeys) {
    const Bytes key192 = Hex("8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b");
    const Bytes key256 = Hex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");
    const Bytes block = First(NistText, 16);
    EXPECT_EQ(AesEncryptBlock(key192, block), Hex("bd334f1d6e45f25ff712a214571fa5cc"));
    EXPECT_EQ(AesEncryptBlock(key256, block), Hex("f3eed1bdb5d2a03c064b5a7e3db181f8"));
    EXPECT_EQ(AesCmac(key192, {}), Hex("d17ddf46adaacde531cac483de7a9367"));
    EXPECT_EQ(AesCmac(key192, block), Hex("9e99a7bf31e710900662f65e617c5184"));
    EXPECT_EQ(AesCmac(key256, {}), Hex("028962f61b7bf89efc6b551f4667d983"));
    EXPECT_EQ(AesCmac(key256, block), Hex("28a7023f452e8f82bd4bf28d8c37c35c"));
}

TEST(Aes, RefusesLengthsThatCannotBe) {
    EXPECT_THROW(static_cast<void>(AesCmac(Bytes(15), {})), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(AesEncryptBlock(Bytes(20), Bytes(16))), std::invalid_argument);
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
