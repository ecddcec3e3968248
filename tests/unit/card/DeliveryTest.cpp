// SPDX-License-Identifier: Apache-2.0
// How answers come in the manner of T=0, and in parts.
#include "tests/unit/card/CardDesk.h"

namespace {

class Delivery : public CardDesk {
protected:
    void TalkByBytes() {
        options.byteProtocol = true;
        Restart();
    }

    // Keys enough that their list takes 18 + 6 * 127 bytes behind its tag and length.
    void FillWithKeys() {
        Authenticate();
        for (int identifier = 1; identifier < 128; ++identifier) {
            const std::string number = GlobalPlatform::HexText({static_cast<std::uint8_t>(identifier)});
            ASSERT_EQ(
                StatusOf("80D800" + number + "18 30" + KeyField("00112233445566778899AABBCCDDEEFF"))
                    .substr(0, 1),
                options.byteProtocol ? "6" : "9");
        }
    }

    static constexpr std::size_t KeyListLength = 1 + 3 + 18 + 6 * 127;
};

}  // namespace

TEST_F(Delivery, ByBytesTellsTheLengthThatIsRight) {
    TalkByBytes();
    EXPECT_EQ(Send("80CA9F7F00"), "6C2D");
    EXPECT_EQ(Send("80CA9F7F"), "6C2D");
    EXPECT_EQ(Send("80CA9F7F2C"), "6C2D");
    EXPECT_EQ(Send("80CA9F7FFF"), "6C2D");
    EXPECT_EQ(Send("80CA9F7F2D"), "9F7F2A" + GlobalPlatform::HexText(options.cplc) + "9000");
    EXPECT_EQ(Send("00A4040000"), "6C12");
    EXPECT_EQ(Send("00A4040012"), "6F108408A000000151000000A5049F6501FF9000");
}

TEST_F(Delivery, ByBytesHoldsTheAnswerOfACommandWithData) {
    TalkByBytes();
    EXPECT_EQ(Send("00A40400 05 A000000151"), "6112");
    EXPECT_EQ(Send("00C0000000"), "6C12");
    EXPECT_EQ(Send("00C0000012"), "6F108408A000000151000000A5049F6501FF9000");
    EXPECT_EQ(Send("00C0000012"), "6D00");
    EXPECT_EQ(Send("00A40400 05 A000000151 00"), "6112");
    EXPECT_EQ(Send("00C0000004"), "6F108408610E");
    EXPECT_EQ(Send("00C000000E"), "A000000151000000A5049F6501FF9000");
}

TEST_F(Delivery, ByBytesForgetsAnAnswerThatNobodyTakes) {
    TalkByBytes();
    EXPECT_EQ(Send("00A40400 05 A000000151"), "6112");
    EXPECT_EQ(Send("80CA9F7F00"), "6C2D");
    EXPECT_EQ(Send("00C0000012"), "6D00");
    EXPECT_EQ(Send("00A40400 05 A000000151"), "6112");
    card->Reset();
    EXPECT_EQ(Send("00C0000012"), "6D00");
}

TEST_F(Delivery, ByBytesRefusesWrongWaysToAsk) {
    TalkByBytes();
    EXPECT_EQ(Send("00A40400 05 A000000151"), "6112");
    EXPECT_EQ(Send("00C0010012"), "6A86");
    EXPECT_EQ(Send("00C00000 02 0000"), "6700");
    EXPECT_EQ(Send("01C0000012"), "6881");
    EXPECT_EQ(Send("10C0000012"), "6E00");
    EXPECT_EQ(Send("00C0000012"), "6D00");  // it is gone
}

TEST_F(Delivery, ByBytesKeepsAWarningForTheEnd) {
    TalkByBytes();
    Send("80500000 08 0102030405060708");
    const Bytes response = FromHex(Send("00C0000020"));
    ASSERT_EQ(response.size(), 34U);
    const Bytes hostChallenge = FromHex("0102030405060708");
    const Bytes cardChallenge(response.begin() + 13, response.begin() + 21);
    const GlobalPlatform::SessionKeys keys =
        GlobalPlatform::DeriveSessionKeys(hostKeys, hostChallenge, cardChallenge);
    hostCryptogram = GlobalPlatform::HostCryptogram(keys, hostChallenge, cardChallenge);
    channel.emplace(keys);
    ASSERT_EQ(Send(Authentication()), "9000");
    EXPECT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("00A40400 05 A000000151"), "6112");
    EXPECT_EQ(Send("00C0000012"), "6F108408A000000151000000A5049F6501FF6283");
}

TEST_F(Delivery, GivesALongAnswerInParts) {
    FillWithKeys();
    std::string whole;
    std::string part = Send("80CA00E000");
    while (part.substr(part.size() - 4, 2) == "61") {
        whole += part.substr(0, part.size() - 4);
        const std::string length = part.substr(part.size() - 2);
        part = Send("00C00000" + length);
    }
    EXPECT_EQ(StatusIn(part), "9000");
    whole += part.substr(0, part.size() - 4);
    EXPECT_EQ(whole.size(), 2 * KeyListLength);
    EXPECT_EQ(Send("80CA00E0000000"), whole + "9000");
    EXPECT_EQ(Send("00C0000000"), "6D00");  // nothing is left
}

TEST_F(Delivery, TellsTheLengthWhereOnePartIsTooLong) {
    EXPECT_EQ(Send("80CA9F7F2C"), "6C2D");
    EXPECT_EQ(StatusOf("80CA9F7F2D"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F000001"), "6C2D");
    FillWithKeys();
    EXPECT_EQ(Send("80CA00E0FF"), "6C00");
}
