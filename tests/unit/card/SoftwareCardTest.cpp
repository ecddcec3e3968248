// What the software card answers before anybody is authenticated, and how a session begins and ends.
#include "CardDesk.h"

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
    EXPECT_EQ(Send("80CA9F7F00"), "9F7F2A" + GlobalPlatform::HexText(settings.cplc) + "9000");
    EXPECT_EQ(Send("00CA9F7F00"), "9F7F2A" + GlobalPlatform::HexText(settings.cplc) + "9000");
    settings.cplc = GlobalPlatform::Bytes(42, 0x5A);
    card->Configure(settings);
    EXPECT_EQ(Send("80CA9F7F00"), "9F7F2A" + GlobalPlatform::HexText(settings.cplc) + "9000");
}

TEST_F(SoftwareCard, TellsItsResources) {
    settings.memory = 123456;
    settings.volatileMemory = 4096;
    card->Configure(settings);
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
        "6631732F06072A864886FC6B01600C060A2A864886FC6B02020202630906072A864886FC6B03640B06092A864886FC6B0403"
        "709000");
    EXPECT_EQ(Send("80CA00E000"), "E012C00401018810C00402018810C004030188109000");
}

TEST_F(SoftwareCard, DoesNotKnowOtherData) {
    EXPECT_EQ(Send("80CA004200"), "6A88");
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
    EXPECT_EQ(Send("C0CA9F7F00"), "6E00");
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

TEST_F(SoftwareCard, BeginsASessionOfTheThirdProtocolWithAnAnswerOf29Bytes) {
    const std::string response = Send("80500000 08 0102030405060708 00");
    ASSERT_EQ(response.size(), 2 * (29 + 2u));
    EXPECT_EQ(response.substr(20, 6), "010370");
    EXPECT_EQ(response.substr(58), "9000");
}

TEST_F(SoftwareCard, ChallengesAnewEachTime) {
    const std::string first = Send("80500000 08 0102030405060708 00");
    const std::string second = Send("80500000 08 0102030405060708 00");
    EXPECT_EQ(first.substr(0, 26), second.substr(0, 26));
    EXPECT_NE(first.substr(26), second.substr(26));
}

TEST_F(SoftwareCard, BeginsASessionOnlyWithKeysThatItHas) {
    EXPECT_EQ(StatusOf("80500100 08 0102030405060708 00"), "9000");
    EXPECT_EQ(Send("80500200 08 0102030405060708 00"), "6A88");
    EXPECT_EQ(Send("80500000 07 01020304050607 00"), "6700");
    EXPECT_EQ(Send("00500000 08 0102030405060708 00"), "6E00");
}

TEST_F(SoftwareCard, AuthenticatesOnlyRightBehindAChallenge) {
    const std::string authenticate = "84820000 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8";
    EXPECT_EQ(Send(authenticate), "6985");
    EXPECT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    EXPECT_EQ(Send(authenticate), "6985");
    EXPECT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
    EXPECT_EQ(Send(authenticate), "9000");
    EXPECT_EQ(Send(authenticate), "6985");
}

TEST_F(SoftwareCard, RefusesAnAuthenticationOfTheWrongShape) {
    const auto afterChallenge = [&](const std::string& command) {
        EXPECT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
        return Send(command);
    };
    EXPECT_EQ(afterChallenge("80820000 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6E00");
    EXPECT_EQ(afterChallenge("84820200 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6A86");
    EXPECT_EQ(afterChallenge("84820001 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6A86");
    EXPECT_EQ(afterChallenge("84820000 08 A1A2A3A4A5A6A7A8"), "6700");
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

TEST_F(SoftwareCard, AsksForACommandCodeAtALevelThatHasThem) {
    ASSERT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
    ASSERT_EQ(StatusOf("84820100 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "9000");
    EXPECT_EQ(StatusOf("84F28000 0A 4F00 C1C2C3C4C5C6C7C8"), "9000");
    EXPECT_EQ(Send("80F28000 02 4F00"), "6982");
    EXPECT_EQ(Send("84F28000 0A 4F00 C1C2C3C4C5C6C7C8"), "6982");  // the session ended with the refusal
}

TEST_F(SoftwareCard, AnswersAResetWithTheConfiguredBytes) {
    EXPECT_EQ(GlobalPlatform::HexText(card->Reset()), "3B8880014E41564F434152440B");
    settings.atr = {0x3B, 0x00};
    card->Configure(settings);
    EXPECT_EQ(GlobalPlatform::HexText(card->Reset()), "3B00");
}
