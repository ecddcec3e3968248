// SPDX-License-Identifier: Apache-2.0
// What a secure channel survives, what aborts it and what terminates it. AD is Amendment D 1.1.1; other
// clauses are those of GlobalPlatform Card 2.3.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class ChannelRules : public CardDesk {
protected:
    static constexpr Level Protecting[] = {Level::CommandMac, Level::CommandMacAndDecryption};
};

constexpr char ListIssuer[] = "80F28000 02 4F00 00";
constexpr char IssuerEntry[] = "08A0000001510000000F9E9000";

}  // namespace

// AD 5.6: an error that is none of security leaves session and level, and the chaining value has moved.
TEST_F(ChannelRules, ASessionSurvivesWhatIsRefusedEarly) {
    for (const Level wanted : Protecting) {
        Authenticate(wanted);
        EXPECT_EQ(SendProtected("80120000 02 0102"), "6D00");           // no such instruction
        EXPECT_EQ(SendProtected("00F28000 02 4F00 00"), "6E00");        // not in this class
        EXPECT_EQ(SendProtected("00A40400 05 A000000151 00"), "6882");  // never protected, 11.9
        EXPECT_EQ(SendProtected("80500000 08 0102030405060708 00"), "6E00");
        EXPECT_EQ(SendProtected("80820300 08 0102030405060708"), "6985");
        EXPECT_EQ(SendProtected("80F0807F"), "9000");
        EXPECT_EQ(SendProtected("80E29000 03 4501AA"), "6985");  // of a locked card
        EXPECT_EQ(SendProtected(ListIssuer), "08A0000001510000007F9E9000");
        EXPECT_EQ(SendProtected("80F0800F"), "9000");
        EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    }
}

// AD 5.6, 10.2.3: an aborted session lasts until it is terminated.
TEST_F(ChannelRules, AnAbortedSessionRefusesEverything) {
    const auto abort = [&] {
        Authenticate(Level::CommandMac);
        EXPECT_EQ(Send(ListIssuer), "6982");
        for (const char* command :
             {"80CA9F7F00", "00CA006600", ListIssuer, "84F28000 0A 4F00 C1C2C3C4C5C6C7C8", "80120000",
              "84820000 10 A1A2A3A4A5A6A7A8B1B2B3B4B5B6B7B8", "80D88001 01 30"}) {
            EXPECT_EQ(Send(command), "6982") << command;
        }
    };
    abort();
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    abort();
    EXPECT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    abort();
    card->Reset();
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    abort();
    EXPECT_EQ(Send("00A4040005A00000099900"), "6A82");  // a selection that fails is none
    EXPECT_EQ(Send("80CA9F7F00"), "6982");
}

// AD 5.6: the attempt alone terminates the session.
TEST_F(ChannelRules, AnOpeningThatFailsTerminatesTheSession) {
    for (const char* opening :
         {"80500700 08 0102030405060708 00", "80500001 08 0102030405060708 00",
          "80500000 07 01020304050607"}) {
        Authenticate(Level::CommandMac);
        EXPECT_NE(Send(opening), "9000");
        EXPECT_EQ(StatusOf("80CA9F7F00"), "9000") << opening;
        EXPECT_EQ(Send(ListIssuer), "6982");
    }
}

// 11.1.5.2: the class of GET RESPONSE is that of the command, which hosts copy, or 00.
TEST_F(ChannelRules, AnAnswerIsFetchedWithTheClassOfTheSession) {
    Authenticate(Level::CommandMac);
    options.byteProtocol = true;
    card->Configure(options);
    for (const char* fetch : {"84C000000B", "04C000000B", "80C000000B", "00C000000B"}) {
        ASSERT_EQ(SendProtected("80F28000 02 4F00"), "610B");
        EXPECT_EQ(Send(fetch), IssuerEntry) << fetch;
    }
    ASSERT_EQ(SendProtected("80F28000 02 4F00"), "610B");
    EXPECT_EQ(SendProtected(ListIssuer), "610B");  // what waited is dropped, the session is not
    EXPECT_EQ(Send("84C000000B"), IssuerEntry);
    EXPECT_EQ(Send("00C0000000"), "6D00");  // nothing waits: the host has had it all
    EXPECT_EQ(SendProtected(ListIssuer), "610B");
}

