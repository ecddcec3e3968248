// SPDX-License-Identifier: Apache-2.0
// Channels of every option and level, with keys of every length; GlobalPlatform Card, Amendment D 1.1.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class ResponseProtection : public CardDesk {
protected:
    ResponseProtection() {
        options.channelOption = 0x70;
        Restart();
    }

    void UseKeysOf(std::size_t length) {
        options.keys = {Numbered(0x00, length), Numbered(0x20, length), Numbered(0x40, length)};
        hostKeys = options.keys;
        Restart();
    }

    static Bytes Numbered(std::uint8_t first, std::size_t length) {
        Bytes bytes;
        for (std::size_t at = 0; at < length; ++at) {
            bytes.push_back(static_cast<std::uint8_t>(first + at));
        }
        return bytes;
    }
};

constexpr char ListIssuer[] = "80F28000 02 4F00 00";
constexpr char IssuerEntry[] = "08A0000001510000000F9E9000";

}  // namespace

// Table 5-1 and 7.1.1: each option with its answer, and its levels.
TEST_F(ResponseProtection, OpensAtEachLevelOfEachOption) {
    for (const std::uint8_t option : {0x00, 0x10, 0x20, 0x30, 0x60, 0x70}) {
        options.channelOption = option;
        Restart();
        const std::string answer = Send("80500000 08 0102030405060708 00");
        EXPECT_EQ(answer.size(), 2 * ((option & 0x10) != 0 ? 34U : 31U));
        EXPECT_EQ(answer.substr(22, 4), "03" + GlobalPlatform::HexText({option}));
        for (const std::uint8_t wanted : {0x00, 0x01, 0x03, 0x11, 0x13, 0x33}) {
            const Level asked{wanted};
            if (!GlobalPlatform::IsSecurityLevel(wanted, option)) {
                Initialize();
                EXPECT_EQ(Send(Authentication(asked)), "6A86");
                continue;
            }
            Authenticate(asked);
            EXPECT_EQ(SendSecurely(ListIssuer), IssuerEntry) << int{option} << " " << int{wanted};
            EXPECT_EQ(StatusIn(SendSecurely("80CA9F7F00")), "9000");
            EXPECT_EQ(SendSecurely("80E29000 03 4501AA"), "9000");
            EXPECT_EQ(SendSecurely("00CA004500"), "AA9000");
        }
    }
}

// 6.2.2: without a counter, challenges are random.
TEST_F(ResponseProtection, HasRandomChallengesWithoutTheOption) {
    options.channelOption = 0x60;
    Restart();
    const std::string first = Send("80500000 08 0102030405060708 00");
    const std::string second = Send("80500000 08 0102030405060708 00");
    EXPECT_NE(first.substr(26, 16), second.substr(26, 16));
    EXPECT_EQ(Send("80CA00C100"), "C1030000009000");
}

// Bytes that another program worked out: those of the session in Scp03VectorsTest.cpp, with the card's own
// data.
TEST_F(ResponseProtection, AgreesWithBytesThatAnotherProgramWorkedOut) {
    UseKeysOf(32);
    EXPECT_EQ(
        Send("80500000 08 0102030405060708 00").substr(26, 38), "728FAB33EDE3EED7EC6572A288716015000001");
    EXPECT_EQ(Send("84823300 10 E83D5B988761F00127E9F997C59EC8AC"), "9000");
    EXPECT_EQ(StatusOf("84F28002 18 1762A46FC267BDDB45F7AFF61E09F0BD3BBC73B713B421E1 00"), "9000");
    EXPECT_EQ(
        Send("84CA00C1 08 3D5D63BC05EE9A9F 00"), "D5FF925FAA4B0096C532F79CBFF412703696DBAF7E9CDC739000");
}

// 6.1: keys of each length, which open channels and bring others.
TEST_F(ResponseProtection, TakesKeysOfEachLength) {
    for (const std::size_t length : {16U, 24U, 32U}) {
        UseKeysOf(length);
        Authenticate(Level::BothEncrypted);
        EXPECT_EQ(
            SendSecurely("80CA00E000").substr(12, 4),
            "88" + GlobalPlatform::HexText({static_cast<std::uint8_t>(length)}));
        EXPECT_EQ(
            StatusIn(SendSecurely("80D80004 18 30" + KeyField("00112233445566778899AABBCCDDEEFF"))), "9000");
    }
}

