// SPDX-License-Identifier: Apache-2.0
// What INSTALL, LOAD, DELETE, GET STATUS and SET STATUS take and refuse. Clauses are those of GlobalPlatform
// Card 2.3.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class Installation : public CardDesk {
protected:
    Installation() { Authenticate(); }

    // INSTALL [for install and make selectable] of the file that is loaded.
    std::string Install(
        const std::string& aid, const std::string& privileges = "00", const std::string& parameters = "C900",
        const std::string& header = "80E60C00") {
        return SendWith(
            header, Field(File) + Field("A000000999000101") + Field(aid) + Field(privileges) +
                        Field(parameters) + "00");
    }

    std::string LoadBlock(const std::string& code, const std::string& hash, const std::string& aid = File) {
        EXPECT_EQ(
            SendWith(
                "80E60200", Field(aid) + "00" + Field(hash) +
                                "00"
                                "00"),
            "009000");
        return SendWith("80E88000", "C4" + Field(code));
    }

    std::string Privileges(const std::string& aid) {
        const std::string entry = Send("80F24002 " + Length("4F" + Field(aid)) + "4F" + Field(aid) + "00");
        return entry.substr(entry.find("C503") + 4, 6);
    }

    static constexpr char File[] = "A0000009990001";
    static constexpr char First[] = "A000000999000102";
    static constexpr char Second[] = "A000000999000103";
};

constexpr char Applet[] =
    "010011DECAFFED010204000107A0000009990001"
    "03000C0108A0000009990001010010";
constexpr char Library[] = "010011DECAFFED010204020307A0000009990001";

}  // namespace

// C.2: the hash's length tells which it is; those of the bytes 616263 in FIPS 180-4.
TEST_F(Installation, ChecksEachHashOfTheCode) {
    for (const char* hash :
         {"A9993E364706816ABA3E25717850C26C9CD0D89D",
          "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD",
          "CB00753F45A35E8BB5A03D699AC65007272C32AB0EDED1631A8B605A43FF5BED8086072BA1E7CC2358BAECA134C825A7",
          "DDAF35A193617ABACC417349AE20413112E6FA4E89A97EA20A9EEEE64B55D39A2192992A274FC1A836BA3C23A3FEEBBD"
          "454D4423643CE80E2A9AC94FA54CA49F"}) {
        EXPECT_EQ(LoadBlock("616264", hash), "6985") << hash;
        EXPECT_EQ(LoadBlock("616263", hash), "009000") << hash;
        EXPECT_EQ(SendWith("80E40000", "4F" + Field(File)), "009000");
    }
}

// 11.5.2.3.1: the name in INSTALL is that in the file.
TEST_F(Installation, RefusesCodeOfAnotherName) {
    EXPECT_EQ(LoadBlock(Applet, "", "A0000009990002"), "6985");
    EXPECT_EQ(LoadBlock("010004DECAFFED", ""), "6985");  // no whole header
    EXPECT_EQ(LoadBlock(Applet, ""), "009000");
}

// 9.3.6: the module is in the registry. A library has none; of other code, its modules are unknown.
TEST_F(Installation, RefusesAModuleThatTheFileDoesNotHave) {
    ASSERT_EQ(LoadBlock(Library, ""), "009000");
    EXPECT_EQ(Install(First), "6A88");
    EXPECT_EQ(
        Send("80F22002 07 4F05A000000999 00").substr(0, 40), "E31B4F07A00000099900019F700101CE020302CC");
    ASSERT_EQ(SendWith("80E40000", "4F" + Field(File)), "009000");
    ASSERT_EQ(LoadBlock("616263", ""), "009000");
    EXPECT_EQ(Install(First), "009000");
}

// 11.5.2.3.2 and table 11-48: C9 is mandatory, and so is the application's AID.
TEST_F(Installation, WantsItsParametersAndItsName) {
    LoadFile();
    for (const char* parameters : {"", "EF00", "C9", "C90101FF"}) {
        EXPECT_EQ(Install(First, "00", parameters), "6A80") << parameters;
    }
    EXPECT_EQ(Install(""), "6A80");
    EXPECT_EQ(Install("A0000009"), "6A80");
    EXPECT_EQ(Install(First, "00", "C900EF00EA00"), "009000");
}

// 11.5.2.3.2: the file may be left out where its module tells which it is.
TEST_F(Installation, FindsTheFileByItsModule) {
    ASSERT_EQ(LoadBlock(Applet, ""), "009000");
    EXPECT_EQ(
        SendWith(
            "80E60C00", "00" + Field("A000000999000109") + Field(First) +
                            "0100"
                            "02C900"
                            "00"),
        "6A88");
    EXPECT_EQ(
        SendWith(
            "80E60C00", "00" + Field("A000000999000101") + Field(First) +
                            "0100"
                            "02C900"
                            "00"),
        "009000");
}

