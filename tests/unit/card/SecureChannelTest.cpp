// SPDX-License-Identifier: Apache-2.0
// A secure channel: how it begins, what it protects and how it ends.
#include "tests/unit/card/CardDesk.h"

namespace {

class SecureChannel : public CardDesk {};

constexpr char ListIssuer[] = "80F28000 02 4F00 00";
constexpr char IssuerEntry[] = "08A0000001510000000F9E9000";

}  // namespace

TEST_F(SecureChannel, BeginsWithAnAnswerOf32Bytes) {
    const std::string response = Send("80500000 08 0102030405060708 00");
    ASSERT_EQ(response.size(), 2 * (32 + 2U));
    EXPECT_EQ(response.substr(0, 20), "4F525731506100C0FFEE");
    EXPECT_EQ(response.substr(20, 6), "010310");
    EXPECT_EQ(response.substr(58), "0000019000");
    EXPECT_EQ(Send("80500000 08 0102030405060708 00").substr(58), "0000029000");
    EXPECT_EQ(Send("80CA00C100"), "C1030000029000");
}

// Worked out with the command line of OpenSSL 3.0 alone. Each derivation is
//   openssl mac -cipher AES-128-CBC -macopt hexkey:KEY -in INPUT CMAC
// over eleven zeros, the constant, 00, the number of bits, the counter 01 and the context: the key 40..4F for
// the challenge (constant 02, context 000001 A000000151000000), S-ENC (04) and S-MAC (06), S-MAC for the
// cryptograms (00, 01). Then the code over sixteen zeros and the command, and for encryption `openssl enc
// -aes-128-cbc -nopad` under S-ENC with the vector `openssl enc -aes-128-ecb` gives for the counter 1.
TEST_F(SecureChannel, AgreesWithBytesThatAnotherProgramWorkedOut) {
    EXPECT_EQ(
        Send("80500000 08 0102030405060708 00"),
        "4F525731506100C0FFEE01031086C8BD65FA1044EE6FC51322827B87710000019000");
    EXPECT_EQ(Send("84820300 10 413C192ED53487215A6CFBBEA04C104C"), "9000");
    EXPECT_EQ(Send("84F28000 18 66F93C0DED39323F73E2B88D9713CEC3FD021E1E7E55F6EB 00"), IssuerEntry);
}

TEST_F(SecureChannel, OpensAtEachLevel) {
    for (const Level wanted : {Level::None, Level::CommandMac, Level::CommandMacAndDecryption}) {
        Authenticate(wanted);
        EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
        EXPECT_EQ(StatusIn(SendProtected("80CA9F7F00")), "9000");
        EXPECT_EQ(StatusIn(SendProtected("00CA006600")), "9000");
        EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
    }
}

TEST_F(SecureChannel, CarriesExtendedLengths) {
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("80E29000 00012E 5F50 82012A" + std::string(2 * 0x129, 'A')), "6A80");
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("80E29000 00012F 5F50 82012A" + std::string(2 * 0x12A, 'A')), "9000");
    Authenticate(Level::CommandMac);
    const std::string stored = SendProtected("80CA5F50 000000");
    EXPECT_EQ(stored.size(), 2 * (2 + 3 + 0x12A + 2U));
}

TEST_F(SecureChannel, ChallengesAnewEachTime) {
    const std::string first = Send("80500000 08 0102030405060708 00");
    const std::string second = Send("80500000 08 0102030405060708 00");
    EXPECT_EQ(first.substr(0, 26), second.substr(0, 26));
    EXPECT_NE(first.substr(26, 16), second.substr(26, 16));
    EXPECT_NE(first.substr(42, 16), second.substr(42, 16));
}

TEST_F(SecureChannel, BeginsOnlyWithKeysThatTheCardHas) {
    EXPECT_EQ(StatusOf("80500100 08 0102030405060708 00"), "9000");
    EXPECT_EQ(Send("80500200 08 0102030405060708 00"), "6A88");
    EXPECT_EQ(Send("80500001 08 0102030405060708 00"), "6A86");
    EXPECT_EQ(Send("80500000 07 01020304050607 00"), "6700");
    EXPECT_EQ(Send("80500000"), "6700");
    EXPECT_EQ(Send("00500000 08 0102030405060708 00"), "6E00");
    EXPECT_EQ(Send("84500000 08 0102030405060708 00"), "6E00");
}

