// SPDX-License-Identifier: Apache-2.0
// Data and keys that STORE DATA brings, to the domain and to applications. Clauses are those of
// GlobalPlatform Card 2.3.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class Storing : public CardDesk {
protected:
    Storing() { Authenticate(); }

    std::string Store(const std::string& parameters, const std::string& data) {
        return Send("80E2" + parameters + Length(data) + data);
    }

    // The template of an AES key.
    static std::string Template(
        const std::string& identifier, const std::string& version, const std::string& checkValue) {
        return Tlv(
            "B9",
            "950118800188810110"
            "8201" +
                identifier + "8301" + version + "8403" + checkValue);
    }

    std::string GroupOf(const std::string& templates) const {
        return Tlv("00B9", GlobalPlatform::HexText(FromHex(templates)));
    }

    void InstallWallet() {
        LoadFile();
        InstallApplication();
    }

    static constexpr char Personalize[] = "80E62000 0E 00 00 08A000000999000102 00 00 00";
};

constexpr char NewKey[] = "505152535455565758595A5B5C5D5E5F";
constexpr char NewCheckValue[] = "F2A8DF";

}  // namespace

// 7.3.2: a personalization goes on whatever comes between, until its last block.
TEST_F(Storing, GoesToTheApplicationUntilTheLastBlock) {
    InstallWallet();
    EXPECT_EQ(Send(Personalize), "009000");
    EXPECT_EQ(StatusOf("80F28000 02 4F00 00"), "9000");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    EXPECT_EQ(Store("1000", "5F500141"), "9000");
    EXPECT_EQ(StatusOf("80F24000 02 4F00 00"), "9000");
    EXPECT_EQ(Store("9001", "450142"), "9000");
    EXPECT_EQ(Send("80CA5F5000"), "6A88");
    EXPECT_EQ(Send("80CA004500"), "4508506100C0FFEE00429000");  // the domain's own is as it was
    EXPECT_EQ(Store("9000", "450143"), "9000");
    EXPECT_EQ(Send("80CA004500"), "4501439000");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("80CA5F5000"), "5F5001419000");
    EXPECT_EQ(Send("80CA004500"), "4501429000");
}

// 7.3.2 and 11.11.2.2: a refused block begins the count anew, and the personalization is not over.
TEST_F(Storing, GoesOnToTheApplicationAfterARefusedBlock) {
    InstallWallet();
    EXPECT_EQ(Send(Personalize), "009000");
    EXPECT_EQ(Store("1000", "5F500141"), "9000");
    EXPECT_EQ(Store("1000", "5F500142"), "6A86");
    EXPECT_EQ(Store("1000", "5F500143"), "9000");
    EXPECT_EQ(Store("9001", "450141"), "9000");
    EXPECT_EQ(Send("80CA004500"), "4508506100C0FFEE00429000");
}

TEST_F(Storing, GoesToNobodyWhenTheApplicationHasGone) {
    InstallWallet();
    EXPECT_EQ(Send(Personalize), "009000");
    EXPECT_EQ(Send("80E40000 0A 4F08A000000999000102"), "009000");
    EXPECT_EQ(Store("1000", "450141"), "6985");
    InstallApplication();
    EXPECT_EQ(Send(Personalize), "009000");
    EXPECT_EQ(Send("80F04080 08 A000000999000102"), "9000");
    EXPECT_EQ(Store("1000", "450141"), "6985");
    EXPECT_EQ(Send("80CA004500"), "4508506100C0FFEE00429000");
}

// 7.3.2: another one ends it, and one that is refused begins none; 11.5.2.3.6.
TEST_F(Storing, IsPersonalizationOfOneApplicationAtATime) {
    InstallWallet();
    EXPECT_EQ(Send(Personalize), "009000");
    EXPECT_EQ(Send("80E62000 0E 00 00 08A000000999000109 00 00 00"), "6A88");
    EXPECT_EQ(Store("9000", "450141"), "9000");
    EXPECT_EQ(Send("80CA004500"), "4501419000");
    EXPECT_EQ(Send("80E62000 0F 00 00 08A000000999000102 0100 00 00"), "6A80");
}

// 11.11.3: BER-TLV inside DGI 0070.
TEST_F(Storing, TakesADomainsObjectsInTheirDataGroup) {
    EXPECT_EQ(
        Store(
            "8800", Tlv("0070",
                        "42020102"
                        "5F50024142")),
        "9000");
    EXPECT_EQ(Send("80CA004200"), "420201029000");
    EXPECT_EQ(Send("80CA5F5000"), "5F500241429000");
    EXPECT_EQ(Send("80CA007000"), "6A88");
    EXPECT_EQ(Store("8800", Tlv("0070", "4203")), "6A80");
    EXPECT_EQ(Store("8800", Tlv("0071", "420101")), "6A80");  // a group that a domain does not know
}

