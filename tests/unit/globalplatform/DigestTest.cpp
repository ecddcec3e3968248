// SPDX-License-Identifier: Apache-2.0
// Hashes of load files and check values of DES keys, with published numbers.
#include "globalplatform/Digest.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "globalplatform/Des.h"

using namespace GlobalPlatform;

// FIPS 180-4, of the message "abc".
TEST(Digest, IsToldApartByItsLength) {
    const Bytes abc = {'a', 'b', 'c'};
    EXPECT_EQ(HexText(DigestOfLength(abc, 20)), "A9993E364706816ABA3E25717850C26C9CD0D89D");
    EXPECT_EQ(
        HexText(DigestOfLength(abc, 32)), "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
    EXPECT_EQ(
        HexText(DigestOfLength(abc, 48)),
        "CB00753F45A35E8BB5A03D699AC65007272C32AB0EDED1631A8B605A43FF5BED8086072BA1E7CC2358BAECA134C825A7");
    EXPECT_EQ(
        HexText(DigestOfLength(abc, 64)),
        "DDAF35A193617ABACC417349AE20413112E6FA4E89A97EA20A9EEEE64B55D39A2192992A274FC1A836BA3C23A3FEEBBD"
        "454D4423643CE80E2A9AC94FA54CA49F");
    EXPECT_EQ(HexText(DigestOfLength({}, 20)), "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
}

TEST(Digest, HasFourLengths) {
    for (const std::size_t length : {0U, 16U, 19U, 21U, 28U, 33U, 65U}) {
        EXPECT_FALSE(IsDigestLength(length));
        EXPECT_THROW(static_cast<void>(DigestOfLength({}, length)), std::invalid_argument);
    }
    EXPECT_TRUE(IsDigestLength(20) && IsDigestLength(32) && IsDigestLength(48) && IsDigestLength(64));
}

// GlobalPlatform Card 2.3.1, B.6; worked out with `openssl enc -des-ede-ecb -nopad` and `-des-ede3-ecb` over
// eight zeros.
TEST(Des, HasACheckValueOfThreeBytes) {
    EXPECT_EQ(HexText(DesKeyCheckValue(*FromHexText("404142434445464748494A4B4C4D4E4F"))), "8BAF47");
    EXPECT_EQ(
        HexText(DesKeyCheckValue(*FromHexText("404142434445464748494A4B4C4D4E4F5051525354555657"))),
        "B4692B");
    EXPECT_THROW(static_cast<void>(DesKeyCheckValue(Bytes(8))), std::invalid_argument);
}
