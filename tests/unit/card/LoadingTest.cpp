// SPDX-License-Identifier: Apache-2.0
// Load files, what is installed from them, and how both are listed.
#include "tests/unit/card/CardDesk.h"

namespace {

class Loading : public CardDesk {
protected:
    Loading() { Authenticate(); }

    // A file of the AID A0000009990001 in one block, with the hash that INSTALL [for load] announces.
    std::string LoadOneBlock(const std::string& file, const std::string& hash = "") {
        const std::string announced =
            hash.empty() ? "0C 07A0000009990001 00 00 00 00" : "2C 07A0000009990001 00 20" + hash + " 00 00";
        EXPECT_EQ(Send("80E60200" + announced), "009000");
        return Send("80E88000" + Length(file) + file);
    }
};

// SHA-256 of the bytes 616263, FIPS 180-2, B.1.
constexpr char HashOfAbc[] = "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD";

// Header and Applet components of an applet's code; the applets A00000099900 01 and 02.
constexpr char TwoApplets[] =
    "010011DECAFFED010204000107A0000009990001"
    "0300170208A0000009990001010010"
    "08A0000009990001020020";

}  // namespace

TEST_F(Loading, ChecksTheHashOfTheCode) {
    EXPECT_EQ(LoadOneBlock("C403616263", HashOfAbc), "009000");
    EXPECT_EQ(Send("80E40000 09 4F07A0000009990001"), "009000");
    EXPECT_EQ(LoadOneBlock("C403616264", HashOfAbc), "6985");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999"), "6A88");
    EXPECT_EQ(
        Send("80E60200 1F 07A0000009990001 00 13 0102030405060708090A0B0C0D0E0F10111213 00 00"), "6A80");
}

// 11.6.2.3 and 9.3.5: a block is verified by the domain that it names, and encrypted code read by its own.
TEST_F(Loading, RefusesWhatADomainThatIsNotThereWouldVerifyOrRead) {
    const std::string block = Tlv("E2", Tlv("4F", "A000000999") + Tlv("C3", "0102030405060708"));
    EXPECT_EQ(LoadOneBlock(block + "C403616263"), "6985");
    EXPECT_EQ(LoadOneBlock(block + "C403616263", HashOfAbc), "6985");
    EXPECT_EQ(LoadOneBlock("D403616263", HashOfAbc), "6985");
    EXPECT_EQ(LoadOneBlock("C403616263", HashOfAbc), "009000");
}

TEST_F(Loading, RefusesTokensThatNobodyVerifies) {
    EXPECT_EQ(Send("80E60200 0D 07A0000009990001 00 00 00 01AA"), "6A80");
    LoadFile();
    EXPECT_EQ(
        Send("80E60C00 21 07A0000009990001 08A000000999000101 08A000000999000102 0100 02C900 01AA"), "6A80");
}

TEST_F(Loading, RefusesInAdvanceWhatItHasNoRoomFor) {
    options.memory = 1000;
    card->Configure(options);
    EXPECT_EQ(Send("80E60200 12 07A0000009990001 00 00 06EF04C60203E9 00"), "6A84");
    EXPECT_EQ(Send("80E60200 12 07A0000009990001 00 00 06EF04C60203E8 00"), "009000");
    EXPECT_EQ(Send("80E60200 14 07A0000009990001 00 00 08EF06C604000003E8 00"), "009000");
    EXPECT_EQ(Send("80E60200 11 07A0000009990001 00 00 05EF03C60103 00"), "6A80");
    EXPECT_EQ(Send("80E60200 0F 07A0000009990001 00 00 03EF04C6 00"), "6A80");
}

TEST_F(Loading, KnowsTheModulesThatTheCodeNames) {
    ASSERT_EQ(LoadOneBlock(Tlv("C4", TwoApplets)), "009000");
    EXPECT_EQ(
        Send("80F21000 07 4F05A000000999 00"),
        "07A00000099900010100"
        "02"
        "08A000000999000101"
        "08A000000999000102"
        "9000");
    EXPECT_EQ(
        Send("80F21002 07 4F05A000000999 00"),
        "E32F4F07A00000099900019F700101CE0201008408A0000009990001018408A000000999000102CC08A00000015100000090"
        "0"
        "0");
    EXPECT_EQ(
        Send("80E60C00 20 07A0000009990001 08A000000999000103 08A000000999000103 0100 02C900 00"), "6A88");
    EXPECT_EQ(
        Send("80E60C00 20 07A0000009990001 08A000000999000101 08A000000999000101 0100 02C900 00"), "009000");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010100"), "9000");  // the instance has its module's AID
}

