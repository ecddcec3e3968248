// SPDX-License-Identifier: Apache-2.0
// What the software card answers before anybody is authenticated, and how a session begins and ends.
#include "tests/unit/card/CardDesk.h"

namespace {

class SoftwareCard : public CardDesk {};

}  // namespace

TEST_F(SoftwareCard, SelectsTheIssuerSecurityDomainByAnEmptyName) {
    EXPECT_EQ(Send("00A4040000"), "6F108408A000000151000000A5049F6501FF9000");
    EXPECT_EQ(Send("00A40400"), "6F108408A000000151000000A5049F6501FF9000");
}

TEST_F(SoftwareCard, SelectsByTheBeginningOfAnAid) {
    EXPECT_EQ(StatusOf("00A4040008A00000015100000000"), "9000");
    EXPECT_EQ(StatusOf("00A4040005A00000015100"), "9000");
    EXPECT_EQ(Send("00A4040005A00000015200"), "6A82");
    EXPECT_EQ(Send("00A4040009A0000001510000000100"), "6A82");
}

TEST_F(SoftwareCard, RefusesOtherWaysToSelect) {
    EXPECT_EQ(Send("00A4000000"), "6A86");
    EXPECT_EQ(Send("00A4040100"), "6A86");
    EXPECT_EQ(Send("80A4040000"), "6E00");
}

TEST_F(SoftwareCard, TellsItsProductionDataFromTheConfiguration) {
    EXPECT_EQ(Send("80CA9F7F00"), "9F7F2A" + GlobalPlatform::HexText(options.cplc) + "9000");
    EXPECT_EQ(Send("00CA9F7F00"), GlobalPlatform::HexText(options.cplc) + "9000");
    options.cplc = GlobalPlatform::Bytes(42, 0x5A);
    card->Configure(options);
    EXPECT_EQ(Send("80CA9F7F00"), "9F7F2A" + GlobalPlatform::HexText(options.cplc) + "9000");
}

TEST_F(SoftwareCard, TellsItsResources) {
    options.memory = 123456;
    options.volatileMemory = 4096;
    card->Configure(options);
    EXPECT_EQ(
        Send("80CAFF2100"),
        "FF2110810200008204"
        "0001E240"
        "8304"
        "00001000"
        "9000");
}

TEST_F(SoftwareCard, TellsItsCardDataAndItsKeys) {
    EXPECT_EQ(
        Send("80CA006600"),
        "6631732F06072A864886FC6B01600C060A2A864886FC6B02020301630906072A864886FC6B03640B06092A864886FC6B0403"
        "109000");
    EXPECT_EQ(Send("80CA00E000"), "E012C00401018810C00402018810C004030188109000");
}

TEST_F(SoftwareCard, TellsItsNumbers) {
    EXPECT_EQ(Send("80CA004200"), "420599990100019000");
    // The date, the serial and the batch number of the production data.
    EXPECT_EQ(Send("80CA004500"), "4508506100C0FFEE00429000");
    EXPECT_EQ(Send("80CA00CF00"), "CF0A4F525731506100C0FFEE9000");
    EXPECT_EQ(Send("80CA00C100"), "C1030000009000");
}

TEST_F(SoftwareCard, DoesNotKnowOtherData) {
    EXPECT_EQ(Send("80CA004300"), "6A88");
    EXPECT_EQ(Send("80CA9F7E00"), "6A88");
}

TEST_F(SoftwareCard, TellsTheRightLengthToACommandThatExpectsLess) {
    EXPECT_EQ(Send("80CA9F7F05"), "6C2D");
    EXPECT_EQ(StatusOf("80CA9F7F2D"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7FFF"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F000000"), "9000");
}

TEST_F(SoftwareCard, RefusesClassesChannelsAndInstructionsThatItDoesNotHave) {
    EXPECT_EQ(Send("10A4040000"), "6E00");
    EXPECT_EQ(Send("C0CA9F7F00"), "6881");  // of the channels from 4 on
    EXPECT_EQ(Send("50CA9F7F00"), "6E00");
    EXPECT_EQ(Send("FF00000000"), "6E00");
    EXPECT_EQ(Send("01A4040000"), "6881");
    EXPECT_EQ(Send("83F28000024F00"), "6881");
    EXPECT_EQ(Send("000C000000"), "6D00");
    EXPECT_EQ(Send("00C0000000"), "6D00");
}

TEST_F(SoftwareCard, RefusesCommandsWhoseLengthsDoNotAgree) {
    EXPECT_EQ(Send(""), "6700");
    EXPECT_EQ(Send("00A404"), "6700");
    EXPECT_EQ(Send("00A4040005A0"), "6700");
    EXPECT_EQ(Send("80CA9F7F0000"), "6700");
}

TEST_F(SoftwareCard, ManagesNothingBeforeAuthentication) {
    for (const char* instruction : {"D8", "E2", "E4", "E6", "E8", "F0", "F2"}) {
        EXPECT_EQ(Send(std::string("80") + instruction + "0000024F00"), "6982") << instruction;
        EXPECT_EQ(Send(std::string("00") + instruction + "0000024F00"), "6E00") << instruction;
    }
}

TEST_F(SoftwareCard, EndsTheSessionWithASelectionOrAReset) {
    Authenticate();
    EXPECT_EQ(StatusOf("80F28000024F00"), "9000");
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    EXPECT_EQ(Send("80F28000024F00"), "6982");
    Authenticate();
    card->Reset();
    EXPECT_EQ(Send("80F28000024F00"), "6982");
}

TEST_F(SoftwareCard, KeepsTheSessionWhenASelectionFails) {
    Authenticate();
    EXPECT_EQ(Send("00A4040005A00000015200"), "6A82");
    EXPECT_EQ(StatusOf("80F28000024F00"), "9000");
}

TEST_F(SoftwareCard, AnswersAResetWithTheConfiguredBytes) {
    EXPECT_EQ(GlobalPlatform::HexText(card->Reset()), "3B8880014E41564F434152440B");
    options.atr = {0x3B, 0x00};
    card->Configure(options);
    EXPECT_EQ(GlobalPlatform::HexText(card->Reset()), "3B00");
}
