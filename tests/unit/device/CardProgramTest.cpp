// SPDX-License-Identifier: Apache-2.0
// The command line of navo-card, and what it does without a reader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

Ended RunProgram(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), NAVO_CARD_PROGRAM);
    return RunToEnd(arguments);
}

constexpr char Key[] = "404142434445464748494A4B4C4D4E4F";

}  // namespace

TEST(NavoCardOptions, AreHelpedWithInWords) {
    const std::string help = RunProgram({"--help"}).output;
    EXPECT_THAT(help, HasSubstr("--port PORT"));
    EXPECT_THAT(help, HasSubstr("(35963 when left out)"));
    EXPECT_THAT(help, Not(HasSubstr("INT")));
    EXPECT_EQ(RunProgram({"-V"}).output, RunProgram({"--version"}).output);
}

TEST(NavoCardOptions, TakeKeysWithoutQuotes) {
    const std::string key = Key;
    for (const char* between : {",", ";"}) {
        // A port that nobody listens at: the keys are taken, and the reader is missing.
        const Ended ended =
            RunProgram({"--once", "--port", "1", "--keys", key + between + key + between + key});
        EXPECT_EQ(ended.status, 1) << ended.errors;
        EXPECT_THAT(ended.errors, HasSubstr("no reader at"));
    }
}

TEST(NavoCardOptions, BeginComplaintsWithTheProgramsName) {
    const Ended keys = RunProgram({"--keys", "00,11"});
    EXPECT_EQ(keys.status, 2);
    EXPECT_THAT(
        keys.errors, AllOf(
                         StartsWith("navo-card: --keys: the card has three keys; write ENC,MAC,DEK, each as"),
                         HasSubstr("\nUsage: navo-card")));
    EXPECT_THAT(
        RunProgram({"--protcol", "T=0"}).errors,
        StartsWith("navo-card: there is no option '--protcol'; did you mean '--protocol'?\n"));
}

TEST(NavoCardList, TellsOfTheCardThatAProfileMakes) {
    const Ended ended = RunProgram(
        {"--profile", NAVO_DEVICE_DIR "/profiles/guarded.profile", "--key-version", "49", "--list"});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    for (const char* line :
         {"card, SECURED\n", "\n    memory: 48 of 16384 bytes in use\n",
          "\nissuer security domain A000000999000000\n", "\n    failed authentications in a row: 0 of 3\n",
          "\n    keys of version 49: 01 AES-256, 02 AES-256, 03 AES-256; sequence counter 0\n"}) {
        EXPECT_THAT(ended.output, HasSubstr(line));
    }
}

TEST(NavoCardList, TellsOfNoCardThatIsNotThere) {
    const Ended ended = RunProgram({"--state-file", "none.card", "--list"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "navo-card: state file none.card: there is none yet\n");
}

TEST(NavoCardProfile, HasAllItsMistakesTold) {
    const TemporaryFolder folder;
    const std::string file =
        folder.Write("a.profile", "[card]\nabsent=6A00\n[application A0]\nanswer 00=00\n").string();
    const Ended ended = RunProgram({"--profile", file, "--list"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(
        ended.errors,
        AllOf(
            StartsWith(file + ":2: [card] absent: "), HasSubstr("\n" + file + ":3: [application"),
            HasSubstr("\n" + file + ":4: [application A0] answer 00: ")));
    EXPECT_EQ(RunProgram({"--profile", "/nowhere/a", "--list"}).status, 1);
}

TEST(NavoCardOptions, AreReadAsAProfileIs) {
    const Ended ended = RunProgram({"--protocol", "T=2"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(
        ended.errors, StartsWith("navo-card: --protocol: \"T=2\" is no protocol of the software card"));
    EXPECT_EQ(RunProgram({"--keys", "00;00"}).status, 2);
}
