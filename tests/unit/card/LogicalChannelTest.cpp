// SPDX-License-Identifier: Apache-2.0
// Several logical channels, each with its selection and its session. Clauses are those of GlobalPlatform
// Card 2.3.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class LogicalChannels : public CardDesk {
protected:
    // The same command on another channel.
    static std::string On(int number, std::string command) {
        const auto cla = static_cast<std::uint8_t>(std::stoul(command.substr(0, 2), nullptr, 16) | number);
        return command.replace(0, 2, GlobalPlatform::HexText({cla}));
    }

    void AuthenticateOn(int number, Level wanted) {
        const Bytes hostChallenge = FromHex("0102030405060708");
        const Bytes response = FromHex(Send(On(number, "80500000 08 0102030405060708 00")));
        ASSERT_EQ(response.size(), 34U);
        const Bytes cardChallenge(response.begin() + 13, response.begin() + 21);
        const auto keys = GlobalPlatform::DeriveSessionKeys(hostKeys, hostChallenge, cardChallenge);
        hostCryptogram = GlobalPlatform::HostCryptogram(keys, hostChallenge, cardChallenge);
        channel.emplace(keys);
        ASSERT_EQ(Send(On(number, Authentication(wanted))), "9000");
    }
};

constexpr char ListIssuer[] = "80F28000 02 4F00 00";
constexpr char IssuerEntry[] = "08A0000001510000000F9E9000";

}  // namespace

// 11.7: three supplementary channels, the next that is free or the one that is asked for.
TEST_F(LogicalChannels, AreOpenedAndClosed) {
    EXPECT_EQ(Send("01CA9F7F00"), "6881");
    EXPECT_EQ(Send("0070000001"), "019000");
    EXPECT_EQ(Send("00700003"), "9000");
    EXPECT_EQ(Send("0070000001"), "029000");
    EXPECT_EQ(Send("0070000001"), "6A81");
    EXPECT_EQ(Send("00700002"), "6A81");
    EXPECT_EQ(Send("00700004"), "6A81");
    EXPECT_EQ(StatusOf("01CA9F7F00"), "9000");
    EXPECT_EQ(Send("00708002"), "9000");
    EXPECT_EQ(Send("00708002"), "6200");
    EXPECT_EQ(Send("02CA9F7F00"), "6881");
    EXPECT_EQ(Send("01708001"), "9000");  // itself
    EXPECT_EQ(Send("01CA9F7F00"), "6881");
    EXPECT_EQ(StatusOf("00CA9F7F00"), "9000");
    EXPECT_EQ(Send("00708000"), "6A86");  // the basic channel never closes
    EXPECT_EQ(Send("00708004"), "6A86");
    EXPECT_EQ(Send("00704000"), "6A86");
    EXPECT_EQ(Send("8070000001"), "6E00");
    EXPECT_EQ(Send("0470000001"), "6882");
    card->Reset();
    EXPECT_EQ(Send("03CA9F7F00"), "6881");
}

// 6.4.2.2: opened from the basic channel, what is selected by itself; from another, what that has.
TEST_F(LogicalChannels, BeginWithASelection) {
    Authenticate();
    LoadFile();
    InstallApplication();
    ASSERT_EQ(
        StatusOf(
            "80E60C00 25 07A0000009990001 08A000000999000101 08A000000999000103 0100 07C900EF03CF0142 00"),
        "9000");
    EXPECT_EQ(Send("0070000001"), "019000");
    EXPECT_EQ(StatusOf("81CA9F7F00"), "9000");
    EXPECT_EQ(Send("0070000001"), "029000");
    EXPECT_EQ(Send("82CA9F7F00"), "6A88");  // registered there
    EXPECT_EQ(StatusOf("01A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("0170000001"), "039000");
    EXPECT_EQ(Send("83CA9F7F00"), "6A88");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    EXPECT_EQ(StatusOf("80F28000024F00"), "9000");  // the first channel's session goes on
}

// 9.5: what is selected elsewhere stays.
TEST_F(LogicalChannels, KeepWhatTheySelectedOnTheCard) {
    Authenticate();
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("0070000001"), "019000");
    EXPECT_EQ(StatusOf("01A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("80E40000 0A 4F08A000000999000102"), "6985");
    EXPECT_EQ(Send("80E40080 09 4F07A0000009990001"), "6985");
    EXPECT_EQ(Send("00708001"), "9000");
    EXPECT_EQ(Send("80E40080 09 4F07A0000009990001"), "009000");
}

// 7.3.1 and 10.2.3: a session belongs to one channel, and what breaks it leaves the others alone. The class
// of the channel does not go into the code; AD 6.2.4.
TEST_F(LogicalChannels, HaveASessionEach) {
    Authenticate(Level::CommandMac);
    EXPECT_EQ(Send("0070000001"), "019000");
    auto first = channel;
    AuthenticateOn(1, Level::CommandMacAndDecryption);
    EXPECT_EQ(Send(On(1, Protected(ListIssuer))), IssuerEntry);
    channel.swap(first);
    level = Level::CommandMac;
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    EXPECT_EQ(Send(On(1, ListIssuer)), "6982");  // not as agreed on there
    EXPECT_EQ(Send("81CA9F7F00"), "6982");
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    EXPECT_EQ(Send("00708001"), "9000");  // ends the broken session too
    EXPECT_EQ(Send("0070000001"), "019000");
    EXPECT_EQ(StatusOf("81CA9F7F00"), "9000");
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
}

// 9.6.3: none is opened on a locked card, and a selection on one closes it.
TEST_F(LogicalChannels, EndWithALockedCard) {
    EXPECT_EQ(Send("0070000001"), "019000");
    Authenticate();
    EXPECT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("0070000001"), "6A81");
    EXPECT_EQ(StatusOf("81CA9F7F00"), "9000");
    EXPECT_EQ(Send("01A4040000"), "6A81");
    EXPECT_EQ(Send("81CA9F7F00"), "6881");
    EXPECT_EQ(StatusOf("80F28000024F00"), "9000");
}

// 11.1.5.2: an answer is fetched on the channel of its command.
TEST_F(LogicalChannels, FetchTheirOwnAnswers) {
    EXPECT_EQ(Send("0070000001"), "019000");
    options.byteProtocol = true;
    card->Configure(options);
    EXPECT_EQ(Send("01A40400 05 A000000151"), "6112");
    EXPECT_EQ(Send("02C0000012"), "6881");
    EXPECT_EQ(Send("01C0000004"), "6F108408610E");
    EXPECT_EQ(Send("00C000000E"), "A000000151000000A5049F6501FF9000");
}

// 11.11.3.1: the new name is the domain's on each channel.
TEST_F(LogicalChannels, FollowTheIssuerDomainsName) {
    EXPECT_EQ(Send("0070000001"), "019000");
    Authenticate();
    EXPECT_EQ(Send("80E29000 09 4F07A0000000030000"), "9000");
    EXPECT_EQ(StatusOf("81CA9F7F00"), "9000");
    EXPECT_EQ(StatusOf("81500000 08 0102030405060708 00"), "9000");
}
