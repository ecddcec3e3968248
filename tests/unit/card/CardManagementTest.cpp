// SPDX-License-Identifier: Apache-2.0
// A provisioning session on the software card, and what it leaves behind.
#include "card/Memory.h"
#include "tests/unit/card/CardDesk.h"

namespace {

class CardManagement : public CardDesk {
protected:
    CardManagement() { Authenticate(); }
};

}  // namespace

TEST_F(CardManagement, ListsTheIssuerSecurityDomain) {
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "08A0000001510000000F9E9000");
    EXPECT_EQ(
        Send("80F28002 02 4F00 00"), "E31D4F08A0000001510000009F70010FC5039EFE80CC08A0000001510000009000");
    EXPECT_EQ(
        Send("80F28000 05 4F03A00002 00"),
        "08A0000001510000000F9E9000");  // there is one, whatever is searched
}

// 5.1.1.1: what came with the card is registered, and security domains are made of it.
TEST_F(CardManagement, ListsWhatANewCardHas) {
    EXPECT_EQ(Send("80F24002 02 4F00 00"), "6A88");
    EXPECT_EQ(Send("80F22002 02 4F00 00"), "E3174F07A00000015153509F700101CC08A0000001510000009000");
    EXPECT_EQ(
        Send("80F21002 02 4F00 00"),
        "E3214F07A00000015153509F7001018408A000000151535041CC08A0000001510000009000");
}

TEST_F(CardManagement, RefusesAListingThatIsNotWellAskedFor) {
    EXPECT_EQ(Send("80F20100 02 4F00"), "6A86");
    EXPECT_EQ(Send("80F26000 02 4F00"), "6A86");
    EXPECT_EQ(Send("80F24000 02 5000"), "6A80");
    EXPECT_EQ(Send("80F24000 03 4F05A0"), "6A80");
    EXPECT_EQ(Send("80F24000"), "6A80");
}

TEST_F(CardManagement, LoadsInstallsAndSelectsAnApplication) {
    LoadFile();
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "07A000000999000101009000");
    EXPECT_EQ(Send("00A4040008A00000099900010200"), "6A82");
    InstallApplication();
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010207009000");
    EXPECT_EQ(
        Send("80F24002 02 4F00 00"),
        "E3264F08A0000009990001029F700107C503000000C407A0000009990001CC08A0000001510000009000");
    EXPECT_EQ(Send("00A4040008A00000099900010200"), "6F0C8408A000000999000102A5009000");
    EXPECT_EQ(Send("80F28000024F00"), "6D00");
    EXPECT_EQ(Send("80CA9F7F00"), "6A88");
}

TEST_F(CardManagement, MakesAnInstalledApplicationSelectableLater) {
    LoadFile();
    EXPECT_EQ(Send(std::string("80E60400 20") + InstallFields + "00"), "009000");
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010203009000");
    EXPECT_EQ(Send("80E60800 0F 00 00 08A000000999000102 0100 00 00"), "009000");
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010207009000");
    EXPECT_EQ(Send("80E60800 0F 00 00 08A000000999000102 0100 00 00"), "6985");
    EXPECT_EQ(Send("80E60800 0F 00 00 08A000000999000103 0100 00 00"), "6A88");
}

TEST_F(CardManagement, TakesMemoryForCodeAndApplicationsAndGivesItBack) {
    const unsigned long before = FreeMemory();
    LoadFile();
    EXPECT_EQ(FreeMemory(), before - 20 - Card::LoadFileMemory);
    InstallApplication();
    EXPECT_EQ(FreeMemory(), before - 20 - Card::LoadFileMemory - 2 - Card::InstanceMemory);
    EXPECT_EQ(Send("80CAFF2100").substr(6, 8), "81020001");
    EXPECT_EQ(Send("80E40080 09 4F07A0000009990001"), "009000");
    EXPECT_EQ(FreeMemory(), before);
    EXPECT_EQ(Send("80F24000 02 4F00"), "6A88");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999"), "6A88");
}

TEST_F(CardManagement, HasNoRoomForMoreThanItsMemory) {
    options.memory = 15 + Card::LoadFileMemory;
    card->Configure(options);
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(StatusOf("80E80000 0A C414 0102030405060708"), "9000");
    EXPECT_EQ(Send("80E80001 46 " + std::string(2 * 70, '0')), "6A84");
    EXPECT_EQ(Send("80E88001 0C 090A0B0C0D0E0F1011121314"), "6985");  // the file was given up
    options.memory = 20 + Card::LoadFileMemory + Card::InstanceMemory + 1;
    card->Configure(options);
    LoadFile();
    EXPECT_EQ(Send(std::string("80E60C00 20") + InstallFields), "6A84");
    EXPECT_EQ(FreeMemory(), Card::InstanceMemory + 1);
    options.memory = 5;
    card->Configure(options);
    EXPECT_EQ(FreeMemory(), 0U);
}

