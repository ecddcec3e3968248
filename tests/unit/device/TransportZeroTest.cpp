// SPDX-License-Identifier: Apache-2.0
// Commands as the protocol T=0 carries them.
#include "device/element/TransportZero.h"

#include <gtest/gtest.h>
#include <nfc.h>

#include "device/recording/ElementFailure.h"

namespace {

using Device::FromHexText;
using Device::HexText;

std::string Carried(const std::string& command) {
    return HexText(Device::TransportCommand(*FromHexText(command)));
}

TEST(TransportZero, GivesACommandWithoutAnythingALengthOfZero) {
    EXPECT_EQ(Carried("84820000"), "8482000000");
}

TEST(TransportZero, CarriesAnExpectedLengthUpToAllThatItCanSay) {
    EXPECT_EQ(Carried("80CA9F7F2D"), "80CA9F7F2D");
    EXPECT_EQ(Carried("80CA9F7F00"), "80CA9F7F00");
    EXPECT_EQ(Carried("80CA9F7F000010"), "80CA9F7F10") << "extended, 16 bytes";
    EXPECT_EQ(Carried("80CA9F7F000101"), "80CA9F7F00") << "extended, 257 bytes";
    EXPECT_EQ(Carried("80CA9F7F000000"), "80CA9F7F00") << "extended, 65536 bytes";
}

TEST(TransportZero, LeavesTheExpectedLengthBehindTheDataAway) {
    EXPECT_EQ(Carried("00A4040002A00000"), "00A4040002A000");
    EXPECT_EQ(Carried("00A4040002A000"), "00A4040002A000");
    EXPECT_EQ(Carried("00A40400000002A0000000"), "00A4040002A000") << "extended";
}

TEST(TransportZero, RefusesMoreDataThanOneCommandTakes) {
    EXPECT_EQ(Carried("00D60000FF" + std::string(510, 'A')).size(), 520U);
    try {
        Carried("00D60000000100" + std::string(512, 'A'));
        FAIL() << "256 bytes fit nowhere";
    } catch (const Device::ElementFailure& failure) {
        EXPECT_EQ(failure.Code(), NFC_ERROR_NOT_SUPPORTED);
        EXPECT_STREQ(failure.what(), "the card speaks T=0, which carries at most 255 bytes of data, not 256");
    }
}

TEST(TransportZero, LeavesWhatIsNoCommandToTheCard) {
    EXPECT_EQ(Carried("00A404000500"), "00A404000500");
    EXPECT_EQ(Carried("00A4"), "00A4");
}

}  // namespace