TEST_F(Loading, RefusesDamagedComponents) {
    for (const char* code :
         {"010004DECAFFED0300", "010004DECAFFED03000102", "010004DECAFFED030004010404A0",
          "010004DECAFFED03000100FF"}) {
        EXPECT_EQ(LoadOneBlock(Tlv("C4", code)), "6985") << code;
    }
}

TEST_F(Loading, ListsTheModulesThatWereInstalledFromOtherCode) {
    LoadFile();
    EXPECT_EQ(
        Send("80F21000 07 4F05A000000999 00"),
        "07A00000099900010100"
        "00"
        "9000");
    InstallApplication();
    EXPECT_EQ(
        Send("80F21000 07 4F05A000000999 00"),
        "07A00000099900010100"
        "01"
        "08A000000999000101"
        "9000");
    EXPECT_EQ(
        Send("80F22000 07 4F05A000000999 00"),
        "07A00000099900010100"
        "9000");
}

TEST_F(Loading, ListsOnlyTheTagsThatAreAskedFor) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80F24002 07 4F00 5C03 4F9F70 00"), "E30E4F08A0000009990001029F7001079000");
    EXPECT_EQ(Send("80F24002 05 4F00 5C01C4 00"), "E309C407A00000099900019000");
    EXPECT_EQ(Send("80F24002 05 4F00 5C019F 00"), "6A80");
}

TEST_F(Loading, FindsByTheBeginningOfAnAid) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(StatusOf("80F24002 07 4F05A000000999 00"), "9000");
    EXPECT_EQ(StatusOf("80F24002 03 4F01A0 00"), "9000");
    EXPECT_EQ(StatusOf("80F24002 07 4F05A000000998 00"), "6A88");
    EXPECT_EQ(StatusOf("80F24002 0B 4F09A00000099900010203 00"), "6A88");
}

TEST_F(Loading, ContinuesOnlyTheSearchThatWasBegun) {
    LoadFile();
    EXPECT_EQ(Send("80F24001 02 4F00 00"), "6985");
    EXPECT_EQ(StatusOf("80F22000 02 4F00 00"), "9000");
    EXPECT_EQ(Send("80F22001 03 4F01A0 00"), "6985");
    EXPECT_EQ(StatusOf("80F22000 02 4F00 00"), "9000");
    EXPECT_EQ(Send("80F21001 02 4F00 00"), "6985");
    EXPECT_EQ(StatusOf("80F22000 02 4F00 00"), "9000");
    EXPECT_EQ(Send("80F22001 02 4F00 00"), "6A88");  // all was shown
    EXPECT_EQ(StatusOf("80F22000 02 4F00 00"), "9000");
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    EXPECT_EQ(Send("80F22001 02 4F00 00"), "6985");  // another application session, 11.4.2.2
    EXPECT_EQ(StatusOf("80F28000 02 4F00 00"), "9000");
    EXPECT_EQ(Send("80F28001 02 4F00 00"), "6985");  // there is but one
}

TEST_F(Loading, ShowsThePartAgainThatDidNotFitTheExpectedLength) {
    LoadFile();
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 05"), "6C0A");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 0A"), "07A000000999000101009000");
}

TEST_F(Loading, GoesOnToInstallationInACombinedProcess) {
    const std::string install = "80E60E03 20" + std::string(InstallFields);
    EXPECT_EQ(Send(install), "6985");
    EXPECT_EQ(Send("80E60E01 0C 07A0000009990001 00 00 00 00"), "009000");
    EXPECT_EQ(Send("80E88000 05 C403616263"), "009000");
    EXPECT_EQ(Send(install), "009000");
    EXPECT_EQ(Send(install), "6985");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}

TEST_F(Loading, RefusesPurposesThatTheCardDoesNotHave) {
    for (const char* parameters : {"0000", "0100", "1001", "4001", "0E00", "0E02", "0601", "0C03", "2C00"}) {
        EXPECT_EQ(Send(std::string("80E6") + parameters + "0C 07A0000009990001 00 00 00 00"), "6A86")
            << parameters;
    }
}

TEST_F(Loading, GivesNoPrivilegesThatTheCardCannotHonour) {
    LoadFile();
    for (const char* privileges : {"0180", "0140", "03002000", "03000080", "03000020"}) {
        const std::string fields =
            "07A0000009990001 08A000000999000101 08A000000999000102" + std::string(privileges) + "02C90000";
        EXPECT_EQ(Send("80E60C00" + Length(GlobalPlatform::HexText(FromHex(fields))) + fields), "6A80")
            << privileges;
    }
}

