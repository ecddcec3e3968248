// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Instruction.h"

#include <gmock/gmock.h>

using GlobalPlatform::InstructionName;

TEST(InstructionNames, AreThoseOfTheStandards) {
    EXPECT_EQ(InstructionName(0x00, 0xA4), "SELECT");
    EXPECT_EQ(InstructionName(0x00, 0xC0), "GET RESPONSE");
    EXPECT_EQ(InstructionName(0x80, 0x50), "INITIALIZE UPDATE");
    EXPECT_EQ(InstructionName(0x84, 0x82), "EXTERNAL AUTHENTICATE");
    EXPECT_EQ(InstructionName(0x80, 0xCA), "GET DATA");
    EXPECT_EQ(InstructionName(0x84, 0xF2), "GET STATUS");
    EXPECT_EQ(InstructionName(0x84, 0xD8), "PUT KEY");
}

TEST(InstructionNames, FollowTheClassWhereTwoInstructionsShareACode) {
    EXPECT_EQ(InstructionName(0x00, 0xE2), "APPEND RECORD");
    EXPECT_EQ(InstructionName(0x80, 0xE2), "STORE DATA");
    EXPECT_EQ(InstructionName(0x04, 0xE4), "DELETE FILE");
    EXPECT_EQ(InstructionName(0x84, 0xE4), "DELETE");
}

TEST(InstructionNames, AreEmptyForCodesThatNoStandardHas) {
    EXPECT_EQ(InstructionName(0x00, 0x50), "");
    EXPECT_EQ(InstructionName(0x80, 0xA4), "");
    EXPECT_EQ(InstructionName(0x80, 0x01), "");
    EXPECT_EQ(InstructionName(0x00, 0xFF), "");
}
