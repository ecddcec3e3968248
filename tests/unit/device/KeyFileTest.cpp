// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/KeyFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Device::KeyFile;
using Device::ParseKeyFile;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST(KeyFile, RemembersTheLineOfEverySectionAndKey) {
    const KeyFile file = ParseKeyFile("# comment\n\n[sim 0]\nmcc=262\n\n[network]\ntype = wifi\n");
    ASSERT_THAT(file.mistakes, IsEmpty());
    ASSERT_THAT(file.sections, SizeIs(2));
    EXPECT_EQ(file.sections[0].kind, "sim");
    EXPECT_EQ(file.sections[0].name, "0");
    EXPECT_EQ(file.sections[0].line, 3U);
    EXPECT_EQ(file.sections[1].Heading(), "[network]");
    ASSERT_THAT(file.sections[1].entries, SizeIs(1));
    EXPECT_EQ(file.sections[1].entries[0].key, "type");
    EXPECT_EQ(file.sections[1].entries[0].value, "wifi");
    EXPECT_EQ(file.sections[1].entries[0].line, 7U);
}

TEST(KeyFile, TakesAValueAsItStandsUpToTheEndOfItsLine) {
    const KeyFile file = ParseKeyFile("[device]\r\ndevice-name=  a=b # \xFF c \r\nlocale=");
    ASSERT_THAT(file.mistakes, IsEmpty());
    EXPECT_EQ(file.sections[0].entries[0].value, "a=b # \xFF c");
    EXPECT_EQ(file.sections[0].entries[1].value, "");
}

TEST(KeyFile, AllowsBlanksInAKeyAndInAHeading) {
    const KeyFile file = ParseKeyFile("[ card   uicc ]\n answer 00A4 = 9000\n");
    EXPECT_EQ(file.sections[0].Heading(), "[card uicc]");
    EXPECT_EQ(file.sections[0].entries[0].key, "answer 00A4");
}

TEST(KeyFile, NamesTheLineThatIsNeitherKeyNorHeading) {
    const KeyFile file = ParseKeyFile("[device]\nwhat is this\n=5\n");
    ASSERT_THAT(file.mistakes, SizeIs(2));
    EXPECT_EQ(file.mistakes[0].line, 2U);
    EXPECT_THAT(file.mistakes[0].problem, HasSubstr("key=value"));
    EXPECT_EQ(file.mistakes[1].line, 3U);
}

TEST(KeyFile, RefusesAKeyBeforeTheFirstHeading) {
    const KeyFile file = ParseKeyFile("type=wifi\n");
    ASSERT_THAT(file.mistakes, SizeIs(1));
    EXPECT_EQ(file.mistakes[0].place, "type");
    EXPECT_THAT(file.mistakes[0].problem, HasSubstr("before the first section"));
}

TEST(KeyFile, RefusesASecondSectionAndASecondKeyOfOneNameAndSaysWhereTheFirstIs) {
    const KeyFile file =
        ParseKeyFile("[network]\ntype=wifi\ntype=cellular\n[device]\n[network]\ntype=wifi\n");
    ASSERT_THAT(file.mistakes, SizeIs(2));
    EXPECT_EQ(file.mistakes[0].line, 3U);
    EXPECT_EQ(file.mistakes[0].place, "[network] type");
    EXPECT_THAT(file.mistakes[0].problem, HasSubstr("line 2"));
    EXPECT_EQ(file.mistakes[1].line, 5U);
    EXPECT_THAT(file.mistakes[1].problem, HasSubstr("line 1"));
}

TEST(KeyFile, RefusesAHeadingThatDoesNotEndOrNamesNothingAndSkipsItsKeys) {
    for (const std::string heading : {"[network", "[]", "[  ]", "["}) {
        const KeyFile file = ParseKeyFile(heading + "\ntype=wifi\n");
        ASSERT_THAT(file.mistakes, SizeIs(1)) << heading;
        EXPECT_EQ(file.mistakes[0].line, 1U);
        EXPECT_THAT(file.sections, IsEmpty());
    }
}

TEST(KeyFile, RefusesALineWithAZeroByte) {
    const KeyFile file = ParseKeyFile(std::string("[device]\nlocale=en\0GB\n", 22));
    ASSERT_THAT(file.mistakes, SizeIs(1));
    EXPECT_EQ(file.mistakes[0].line, 2U);
}