// 11.1.5.1: several commands carry one; AD 6.2.4: its code is computed once, and comes with the last.
TEST_F(ChannelRules, AKeyComesInParts) {
    const std::string key = "80D80004 18 30" + KeyField("00112233445566778899AABBCCDDEEFF");
    for (const Level wanted : Protecting) {
        Restart();
        Authenticate(wanted);
        for (const std::size_t firstLength : {std::size_t{1}, std::size_t{20}, std::size_t{24}}) {
            const std::vector<std::string> parts = InParts(key, firstLength);
            EXPECT_EQ(Send(parts[0]), "9000");
            const std::string answer = Send(parts[1]);
            EXPECT_EQ(StatusIn(answer), firstLength == 1 ? "9000" : "6A80") << answer;  // there already
        }
        EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    }
}

TEST_F(ChannelRules, PartsOfWhatIsLongerThanOneCommandAreJoined) {
    Authenticate(Level::CommandMac);
    const std::string services(2 * 0xF5, '0');
    const std::string data =
        "07A00000099900010000"
        "81FB"
        "EF81F8"
        "CB81F5" +
        services + "00";
    const std::string length = GlobalPlatform::HexText(GlobalPlatform::BigEndian(data.size() / 2, 2));
    ASSERT_GT(data.size() / 2, 255U);
    const std::vector<std::string> parts = InParts("80E60200 00" + length + data, 200);
    EXPECT_EQ(Send(parts[0]), "9000");
    EXPECT_EQ(Send(parts[1]), "009000");
    EXPECT_EQ(SendProtected("80E88000 05 C403616263"), "009000");
}

// 11.1.5.1: they follow each other directly.
TEST_F(ChannelRules, AnythingBetweenPartsGivesThemUp) {
    Authenticate(Level::None);
    const std::string key = KeyField("00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(Send("80D88004 04 30" + key.substr(0, 6)), "9000");
    EXPECT_EQ(Send(ListIssuer), "6985");
    EXPECT_EQ(Send(ListIssuer), IssuerEntry);
    EXPECT_EQ(Send("80D88004 04 30" + key.substr(0, 6)), "9000");
    EXPECT_EQ(Send("80D88005 14" + key.substr(6)), "6985");
    EXPECT_EQ(Send("80D80004 14" + key.substr(6)), "6A80");  // no version in front
    EXPECT_EQ(Send("80D88004 04 30" + key.substr(0, 6)), "9000");
    EXPECT_EQ(StatusOf("80D80004 14" + key.substr(6)), "9000");
    for (int part = 0; part < 20; ++part) {
        ASSERT_EQ(Send("80E48000 C8" + std::string(2 * 200, '0')), "9000");
    }
    EXPECT_EQ(Send("80E48000 C8" + std::string(2 * 200, '0')), "6A86");  // too long
    EXPECT_EQ(Send(ListIssuer), IssuerEntry);
}

TEST_F(ChannelRules, PartsNeedTheSessionToo) {
    EXPECT_EQ(Send("80D88004 01 30"), "6982");
    EXPECT_EQ(Send("00D88004 01 30"), "6E00");
    Authenticate(Level::CommandMac);
    EXPECT_EQ(Send("80D88004 01 30"), "6982");  // weaker than its level
    EXPECT_EQ(SendProtected(ListIssuer), "6982");
    Authenticate(Level::None);
    EXPECT_EQ(Send("84D88004 01 30"), "6982");
    EXPECT_EQ(Send(ListIssuer), "6982");
}
