// SPDX-License-Identifier: Apache-2.0
// navo-ccm-script, run as a user runs it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "tests/support/TemporaryFolder.h"

namespace {

class ScriptTool : public testing::Test {
protected:
    // Exit status; what the tool wrote is in `output` and `errors`.
    int Run(const std::string& options, const std::string& input) {
        const std::string in = folder.Write("in", input);
        const std::string place = folder.Path();
        const std::string command = std::string(NAVO_CCM_SCRIPT_PROGRAM) + " " + options + " <" + in + " >" +
                                    place + "/out 2>" + place + "/err";
        const int status = std::system(command.c_str());
        output = ReadFile(folder.Path() / "out");
        errors = ReadFile(folder.Path() / "err");
        return WEXITSTATUS(status);
    }

    TemporaryFolder folder;
    std::string output;
    std::string errors;
};

}  // namespace

TEST_F(ScriptTool, MakesAScriptFromCommands) {
    EXPECT_EQ(Run("", "# two commands\n00A40400 00  # select\n\n\t80ca9f7f00\r\n"), 0);
    EXPECT_EQ(output, "C55A5F5AFE5E5A5A5A5FDA90C5255A0A\n");
}

TEST_F(ScriptTool, ReadsAScriptBack) {
    EXPECT_EQ(Run("--decode", "C55A5F5AFE5E5A5A\n5A5FDA90C5255A0A\n"), 0);
    EXPECT_EQ(output, "00A4040000\n80CA9F7F00\n");
}

TEST_F(ScriptTool, MakesAnEmptyListOfNothing) {
    EXPECT_EQ(Run("", ""), 0);
    EXPECT_EQ(output, "C500\n");
    EXPECT_EQ(Run("--decode", output), 0);
    EXPECT_EQ(output, "");
}

TEST_F(ScriptTool, NamesTheLineThatIsWrong) {
    EXPECT_EQ(Run("", "00A4\n80C\n"), 1);
    EXPECT_EQ(errors, "navo-ccm-script: line 2: write whole bytes in hexadecimal digits\n");
    EXPECT_EQ(Run("", std::string(512, '0') + "\n"), 1);
    EXPECT_EQ(errors, "navo-ccm-script: line 1: a command of 256 bytes; a record holds 1 to 255\n");
    EXPECT_EQ(output, "");
}

TEST_F(ScriptTool, RefusesADamagedScript) {
    EXPECT_EQ(Run("--decode", "C55B00\n"), 1);
    EXPECT_THAT(errors, testing::HasSubstr("the script is damaged"));
    EXPECT_EQ(Run("--decode", "C55A5F05\n"), 1);
    EXPECT_THAT(errors, testing::HasSubstr("the record at byte 0 runs past the end of the list"));
}

TEST_F(ScriptTool, ShowsHowItIsUsed) {
    EXPECT_EQ(Run("--help", ""), 0);
    EXPECT_THAT(output, testing::StartsWith("Usage: navo-ccm-script"));
    EXPECT_EQ(Run("--encode", ""), 2);
    EXPECT_THAT(errors, testing::StartsWith("Usage: navo-ccm-script"));
}

TEST_F(ScriptTool, SaysWhenItsOutputIsFull) {
    EXPECT_EQ(WEXITSTATUS(std::system(NAVO_CCM_SCRIPT_PROGRAM " </dev/null >/dev/full")), 1);
}
