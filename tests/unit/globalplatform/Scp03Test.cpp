// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Scp03.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "globalplatform/Aes.h"

using namespace GlobalPlatform;

namespace {

struct DerivationVector {
    std::size_t bits;
    const char* key;
    const char* before;
    const char* after;
    const char* derived;
};

Bytes Hex(const char* text) {
    return FromHexText(text).value();
}

const StaticKeys TestKeys = {
    Hex("404142434445464748494A4B4C4D4E4F"), Hex("505152535455565758595A5B5C5D5E5F"),
    Hex("606162636465666768696A6B6C6D6E6F")};
const Bytes HostChallenge = Hex("0102030405060708");
const Bytes CardChallenge = Hex("1112131415161718");

SessionKeys TestSession() {
    return DeriveSessionKeys(TestKeys, HostChallenge, CardChallenge);
}

// The input of a derivation, put together by hand.
Bytes Derivation(const char* constant, const char* length, const char* context) {
    return Hex((std::string("0000000000000000000000") + constant + "00" + length + "01" + context).c_str());
}

CommandApdu Command(const char* text) {
    return ParseCommand(Hex(text)).value();
}

std::string Text(const CommandApdu& command) {
    return HexText(EncodeCommand(command));
}

// A channel on both sides, with EXTERNAL AUTHENTICATE behind them.
struct Channel {
    Channel() {
        const CommandApdu authenticate = Command("80820300081122334455667788");
        EXPECT_TRUE(
            card.Unwrap(host.Wrap(authenticate, SecurityLevel::CommandMac), SecurityLevel::CommandMac));
    }

    SecureMessaging host{TestSession()};
    SecureMessaging card{TestSession()};
};

}  // namespace

// NIST CAVS 14.4, SP 800-108 in counter mode, CMAC_AES128, MIDDLE_FIXED, 8 bits.
TEST(CounterModeDerivation, AgreesWithThePublishedVectors) {
    const DerivationVector vectors[] = {
        {128, "b6e04abd1651f8794d4326f4c684e631",
         "93612f7256c46a3d856d3e951e32dbf15fe11159d0b389ad38d603850fee6d18d22031435ed36ee20da76745fbea4b10fe1"
         "e",
         "99322aae605a5f01e32b", "dcb1db87a68762c6b3354779fa590bef"},
        {128, "f1e71b1dd502aad84728834bfcdb281c",
         "f9df43aaafc930f8b2a45a4bf6fb1e0f51237d4d4c2768304b407b7816e77eadab3030fd2cb21c619be5540250579f275a1"
         "9",
         "2d965ea59a8b6cc432ad", "f405141e34dd81817c7b608fab372e6a"},
    };
    for (const DerivationVector& each : vectors) {
        EXPECT_EQ(
            HexText(DeriveInCounterMode(Hex(each.key), Hex(each.before), Hex(each.after), each.bits)),
            HexText(Hex(each.derived)));
    }
}

TEST(CounterModeDerivation, RefusesMoreThanItsCounterReaches) {
    EXPECT_EQ(DeriveInCounterMode(Bytes(16), {}, {}, 255 * 128).size(), 255U * 16);
    EXPECT_THROW(static_cast<void>(DeriveInCounterMode(Bytes(16), {}, {}, 256 * 128)), std::length_error);
}

TEST(Scp03, DerivesItsSessionKeysFromBothChallenges) {
    const char* context = "01020304050607081112131415161718";
    const SessionKeys keys = TestSession();
    EXPECT_EQ(keys.encryption, AesCmac(TestKeys.encryption, Derivation("04", "0080", context)));
    EXPECT_EQ(keys.commandMac, AesCmac(TestKeys.mac, Derivation("06", "0080", context)));
}

TEST(Scp03, HasCryptogramsOfEightBytesUnderTheKeyForCodes) {
    const char* context = "01020304050607081112131415161718";
    const SessionKeys keys = TestSession();
    EXPECT_EQ(
        CardCryptogram(keys, HostChallenge, CardChallenge),
        First(AesCmac(keys.commandMac, Derivation("00", "0040", context)), 8));
    EXPECT_EQ(
        HostCryptogram(keys, HostChallenge, CardChallenge),
        First(AesCmac(keys.commandMac, Derivation("01", "0040", context)), 8));
}

TEST(Scp03, DerivesAPseudoRandomChallengeFromCounterAndAid) {
    EXPECT_EQ(
        DeriveCardChallenge(TestKeys.encryption, Hex("00002A"), Hex("A000000151000000")),
        First(AesCmac(TestKeys.encryption, Derivation("02", "0040", "00002AA000000151000000")), 8));
}

