// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Masking.h"

#include <gmock/gmock.h>

#include <regex>

using GlobalPlatform::Masking;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

// Made up; its last digit checks out.
constexpr char Number[] = "4999990000000007";

std::string AliasIn(const std::string& text) {
    const std::size_t begin = text.find('{');
    return begin == std::string::npos ? "" : text.substr(begin, text.find('}') + 1 - begin);
}

std::string Written(const std::string& digits) {
    std::string hexadecimal;
    for (const char digit : digits) {
        hexadecimal += std::string("3") + digit;
    }
    return hexadecimal;
}

}  // namespace

TEST(Masking, HidesDataOfStoreDataAndPutKeyAndShowsTheRest) {
    const Masking masking;
    EXPECT_THAT(masking.Command("80E29000030102FF"), MatchesRegex("80E2900003.card data [0-9A-F]{8}."));
    EXPECT_THAT(
        masking.Command("80D8018103010203"
                        "00"),
        MatchesRegex("80D8018103.key data [0-9A-F]{8}.00"));
    EXPECT_THAT(
        masking.Command("0020008002"
                        "1234"),
        StartsWith("0020008002{reference data "));
    EXPECT_THAT(
        masking.Command("80E2000000"
                        "0003"
                        "010203"),
        StartsWith("80E20000000003{card data "));
    EXPECT_EQ(masking.Command("80CA9F7F00"), "80CA9F7F00");
    EXPECT_EQ(masking.Command("80F28002024F0000"), "80F28002024F0000");
    EXPECT_EQ(masking.Command("80E200"), "80E200") << "has no data";
}

TEST(Masking, HidesWhatIsNoProperCommandToo) {
    const Masking masking;
    EXPECT_THAT(
        masking.Command("80E2900009"
                        "112233"),
        MatchesRegex("80E2900009.card data [0-9A-F]{8}."));
    EXPECT_THAT(
        masking.Command("80E2900002"
                        "11223"),
        MatchesRegex("80E2900002.card data [0-9A-F]{8}."));
    EXPECT_EQ(masking.Command("no digits"), "no digits");
    EXPECT_EQ(masking.Command(""), "");
}

TEST(Masking, ShowsTheCodeOfAProtectedCommandAndGivesItsDataOneAlias) {
    const Masking masking;
    const std::string first = masking.Command(
        "84E290000B"
        "010203"
        "A1A2A3A4A5A6A7A8"
        "00");
    const std::string second = masking.Command(
        "84E290000B"
        "010203"
        "B1B2B3B4B5B6B7B8"
        "00");
    EXPECT_THAT(first, EndsWith("}A1A2A3A4A5A6A7A800"));
    EXPECT_EQ(AliasIn(first), AliasIn(second));
    EXPECT_EQ(
        AliasIn(first), AliasIn(masking.Command("80E2900003"
                                                "010203")));
}

TEST(Masking, GivesASecretOneAliasAndAnotherTheNextTime) {
    const Masking masking;
    const std::string command = "80E2900003010203";
    EXPECT_EQ(masking.Command(command), masking.Command(command));
    EXPECT_NE(masking.Command(command), masking.Command("80E2900003010204"));
    EXPECT_NE(masking.Command(command), Masking().Command(command))
        << "nobody can try out what it stands for";
    EXPECT_EQ(masking.Data("5a084999990000000007"), masking.Data("5A084999990000000007"));
}

TEST(Masking, FindsCardNumbersByTheirTagsWhereverTheyStand) {
    const Masking masking;
    const std::string number = masking.Alias("card number", Number);
    EXPECT_EQ(masking.Data(std::string("700A5A08") + Number + "9000"), "700A5A08" + number + "9000");
    EXPECT_EQ(
        masking.Data(
            std::string("5711") + Number +
            "D99122010000000000"
            "9000"),
        "5711" + number + "9000");
    EXPECT_EQ(masking.Data(std::string("9F6B0D") + Number + "D9912201009000"), "9F6B0D" + number + "9000");
    EXPECT_EQ(masking.Data("5A07499999000000FF9000"), "5A07499999000000FF9000") << "has too few digits";
    EXPECT_EQ(
        masking.Data("5A0A49999900000000079FFF9000"),
        "5A0A" + masking.Alias("card number", "49999900000000079") + "9000");
    EXPECT_THAT(
        masking.Command(std::string("00DC01040A5A08") + Number), StartsWith("00DC01040A5A08{card number "));
}

TEST(Masking, FindsCardNumbersThatAreWritten) {
    const Masking masking;
    const std::string number = masking.Alias("card number", Number);
    EXPECT_EQ(masking.Data("42" + Written(Number) + "5E9000"), "42" + number + "5E9000");
    EXPECT_EQ(masking.Data(Written("4999990000000005")), Written("4999990000000005")) << "does not check out";
}

TEST(Masking, LeavesProductionDataAndListsAsTheyAre) {
    const Masking masking;
    for (const std::string data :
         {"9F7F2A4F5257310001506001005061AABBCCDD00424F5050654F4550664F4950700000000A4F5350710000000B9000",
          "E3134F08A0000001510000009F70010FC5039EFE809000", "6A82", "5A", "57", "9F6B", "9F"}) {
        EXPECT_EQ(masking.Data(data), data);
    }
}

TEST(Masking, LooksThroughSentences) {
    const Masking masking;
    EXPECT_EQ(
        masking.Sentence(std::string("the card says 5A08") + Number + ", not 9000"),
        "the card says 5A08" + masking.Alias("card number", Number) + ", not 9000");
    EXPECT_EQ(masking.Sentence("step 2 of 3: add face"), "step 2 of 3: add face");
    EXPECT_EQ(masking.Sentence(""), "");
}