TEST_F(CardManagement, ChecksTheOrderOfTheBlocks) {
    EXPECT_EQ(Send("80E80000 03 C40101"), "6985");
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(Send("80E80001 03 C40101"), "6A86");
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(StatusOf("80E80000 03 C40201"), "9000");
    EXPECT_EQ(Send("80E80000 01 01"), "6A86");
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(StatusOf("80E80000 03 C40201"), "9000");
    EXPECT_EQ(StatusOf("80F28000 02 4F00"), "9000");
    EXPECT_EQ(Send("80E88001 01 01"), "6985");  // another command came between
}

// 11.6.2.2: block numbers go from 00 to FF.
TEST_F(CardManagement, TakesTwoHundredAndFiftySixBlocksAndNoMore) {
    for (const bool oneMore : {false, true}) {
        ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
        ASSERT_EQ(StatusOf(oneMore ? "80E80000 04 C4820100" : "80E80000 04 C48200FF"), "9000");
        for (int block = 1; block < 255; ++block) {
            const std::string number = GlobalPlatform::HexText({static_cast<std::uint8_t>(block)});
            ASSERT_EQ(StatusOf("80E800" + number + "01AA"), "9000") << block;
        }
        if (oneMore) {
            EXPECT_EQ(Send("80E800FF 01 AA"), "009000");
            EXPECT_EQ(Send("80E88000 01 AA"), "6A86");
        } else {
            EXPECT_EQ(Send("80E880FF 01 AA"), "009000");
            EXPECT_EQ(Send("80E40000 09 4F07A0000009990001"), "009000");
        }
    }
    EXPECT_EQ(StatusOf("80F22000 07 4F05A000000999"), "6A88");
}

TEST_F(CardManagement, RefusesAFileThatIsNoLoadBlock) {
    for (const char* block : {"03C40201", "02C400", "03C50101", "06E20101C40201", "08C40101C40101E200"}) {
        ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
        EXPECT_EQ(Send(std::string("80E88000") + block), "6985") << block;
    }
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(Send("80E88000 06 E20101 C40101"), "6985");
}

TEST_F(CardManagement, RefusesAnInstallationThatCannotBe) {
    EXPECT_EQ(Send(std::string("80E60C00 20") + InstallFields), "6A88");  // the file is unknown
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send(std::string("80E60C00 20") + InstallFields), "6985");
    EXPECT_EQ(Send("80E60200 0C 07A0000009990001 00 00 00 00"), "6985");
    EXPECT_EQ(Send("80E60200 08 03A00000 00 00 00 00"), "6A80");
    EXPECT_EQ(Send("80E60200 0D 07A0000009990002 01A0 00 00 00"), "6A88");
    EXPECT_EQ(Send("80E60200 0B 07A0000009990002 00 00 00"), "6A80");
    EXPECT_EQ(Send("80E60200 0D 07A0000009990002 00 00 00 00 00"), "6A80");
    EXPECT_EQ(Send("80E61000 0C 07A0000009990002 00 00 00 00"), "6A80");
    EXPECT_EQ(Send("80E60201 0C 07A0000009990002 00 00 00 00"), "6A86");
    EXPECT_EQ(
        Send("80E60C00 20 07A0000009990001 08A000000999000101 08A000000999000103 020000 01C9 00"), "6A80");
    EXPECT_EQ(
        Send("80E60C00 1F 07A0000009990001 08A000000999000101 08A000000999000103 0100 01C9 00"), "6A80");
}

TEST_F(CardManagement, DeletesWhatThereIsAndNothingElse) {
    EXPECT_EQ(Send("80E40000 0A 4F08A000000999000102"), "6A82");
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80E40000 09 4F07A0000009990001"), "6985");  // an application still needs it
    EXPECT_EQ(Send("80E40000 0A 4F08A000000999000102"), "009000");
    EXPECT_EQ(Send("80E40000 09 4F07A0000009990001"), "009000");
    EXPECT_EQ(Send("80E40000 0A 4F08A000000151000000"), "6985");
    EXPECT_EQ(Send("80E40101 0A 4F08A000000151000000"), "6985");  // bits without a meaning do not count
    EXPECT_EQ(Send("80E40000 02 4F08"), "6A80");
    EXPECT_EQ(Send("80E40000"), "6A80");
    EXPECT_EQ(Send("80E40000 02 5000"), "6A80");
}

TEST_F(CardManagement, StoresDataForTheApplicationThatIsPersonalised) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80E62000 0E 00 00 08A000000999000102 00 00 00"), "009000");
    EXPECT_EQ(Send("80E20800 05 0101 02 AABB"), "9000");
    EXPECT_EQ(Send("80E28801 07 0102 FF0002 CCDD"), "9000");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("80CA010100"), "010102AABB9000");
    EXPECT_EQ(Send("00CA010200"), "CCDD9000");
    EXPECT_EQ(Send("80CA010300"), "6A88");
}

TEST_F(CardManagement, StoresDataOfTheIssuerDomainInTags) {
    EXPECT_EQ(Send("80E29000 06 4204 01020304"), "9000");
    EXPECT_EQ(Send("80CA004200"), "4204010203049000");
}