// 11.5.2.3: lengths of parameters and tokens have one to three bytes, and 80 is 128.
TEST_F(Installation, ReadsLengthsOfSeveralBytes) {
    LoadFile();
    const std::string names = Field(File) + Field("A000000999000101");
    const std::string of128 = "C97E" + std::string(2 * 0x7E, '0');
    EXPECT_EQ(
        SendWith(
            "80E60C00", names + Field(First) +
                            "0100"
                            "80" +
                            of128 + "00"),
        "009000");
    const std::string of130 =
        "C98180"
        "0000" +
        std::string(2 * 0x7F, '0');
    EXPECT_EQ(
        SendWith(
            "80E60C00", names + Field(Second) +
                            "0100"
                            "8182" +
                            of130 + "00"),
        "6A80");
    const std::string of131 = "C98180" + std::string(2 * 0x80, '0');
    EXPECT_EQ(
        SendWith(
            "80E60C00", names + Field(Second) +
                            "0100"
                            "8183" +
                            of131 + "00"),
        "009000");
    EXPECT_EQ(
        SendWith(
            "80E60C00", names + Field("A000000999000104") +
                            "0100"
                            "8102C900"
                            "00"),
        "6A80");
}

// 9.3.8: the file comes to be with its application, and fails with it; its name may be left out.
TEST_F(Installation, OfACombinedProcessIsAllOrNothing) {
    const unsigned long before = FreeMemory();
    const std::string begin = "80E60E01 0C 07A0000009990001 00 00 00 00";
    EXPECT_EQ(Send(begin), "009000");
    EXPECT_EQ(Send("80E88000 05 C403616263"), "009000");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "6A88");  // nothing yet
    EXPECT_EQ(Install(First, "80", "C900", "80E60E03"), "6A80");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "6A88");
    EXPECT_EQ(Install(First, "00", "C900", "80E60E03"), "6985");  // the process is over
    EXPECT_EQ(FreeMemory(), before);
    EXPECT_EQ(Send(begin), "009000");
    EXPECT_EQ(Send("80E88000 05 C403616263"), "009000");
    EXPECT_EQ(StatusOf("80F28000 02 4F00 00"), "9000");
    EXPECT_EQ(
        SendWith(
            "80E60E03", "00" + Field("A000000999000101") + Field(First) +
                            "0100"
                            "02C900"
                            "00"),
        "009000");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "07A000000999000101009000");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}

TEST_F(Installation, OfACombinedProcessNamesTheSameFile) {
    EXPECT_EQ(Send("80E60E01 0C 07A0000009990002 00 00 00 00"), "009000");
    EXPECT_EQ(Send("80E88000 05 C403616263"), "009000");
    EXPECT_EQ(Install(First, "00", "C900", "80E60E03"), "6985");
    EXPECT_EQ(Send("80F22000 07 4F05A000000999 00"), "6A88");
}

// 11.5.2.3.2 and 11.5.2.3.3: card reset comes with what makes selectable; of the privileges there, it alone
// counts.
TEST_F(Installation, GivesCardResetWithSelection) {
    LoadFile();
    EXPECT_EQ(Install(First, "04", "C900", "80E60400"), "6A80");
    EXPECT_EQ(Install(First, "00", "C900", "80E60400"), "009000");
    EXPECT_EQ(Privileges(First), "000000");
    EXPECT_EQ(
        SendWith(
            "80E60800",
            "00"
            "00" +
                Field(First) +
                "03FEFFFF"
                "00"
                "00"),
        "009000");
    EXPECT_EQ(Privileges(First), "040000");
    card->Reset();
    EXPECT_EQ(Send("80F28000024F00"), "6D00");
}

// 6.6.2: one holder at a time, which the issuer domain is again when it has gone.
TEST_F(Installation, LendsCardResetToOne) {
    LoadFile();
    EXPECT_EQ(Send("80F28002 02 4F00 00").substr(36, 6), "9EFE80");
    EXPECT_EQ(Install(First, "04"), "009000");
    EXPECT_EQ(Send("80F28002 02 4F00 00").substr(36, 6), "9AFE80");
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "08A0000001510000000F9A9000");
    EXPECT_EQ(Install(Second, "04"), "6985");
    EXPECT_EQ(SendWith("80E40000", "4F" + Field(First)), "009000");
    EXPECT_EQ(Send("80F28002 02 4F00 00").substr(36, 6), "9EFE80");
    EXPECT_EQ(Install(Second, "04"), "009000");
}

