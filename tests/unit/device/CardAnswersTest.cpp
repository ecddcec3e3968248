// SPDX-License-Identifier: Apache-2.0
// Answers that the configuration puts in front of the card.
#include "device/element/CardSlot.h"

#include <gtest/gtest.h>

#include "device/names/Bytes.h"

using Device::CardSlot;
using Device::Configuration;
using Device::FromHexText;
using Device::HexText;
using Device::ReadConfiguration;

namespace {

class CardAnswers : public testing::Test {
protected:
    CardAnswers() : slot(&Configuration::embeddedElement) {}

    void Answer(const std::string& lines) {
        configuration = ReadConfiguration("device.conf", "[card]\n" + lines);
        configuration.number = ++number;
        for (const Device::Mistake& mistake : configuration.mistakes) {
            ADD_FAILURE() << Describe(configuration, mistake);
        }
    }

    std::string Send(const std::string& command) {
        if (!channel) {
            channel = slot.Open(configuration);
        }
        return HexText(slot.Transmit(configuration, channel->session, FromHexText(command).value()));
    }

    CardSlot slot;
    std::optional<CardSlot::Opened> channel;
    Configuration configuration;
    std::uint64_t number = 0;
};

}  // namespace

TEST_F(CardAnswers, AreGivenForTheirCommandAndNoOther) {
    Answer("answer 80CA9F7F00 = 6A82\n");
    EXPECT_EQ(Send("80CA9F7F00"), "6A82");
    EXPECT_EQ(Send("80CA9F7F00"), "6A82");
    EXPECT_EQ(Send("80CA9F7F").substr(0, 6), "9F7F2A");
}

TEST_F(CardAnswers, AreWrittenInEitherCaseAndWithBlanks) {
    Answer("answer 80 ca 9f 7f 00 = aa bb 9000\n");
    EXPECT_EQ(Send("80CA9F7F00"), "AABB9000");
}

TEST_F(CardAnswers, AreGivenAsOftenAsTheySay) {
    Answer("answer 00A4040000=6101*3, 6A82, 9000*2\n");
    for (const char* expected : {"6101", "6101", "6101", "6A82", "9000", "9000"}) {
        EXPECT_EQ(Send("00A4040000"), expected);
    }
    EXPECT_EQ(Send("00A4040000").substr(0, 2), "6F");  // then the card answers by itself
}

TEST_F(CardAnswers, EndWithTheLastForEverWhenItHasNoCount) {
    Answer("answer 00A4040000=6101*2, 9000\n");
    Send("00A4040000");
    Send("00A4040000");
    for (int time = 0; time < 50; ++time) {
        EXPECT_EQ(Send("00A4040000"), "9000");
    }
}

TEST_F(CardAnswers, CanLetTheCardAnswerFirst) {
    Answer("answer 00A4040000=card*2, 6F00\n");
    EXPECT_EQ(Send("00A4040000").substr(0, 2), "6F");
    EXPECT_EQ(Send("00A4040000").substr(0, 4), "6F10");
    EXPECT_EQ(Send("00A4040000"), "6F00");
}

TEST_F(CardAnswers, CanBeEmptyOrOneByteOrVeryLong) {
    Answer("answer 0001=empty\nanswer 0002=61\nanswer 0003=AB{70000}9000\n");
    EXPECT_EQ(Send("0001"), "");
    EXPECT_EQ(Send("0002"), "61");
    const std::string response = Send("0003");
    EXPECT_EQ(response.size(), 2 * 70002U);
    EXPECT_EQ(response.substr(0, 6), "ABABAB");
    EXPECT_EQ(response.substr(response.size() - 6), "AB9000");
}

TEST_F(CardAnswers, MatchEveryCommandOfABeginningUnlessALongerRuleDoes) {
    Answer("answer *=6F00\nanswer 80*=6E00\nanswer 80CA*=6A88\nanswer 80CA9F7F00=9000\n");
    EXPECT_EQ(Send("00A4"), "6F00");
    EXPECT_EQ(Send("8050"), "6E00");
    EXPECT_EQ(Send("80CA0066"), "6A88");
    EXPECT_EQ(Send("80CA9F7F00"), "9000");
    EXPECT_EQ(Send(""), "6F00");
}

TEST_F(CardAnswers, MatchAnEmptyCommandByAnEmptyRule) {
    Answer("answer *=6F00*1\n");
    EXPECT_EQ(Send(""), "6F00");
    EXPECT_EQ(Send(""), "6700");
}

TEST_F(CardAnswers, BeginAnewWithANewConfiguration) {
    Answer("answer 0001=9000*1\n");
    EXPECT_EQ(Send("0001"), "9000");
    EXPECT_EQ(Send("0001"), "6700");
    Answer("answer 0001=9000*1\n");
    EXPECT_EQ(Send("0001"), "9000");
}

TEST_F(CardAnswers, LeaveTheCardAsItIs) {
    Answer("answer 8050*=6A88\n");
    EXPECT_EQ(Send("80500000080102030405060708"), "6A88");
    Answer("");
    EXPECT_EQ(Send("848200001000000000000000000000000000000000"), "6985");
}

TEST_F(CardAnswers, DoNotMakeTheCardForgetWhatItHolds) {
    Answer("");
    EXPECT_EQ(Send("80500000080102030405060708").size(), 68U);
    Answer("answer 0001=9000\n");
    EXPECT_EQ(Send("848200001000000000000000000000000000000000"), "6300");  // the challenge is still there
}

TEST_F(CardAnswers, GoWithANewCardForAnotherFile) {
    Answer("");
    EXPECT_EQ(Send("80500000080102030405060708").size(), 68U);
    configuration.path = "other.conf";
    configuration.number = ++number;
    EXPECT_EQ(Send("848200001000000000000000000000000000000000"), "6985");
}