// 6.2.5: an error is bare, a warning is not; the session goes on after either.
TEST_F(ResponseProtection, LeavesErrorsBare) {
    Authenticate(Level::BothEncrypted);
    EXPECT_EQ(SendProtected("80F24000 02 4F00 00"), "6A88");
    EXPECT_EQ(SendProtected("80120000"), "6D00");
    EXPECT_EQ(SendProtected("80F04080 08 A000000999000102"), "6A88");
    EXPECT_EQ(SendProtected("80E29000 03 4501AA").size(), 16 + 4U);
    EXPECT_EQ(SendSecurely(ListIssuer), IssuerEntry);
}

// 11.1.5.1: the parts of a command have no code, and their answers none; that of the last has.
TEST_F(ResponseProtection, ProtectsTheAnswerOfTheLastPart) {
    Authenticate(Level::BothEncrypted);
    const std::vector<std::string> parts =
        InParts("80D80004 18 30" + KeyField("00112233445566778899AABBCCDDEEFF"), 20);
    EXPECT_EQ(Send(parts[0]), "9000");
    EXPECT_EQ(StatusIn(Opened(Send(parts[1]))), "9000");
    EXPECT_EQ(SendSecurely(ListIssuer), IssuerEntry);
}

// Tables 11-36 and 11-39: as much as one protected answer holds, with 6310 under its code.
TEST_F(ResponseProtection, ShowsALongListInProtectedParts) {
    Authenticate(Level::None);
    LoadFile();
    for (int instance = 0; instance < 40; ++instance) {
        ASSERT_EQ(
            StatusOf(
                "80E60C00 20 07A0000009990001 08A000000999000101 08A0000009990002" +
                GlobalPlatform::HexText({static_cast<std::uint8_t>(instance)}) + " 0100 02C900 00"),
            "9000");
    }
    const Level levels[] = {Level::CommandAndResponseMac, Level::BothEncrypted};
    for (const Level wanted : levels) {
        Authenticate(wanted);
        std::size_t entries = 0;
        std::string part = SendSecurely("80F24000 02 4F00 00");
        for (; StatusIn(part) == "6310"; part = SendSecurely("80F24001 02 4F00 00")) {
            entries += (part.size() - 4) / 22;
        }
        EXPECT_EQ(StatusIn(part), "9000");
        EXPECT_EQ(entries + (part.size() - 4) / 22, 40U);
    }
}

// 11.1.5.2: an answer that comes in parts is protected as a whole.
TEST_F(ResponseProtection, ProtectsALongAnswerAsAWhole) {
    Authenticate(Level::BothEncrypted);
    ASSERT_EQ(StatusIn(SendSecurely("80E29000 00012F 5F50 82012A" + std::string(2 * 0x12A, 'A'))), "9000");
    const std::string first = SendProtected("80CA5F5000");
    ASSERT_EQ(StatusIn(first), "6138");
    const std::string rest = Send("84C0000038");
    EXPECT_EQ(
        Opened(first.substr(0, first.size() - 4) + rest),
        "5F5082012A" + std::string(2 * 0x12A, 'A') + "9000");
}

// 7.1.3 and 7.1.4: responses are protected from the next command on, and until the answer of the end.
TEST_F(ResponseProtection, BeginsAndEndsOnDemand) {
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("807A1001 01 00"), "9000");
    level = Level::DecryptionAndResponseMac;
    EXPECT_EQ(SendSecurely(ListIssuer), IssuerEntry);
    EXPECT_EQ(SendSecurely("80CA00D300"), "D301939000");
    EXPECT_EQ(SendProtected("807A1001 01 00"), "6985");  // it has it
    EXPECT_EQ(SendSecurely("807A3001 01 00"), "9000");
    level = Level::BothEncrypted;
    EXPECT_EQ(SendSecurely(ListIssuer), IssuerEntry);
    EXPECT_EQ(SendProtected("807A3001 01 00"), "6985");
    EXPECT_EQ(SendSecurely("80780003"), "9000");
    level = Level::CommandMacAndDecryption;
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    EXPECT_EQ(SendProtected("80780003"), "6985");
}

// 7.1.3.7: what it builds on has to be there; no error ends the session.
TEST_F(ResponseProtection, BeginsOnlyOnWhatItNeeds) {
    Authenticate(Level::CommandMac);
    EXPECT_EQ(SendProtected("807A3001 01 00"), "6985");
    EXPECT_EQ(SendProtected("807A2001 01 00"), "6A86");
    EXPECT_EQ(SendProtected("807A1002 01 00"), "6A86");
    EXPECT_EQ(SendProtected("80780000"), "6A86");
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    Authenticate(Level::None);
    EXPECT_EQ(Send("807A1001 01 00"), "6985");
    options.channelOption = 0x30;
    Restart();
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("807A3001 01 00"), "6A86");
    options.channelOption = 0x10;
    Restart();
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("807A1001 01 00"), "6D00");
    EXPECT_EQ(SendProtected("80780003"), "6D00");
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
}
