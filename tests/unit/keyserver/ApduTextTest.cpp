// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/ApduText.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace KeyServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string MistakeIn(const std::string& responseSet) {
    try {
        ParseResponseSet(responseSet);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

}  // namespace

TEST(ApduText, JoinsCommandsIntoOneSet) {
    EXPECT_EQ(JoinCommandSet({"00A4040000", "80CA00E000"}), "/0100A4040000/0180CA00E000");
}

TEST(ApduText, TakesTheResponsesOutOfASet) {
    EXPECT_THAT(ParseResponseSet("/016f00900a/016A88").responses, ElementsAre("6F00900A", "6A88"));
    EXPECT_TRUE(ParseResponseSet("/019000").Relayed());
}

TEST(ApduText, RecognisesThatTheAgentRelayedNothing) {
    const ResponseSet set = ParseResponseSet("21_takenwrongadpu.");
    EXPECT_FALSE(set.Relayed());
    EXPECT_EQ(set.relayFailure, "takenwrongadpu.");
    EXPECT_EQ(ParseResponseSet("21_clientdisappeared./").relayFailure, "clientdisappeared./");
    EXPECT_FALSE(ParseResponseSet("21_").Relayed());
}

TEST(ApduText, SaysWhichResponseOfASetIsWrong) {
    EXPECT_THAT(MistakeIn("019000"), HasSubstr("begins with"));
    EXPECT_THAT(MistakeIn(""), HasSubstr("begins with"));
    EXPECT_THAT(MistakeIn("/019000/029000"), HasSubstr("response 2"));
    EXPECT_THAT(MistakeIn("/01"), HasSubstr("response 1"));
    EXPECT_THAT(MistakeIn("/0190G0"), HasSubstr("hexadecimal"));
    EXPECT_THAT(MistakeIn("/"), HasSubstr("response 1"));
}

TEST(ApduText, ComparesStatusWordsWithPatterns) {
    EXPECT_TRUE(MatchesStatusWord("9000", "9000"));
    EXPECT_FALSE(MatchesStatusWord("9000", "9001"));
    EXPECT_TRUE(MatchesStatusWord("61xx", "61A0"));
    EXPECT_TRUE(MatchesStatusWord("6a88", "6A88"));
    EXPECT_FALSE(MatchesStatusWord("9000", ""));
    EXPECT_EQ(StatusWord("6F009000"), "9000");
    EXPECT_EQ(StatusWord("90"), "");
}

TEST(ApduText, AcceptsTheFourCasesInShortAndExtendedForm) {
    for (const char* apdu :
         {"00A40400", "80CA006600", "00A4040002A000", "00A4040002A00000", "00B20000000100",
          "00D6000000000201FF", "00D6000000000201FF0000"}) {
        EXPECT_THAT(ApduMistake(apdu), IsEmpty()) << apdu;
    }
}

TEST(ApduText, SaysWhatIsWrongWithACommand) {
    EXPECT_THAT(ApduMistake("00A404"), HasSubstr("CLA INS P1 P2"));
    EXPECT_THAT(ApduMistake("00A4040"), HasSubstr("odd"));
    EXPECT_THAT(ApduMistake("00A404ZZ"), HasSubstr("hexadecimal"));
    EXPECT_THAT(ApduMistake("00A4040003A000"), HasSubstr("announces 3 bytes of data, but 2 bytes follow"));
    EXPECT_THAT(ApduMistake("00A4040001A0000000"), HasSubstr("announces 1"));
    EXPECT_THAT(ApduMistake("00A404000001"), HasSubstr("three bytes"));
    EXPECT_THAT(ApduMistake("00A404000000000000"), HasSubstr("extended Lc of 0"));
    EXPECT_THAT(ApduMistake("00D6000000000301FF"), HasSubstr("announces 3"));
}
