// SPDX-License-Identifier: Apache-2.0
// How a card answers where cards differ.
#include <chrono>

#include "tests/unit/card/CardDesk.h"

namespace {

class Manners : public CardDesk {
protected:
    void Configure() { card->Configure(options); }

    static constexpr char Selected[] = "6F108408A000000151000000A5049F6501FF";
};

}  // namespace

TEST_F(Manners, AnnounceEveryAnswerWithData) {
    options.manners.announcesAnswers = true;
    Configure();
    EXPECT_EQ(Send("00A4040000"), "6112");
    EXPECT_EQ(Send("00C0000012"), std::string(Selected) + "9000");
    EXPECT_EQ(Send("80CA9F7F2D"), "612D");
    EXPECT_EQ(Send("80CA9F7E00"), "6A88");
    EXPECT_EQ(Send("80CA004200"), "6107");
    EXPECT_EQ(Send("00C0000000"), "420599990100019000");
}

TEST_F(Manners, AnnounceByBytesAlsoToCommandsWithoutData) {
    options.byteProtocol = true;
    options.manners.announcesAnswers = true;
    Configure();
    EXPECT_EQ(Send("00A4040000"), "6112");
    EXPECT_EQ(Send("00C0000000"), "6C12");
    EXPECT_EQ(Send("00C0000012"), std::string(Selected) + "9000");
}

TEST_F(Manners, RefuseALengthThatIsTooShort) {
    options.manners.shortLength = Card::ShortLength::Refused;
    Configure();
    EXPECT_EQ(Send("80CA9F7F05"), "6700");
    EXPECT_EQ(StatusOf("80CA9F7F2D"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    options.byteProtocol = true;
    Configure();
    EXPECT_EQ(Send("80CA9F7F05"), "6700");
    EXPECT_EQ(Send("80CA9F7F00"), "6C2D");
}

TEST_F(Manners, CutAnAnswerToTheLengthThatIsExpected) {
    options.manners.shortLength = Card::ShortLength::Cut;
    Configure();
    EXPECT_EQ(Send("80CA004203"), "4205996104");
    EXPECT_EQ(Send("00C0000004"), "990100019000");
    EXPECT_EQ(Send("80CA004207"), "420599990100019000");
    options.byteProtocol = true;
    Configure();
    EXPECT_EQ(Send("80CA004203"), "4205996104");
}

TEST_F(Manners, SayThatANameIsNoDataOfTheirs) {
    EXPECT_EQ(Send("00A4040005A00000099900"), "6A82");
    options.manners.absentIsData = true;
    Configure();
    EXPECT_EQ(Send("00A4040005A00000099900"), "6A88");
    Authenticate();
    EXPECT_EQ(Send("80E40000 07 4F05A000000999"), "6A88");
}

// GlobalPlatform Card 2.3.1, 11.4.3.2: 6310 until the last part.
TEST_F(Manners, ListSoManyEntriesAtOnce) {
    options.manners.listedAtOnce = 1;
    Configure();
    Authenticate();
    LoadFile();
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990003 00 00 00 00"), "9000");
    ASSERT_EQ(StatusOf("80E88000 06 C4040A0B0C0D"), "9000");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "07A000000999000101006310");
    EXPECT_EQ(Send("80F22001 07 4F05A000000999 00"), "07A000000999000301009000");
    EXPECT_EQ(Send("80F22001 07 4F05A000000999 00"), "6A88");
    options.manners.listedAtOnce = 2;
    Configure();
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "07A0000009990001010007A000000999000301009000");
}

TEST_F(Manners, ListOnBehindAPartThatWasCut) {
    options.manners.listedAtOnce = 1;
    options.manners.shortLength = Card::ShortLength::Cut;
    Configure();
    Authenticate();
    LoadFile();
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990003 00 00 00 00"), "9000");
    ASSERT_EQ(StatusOf("80E88000 06 C4040A0B0C0D"), "9000");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 02"), "07A06108");
    EXPECT_EQ(Send("80C0000008"), "00000999000101006310");
    EXPECT_EQ(Send("80F22001 07 4F05A000000999 00"), "07A000000999000301009000");
}

TEST_F(Manners, TakeTheirTime) {
    const auto timeOf = [this] {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(StatusOf("80CA004200"), "9000");
        return std::chrono::steady_clock::now() - begin;
    };
    options.manners.answerTime = std::chrono::milliseconds(30);
    Configure();
    EXPECT_GE(timeOf(), options.manners.answerTime);
    options.manners.answerTime = Card::LongestAnswerTime + std::chrono::milliseconds(1);
    EXPECT_THROW(Configure(), std::invalid_argument);
}
