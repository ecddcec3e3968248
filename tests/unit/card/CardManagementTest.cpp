// A provisioning session on the software card, and what it leaves behind.
#include "CardDesk.h"

namespace {

class CardManagement : public CardDesk {
protected:
    CardManagement() { Authenticate(); }
};

}  // namespace

TEST_F(CardManagement, ListsTheIssuerSecurityDomain) {
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "08A0000001510000000F9E9000");
    EXPECT_EQ(Send("80F28002 02 4F00 00"), "E3134F08A0000001510000009F70010FC5039EFE809000");
    EXPECT_EQ(Send("80F28000 05 4F03A00002"), "6A88");
}

TEST_F(CardManagement, ListsNothingOnACardWithoutApplications) {
    EXPECT_EQ(Send("80F24002 02 4F00 00"), "6A88");
    EXPECT_EQ(Send("80F22002 02 4F00 00"), "6A88");
}

TEST_F(CardManagement, RefusesAListingThatIsNotWellAskedFor) {
    EXPECT_EQ(Send("80F20100 02 4F00"), "6A86");
    EXPECT_EQ(Send("80F24004 02 4F00"), "6A86");
    EXPECT_EQ(Send("80F24000 02 5000"), "6A80");
    EXPECT_EQ(Send("80F24000 03 4F05A0"), "6A80");
    EXPECT_EQ(Send("80F24000"), "6A80");
}

TEST_F(CardManagement, LoadsInstallsAndSelectsAnApplication) {
    LoadFile();
    EXPECT_EQ(Send("80F22000 02 4F00 00"), "07A000000999000101009000");
    EXPECT_EQ(Send("00A4040008A00000099900010200"), "6A82");
    InstallApplication();
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010207009000");
    EXPECT_EQ(Send("80F24002 02 4F00 00"), "E31A4F08A0000009990001029F700107C50100C407A00000099900019000");
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
    EXPECT_EQ(FreeMemory(), before - 20);
    InstallApplication();
    EXPECT_LT(FreeMemory(), before - 20);
    EXPECT_EQ(Send("80CAFF2100").substr(6, 8), "81020001");
    EXPECT_EQ(Send("80E40080 09 4F07A0000009990001"), "009000");
    EXPECT_EQ(FreeMemory(), before);
    EXPECT_EQ(Send("80F24000 02 4F00"), "6A88");
    EXPECT_EQ(Send("80F22000 02 4F00"), "6A88");
}

