// SPDX-License-Identifier: Apache-2.0
// A session at level 33 with keys of each length, byte for byte, and the rules of levels and options;
// GlobalPlatform Card, Amendment D 1.1.1.
//
// Worked out with the command line of OpenSSL 3.0 alone: the derivations of 4.1.5 by `openssl mac -cipher
// AES-n-CBC ... CMAC` over eleven zeros, the constant, 00, the number of bits, 01 (and 02) and the context;
// the codes likewise over the chaining value and the command, or the response; vectors by `openssl enc
// -aes-n-ecb -nopad` and data by `openssl enc -aes-n-cbc -nopad`. The host's challenge is 01..08, the counter
// 000001, the application A000000151000000.
#include <gtest/gtest.h>

#include <ostream>

#include "globalplatform/Scp03.h"

using namespace GlobalPlatform;

namespace {

struct SessionVector {
    const char* title;
    const char* encryption;
    const char* mac;
    const char* challenge;
    const char* cardCryptogram;
    const char* hostCryptogram;
    const char* sessionEncryption;
    const char* sessionMac;
    const char* sessionResponseMac;
    const char* authenticate;
    const char* list;
    const char* listResponse;
    const char* read;
    const char* readResponse;
};

void PrintTo(const SessionVector& vector, std::ostream* stream) {
    *stream << vector.title;
}

const SessionVector Vectors[] = {
    {"AES128", "404142434445464748494A4B4C4D4E4F", "404142434445464748494A4B4C4D4E4F", "86C8BD65FA1044EE",
     "6FC51322827B8771", "413C192ED5348721", "FD4458F327254A470F539C15AA819F0D",
     "1C7F0E197F7260F8672B6F436BE8782B", "34411F08237122307D41C68FA049E05C",
     "8482330010413C192ED53487212C27C7714EBABEB8",
     "84F280021866F93C0DED39323F73E2B88D9713CEC39CEAF89102934AA700",
     "4A61133BAA1EDB8AF3E655C39819C8B572841DA8D40DFBFFBDF5746DEA32D1FA91D01AA1B79BF64C",
     "84CA00C108B6DA5A21D43DDCFF00", "18CD27A9A2B07C8245A067461946ED0C7308D23C027A537E"},
    {"AES192", "000102030405060708090A0B0C0D0E0F1011121314151617",
     "202122232425262728292A2B2C2D2E2F3031323334353637", "B9C58A82A65A1E23", "54D456B99FB61A1B",
     "13FF5541469EE47C", "0A7081384517F1D5E853ECAFEF25E2FCC3BA6002F57425F4",
     "A44875F7A440045773E9AC4F07D6B0F7DB343B2042A2F6F6", "682C870694566E847DE39D6F3AE80AFBA747E175A4343350",
     "848233001013FF5541469EE47C84C5B5EE07B133D6",
     "84F2800218A40F0E8A5C2BB8F5C10F812E05CD199FE0E0E491DAA091CE00",
     "CE29D7DCEDA97597562AF393AA30D562C186476B0DF1A0A081BF299C4A84BC58D2ED6A329A129EA8",
     "84CA00C108F7D15B181C84603800", "7A16F03AF912FEFFA00860026BAEBDF4EF13A036E7A5D953"},
    {"AES256", "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F",
     "202122232425262728292A2B2C2D2E2F303132333435363738393A3B3C3D3E3F", "728FAB33EDE3EED7",
     "EC6572A288716015", "E83D5B988761F001",
     "0F141E83A0921D78A0D37E89C3B6BB39FD200ABDE470E8FC6A08FD44A74819DD",
     "1025C7AA73D48CC42F37365B4516B8D592E3133D54B26FFC61DACB0BB8512D92",
     "B981EC32D5422DA0027E5481CEFC366851900D784E9FC0845FDA640B5AC354D0",
     "8482330010E83D5B988761F00127E9F997C59EC8AC",
     "84F28002181762A46FC267BDDB45F7AFF61E09F0BD3BBC73B713B421E100",
     "8F7560EF3F62721E516B3852EAE568E8432A2CD4141216AC11BD06572C93C0161027610F46DAB4FC",
     "84CA00C1083D5D63BC05EE9A9F00", "D5FF925FAA4B0096C532F79CBFF412703696DBAF7E9CDC73"},
};

constexpr char IssuerEntry[] = "E3134F08A0000001510000009F70010FC5039EFE80";

Bytes Hex(const std::string& text) {
    return FromHexText(text).value();
}

class Scp03Vectors : public ::testing::TestWithParam<SessionVector> {
protected:
    Scp03Vectors()
        : staticKeys{Hex(GetParam().encryption), Hex(GetParam().mac), {}},
          keys(DeriveSessionKeys(staticKeys, hostChallenge, Hex(GetParam().challenge))) {}