TEST_F(CardManagement, ChecksTheOrderAndTheFormOfStoredData) {
    EXPECT_EQ(Send("80E20801 05 0101 02 AABB"), "6A86");
    EXPECT_EQ(Send("80E28800 05 0101 03 AABB"), "6A80");
    EXPECT_EQ(Send("80E28800 02 0101"), "6A80");
    EXPECT_EQ(Send("80E29000 05 4284000000"), "6A80");
    EXPECT_EQ(Send("80E29000 05 5F80808001"), "6A80");
    EXPECT_EQ(Send("80E20800 07 0070 04 5F50 01 AA"), "9000");
    EXPECT_EQ(Send("80E20800 07 0070 04 5F50 01 AA"), "6A86");
    EXPECT_EQ(Send("80E29800 05 0101 02 AABB"), "6A86");
    EXPECT_EQ(Send("80E62000 0E 00 00 08A000000999000102 00 00 00"), "6A88");
}

TEST_F(CardManagement, TakesStoredDataFromTheFreeMemory) {
    const unsigned long before = FreeMemory();
    EXPECT_EQ(Send("80E29000 06 4204 01020304"), "9000");
    EXPECT_EQ(FreeMemory(), before - 4 - Card::ObjectMemory);
    options.memory = 8 + 7;
    card->Configure(options);
    EXPECT_EQ(Send("80E29000 06 4504 01020304"), "6A84");
    EXPECT_EQ(Send("80E29000 05 4503 010203"), "9000");
    EXPECT_EQ(FreeMemory(), 0U);
}

TEST_F(CardManagement, LocksAndUnlocksAnApplication) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80F04080 08 A000000999000102"), "9000");
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010287009000");
    EXPECT_EQ(Send("00A4040008A00000099900010200"), "6A82");
    EXPECT_EQ(Send("80F04080 08 A000000999000102"), "6985");
    EXPECT_EQ(Send("80F04007 08 A000000999000102"), "9000");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}

// 11.10.2.2: of another's state only the lock can be set, and not to what it is.
TEST_F(CardManagement, SetsNoStateOfAnApplicationsOwn) {
    LoadFile();
    InstallApplication();
    for (const char* state : {"03", "07", "0F", "17", "00"}) {
        EXPECT_EQ(Send(std::string("80F040") + state + "08 A000000999000102"), "6985") << state;
    }
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010207009000");
    for (const char* locked : {"80", "83", "8F", "FF"}) {
        EXPECT_EQ(Send(std::string("80F040") + locked + "08 A000000999000102"), "9000");
        EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010287009000");
        EXPECT_EQ(Send("80F04000 08 A000000999000102"), "9000");
        EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010207009000");
    }
    EXPECT_EQ(Send("80F0400F 08 A000000999000103"), "6A88");
    EXPECT_EQ(Send("80F0110F 08 A000000999000102"), "6A86");
}

TEST_F(CardManagement, MovesTheCardForwardInItsLifeOnly) {
    EXPECT_EQ(Send("80F08007"), "6985");
    EXPECT_EQ(Send("80F08001"), "6985");
    EXPECT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "08A0000001510000007F9E9000");
    EXPECT_EQ(Send("80F0800F"), "9000");
    EXPECT_EQ(Send("80F08033"), "6A80");
    EXPECT_EQ(Send("80F080FF"), "9000");
    EXPECT_EQ(Send("80F0800F"), "6985");
    EXPECT_EQ(Send("80F28000 02 4F00"), "6985");
    EXPECT_EQ(Send("00A4040000"), "6985");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
}

TEST_F(CardManagement, SelectsTheNextApplicationOfTheSameBeginning) {
    LoadFile();
    InstallApplication();
    ASSERT_EQ(
        StatusOf("80E60C00 20 07A0000009990001 08A000000999000101 08A000000999000103 0100 02C900 00"),
        "9000");
    EXPECT_EQ(Send("00A4040007A000000999000100").substr(8, 16), "A000000999000102");
    EXPECT_EQ(Send("00A4040207A000000999000100").substr(8, 16), "A000000999000103");
    EXPECT_EQ(Send("00A4040207A000000999000100"), "6A82");
}

TEST_F(CardManagement, ShowsALongListInParts) {
    LoadFile();
    for (int instance = 0; instance < 40; ++instance) {
        const std::string number = GlobalPlatform::HexText({static_cast<std::uint8_t>(instance)});
        ASSERT_EQ(
            StatusOf(
                "80E60C00 20 07A0000009990001 08A000000999000101 08A0000009990002" + number +
                " 0100 02C900 00"),
            "9000");
    }
    const std::string first = Send("80F24000 02 4F00 00");
    const std::string second = Send("80F24001 02 4F00 00");
    EXPECT_EQ(first.substr(first.size() - 4), "6310");
    EXPECT_EQ(second.substr(second.size() - 4), "9000");
    EXPECT_EQ(first.size() + second.size(), 40 * 22 + 8U);
    EXPECT_EQ(Send("80F24001 02 4F00 00"), "6A88");
    EXPECT_EQ(StatusOf("80F24000 02 4F00 00"), "6310");
}

TEST_F(CardManagement, KeepsWhatWasInstalledOverAReset) {
    LoadFile();
    InstallApplication();
    card->Reset();
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}
