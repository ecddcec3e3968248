// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/StatusMeaning.h"

#include <gtest/gtest.h>

using GlobalPlatform::StatusMeaning;

TEST(StatusMeaning, IsThatOfTheWholeWordOrOfItsBeginning) {
    EXPECT_EQ(StatusMeaning("9000"), "success");
    EXPECT_EQ(StatusMeaning("6A88"), "the referenced data was not found");
    EXPECT_EQ(StatusMeaning("63C3"), "a check failed, the last digit tells how many tries are left");
    EXPECT_EQ(StatusMeaning("6C10"), "wrong expected length");
}

TEST(StatusMeaning, IsUnknownForOtherWords) {
    for (const char* word : {"", "6", "90", "9001", "6A99", "FFFF"}) {
        EXPECT_EQ(StatusMeaning(word), "an unknown status word") << word;
    }
}
