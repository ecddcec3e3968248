// SPDX-License-Identifier: Apache-2.0
// Keys that are added, replaced and deleted.
#include "tests/unit/card/CardDesk.h"

namespace {

class CardKeys : public CardDesk {
protected:
    CardKeys() { Authenticate(); }

    // Three keys of sixteen times the same byte.
    std::string ThreeKeys(const std::string& first, const std::string& second, const std::string& third) {
        return KeyField(Repeated(first)) + KeyField(Repeated(second)) + KeyField(Repeated(third));
    }

    static std::string Repeated(const std::string& byte) {
        std::string key;
        for (int at = 0; at < 16; ++at) {
            key += byte;
        }
        return key;
    }

    void UseKeys(const std::string& first, const std::string& second, const std::string& third) {
        hostKeys = {FromHex(Repeated(first)), FromHex(Repeated(second)), FromHex(Repeated(third))};
    }
};

constexpr char FirstKeys[] = "C00401018810C00402018810C00403018810";

}  // namespace

TEST_F(CardKeys, AreAddedAsASetThatOpensAChannel) {
    const std::string added = Send("80D80081 46 30" + ThreeKeys("11", "22", "33"));
    const auto checkValue = [&](const std::string& byte) {
        return GlobalPlatform::HexText(GlobalPlatform::AesKeyCheckValue(FromHex(Repeated(byte))));
    };
    EXPECT_EQ(added, "30" + checkValue("11") + checkValue("22") + checkValue("33") + "9000");
    EXPECT_EQ(
        Send("80CA00E000"), "E024" + std::string(FirstKeys) + "C00401308810C00402308810C004033088109000");
    Authenticate(Level::CommandMac, 1);
    UseKeys("11", "22", "33");
    Authenticate(Level::CommandMacAndDecryption, 0x30);
    EXPECT_EQ(SendProtected("80F28000 02 4F00 00"), "08A0000001510000000F9E9000");
}

TEST_F(CardKeys, ReplaceTheOldOnesUnderTheirDataEncryptionKey) {
    EXPECT_EQ(StatusOf("80D80181 46 02" + ThreeKeys("11", "22", "33")), "9000");
    EXPECT_EQ(StatusOf("80500100 08 0102030405060708 00"), "6A88");
    UseKeys("11", "22", "33");
    Authenticate(Level::None, 2);
    EXPECT_EQ(StatusOf("80D80281 46 02" + ThreeKeys("44", "55", "66")), "9000");
    UseKeys("44", "55", "66");
    Authenticate(Level::None, 0);
    EXPECT_EQ(Send("80CA00C100"), "C1030000019000");  // new keys begin anew
}

TEST_F(CardKeys, AreReplacedOneByOne) {
    EXPECT_EQ(StatusOf("80D80101 18 01" + KeyField(Repeated("77"))), "9000");
    EXPECT_EQ(Send("80CA00C100"), "C1030000019000");  // the set goes on
    hostKeys.encryption = FromHex(Repeated("77"));
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("80CA00C100"), "C1030000029000");
}

TEST_F(CardKeys, OfAnotherKindAreAddedBesideTheSet) {
    EXPECT_EQ(StatusOf("80D80004 18 01" + KeyField(Repeated("77"))), "9000");
    EXPECT_EQ(Send("80CA00E000"), "E018" + std::string(FirstKeys) + "C004040188109000");
    EXPECT_EQ(StatusOf("80D80004 18 70" + KeyField(Repeated("77"))), "9000");
    EXPECT_EQ(StatusOf("80507000 08 0102030405060708 00"), "6A88");  // one key opens no channel
}

TEST_F(CardKeys, TakeTheirMemory) {
    const unsigned long before = FreeMemory();
    ASSERT_EQ(StatusOf("80D80081 46 30" + ThreeKeys("11", "22", "33")), "9000");
    EXPECT_EQ(FreeMemory(), before - 48);
    ASSERT_EQ(StatusOf("80D83081 46 31" + ThreeKeys("44", "55", "66")), "9000");
    EXPECT_EQ(FreeMemory(), before - 48);
    EXPECT_EQ(Send("80E40000 03 D20131"), "009000");
    EXPECT_EQ(FreeMemory(), before);
    options.memory = 47;
    card->Configure(options);
    EXPECT_EQ(Send("80D80081 46 30" + ThreeKeys("11", "22", "33")), "6A84");
}