TEST_F(Loading, LetsOneApplicationBeSelectedByAReset) {
    LoadFile();
    ASSERT_EQ(
        Send("80E60C00 20 07A0000009990001 08A000000999000101 08A000000999000102 0104 02C900 00"), "009000");
    EXPECT_EQ(
        Send("80E60C00 20 07A0000009990001 08A000000999000101 08A000000999000103 0104 02C900 00"), "6985");
    card->Reset();
    EXPECT_EQ(Send("80CA9F7F00"), "6A88");  // the application has no production data
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6D00");
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    EXPECT_EQ(Send("80F04080 08 A000000999000102"), "9000");
    card->Reset();
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
}

TEST_F(Loading, CarriesAnObjectOverSeveralBlocksOfStoredData) {
    EXPECT_EQ(Send("80E21000 05 5F50 0A 0102"), "9000");
    EXPECT_EQ(Send("80E21001 04 03040506"), "9000");
    EXPECT_EQ(Send("80CA5F5000"), "6A88");
    EXPECT_EQ(Send("80E29002 04 0708090A"), "9000");
    EXPECT_EQ(Send("80CA5F5000"), "5F500A0102030405060708090A9000");
    EXPECT_EQ(Send("80E21000 05 5F50 0A 0102"), "9000");
    EXPECT_EQ(Send("80E20801 04 03040506"), "6A80");  // of another structure
    EXPECT_EQ(Send("80E21002 04 03040506"), "6A86");  // the sequence was given up
}

TEST_F(Loading, StoresNothingThatTheCardWorksOutByItself) {
    for (const char* object : {"4F0101", "C10101", "E00101", "CF0101"}) {
        EXPECT_EQ(Send(std::string("80E29000 03") + object), "6A80") << object;
    }
    EXPECT_EQ(Send("80E29000 04 9F7F0101"), "6A80");
    EXPECT_EQ(Send("80E2F000 03 420101"), "6A86");  // encrypted for the issuer domain
    EXPECT_EQ(Send("80E28000 04 42020102"), "9000");
    EXPECT_EQ(Send("80CA004200"), "420201029000");
}

TEST_F(Loading, PersonalisesOnlyWhatIsThereAndNotLocked) {
    LoadFile();
    InstallApplication();
    const std::string personalise = "80E62000 0E 00 00 08A000000999000102 00 00 00";
    EXPECT_EQ(Send(personalise), "009000");
    EXPECT_EQ(Send("80E26000 05 0101 02 AABB"), "9000");  // as the application alone knows it
    EXPECT_EQ(Send("80E28801 05 0101 02 AABB"), "9000");
    EXPECT_EQ(Send("80F04080 08 A000000999000102"), "9000");
    EXPECT_EQ(Send(personalise), "6985");
}

TEST_F(Loading, NeedsACardThatWorks) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80F0807F"), "9000");
    for (const char* command :
         {"80E40000 09 4F07A0000009990001", "80E60200 0C 07A0000009990002 00 00 00 00", "80E80000 01 00",
          "80E29000 03 420101", "80D80001 01 01"}) {
        EXPECT_EQ(Send(command), "6985") << command;
    }
    EXPECT_EQ(StatusOf("80F24000 02 4F00 00"), "9000");
    EXPECT_EQ(Send("00A4040008A00000099900010200"), "6A81");
    EXPECT_EQ(Send("00A4040008A00000099900010900"), "6A81");
    EXPECT_EQ(Send("00A4040000"), "6F108408A000000151000000A5049F6501FF6283");
    Authenticate();
    EXPECT_EQ(Send("80F0800F"), "9000");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}

TEST_F(Loading, FollowsTheLifeOfANewCard) {
    options.lifeCycle = 0x01;
    Restart();
    Authenticate();
    EXPECT_EQ(Send("80F0800F"), "6985");
    EXPECT_EQ(Send("80F0807F"), "6985");
    EXPECT_EQ(Send("80F08007"), "9000");
    EXPECT_EQ(Send("80F0800F"), "9000");
    EXPECT_EQ(Send("80F06080 08 A000000151000000"), "9000");  // all that is below it, which is nothing
    EXPECT_EQ(Send("80F06080 08 A000000999000102"), "6A88");
    EXPECT_EQ(Send("80F04080 08 A000000151000000"), "6985");
}