TEST_F(CardManagement, HasNoRoomForMoreThanItsMemory) {
    settings.memory = 15;
    card->Configure(settings);
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(StatusOf("80E80000 0A C414 0102030405060708"), "9000");
    EXPECT_EQ(Send("80E88001 0C 090A0B0C0D0E0F1011121314"), "6A84");
    EXPECT_EQ(Send("80E88001 0C 090A0B0C0D0E0F1011121314"), "6985");  // the file was given up
    settings.memory = 100;
    card->Configure(settings);
    LoadFile();
    EXPECT_EQ(Send(std::string("80E60C00 20") + InstallFields), "6A84");
    settings.memory = 5;
    card->Configure(settings);
    EXPECT_EQ(FreeMemory(), 0u);
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

TEST_F(CardManagement, CountsBlocksBeyondTwoHundredAndFiftySix) {
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    ASSERT_EQ(StatusOf("80E80000 04 C482012C"), "9000");
    for (int block = 1; block < 300; ++block) {
        const std::string number = GlobalPlatform::HexText({static_cast<std::uint8_t>(block)});
        ASSERT_EQ(StatusOf("80E800" + number + "01AA"), "9000") << block;
    }
    EXPECT_EQ(Send("80E8802C 01 AA"), "009000");
    EXPECT_EQ(StatusOf("80F22000 02 4F00"), "9000");
}

TEST_F(CardManagement, RefusesAFileThatIsNoLoadBlock) {
    for (const char* block : {"03C40201", "02C400", "03C50101", "06E20101C40201", "08C40101C40101E200"}) {
        ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
        EXPECT_EQ(Send(std::string("80E88000") + block), "6A80") << block;
    }
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    EXPECT_EQ(Send("80E88000 06 E20101 C40101"), "009000");
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
    EXPECT_EQ(Send("80E61000 0C 07A0000009990002 00 00 00 00"), "6A86");
    EXPECT_EQ(Send("80E60201 0C 07A0000009990002 00 00 00 00"), "6A86");
    EXPECT_EQ(
        Send("80E60C00 20 07A0000009990001 08A000000999000101 08A000000999000103 020000 01C9 00"), "6A80");
    EXPECT_EQ(
        Send("80E60C00 1F 07A0000009990001 08A000000999000101 08A000000999000103 0100 01C9 00"), "6A80");
}

TEST_F(CardManagement, DeletesWhatThereIsAndNothingElse) {
    EXPECT_EQ(Send("80E40000 0A 4F08A000000999000102"), "6A88");
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80E40000 09 4F07A0000009990001"), "6985");  // an application still needs it
    EXPECT_EQ(Send("80E40000 0A 4F08A000000999000102"), "009000");
    EXPECT_EQ(Send("80E40000 09 4F07A0000009990001"), "009000");
    EXPECT_EQ(Send("80E40000 0A 4F08A000000151000000"), "6985");
    EXPECT_EQ(Send("80E40100 0A 4F08A000000151000000"), "6A86");
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
    EXPECT_EQ(Send("00CA010200"), "010202CCDD9000");
    EXPECT_EQ(Send("80CA010300"), "6A88");
}

TEST_F(CardManagement, StoresDataOfTheIssuerDomainInTags) {
    EXPECT_EQ(Send("80E29000 06 4204 01020304"), "9000");
    EXPECT_EQ(Send("80CA004200"), "4204010203049000");
}

TEST_F(CardManagement, ChecksTheOrderAndTheFormOfStoredData) {
    EXPECT_EQ(Send("80E20801 05 0101 02 AABB"), "6A86");
    EXPECT_EQ(Send("80E20800 05 0101 03 AABB"), "6A80");
    EXPECT_EQ(Send("80E20800 02 0101"), "6A80");
    EXPECT_EQ(Send("80E20800 05 0101 02 AABB"), "9000");
    EXPECT_EQ(Send("80E20800 05 0101 02 AABB"), "6A86");
    EXPECT_EQ(Send("80E29800 05 0101 02 AABB"), "6A86");
    EXPECT_EQ(Send("80E62000 0E 00 00 08A000000999000102 00 00 00"), "6A88");
}

TEST_F(CardManagement, TakesStoredDataFromTheFreeMemory) {
    const unsigned long before = FreeMemory();
    EXPECT_EQ(Send("80E29000 06 4204 01020304"), "9000");
    EXPECT_EQ(FreeMemory(), before - 4);
    settings.memory = 8;
    card->Configure(settings);
    EXPECT_EQ(Send("80E29000 06 4504 01020304"), "6A84");
}

TEST_F(CardManagement, AddsAndReplacesKeys) {
    const std::string key = "88 10 00112233445566778899AABBCCDDEEFF 03 010203";
    EXPECT_EQ(Send("80D80081 17 30" + key), "300102039000");
    EXPECT_EQ(StatusOf("80CA00E000"), "9000");
    EXPECT_NE(Send("80CA00E000").find("C00401308810"), std::string::npos);
    EXPECT_EQ(Send("80D80081 17 30" + key), "6A80");
    EXPECT_EQ(Send("80D83181 17 30" + key), "6A88");
    EXPECT_EQ(Send("80D83081 17 31" + key), "310102039000");
    EXPECT_EQ(Send("80CA00E000").find("C00401308810"), std::string::npos);
    EXPECT_NE(Send("80CA00E000").find("C00401318810"), std::string::npos);
    EXPECT_EQ(Send("80D80081 00"), "6A80");
    EXPECT_EQ(Send("80D80081 01 30"), "6A80");
    EXPECT_EQ(Send("80D80081 03 308810"), "6A80");
}

TEST_F(CardManagement, DeletesKeysButNotTheLast) {
    const std::string key = "88 10 00112233445566778899AABBCCDDEEFF 03 010203";
    EXPECT_EQ(Send("80E40000 03 D20101"), "6985");
    ASSERT_EQ(StatusOf("80D80081 17 30" + key), "9000");
    EXPECT_EQ(Send("80E40000 06 D00104 D20101"), "6A88");
    EXPECT_EQ(Send("80E40000 06 D00103 D20101"), "009000");
    EXPECT_EQ(Send("80E40000 03 D20101"), "009000");
    EXPECT_EQ(Send("80E40000 03 D20101"), "6A88");
    EXPECT_EQ(Send("80CA00E000"), "E006C004013088109000");
    EXPECT_EQ(Send("80E40000 03 D00101"), "6A80");
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

TEST_F(CardManagement, ChangesTheStateOfAnApplicationThatIsThere) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80F0400F 08 A000000999000102"), "9000");
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A0000009990001020F009000");
    EXPECT_EQ(Send("80F04008 08 A000000999000102"), "6985");
    EXPECT_EQ(Send("80F0400F 08 A000000999000103"), "6A88");
    EXPECT_EQ(Send("80F0110F 08 A000000999000102"), "6A86");
}

TEST_F(CardManagement, MovesTheCardForwardInItsLifeOnly) {
    EXPECT_EQ(Send("80F08007"), "6985");
    EXPECT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "08A0000001510000007F9E9000");
    EXPECT_EQ(Send("80F0800F"), "9000");
    EXPECT_EQ(Send("80F08033"), "6A86");
    EXPECT_EQ(Send("80F080FF"), "9000");
    EXPECT_EQ(Send("80F0800F"), "6985");
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
    EXPECT_EQ(first.size() + second.size(), 40 * 22 + 8u);
    EXPECT_EQ(Send("80F24001 02 4F00 00"), "6A88");
    EXPECT_EQ(StatusOf("80F24000 02 4F00 00"), "6310");
}

TEST_F(CardManagement, KeepsWhatWasInstalledOverAReset) {
    LoadFile();
    InstallApplication();
    card->Reset();
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}