TEST_F(CardKeys, AreRefusedWhenTheyAreNotWhatTheySay) {
    const std::string key = KeyField(Repeated("77"));
    std::string wrongCheck = key;
    wrongCheck.back() = wrongCheck.back() == '0' ? '1' : '0';
    EXPECT_EQ(Send("80D80001 18 30" + wrongCheck), "6982");
    EXPECT_EQ(Send("80D80001 18 30 87" + key.substr(2)), "6A80");
    EXPECT_EQ(Send("80D80001 18 30 881120" + key.substr(6)), "6A80");
    EXPECT_EQ(Send("80D80001 17 30" + key.substr(0, 38) + "02" + key.substr(40, 4)), "6A80");
    for (const char* fields : {"00", "01 30", "02 3088", "03 308811"}) {
        EXPECT_EQ(Send(std::string("80D80001") + fields), "6A80") << fields;
    }
    EXPECT_EQ(Send("80CA00E000"), "E012" + std::string(FirstKeys) + "9000");
}

TEST_F(CardKeys, AreRefusedWhereTheyCannotGo) {
    const std::string key = KeyField(Repeated("77"));
    EXPECT_EQ(Send("80D80001 18 00" + key), "6A80");
    EXPECT_EQ(Send("80D80001 18 80" + key), "6A80");
    EXPECT_EQ(Send("80D80001 18 01" + key), "6A80");  // it is there already
    EXPECT_EQ(Send("80D83001 18 30" + key), "6A88");  // there is none to replace
    EXPECT_EQ(Send("80D80104 18 01" + key), "6A88");
    EXPECT_EQ(Send("80D80001 2F 30" + key + key), "6A80");  // two where one is announced
    EXPECT_EQ(Send("80D800FF 2F 30" + key + key), "6A80");  // no identifier follows 7F
    EXPECT_EQ(Send("80D80101 18 02" + key), "6985");        // no set would be whole
}

// A practice of makers: initial keys of version FF make room for the first set that opens a channel.
TEST_F(CardKeys, OfTheIssuerTakeThePlaceOfInitialOnes) {
    options.keyVersion = 0xFF;
    Restart();
    Authenticate(Level::CommandMac, 0xFF);
    EXPECT_EQ(SendProtected("80CA00E000"), "E012C00401FF8810C00402FF8810C00403FF88109000");
    EXPECT_EQ(StatusIn(SendProtected("80D80004 18 70" + KeyField(Repeated("77")))), "9000");
    EXPECT_EQ(StatusOf("8050FF00 08 0102030405060708 00"), "9000");
    Authenticate(Level::CommandMac, 0);
    EXPECT_EQ(StatusIn(SendProtected("80D80081 46 01" + ThreeKeys("11", "22", "33"))), "9000");
    EXPECT_EQ(SendProtected("80CA00E000"), "E018" + std::string(FirstKeys) + "C004047088109000");
    EXPECT_EQ(StatusOf("8050FF00 08 0102030405060708 00"), "6A88");
    UseKeys("11", "22", "33");
    Authenticate(Level::CommandMac, 1);
}

TEST_F(CardKeys, AreDeletedByVersionAndIdentifier) {
    ASSERT_EQ(StatusOf("80D80081 46 30" + ThreeKeys("11", "22", "33")), "9000");
    EXPECT_EQ(Send("80E40000 06 D00104 D20101"), "6A88");
    EXPECT_EQ(Send("80E40000 03 D20131"), "6A88");
    EXPECT_EQ(Send("80E40000 06 D00103 D20101"), "009000");
    EXPECT_EQ(Send("80E40000 06 D20101 D00102"), "009000");
    EXPECT_EQ(Send("80CA00E000"), "E018C00401018810C00401308810C00402308810C004033088109000");
    EXPECT_EQ(Send("80E40000 03 D00101"), "6985");  // of all versions
    EXPECT_EQ(Send("80E40000 03 D20101"), "009000");
    EXPECT_EQ(Send("80CA00E000"), "E012C00401308810C00402308810C004033088109000");
}

TEST_F(CardKeys, AreNotAllDeleted) {
    EXPECT_EQ(Send("80E40000 03 D20101"), "6985");
    EXPECT_EQ(Send("80E40000 06 D00101 D20101"), "6985");
    EXPECT_EQ(Send("80E40000 06 D20101 D20101"), "6A80");
    EXPECT_EQ(Send("80E40000 04 D2020101"), "6A80");
    EXPECT_EQ(Send("80CA00E000"), "E012" + std::string(FirstKeys) + "9000");
}