// 6.4.1 and 11.1.7: CF registers for implicit selection, on what is the issuer domain's until then.
TEST_F(Installation, RegistersForImplicitSelection) {
    LoadFile();
    EXPECT_EQ(Install(First, "00", "C900EF03CF0140", "80E60400"), "6A80");
    EXPECT_EQ(Install(First, "00", "C900EF03CF0154"), "6A80");  // there is no channel 20
    EXPECT_EQ(Install(First, "00", "C900EF06CF0140CF0181"), "009000");
    EXPECT_EQ(Send("80F24002 05 4F00 5C01CF 00"), "E306CF0140CF01819000");
    EXPECT_EQ(Install(Second, "00", "C900EF03CF01C0"), "6985");
    EXPECT_EQ(Install(Second, "04"), "6985");  // everywhere on the first channel
    EXPECT_EQ(Install(Second, "00", "C900EF03CF0180"), "009000");
    card->Reset();
    EXPECT_EQ(Send("80F28000024F00"), "6D00");
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    EXPECT_EQ(SendWith("80E40000", "4F" + Field(First)), "009000");
    card->Reset();
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");  // the contactless one is not selected here
    Authenticate();
    EXPECT_EQ(Install(First, "00", "C900", "80E60400"), "009000");
    EXPECT_EQ(
        SendWith(
            "80E60800",
            "00"
            "00" +
                Field(First) +
                "0100"
                "05EF03CF0140"
                "00"),
        "009000");
    card->Reset();
    EXPECT_EQ(Send("80F28000024F00"), "6D00");
}

// 9.7: reserved memory has to be there; a quota reserves nothing, and is not below it.
TEST_F(Installation, LooksAtTheMemoryThatIsAskedFor) {
    LoadFile();
    options.memory = 5000;
    card->Configure(options);
    EXPECT_EQ(Install(First, "00", "C900EF04D8025000"), "6A84");
    EXPECT_EQ(Install(First, "00", "C900EF06D70400010000"), "6A84");
    EXPECT_EQ(Install(First, "00", "C900EF08C8020010D8020011"), "6A80");
    EXPECT_EQ(Install(First, "00", "C900EF03C80110"), "6A80");
    EXPECT_EQ(Install(First, "00", "C900EF08C8027000D8020011"), "009000");
    // Code and data are one memory here: both minima have to be free together.
    EXPECT_EQ(Send("80E60200 16 07A0000009990002 00 00 0AEF08C6020800C8020A00 00"), "6A84");
    EXPECT_EQ(Send("80E60200 16 07A0000009990002 00 00 0AEF08C6020800C8020800 00"), "009000");
    EXPECT_EQ(Send("80E60200 14 07A0000009990002 00 00 08EF06C70400010000 00"), "6A84");
}

// 11.2.2.3.1: what belongs to a token may follow; under authorized management a token is an error.
TEST_F(Installation, IsDeletedWithWhatATokenWouldNeed) {
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80E40000 0D 4F08A000000999000102 9E01AA"), "6A80");
    EXPECT_EQ(Send("80E40000 0C 4F08A000000999000102 5000"), "6A80");
    EXPECT_EQ(Send("80E40000 10 4F08A000000999000102 B60242009E00"), "009000");
}

// 11.4.2: criteria and bits that the card does not know are passed over.
TEST_F(Installation, IsListedWhateverElseIsAsked) {
    LoadFile();
    InstallApplication();
    const std::string entry = Send("80F24002 02 4F00 00");
    EXPECT_EQ(StatusIn(entry), "9000");
    EXPECT_EQ(Send("80F24002 05 4F00 C50100 00"), entry);
    EXPECT_EQ(Send("80F24FFE 02 4F00 00"), entry);
    EXPECT_EQ(Send("80F24002 05 C50100 4F00"), "6A80");  // the name comes first
    EXPECT_EQ(Send("80F2C002 02 4F00 00"), "6A86");
}

// 11.4.2.2: the next part may be asked for within the application session.
TEST_F(Installation, IsListedFurtherAfterOtherCommands) {
    LoadFile();
    for (int instance = 0; instance < 30; ++instance) {
        ASSERT_EQ(
            Install("A0000009990002" + GlobalPlatform::HexText({static_cast<std::uint8_t>(instance)})),
            "009000");
    }
    ASSERT_EQ(StatusOf("80F24000 02 4F00 00"), "6310");
    EXPECT_EQ(StatusOf("80CA9F7F00"), "9000");
    Authenticate();
    EXPECT_EQ(StatusOf("80F24001 02 4F00 00"), "9000");
}

// 9.6.2: a domain and what is below it; what is in that state already is passed over.
TEST_F(Installation, IsLockedWithItsDomain) {
    LoadFile();
    InstallApplication();
    ASSERT_EQ(Install(Second), "009000");
    EXPECT_EQ(SendWith("80F04080", First), "9000");
    EXPECT_EQ(SendWith("80F06080", "A000000151000000"), "9000");
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A000000999000102870008A00000099900010387009000");
    EXPECT_EQ(Send("80F28000 02 4F00 00"), "08A0000001510000000F9E9000");
    EXPECT_EQ(SendWith("80F06000", "A000000151000000"), "9000");
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A000000999000102070008A00000099900010307009000");
    EXPECT_EQ(SendWith("80F06080", First), "6985");
}
