// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Sha256.h"

#include <gtest/gtest.h>

using GlobalPlatform::HexText;
using GlobalPlatform::Sha256;

// FIPS 180-2, B.1, and the hash of nothing.
TEST(Sha256, GivesTheStandardsValues) {
    EXPECT_EQ(HexText(Sha256("abc")), "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
    EXPECT_EQ(HexText(Sha256("")), "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855");
}

TEST(Sha256, IsTheSameOfBytesAndOfText) {
    EXPECT_EQ(Sha256(GlobalPlatform::Bytes{0x61, 0x00, 0x63}), Sha256(std::string_view("a\0c", 3)));
}
