// SPDX-License-Identifier: Apache-2.0
#include <dlog.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <tizen_error.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "tests/unit/device/DeviceDesk.h"

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

namespace {

class Log : public DeviceDesk {
protected:
    static std::string Prefix(char letter, const std::string& tag = "Tag") {
        char pid[16];
        std::snprintf(pid, sizeof pid, "%5d", static_cast<int>(getpid()));
        return std::string(1, letter) + "/" + tag + "(" + pid + "): ";
    }
};

class ErrorText : public DeviceDesk {};

}  // namespace

TEST_F(Log, WritesThePrioritysLetterTheTagAndTheProcess) {
    const struct {
        log_priority priority;
        char letter;
    } priorities[] = {{DLOG_VERBOSE, 'V'}, {DLOG_DEBUG, 'D'}, {DLOG_INFO, 'I'},
                      {DLOG_WARN, 'W'},    {DLOG_ERROR, 'E'}, {DLOG_FATAL, 'F'}};
    std::vector<std::string> expected;
    for (const auto& each : priorities) {
        const std::string line = Prefix(each.letter) + "number 7";
        EXPECT_EQ(dlog_print(each.priority, "Tag", "number %d", 7), static_cast<int>(line.size()) + 1);
        expected.push_back(line);
    }
    EXPECT_EQ(LogLines(), expected);
}

TEST_F(Log, RefusesOtherPrioritiesAndAMissingFormat) {
    for (const log_priority priority : {DLOG_UNKNOWN, DLOG_DEFAULT, DLOG_SILENT, DLOG_PRIO_MAX}) {
        EXPECT_EQ(dlog_print(priority, "Tag", "x"), DLOG_ERROR_INVALID_PARAMETER);
    }
    int (*print)(log_priority, const char*, const char*, ...) = dlog_print;
    EXPECT_EQ(print(DLOG_ERROR, "Tag", nullptr), DLOG_ERROR_INVALID_PARAMETER);
    EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(Log, HasAliasesForSecretsInCommandsResponsesAndScripts) {
    dlog_print(DLOG_DEBUG, "Tag", "%s", "[Do] cAPDU: /0180E2900003AABBCC/0180CA9F7F00");
    dlog_print(DLOG_DEBUG, "Tag", "%s", "[Apdu] CAPDU: 80E2900003AABBCC [16]");
    dlog_print(DLOG_DEBUG, "Tag", "%s", "[Do] rAPDU: /015A0849999900000000079000/016A82");
    dlog_print(DLOG_DEBUG, "Tag", "%s", "[Ccm] CCM[4]: AABBCCDD");
    const std::string alias = "\\{[a-z ]+ [0-9A-F]{8}\\}";
    EXPECT_THAT(
        LogLines(), ElementsAre(
                        MatchesRegex(".* cAPDU: /0180E2900003" + alias + "/0180CA9F7F00"),
                        MatchesRegex(".* CAPDU: 80E2900003" + alias + " \\[16\\]"),
                        MatchesRegex(".* rAPDU: /015A08" + alias + "9000/016A82"),
                        MatchesRegex(".* CCM\\[4\\]: " + alias)));
}

TEST_F(Log, ShowsOtherLinesAndWhatIsNoSetAsTheyAre) {
    const std::vector<std::string> texts = {"rAPDU: 21_client disappeared./",
                                            "CAPDU:  [0]",
                                            "cAPDU: ",
                                            "APDU: /",
                                            "APDU: /0",
                                            "CCM[0]: ",
                                            "CCM["};
    std::vector<std::string> expected;
    for (const std::string& text : texts) {
        dlog_print(DLOG_DEBUG, "Tag", "%s", text.c_str());
        expected.push_back(Prefix('D') + text);
    }
    EXPECT_EQ(LogLines(), expected);
}

TEST_F(Log, GivesEachLineOfAMessageItsOwnPrefix) {
    dlog_print(DLOG_INFO, "Tag", "%s", "one\ntwo\n");
    EXPECT_THAT(LogLines(), ElementsAre(Prefix('I') + "one", Prefix('I') + "two"));
}

TEST_F(Log, WritesAMessageOfAnyLengthWhole) {
    const std::string message(200000, 'x');
    dlog_print(DLOG_DEBUG, "Tag", "%s", message.c_str());
    EXPECT_THAT(LogLines(), ElementsAre(Prefix('D') + message));
}

TEST_F(Log, GoesToStandardErrorWithoutAFile) {
    logVariable.Remove();
    testing::internal::CaptureStderr();
    dlog_print(DLOG_ERROR, "NavoAgent", "message");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), Prefix('E', "NavoAgent") + "message\n");
}

