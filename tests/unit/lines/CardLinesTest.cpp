// SPDX-License-Identifier: Apache-2.0
// What the card commands tell of their work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "app/Se.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::ElementsAre;

class CardLines : public testing::Test {
protected:
    void Begin(const std::string& card) {
        world.Configure("[card]\n" + card);
        ASSERT_TRUE(se.Open());
        AllLines().clear();
    }

    // Lines of the card commands; without those of the exchange itself unless they are asked for.
    static std::vector<std::string> Lines(bool withExchanges = false) {
        std::vector<std::string> lines = LinesOfSource("app/Se.cpp");
        const auto isOfExchange = [](const std::string& line) { return line.substr(2, 6) == "Apdu: "; };
        if (!withExchanges) {
            lines.erase(std::remove_if(lines.begin(), lines.end(), isOfExchange), lines.end());
        }
        return lines;
    }

    DeviceWorld world;
    Na::Se se{0};
};

class TagLines : public testing::Test {
protected:
    static std::vector<std::string> LinesFor(const std::string& data, const std::string& tag) {
        AllLines().clear();
        Na::Se::GetTagValue(data, tag);
        return LinesOfSource("app/Se.cpp");
    }

    const DeviceWorld world;
};

}  // namespace

TEST_F(CardLines, ShowTheCommandAsItWasGivenAndItsResponse) {
    Begin("answer 80CA=ab9000\n");
    se.Apdu("80ca");
    EXPECT_THAT(Lines(true), ElementsAre("T Apdu: APDU: 80ca", "T Apdu: RAPDU: AB9000"));
}

TEST_F(CardLines, ShowEachFollowUpAndEndEachWithTheSameResponse) {
    Begin("answer 8001=6102\nanswer 000C000000=6C01\nanswer 000C00000000=009000\n");
    se.Apdu("8001");
    EXPECT_THAT(
        Lines(true), ElementsAre(
                         "T Apdu: APDU: 8001", "T Apdu: 0x61: 000C000000", "T Apdu: APDU: 000C000000",
                         "T Apdu: 0x6C: 000C0000000", "T Apdu: APDU: 000C0000000", "T Apdu: RAPDU: 009000",
                         "T Apdu: RAPDU: 009000", "T Apdu: RAPDU: 009000"));
}

TEST_F(CardLines, EndAFailedExchangeWithAnEmptyResponse) {
    Begin("answer 8001=90\n");
    se.Apdu("8001");
    EXPECT_THAT(
        Lines(true),
        ElementsAre(
            "T Apdu: APDU: 8001", "E Apdu: eSE communication problem. rAPDU len 1", "T Apdu: RAPDU: "));
}

TEST_F(CardLines, ShowTheCplcWithAndWithoutWhatSurroundsIt) {
    Begin("answer 80CA9F7F00=9F7F02AABB9000\n");
    se.GetCplc();
    EXPECT_THAT(Lines(), ElementsAre("T GetCplc: rAPDU: 9F7F02AABB9000", "T GetCplc: ret: AABB"));
}

TEST_F(CardLines, SayWhyThereIsNoCplc) {
    Begin("answer 80CA9F7F00=6A88\n");
    se.GetCplc();
    EXPECT_THAT(
        Lines(), ElementsAre(
                     "T GetCplc: rAPDU: 6A88", "E isValidSW: Card responded with error SW: 6A88",
                     "D GetCplc: Error indicated in SW", "T GetCplc: ret: "));
    Begin("answer 80CA9F7F00=empty\n");
    se.GetCplc();
    EXPECT_THAT(
        Lines(),
        ElementsAre("T GetCplc: rAPDU: ", "E GetCplc: Empty response from card", "T GetCplc: ret: "));
}

TEST_F(CardLines, ShowTheFreeMemoryAndWhereItCameFrom) {
    Begin("answer 80CAFF2100=FF210482020A009000\n");
    se.GetFreeMemory();
    EXPECT_THAT(
        Lines(),
        ElementsAre("T GetFreeMemory: rAPDU: FF210482020A009000", "D GetFreeMemory: SE memory: 2560"));
}

TEST_F(CardLines, SayWhichTemplateIsMissingWhereThereIsNoFreeMemory) {
    Begin("answer 80CAFF2100=8101009000\n");
    se.GetFreeMemory();
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "T GetFreeMemory: rAPDU: 8101009000", "W GetTagValue: failed to find FF21 tag in tlv structure",
            "W GetTagValue: empty data structure in card response", "D GetFreeMemory: SE memory: 0"));
    Begin("answer 80CAFF2100=empty\n");
    se.GetFreeMemory();
    EXPECT_THAT(Lines(), ElementsAre("T GetFreeMemory: rAPDU: ", "D GetFreeMemory: SE memory: 0"));
}

TEST_F(TagLines, AreNoneForATagThatIsFound) {
    EXPECT_THAT(LinesFor("8101AA8201BB", "82"), testing::IsEmpty());
}

TEST_F(TagLines, WarnOfDataOrATagThatIsEmpty) {
    const char Warning[] = "W GetTagValue: empty data structure in card response";
    EXPECT_THAT(LinesFor("", "82"), ElementsAre(Warning));
    EXPECT_THAT(LinesFor("8201AA", ""), ElementsAre(Warning));
    EXPECT_THAT(LinesFor("", ""), ElementsAre(Warning));
}

TEST_F(TagLines, WarnOfATagThatIsAbsentOrHasNoValue) {
    const char Warning[] = "W GetTagValue: failed to find 82 tag in tlv structure";
    EXPECT_THAT(LinesFor("8101AA", "82"), ElementsAre(Warning));
    EXPECT_THAT(LinesFor("8200", "82"), ElementsAre(Warning));
}

TEST_F(TagLines, WarnOfALengthThatIsIllFormedBeforeTheyMissTheTag) {
    EXPECT_THAT(
        LinesFor("0185", "8F"), ElementsAre(
                                    "W GetTagValue: ill-formed card response",
                                    "W GetTagValue: failed to find 8F tag in tlv structure"));
}