    std::string Wrapped(SecureMessaging& host, const std::string& command) const {
        return HexText(EncodeCommand(host.Wrap(ParseCommand(Hex(command)).value(), level)));
    }

    const SecurityLevel level = SecurityLevel::BothEncrypted;
    const Bytes hostChallenge = Hex("0102030405060708");
    const StaticKeys staticKeys;
    const SessionKeys keys;
};

}  // namespace

// 6.2.1 and 6.2.2: AES-192 and 256 need two blocks.
TEST_P(Scp03Vectors, AreDerivedFromTheKeys) {
    const Bytes challenge = Hex(GetParam().challenge);
    EXPECT_EQ(
        HexText(DeriveCardChallenge(staticKeys.encryption, Hex("000001"), Hex("A000000151000000"))),
        GetParam().challenge);
    EXPECT_EQ(HexText(keys.encryption), GetParam().sessionEncryption);
    EXPECT_EQ(HexText(keys.commandMac), GetParam().sessionMac);
    EXPECT_EQ(HexText(keys.responseMac), GetParam().sessionResponseMac);
    EXPECT_EQ(HexText(CardCryptogram(keys, hostChallenge, challenge)), GetParam().cardCryptogram);
    EXPECT_EQ(HexText(HostCryptogram(keys, hostChallenge, challenge)), GetParam().hostCryptogram);
}

// 6.2.4 to 6.2.7: commands and responses with codes, encrypted; the host's end.
TEST_P(Scp03Vectors, ProtectCommandsAndOpenResponses) {
    SecureMessaging host(keys);
    EXPECT_EQ(Wrapped(host, std::string("8082330008") + GetParam().hostCryptogram), GetParam().authenticate);
    EXPECT_EQ(Wrapped(host, "80F28002024F0000"), GetParam().list);
    const auto entry = host.UnwrapResponse(Hex(GetParam().listResponse), 0x9000, level);
    ASSERT_TRUE(entry);
    EXPECT_EQ(HexText(*entry), IssuerEntry);
    EXPECT_EQ(Wrapped(host, "80CA00C100"), GetParam().read);
    const auto counter = host.UnwrapResponse(Hex(GetParam().readResponse), 0x9000, level);
    ASSERT_TRUE(counter);
    EXPECT_EQ(HexText(*counter), "C103000001");
}

// The card's end.
TEST_P(Scp03Vectors, OpenCommandsAndProtectResponses) {
    SecureMessaging card(keys);
    EXPECT_TRUE(card.Unwrap(ParseCommand(Hex(GetParam().authenticate)).value(), level));
    const auto list = card.Unwrap(ParseCommand(Hex(GetParam().list)).value(), level);
    ASSERT_TRUE(list);
    EXPECT_EQ(HexText(EncodeCommand(*list)), "80F28002024F0000");
    EXPECT_EQ(HexText(card.WrapResponse(Hex(IssuerEntry), 0x9000, level)), GetParam().listResponse);
    EXPECT_TRUE(card.Unwrap(ParseCommand(Hex(GetParam().read)).value(), level));
    EXPECT_EQ(HexText(card.WrapResponse(Hex("C103000001"), 0x9000, level)), GetParam().readResponse);
}