TEST_F(SecureChannel, OpensOnlyRightBehindAChallenge) {
    EXPECT_EQ(Send("84820000 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6985");
    Initialize();
    const std::string late = Authentication();
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    EXPECT_EQ(Send(late), "6985");
    Initialize();
    const std::string right = Authentication();
    EXPECT_EQ(Send(right), "9000");
    EXPECT_EQ(Send(right), "6982");
    EXPECT_EQ(Send(ListIssuer), "6982");
}

TEST_F(SecureChannel, RefusesAWrongCryptogramAndAWrongCode) {
    Initialize();
    hostCryptogram[3] ^= 1;
    EXPECT_EQ(Send(Authentication()), "6300");
    EXPECT_EQ(Send(ListIssuer), "6982");
    Initialize();
    std::string wrongCode = Authentication();
    wrongCode.back() = wrongCode.back() == '0' ? '1' : '0';
    EXPECT_EQ(Send(wrongCode), "6982");
    EXPECT_EQ(Send(ListIssuer), "6982");
}

TEST_F(SecureChannel, RefusesAnAuthenticationOfTheWrongShape) {
    const auto afterChallenge = [&](const std::string& command) {
        Initialize();
        return Send(command);
    };
    EXPECT_EQ(afterChallenge("80820000 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6E00");
    for (const char* wanted : {"02", "04", "10", "11", "13", "33", "80"}) {
        EXPECT_EQ(
            afterChallenge(std::string("8482") + wanted + "00 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6A86");
    }
    EXPECT_EQ(afterChallenge("84820001 10 A1A2A3A4A5A6A7A8 B1B2B3B4B5B6B7B8"), "6A86");
    EXPECT_EQ(afterChallenge("84820000 08 A1A2A3A4A5A6A7A8"), "6700");
    Authenticate();  // none of these counted as a failure that stays
}

TEST_F(SecureChannel, EndsWithACommandThatIsNotProtected) {
    for (const char* command :
         {"80F28000024F00", "80CA9F7F00", "84F28000 0A 4F00 C1C2C3C4C5C6C7C8", "84F2800000"}) {
        for (const Level wanted : {Level::CommandMac, Level::CommandMacAndDecryption}) {
            Authenticate(wanted);
            EXPECT_EQ(Send(command), "6982") << command;
            EXPECT_EQ(SendProtected(ListIssuer), "6982") << command;
        }
    }
}

TEST_F(SecureChannel, EndsWithAProtectionThatWasNotAgreed) {
    Authenticate(Level::None);
    EXPECT_EQ(Send("84F28000 0A 4F00 C1C2C3C4C5C6C7C8"), "6982");
    EXPECT_EQ(Send(ListIssuer), "6982");
}

TEST_F(SecureChannel, EndsWithACommandThatComesAgain) {
    Authenticate(Level::CommandMacAndDecryption);
    const std::string once = Protected(ListIssuer);
    EXPECT_EQ(Send(once), IssuerEntry);
    EXPECT_EQ(Send(once), "6982");
    EXPECT_EQ(SendProtected(ListIssuer), "6982");
}

TEST_F(SecureChannel, GoesOnAfterACommandThatIsRefusedForItsContent) {
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("80F24000 02 4F00 00"), "6A88");
    EXPECT_EQ(SendProtected("80E40000 09 4F07A0000009990001"), "6A82");
    EXPECT_EQ(SendProtected("80E20000"), "9000");
    EXPECT_EQ(SendProtected(ListIssuer), IssuerEntry);
}

TEST_F(SecureChannel, EndsWithAnotherThatBegins) {
    Authenticate(Level::CommandMac);
    EXPECT_EQ(StatusOf("80500000 08 0102030405060708 00"), "9000");
    EXPECT_EQ(SendProtected(ListIssuer), "6982");
}

TEST_F(SecureChannel, IsBlockedForEverAfterRepeatedFailure) {
    options.authenticationAttempts = 3;
    Restart();
    const auto fail = [&] {
        Initialize();
        hostCryptogram[0] ^= 1;
        return Send(Authentication());
    };
    EXPECT_EQ(fail(), "6300");
    EXPECT_EQ(fail(), "6300");
    Authenticate();  // the count begins anew
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_EQ(fail(), "6300");
    }
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6983");
    card->Reset();
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6983");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
}

TEST_F(SecureChannel, UsesTheKeysOfTheOptions) {
    options.keys = {
        FromHex("000102030405060708090A0B0C0D0E0F"), FromHex("101112131415161718191A1B1C1D1E1F"),
        FromHex("202122232425262728292A2B2C2D2E2F")};
    options.keyVersion = 0x30;
    hostKeys = options.keys;
    Restart();
    Authenticate(Level::CommandMacAndDecryption, 0x30);
    EXPECT_EQ(SendProtected("80CA00E000"), "E012C00401308810C00402308810C004033088109000");
}