TEST_F(Log, FollowsTheVariableToAnotherFile) {
    dlog_print(DLOG_ERROR, "Tag", "first");
    const std::string other = (folder.Path() / "other").string();
    logVariable.Set(other);
    dlog_print(DLOG_ERROR, "Tag", "second");
    logVariable.Set(LogFile());
    dlog_print(DLOG_ERROR, "Tag", "third");
    EXPECT_THAT(LogLines(), ElementsAre(Prefix('E') + "first", Prefix('E') + "third"));
    EXPECT_EQ(ReadFile(other), Prefix('E') + "second\n");
}

TEST_F(Log, AppendsToWhatTheFileHolds) {
    folder.Write("log", "before\n");
    dlog_print(DLOG_ERROR, "Tag", "after");
    EXPECT_THAT(LogLines(), ElementsAre("before", Prefix('E') + "after"));
}

TEST_F(Log, SaysWhyTheFileCannotBeUsedAndGoesToStandardErrorThen) {
    logVariable.Set((folder.Path() / "no/such/folder").string());
    testing::internal::CaptureStderr();
    dlog_print(DLOG_ERROR, "Tag", "message");
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, HasSubstr("No such file or directory; the log goes to standard error"));
    EXPECT_THAT(text, HasSubstr(Prefix('E') + "message\n"));
}

TEST_F(Log, KeepsLinesOfThreadsAndProcessesWhole) {
    constexpr int Lines = 300;
    const std::string filler(300, 'y');
    const auto write = [&] {
        for (int line = 0; line < Lines; ++line) {
            dlog_print(DLOG_INFO, "Tag", "%s", filler.c_str());
        }
    };
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        write();
        _exit(0);
    }
    std::thread other(write);
    write();
    other.join();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    const std::vector<std::string> lines = LogLines();
    ASSERT_THAT(lines, SizeIs(3 * Lines));
    EXPECT_THAT(lines, Each(MatchesRegex("I/Tag\\( *[0-9]+\\): y{300}")));
}

TEST_F(Log, NamesAForkedProcessByItsOwnNumber) {
    dlog_print(DLOG_INFO, "Tag", "parent");
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        dlog_print(DLOG_INFO, "Tag", "child");
        _exit(0);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_THAT(
        LogLines(),
        ElementsAre(
            Prefix('I') + "parent", MatchesRegex("I/Tag\\( *" + std::to_string(child) + "\\): child")));
}

TEST_F(ErrorText, KnowsTheCodesOfEveryModule) {
    EXPECT_STREQ(get_error_message(0), "Successful");
    EXPECT_STREQ(get_error_message(-13), "Permission denied");
    EXPECT_STREQ(get_error_message(-1073741822), "Not supported");
    EXPECT_STREQ(get_error_message(-29491188), "Security restricted");
    EXPECT_STREQ(get_error_message(-29424637), "No connection");
    EXPECT_STREQ(get_error_message(-39841791), "SIM is not available");
    EXPECT_STREQ(get_error_message(-18153359), "No such package");
    EXPECT_STREQ(get_error_message(12345), "Unknown error");
}

TEST_F(ErrorText, BelongsToTheThreadThatAsked) {
    const char* mine = get_error_message(-13);
    std::thread([] { get_error_message(-12); }).join();
    EXPECT_STREQ(mine, "Permission denied");
}

TEST_F(ErrorText, GoesWithALastResultForEachThread) {
    set_last_result(-13);
    std::thread([] {
        EXPECT_EQ(get_last_result(), 0);
        set_last_result(-12);
    }).join();
    EXPECT_EQ(get_last_result(), -13);
}
