// SPDX-License-Identifier: Apache-2.0
// GET DATA and SELECT, as their classes and their parameters have it. Clauses are those of GlobalPlatform
// Card 2.3.1.
#include "tests/unit/card/CardDesk.h"

namespace {

class Reading : public CardDesk {};

}  // namespace

// 11.3.3.1: GlobalPlatform's class gives the object, ISO's its value.
TEST_F(Reading, GivesTheValueAloneInIsosClass) {
    for (const char* tag : {"0042", "0045", "0066", "0067", "00C1", "00C2", "00CF", "00D3", "00E0"}) {
        const std::string whole = Send(std::string("80CA") + tag + "00");
        const std::string value = Send(std::string("00CA") + tag + "00");
        EXPECT_EQ(whole, std::string(tag + 2) + whole.substr(2, 2) + value) << tag;
        EXPECT_EQ(StatusIn(value), "9000") << tag;
    }
    EXPECT_EQ(Send("80CA9F7F00"), "9F7F2A" + Send("00CA9F7F00"));
    EXPECT_EQ(Send("80CAFF2100"), "FF2110" + Send("00CAFF2100"));
    EXPECT_EQ(Send("00CA004200"), "99990100019000");
}

// 11.3.2: the list of applications wants its tag list, and has INS CB in ISO's class.
TEST_F(Reading, ListsApplicationsForTheirTagList) {
    EXPECT_EQ(Send("80CA2F00 02 5C00 00"), "6A88");  // there is none
    Authenticate();
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Send("80CA2F00 02 5C00 00"), "610A4F08A0000009990001029000");
    EXPECT_EQ(Send("00CB2F00 02 5C00 00"), "610A4F08A0000009990001029000");
    EXPECT_EQ(Send("80CA2F0000"), "6700");
    EXPECT_EQ(Send("80CA2F00 03 5C014F 00"), "6A88");
    EXPECT_EQ(Send("00CA2F00 02 5C00 00"), "6A88");
    EXPECT_EQ(Send("80CB2F00 02 5C00 00"), "6D00");
    EXPECT_EQ(Send("00CB0042 02 5C00 00"), "6A88");
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("80CA2F00 02 5C00 00"), "6A88");  // an application lists nothing
}

// H.4: what the card is able to do: SCP03 with its option and every length of keys, the privileges of domains
// and other applications, four hashes, every cipher, signature and curve.
TEST_F(Reading, TellsWhatTheCardIsAbleToDo) {
    EXPECT_EQ(
        Send("80CA006700"),
        "67"
        "35"
        "A009"
        "800103"
        "810110"
        "820107"
        "8103FFFFC0"
        "82031E0F00"
        "830401020304"
        "84018F"
        "8502FF03"
        "8602FF03"
        "8702FF03"
        "8809000102030405060708"
        "9000");
    options.channelOption = 0x70;
    card->Configure(options);
    EXPECT_EQ(Send("80CA006700").substr(14, 6), "810170");
    EXPECT_EQ(Send("80CA006600").substr(98), "03709000");
}

// Table 10-1: the level that protects the session now.
TEST_F(Reading, TellsTheCurrentSecurityLevel) {
    EXPECT_EQ(Send("80CA00D300"), "D301009000");
    Authenticate(Level::None);
    EXPECT_EQ(Send("80CA00D300"), "D301809000");
    Authenticate(Level::CommandMac);
    EXPECT_EQ(SendProtected("80CA00D300"), "D301819000");
    Authenticate(Level::CommandMacAndDecryption);
    EXPECT_EQ(SendProtected("80CA00D300"), "D301839000");
}

// Table 11-31: no receipt was ever given; what the card does not have.
TEST_F(Reading, CountsNoConfirmations) {
    EXPECT_EQ(Send("80CA00C200"), "C20200009000");
    EXPECT_EQ(Send("80CA5F5000"), "6A88");
}

// 6.4.2.1.2: no name is the issuer domain's, also for the next one, which needs a first.
TEST_F(Reading, SearchesForTheNextOnlyBehindAFirst) {
    EXPECT_EQ(Send("00A4040205A00000099900"), "6A82");
    Authenticate();
    LoadFile();
    InstallApplication();
    card->Reset();
    EXPECT_EQ(Send("00A4040205A00000099900"), "6A82");
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    EXPECT_EQ(StatusOf("00A4040205A00000099900"), "9000");
    EXPECT_EQ(Send("00A4040200"), "6F108408A000000151000000A5049F6501FF9000");
}

// 9.6.3: of a locked card only the final application can be selected.
TEST_F(Reading, SelectsTheIssuerDomainAloneOfALockedCard) {
    Authenticate();
    ASSERT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("00A4040005A00000099900"), "6A81");
    EXPECT_EQ(StatusOf("80F28000024F00"), "9000");  // the selection is as it was
    EXPECT_EQ(StatusOf("00A4040005A00000015100"), "6283");
}
