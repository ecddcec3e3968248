// SPDX-License-Identifier: Apache-2.0
// The forms and the kinds of keys. Clauses are those of GlobalPlatform Card 2.3.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class KeyForms : public CardDesk {
protected:
    KeyForms() { Authenticate(); }

    std::string Put(const std::string& parameters, const std::string& data) {
        const std::size_t size = data.size() / 2;
        return Send(
            "80D8" + parameters +
            GlobalPlatform::HexText(GlobalPlatform::BigEndian(size, size > 255 ? 3 : 1)) + data);
    }

    // The list of keys behind those that a card has at first.
    std::string Added() { return Send("80CA00E0 000000").substr(4 + 36); }

    static std::string Repeated(const char* byte, int count) {
        std::string text;
        for (int at = 0; at < count; ++at) {
            text += byte;
        }
        return text;
    }
};

constexpr char NewKey[] = "505152535455565758595A5B5C5D5E5F";

}  // namespace

// 11.8.2.3.2: with the length in front of the encrypted key and without it; told apart by the component's
// own. Worked out with the command line of OpenSSL 3.0: `openssl enc -aes-128-cbc -nopad` under 40..4F with a
// vector of zeros, and the check value by `openssl enc -aes-128-ecb -nopad` over sixteen bytes 01.
TEST_F(KeyForms, HaveALengthInFrontOrNone) {
    EXPECT_EQ(Put("0004", "30881110C62E5212589B9EAF19AE940D03C3B7C203F2A8DF"), "30F2A8DF9000");
    EXPECT_EQ(Put("0005", "308810C62E5212589B9EAF19AE940D03C3B7C203F2A8DF"), "30F2A8DF9000");
    EXPECT_EQ(Added(), "C00404308810C004053088109000");
}

// AES-192 needs its length in front; 256 does not.
TEST_F(KeyForms, AreOfEveryLengthOfAes) {
    const std::string longer = std::string(NewKey) + "606162636465666768696A6B6C6D6E6F";
    const auto checkValue = [&](std::size_t size) {
        return GlobalPlatform::HexText(
            GlobalPlatform::AesKeyCheckValue(GlobalPlatform::First(FromHex(longer), size)));
    };
    EXPECT_EQ(
        StatusIn(
            Put("0001",
                "30"
                "882118" +
                    Encrypted(longer) + "03" + checkValue(24))),
        "9000");
    EXPECT_EQ(
        StatusIn(
            Put("0002",
                "30"
                "882120" +
                    Encrypted(longer) + "03" + checkValue(32))),
        "9000");
    EXPECT_EQ(
        StatusIn(
            Put("0003",
                "30"
                "8820" +
                    Encrypted(longer) + "03" + checkValue(32))),
        "9000");
    EXPECT_EQ(Added(), "C00401308818C00402308820C004033088209000");
    EXPECT_EQ(StatusOf("80503000 08 0102030405060708 00"), "6A88");  // no set of one length, AD 6.1
}

// 11.8.2.3.3: a key is not replaced by one of another kind.
TEST_F(KeyForms, StayWhenTheyAreReplaced) {
    const std::string longer = std::string(NewKey) + NewKey;
    const std::string checkValue = GlobalPlatform::HexText(GlobalPlatform::AesKeyCheckValue(FromHex(longer)));
    EXPECT_EQ(StatusIn(Put("0004", "30" + KeyField(NewKey))), "9000");
    EXPECT_EQ(
        Put("3004",
            "30"
            "8820" +
                Encrypted(longer) + "03" + checkValue),
        "6A80");
    EXPECT_EQ(StatusIn(Put("3004", "30" + KeyField("00112233445566778899AABBCCDDEEFF"))), "9000");
}

// 11.8.2.3.1 and table 11-78: the check value of DES and AES is there, and right; other kinds have none.
TEST_F(KeyForms, HaveTheCheckValueOfTheirKind) {
    const std::string key = "8810" + Encrypted(NewKey);
    EXPECT_EQ(Put("0004", "30" + key + "00"), "6A80");
    EXPECT_EQ(Put("0004", "30" + key + "02F2A8"), "6A80");
    EXPECT_EQ(Put("0004", "30" + key + "03F2A8DE"), "6982");
    EXPECT_EQ(
        Put("0004",
            "30"
            "8510" +
                Encrypted(NewKey) + "03F2A8DF"),
        "6A80");
    EXPECT_EQ(
        Put("0004",
            "30"
            "8510" +
                Encrypted(NewKey) + "00"),
        "309000");
    EXPECT_EQ(Put("0005", "30" + key + "03F2A8DF"), "30F2A8DF9000");
}