// 11.11.3.1: what the card generates is not stored; nor in part.
TEST_F(Storing, RefusesWhatTheCardGenerates) {
    for (const char* tag : {"C1", "C2", "D3", "E0", "CF", "2F00", "FF21", "9F7F"}) {
        EXPECT_EQ(Store("9000", Tlv(tag, "01")), "6A80") << tag;
        EXPECT_EQ(Store("8800", Tlv("0070", "420155" + Tlv(tag, "01"))), "6A80") << tag;
    }
    EXPECT_EQ(Send("80CA004200"), "420599990100019000");
}

// 11.11.3.1: 66 and 67 are the issuer's to set.
TEST_F(Storing, LetsTheIssuerTellWhatTheCardIs) {
    EXPECT_EQ(
        Store(
            "9000",
            "66027300"
            "670181"),
        "9000");
    EXPECT_EQ(Send("80CA006600"), "660273009000");
    EXPECT_EQ(Send("80CA006700"), "6701819000");
}

// 11.11.3.1 and AD 6.2.2.1: 4F renames the issuer domain, and challenges follow.
TEST_F(Storing, RenamesTheIssuerDomain) {
    InstallWallet();
    EXPECT_EQ(Store("9000", Tlv("4F", "A0000000030000")), "9000");
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "07A00000000300000F9E9000");  // the session goes on
    EXPECT_EQ(Send("80F24002 05 4F00 5C01CC 00"), "E309CC07A00000000300009000");
    EXPECT_EQ(Send("00A4040005A00000015100"), "6A82");
    EXPECT_EQ(Send("00A4040005A00000000300"), "6F0F8407A0000000030000A5049F6501FF9000");
    const Bytes response = FromHex(Send("80500000 08 0102030405060708 00"));
    EXPECT_EQ(
        Bytes(response.begin() + 13, response.begin() + 21),
        GlobalPlatform::DeriveCardChallenge(hostKeys.encryption, {0, 0, 2}, FromHex("A0000000030000")));
}

TEST_F(Storing, RefusesANameThatIsTakenOrNone) {
    InstallWallet();
    for (const char* aid :
         {"A0000000", "A00000000300000000000000000000000000", "A0000009990001", "A000000999000102"}) {
        EXPECT_EQ(Store("9000", Tlv("4F", aid)), "6A80") << aid;
    }
    EXPECT_EQ(Store("9000", Tlv("4F", "A000000151000000")), "9000");  // its own
}

// 11.11.4: DGI 00B9 announces keys, and 8113 brings each.
TEST_F(Storing, LoadsKeysInDataGroups) {
    const std::string templates = Template("01", "30", NewCheckValue) + Template("02", "30", NewCheckValue) +
                                  Template("03", "30", NewCheckValue);
    const std::string value = Tlv("8113", Encrypted(NewKey));
    EXPECT_EQ(Store("0800", GroupOf(templates)), "9000");
    EXPECT_EQ(Store("6801", value + value), "9000");
    EXPECT_EQ(Send("80CA00E000").find("C009013"), std::string::npos);
    EXPECT_EQ(Store("E802", value), "9000");
    hostKeys = {FromHex(NewKey), FromHex(NewKey), FromHex(NewKey)};
    Authenticate(Level::CommandMacAndDecryption, 0x30);
    EXPECT_EQ(SendProtected("80CA00C100"), "C1030000019000");  // of the set of the lowest version
}

