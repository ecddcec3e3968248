// SPDX-License-Identifier: Apache-2.0
// What a card says in bytes, for people.
#include "globalplatform/CardWords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using GlobalPlatform::AtrWords;
using GlobalPlatform::LifeCycleWords;
using GlobalPlatform::PrivilegeWords;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CardWords, NameEachPrivilege) {
    EXPECT_THAT(PrivilegeWords("00"), ElementsAre("none"));
    EXPECT_THAT(PrivilegeWords("80"), ElementsAre("Security Domain"));
    EXPECT_THAT(PrivilegeWords("04"), ElementsAre("Card Reset"));
    EXPECT_THAT(
        PrivilegeWords("9EFE80"),
        ElementsAre(
            "Security Domain", "Card Lock", "Card Terminate", "Card Reset", "CVM Management", "Trusted Path",
            "Authorized Management", "Token Verification", "Global Delete", "Global Lock", "Global Registry",
            "Final Application", "Receipt Generation"));
}

TEST(CardWords, NameALifeCycleForWhateverHasIt) {
    EXPECT_THAT(LifeCycleWords("01"), ElementsAre("of a card: OP_READY", "of a load file: LOADED"));
    EXPECT_THAT(
        LifeCycleWords("0F"),
        ElementsAre(
            "of a card: SECURED", "of a security domain: PERSONALIZED", "of an application: its own state"));
    EXPECT_THAT(LifeCycleWords("07"), Contains("of an application: SELECTABLE"));
    EXPECT_THAT(LifeCycleWords("03"), ElementsAre("of an application: INSTALLED"));
    EXPECT_THAT(LifeCycleWords("87"), ElementsAre("of an application: LOCKED, was SELECTABLE"));
    EXPECT_THAT(LifeCycleWords("7F"), Contains("of a card: CARD_LOCKED"));
    EXPECT_THAT(LifeCycleWords("10"), ElementsAre("unknown to the standards"));
}

TEST(CardWords, TakeAnAnswerToResetApart) {
    EXPECT_THAT(
        AtrWords("3B88014E41564F434152448B"),
        ElementsAre(
            "direct convention", "protocols: T=1", "historical bytes: \"NAVOCARD\"",
            "its check byte is right"));
    EXPECT_THAT(
        AtrWords("3B084E41564F43415244"),
        ElementsAre("direct convention", "protocols: T=0", "historical bytes: \"NAVOCARD\""));
    EXPECT_THAT(AtrWords("3F9611"), Contains("its length is wrong"));
    EXPECT_THAT(AtrWords("3B1096"), Contains("a bit takes 512/32 clock cycles"));
}

TEST(CardWords, HaveNoneForWhatIsNoSuchValue) {
    EXPECT_THAT(PrivilegeWords("0000"), IsEmpty());
    EXPECT_THAT(PrivilegeWords("zz"), IsEmpty());
    EXPECT_THAT(LifeCycleWords("0101"), IsEmpty());
    EXPECT_THAT(AtrWords("00"), IsEmpty());
    EXPECT_THAT(AtrWords("4142"), IsEmpty());
}
