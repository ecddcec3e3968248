// SPDX-License-Identifier: Apache-2.0
// Finding a value in the card's BER-TLV, with all that the scan does in its own way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "app/Se.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TagValue : public testing::Test {
protected:
    TagValue() { world.ForgetLog(); }

    DeviceWorld world;
};

std::string ValueOf(const std::string& data, const std::string& tag) {
    return Na::Se::GetTagValue(data, tag);
}

}  // namespace

TEST_F(TagValue, IsFoundByATagOfOneByte) {
    EXPECT_EQ(ValueOf("8202ABCD", "82"), "ABCD");
}

TEST_F(TagValue, IsFoundByATagOfTwoBytes) {
    EXPECT_EQ(ValueOf("9F7F03010203", "9F7F"), "010203");
}

TEST_F(TagValue, IsFoundBehindOtherObjects) {
    EXPECT_EQ(ValueOf("8102ABCD8204000012349000", "82"), "00001234");
    EXPECT_EQ(ValueOf("9F7F0101810082008301AA", "83"), "AA");
}

TEST_F(TagValue, IsThatOfTheFirstObjectWithTheTag) {
    EXPECT_EQ(ValueOf("820111820122", "82"), "11");
}

TEST_F(TagValue, IsNotLookedForInsideConstructedObjects) {
    EXPECT_EQ(ValueOf("E1038201AA", "82"), "");
}

TEST_F(TagValue, IsTakenAsFarAsTheDataGoes) {
    EXPECT_EQ(ValueOf("8205AB", "82"), "AB");
    EXPECT_EQ(ValueOf("8205A", "82"), "A");
    EXPECT_EQ(ValueOf("8205", "82"), "") << "a value that begins past the end is empty";
}

TEST_F(TagValue, BeginsOneByteEarlyInTheLongForm) {
    EXPECT_EQ(ValueOf("9F7F8103010203", "9F7F"), "030102");
}

TEST_F(TagValue, IsFoundByEachOfTheFourLongForms) {
    // In each, the value begins d characters behind the marker, d being twice the number in it.
    EXPECT_EQ(ValueOf("828102AABB", "82"), "02AA");
    EXPECT_EQ(ValueOf("82820002AABB", "82"), "02AA");
    EXPECT_EQ(ValueOf("8283000002AABB", "82"), "02AA");
    EXPECT_EQ(ValueOf("828400000002AABB", "82"), "02AA");
}

TEST_F(TagValue, IsLookedForTwoCharactersShortOfTheEndOfALongForm) {
    // 81 81 02 AA BB ends two characters earlier for the scan, so that it goes on with BB.
    EXPECT_EQ(ValueOf("818102AABB01CC", "BB"), "CC");
}

TEST_F(TagValue, MayHaveALengthOfFourBytesWithoutWrapping) {
    EXPECT_EQ(ValueOf("8284FFFFFFFFAA", "82"), "FFAA");
    EXPECT_EQ(ValueOf("8184FFFFFFFFAA8201BB", "82"), "");
    EXPECT_EQ(ValueOf("818480000000008201BB", "82"), "") << "twice this length has no bit left in 32 bits";
}

TEST_F(TagValue, HasATagOfTwoBytesOnlyForAnUpperCaseF) {
    EXPECT_EQ(ValueOf("9F7F01AA", "9F7F"), "AA");
    EXPECT_EQ(ValueOf("9f7f01AA", "9f7f"), "") << "9f is a tag of its own here";
    EXPECT_EQ(ValueOf("9f01AA", "9f"), "AA");
}

TEST_F(TagValue, ComparesTagsExactly) {
    EXPECT_EQ(ValueOf("8A01AA", "8a"), "");
    EXPECT_EQ(ValueOf("8201AA", "8"), "");
    EXPECT_EQ(ValueOf("9F7F01AA", "9F"), "");
}

TEST_F(TagValue, IsEmptyForAnIllFormedLength) {
    EXPECT_EQ(ValueOf("0185", "8F"), "");
    for (const std::string marker : {"80", "85", "86", "89", "8A", "8F"}) {
        EXPECT_EQ(ValueOf("82" + marker + "00000000AA", "82"), "") << marker;
        EXPECT_EQ(ValueOf("81" + marker + "8201AA", "82"), "") << marker;
    }
}

TEST_F(TagValue, IsEmptyWithoutDataOrTag) {
    EXPECT_EQ(ValueOf("", "82"), "");
    EXPECT_EQ(ValueOf("8201AA", ""), "");
    EXPECT_EQ(ValueOf("", ""), "");
}

TEST_F(TagValue, IsEmptyWhenTheTagIsAbsent) {
    EXPECT_EQ(ValueOf("8101AA", "82"), "");
    EXPECT_EQ(ValueOf("8200", "82"), "");
}

TEST_F(TagValue, RaisesWhenATagOrALengthIsCutShort) {
    for (const std::string data : {
             "8",         // no second character of the tag
             "82",        // no length
             "820",       // half a length
             "9F7F",      // no length behind a wide tag
             "9F",        // half a wide tag
             "9F7F0",     //
             "828",       // half a marker
             "8281",      // no digits behind the marker
             "82810",     //
             "8282001",   //
             "82840000",  //
             "8101AA8",   // behind a good object
         }) {
        EXPECT_THROW(ValueOf(data, "82"), std::out_of_range) << data;
    }
}

TEST_F(TagValue, LeavesNoLineInTheLogWhereOnlyWarningsAreDue) {
    ValueOf("", "82");
    ValueOf("0185", "8F");
    ValueOf("8101AA", "82");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(StatusWord, IsGoodWhenItIs9000) {
    const DeviceWorld world;
    EXPECT_TRUE(Na::Se::isValidSW("9000"));
    EXPECT_TRUE(Na::Se::isValidSW("6A829000"));
}

TEST(StatusWord, IsBadWhenItIsAnythingElse) {
    DeviceWorld world;
    world.ForgetLog();
    EXPECT_FALSE(Na::Se::isValidSW("9F7F6A82"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E isValidSW: Card responded with error SW: 6A82"));
    EXPECT_FALSE(Na::Se::isValidSW("90006310"));
    EXPECT_FALSE(Na::Se::isValidSW("9001"));
}

TEST(StatusWord, RaisesForAResponseThatHasNone) {
    for (const std::string response : {"", "9", "900"}) {
        EXPECT_THROW(Na::Se::isValidSW(response), std::out_of_range) << response;
    }
}