// Table 11-95 and those behind it: components are announced one by one, and their values follow in that
// order.
TEST_F(Storing, LoadsKeysOfSeveralComponents) {
    const std::string tail = "820101830173";
    const auto component = [&](const std::string& type, const std::string& length) {
        return Tlv("B9", "9501868001" + type + "8101" + length + tail);
    };
    const std::string modulus(256, 'C');
    EXPECT_EQ(
        Store(
            "8800", GroupOf(component("A1", "80") + component("A0", "03")) + Tlv("0010", modulus) +
                        Tlv("0011", "010001")),
        "9000");
    EXPECT_NE(Send("80CA00E000").find("C00D0173FFA10080FFA00003018600"), std::string::npos);
    const std::string point = "04" + std::string(128, 'A');
    const std::string curve = Tlv("B9", "8001F0850100");
    EXPECT_EQ(Send("80E40000 03 D20173"), "009000");
    EXPECT_EQ(Store("8800", GroupOf(component("B0", "41") + curve) + Tlv("0036", point)), "9000");
    EXPECT_NE(Send("80CA00E000").find("C00D0173FFB00040FFF00000018600"), std::string::npos);
    EXPECT_EQ(Send("80E40000 03 D20173"), "009000");
    const std::string secret(64, '5');
    EXPECT_EQ(Store("8800", GroupOf(component("B1", "20") + curve) + Tlv("8137", Encrypted(secret))), "9000");
    EXPECT_EQ(Send("80E40000 03 D20173"), "009000");
    std::string templates;
    std::string values;
    for (const char* each : {"A6", "A8", "A7", "A5", "A4"}) {
        templates += component(each, "10");
    }
    for (const char* group : {"8121", "8122", "8123", "8124", "8125"}) {
        values += Tlv(group, Encrypted(NewKey));
    }
    EXPECT_EQ(Store("0800", GroupOf(templates)), "9000");
    EXPECT_EQ(Store("8801", values), "9000");
    EXPECT_NE(Send("80CA00E000").find("FFA40010FFA50010FFA60010FFA70010FFA80010"), std::string::npos);
}

TEST_F(Storing, LoadsNoKeyWhoseComponentsContradictEachOther) {
    const std::string before = Send("80CA00E000");
    const auto component = [&](const std::string& usage, const std::string& type, const std::string& tail) {
        return Tlv("B9", "9501" + usage + "8001" + type + "810103" + tail);
    };
    const std::string tail = "820101830173";
    const std::string values = Tlv("0010", "010203") + Tlv("0011", "010001");
    const std::string modulus = component("86", "A1", tail);
    EXPECT_EQ(Store("8800", GroupOf(modulus + component("81", "A0", tail)) + values), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(component("86", "A0", tail) + modulus) + values), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(modulus + component("86", "A1", tail)) + values), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(modulus + component("86", "A0", tail + "8403000000")) + values), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(modulus + component("86", "A2", tail)) + values), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(modulus) + Tlv("0010", "010203")), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(modulus) + Tlv("0010", "0102")), "6A80");
    EXPECT_EQ(
        Store(
            "8800",
            GroupOf(modulus + component("86", "A1", "820102830173") + component("86", "A0", tail)) + values),
        "6A80");
    EXPECT_EQ(Store("8800", GroupOf(Tlv("B9", "9501868001F0850100820101830173"))), "6A80");
    EXPECT_EQ(Send("80CA00E000"), before);
}

TEST_F(Storing, LoadsNoKeyThatIsNotWhatWasAnnounced) {
    const std::string before = Send("80CA00E000");
    const std::string value = Tlv("8113", Encrypted(NewKey));
    const std::string good = GroupOf(Template("04", "30", NewCheckValue));
    EXPECT_EQ(Store("8800", GroupOf(Template("04", "30", "C3B7C3")) + value), "6982");
    EXPECT_EQ(Store("8800", good), "6A80");         // nothing follows
    EXPECT_EQ(Store("8800", value), "6A80");        // nothing was announced
    EXPECT_EQ(Store("8800", good + good), "6A80");  // the values come at once
    EXPECT_EQ(Store("8800", good + Tlv("8113", Encrypted(std::string(NewKey) + NewKey))), "6A80");
    EXPECT_EQ(Store("8800", good + Tlv("8137", Encrypted(NewKey))), "6A80");
    const std::string one = Template("04", "30", NewCheckValue);
    EXPECT_EQ(Store("8800", GroupOf(one + one) + value + value), "6A80");  // told twice
    EXPECT_EQ(Store("8800", GroupOf("B90150") + value), "6A80");
    EXPECT_EQ(Store("8800", GroupOf(Template("04", "80", NewCheckValue)) + value), "6A80");
    EXPECT_EQ(Store("8800", GroupOf("420101") + value), "6A80");
    EXPECT_EQ(Store("8800", "00B900" + value), "6A80");
    EXPECT_EQ(Send("80CA00E000"), before);
}

// 11.11.2.1: what P1 may say.
TEST_F(Storing, KnowsTheMannersOfTheData) {
    EXPECT_EQ(Store("B000", "420101"), "9000");               // dependent on who gets it
    EXPECT_EQ(Store("8E00", Tlv("0070", "420102")), "9000");  // bits without a meaning do not count
    EXPECT_EQ(Store("9100", "420103"), "9000");               // a response may come
    EXPECT_EQ(Store("F000", "420104"), "6A86");               // objects are never encrypted as such
    EXPECT_EQ(Store("D000", "420104"), "6A86");
    EXPECT_EQ(Store("9800", "420104"), "6A86");
    EXPECT_EQ(Send("80CA004200"), "4201039000");
}
