// SPDX-License-Identifier: Apache-2.0
// What a card can be made of.
#include <functional>
#include <stdexcept>

#include "tests/unit/card/CardDesk.h"

namespace {

class CardOptions : public CardDesk {
protected:
    std::string Refusal(const std::function<void(Card::Options&)>& change) {
        Card::Options changed = options;
        change(changed);
        try {
            card->Configure(changed);
        } catch (const std::invalid_argument& error) {
            EXPECT_THROW(Card::SoftwareCard{changed}, std::invalid_argument);
            return error.what();
        }
        return "";
    }
};

}  // namespace

TEST_F(CardOptions, AreRefusedByNameWhenTheyCannotBe) {
    using Card::Options;
    EXPECT_NE(
        Refusal([](Options& each) { each.atr = Bytes(34); }).find("answer-to-reset"), std::string::npos);
    EXPECT_NE(Refusal([](Options& each) { each.cplc = Bytes(41); }).find("42 bytes"), std::string::npos);
    EXPECT_NE(Refusal([](Options& each) { each.issuerAid = Bytes(4); }).find("AID"), std::string::npos);
    EXPECT_NE(
        Refusal([](Options& each) { each.issuerNumber = Bytes(33); }).find("number"), std::string::npos);
    EXPECT_NE(
        Refusal([](Options& each) { each.keys.mac = Bytes(15); }).find("keys of 16"), std::string::npos);
    EXPECT_NE(
        Refusal([](Options& each) { each.keys.mac = Bytes(24); }).find("keys of 16"), std::string::npos);
    EXPECT_NE(Refusal([](Options& each) { each.channelOption = 0x40; }).find("option i"), std::string::npos);
    EXPECT_NE(Refusal([](Options& each) { each.keyVersion = 0; }).find("key version"), std::string::npos);
    EXPECT_NE(Refusal([](Options& each) { each.keyVersion = 128; }).find("key version"), std::string::npos);
    EXPECT_NE(Refusal([](Options& each) { each.lifeCycle = 2; }).find("life-cycle"), std::string::npos);
    EXPECT_NE(
        Refusal([](Options& each) { each.authenticationAttempts = 0; }).find("attempt"), std::string::npos);
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
}

TEST_F(CardOptions, NameTheIssuerDomainOfANewCard) {
    options.issuerAid = FromHex("A00000099900");
    Restart();
    EXPECT_EQ(Send("00A4040000"), "6F0E8406A00000099900A5049F6501FF9000");
    EXPECT_EQ(Send("00A4040005A00000015100"), "6A82");
}