// B.6: the check value of DES, here of 40..4F under DES-EDE over zeros.
TEST_F(KeyForms, AreOfDesToo) {
    const std::string des = Encrypted("404142434445464748494A4B4C4D4E4F");
    EXPECT_EQ(
        Put("0001",
            "73"
            "8010" +
                des + "038BAF47"),
        "738BAF479000");
    EXPECT_EQ(
        Put("0002",
            "73"
            "8010" +
                des + "038BAF48"),
        "6982");
    EXPECT_EQ(Added(), "C004017380109000");
    EXPECT_EQ(StatusOf("80507300 08 0102030405060708 00"), "6A88");
}

// 11.8.2.3.4 and 11.3.3.1.1: public components are clear, and 80 is a length of 128.
TEST_F(KeyForms, AreOfRsaWithTheirComponents) {
    EXPECT_EQ(
        Put("0001",
            "73"
            "A180" +
                Repeated("C1", 128) +
                "A003010001"
                "00"),
        "739000");
    EXPECT_EQ(Added(), "C0060173A180A0039000");
    EXPECT_EQ(
        Put("0002",
            "73"
            "A1820100" +
                Repeated("C1", 256) +
                "A003010001"
                "00"),
        "739000");
    EXPECT_EQ(Added(), "C0060173A180A003C0060273A100A0039000");
}

// The same, of what is no such key.
TEST_F(KeyForms, AreOfRsaWithBothComponentsInTheirOrder) {
    EXPECT_EQ(
        Put("0003",
            "73"
            "A003010001"
            "A180" +
                Repeated("C1", 128) + "00"),
        "6A80");  // another order
    EXPECT_EQ(
        Put("0003",
            "73"
            "A180" +
                Repeated("C1", 128) + "00"),
        "6A80");  // half a key
    EXPECT_EQ(
        Put("0003",
            "73"
            "A18180" +
                Repeated("C1", 128) +
                "A003010001"
                "00"),
        "739000");
    EXPECT_EQ(
        Put("0004",
            "73"
            "A1810F" +
                Repeated("C1", 15) +
                "A003010001"
                "00"),
        "6A80");  // too long a length
}

// 11.8.2.3.5: a point on a named curve; its private key is encrypted.
TEST_F(KeyForms, AreOfCurvesWithTheirReference) {
    EXPECT_EQ(
        Put("0001",
            "70"
            "B04104" +
                Repeated("D1", 64) +
                "F00100"
                "00"),
        "709000");
    EXPECT_EQ(Added(), "C0060170B040F0009000");
    EXPECT_EQ(
        Put("0002",
            "70"
            "B120" +
                Encrypted(Repeated("D2", 32)) +
                "F00100"
                "00"),
        "709000");
    EXPECT_EQ(Added(), "C0060170B040F000C0060270B120F0009000");
}

// 11.8.2.3.1: the extended format tells what a key is for, and the list repeats it.
TEST_F(KeyForms, TellTheirUseInTheExtendedFormat) {
    EXPECT_EQ(
        Put("0001",
            "70"
            "FF8810" +
                Encrypted(NewKey) +
                "03F2A8DF"
                "0181"
                "0101"),
        "70F2A8DF9000");
    EXPECT_EQ(
        Added(),
        "C00A0170FF8800100181"
        "01019000");
    EXPECT_EQ(
        Put("0002",
            "70"
            "FF8810" +
                Encrypted(NewKey) +
                "03F2A8DF"
                "0181"),
        "6A80");
    EXPECT_EQ(
        Put("0002",
            "70"
            "FF8810" +
                Encrypted(NewKey) + "8810" + Encrypted(NewKey) +
                "03F2A8DF"
                "00"
                "00"),
        "6A80");
}

// 11.8.2.2: identifiers from 00 on; several follow each other.
TEST_F(KeyForms, HaveIdentifiersFromZero) {
    EXPECT_EQ(Put("0080", "70" + KeyField(NewKey) + KeyField(NewKey)), "70F2A8DFF2A8DF9000");
    EXPECT_EQ(Added(), "C00400708810C004017088109000");
    EXPECT_EQ(Send("80E40000 06 D00100 D20170"), "009000");
    EXPECT_EQ(Added(), "C004017088109000");
}