INSTANTIATE_TEST_SUITE_P(
    EachLength, Scp03Vectors, ::testing::ValuesIn(Vectors),
    [](const ::testing::TestParamInfo<SessionVector>& tested) { return tested.param.title; });

namespace {

// The host's and the card's end behind EXTERNAL AUTHENTICATE and one command without data.
struct BothEnds {
    explicit BothEnds(SecurityLevel wanted) : level(wanted) {
        for (const char* command : {"80823300081122334455667788", "80CA006600"}) {
            EXPECT_TRUE(card.Unwrap(host.Wrap(ParseCommand(Hex(command)).value(), level), level));
        }
    }

    const SecurityLevel level;
    const SessionKeys keys =
        DeriveSessionKeys({Bytes(16, 1), Bytes(16, 2), Bytes(16, 3)}, Bytes(8, 4), Bytes(8, 5));
    SecureMessaging host{keys};
    SecureMessaging card{keys};
};

}  // namespace

// 6.2.5 and 6.2.7: no data is not encrypted; the status word and every byte count.
TEST(Responses, AreProtectedAsTheirLevelHasIt) {
    const Bytes data = Hex("0102030405060708090A0B0C0D0E0F10");
    const BothEnds plain(SecurityLevel::CommandMacAndDecryption);
    EXPECT_EQ(plain.card.WrapResponse(data, 0x9000, plain.level), data);
    EXPECT_EQ(plain.host.UnwrapResponse(data, 0x9000, plain.level), data);
    for (const SecurityLevel level :
         {SecurityLevel::CommandAndResponseMac, SecurityLevel::DecryptionAndResponseMac,
          SecurityLevel::BothEncrypted}) {
        const BothEnds ends(level);
        const bool encrypted = level == SecurityLevel::BothEncrypted;
        EXPECT_EQ(ends.card.WrapResponse({}, 0x9000, level).size(), 8U);
        EXPECT_EQ(
            ends.host.UnwrapResponse(ends.card.WrapResponse({}, 0x9000, level), 0x9000, level), Bytes());
        const Bytes wrapped = ends.card.WrapResponse(data, 0x6310, level);
        EXPECT_EQ(wrapped.size(), encrypted ? 40U : 24U);
        EXPECT_EQ(ends.host.UnwrapResponse(wrapped, 0x6310, level), data);
        EXPECT_FALSE(ends.host.UnwrapResponse(wrapped, 0x9000, level));
        EXPECT_FALSE(ends.host.UnwrapResponse(First(wrapped, 7), 0x6310, level));
        for (std::size_t at = 0; at < wrapped.size(); ++at) {
            Bytes changed = wrapped;
            changed[at] ^= 0x10;
            EXPECT_FALSE(ends.host.UnwrapResponse(changed, 0x6310, level)) << at;
        }
    }
}

// 5.1: what encrypts responses gives them codes; 7.1.2: a level within what the option is able to.
TEST(ChannelOptions, AreSixWithTheirLevels) {
    std::string options;
    for (int option = 0; option < 256; ++option) {
        const auto byte = static_cast<std::uint8_t>(option);
        if (!IsChannelOption(byte)) {
            continue;
        }
        options += HexText({byte}) + ":";
        for (int level = 0; level < 256; ++level) {
            if (IsSecurityLevel(static_cast<std::uint8_t>(level), byte)) {
                options += HexText({static_cast<std::uint8_t>(level)}) + ",";
            }
        }
    }
    EXPECT_EQ(
        options,
        "00:00,01,03,10:00,01,03,20:00,01,03,11,13,30:00,01,03,11,13,"
        "60:00,01,03,11,13,33,70:00,01,03,11,13,33,");
}