TEST(SecureMessaging, PutsTheCodeOverChainHeaderLengthAndData) {
    SecureMessaging host(TestSession());
    const CommandApdu wrapped = host.Wrap(Command("80820300081122334455667788"), SecurityLevel::CommandMac);
    const Bytes code =
        AesCmac(TestSession().commandMac, Hex("0000000000000000000000000000000084820300101122334455667788"));
    EXPECT_EQ(Text(wrapped), "84820300101122334455667788" + HexText(First(code, 8)));

    Bytes second = code;
    Append(second, Hex("84F280020A4F00"));
    EXPECT_EQ(
        Text(host.Wrap(Command("80F28002024F0000"), SecurityLevel::CommandMac)),
        "84F280020A4F00" + HexText(First(AesCmac(TestSession().commandMac, second), 8)) + "00");
}

TEST(SecureMessaging, EncryptsUnderACounterThatCommandsWithoutDataMoveToo) {
    Channel channel;
    const SecurityLevel level = SecurityLevel::CommandMacAndDecryption;
    static_cast<void>(channel.host.Wrap(Command("80CA006600"), level));
    const Bytes vector = AesEncryptBlock(TestSession().encryption, Hex("00000000000000000000000000000002"));
    const CommandApdu wrapped = channel.host.Wrap(Command("80E2800003AABBCC"), level);
    EXPECT_EQ(wrapped.data.size(), 16U + 8);
    EXPECT_EQ(
        First(wrapped.data, 16),
        AesEncryptCbc(TestSession().encryption, vector, Hex("AABBCC80000000000000000000000000")));
}

TEST(SecureMessaging, GivesEachCommandBackAsItWas) {
    Channel channel;
    const char* commands[] = {"80CA006600", "80F28002024F0000", "80E40000", "80E2000000000401020304"};
    for (const SecurityLevel level :
         {SecurityLevel::CommandMacAndDecryption, SecurityLevel::CommandMac, SecurityLevel::None}) {
        for (const char* command : commands) {
            const auto received = channel.card.Unwrap(
                ParseCommand(EncodeCommand(channel.host.Wrap(Command(command), level))).value(), level);
            ASSERT_TRUE(received) << command;
            EXPECT_EQ(Text(*received), command);
        }
    }
}

TEST(SecureMessaging, RefusesWhatWasChangedOnItsWay) {
    for (std::size_t at = 0; at < 24; ++at) {
        Channel channel;
        Bytes sent = EncodeCommand(
            channel.host.Wrap(Command("80E2800003AABBCC"), SecurityLevel::CommandMacAndDecryption));
        sent[at == 4 ? 3 : at] ^= at == 0 ? 0x08 : 0x01;
        EXPECT_FALSE(channel.card.Unwrap(ParseCommand(sent).value(), SecurityLevel::CommandMacAndDecryption))
            << at;
    }
}

TEST(SecureMessaging, RefusesACommandThatComesTwiceOrWithoutACode) {
    Channel channel;
    const CommandApdu wrapped = channel.host.Wrap(Command("80E2800003AABBCC"), SecurityLevel::CommandMac);
    EXPECT_TRUE(channel.card.Unwrap(wrapped, SecurityLevel::CommandMac));
    EXPECT_FALSE(channel.card.Unwrap(wrapped, SecurityLevel::CommandMac));
    EXPECT_FALSE(channel.card.Unwrap(Command("84E28000"), SecurityLevel::CommandMac));
    EXPECT_FALSE(channel.card.Unwrap(Command("80E28000080102030405060708"), SecurityLevel::CommandMac));
}

TEST(SecureMessaging, GrowsIntoExtendedLengthsAndRefusesWhatHasNoRoom) {
    Channel channel;
    CommandApdu command = Command("80E28000");
    command.data = Bytes(250, 0x5A);
    const CommandApdu wrapped = channel.host.Wrap(command, SecurityLevel::CommandMacAndDecryption);
    const auto received = channel.card.Unwrap(
        ParseCommand(EncodeCommand(wrapped)).value(), SecurityLevel::CommandMacAndDecryption);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->data, command.data);
    command.data = Bytes(65530, 0x5A);
    EXPECT_THROW(static_cast<void>(channel.host.Wrap(command, SecurityLevel::CommandMac)), std::length_error);
}
