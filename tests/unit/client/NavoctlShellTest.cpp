// SPDX-License-Identifier: Apache-2.0
// Several commands in one session of navoctl.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/client/Desk.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Runs a shell that gets these lines.
ProgramEnd Shell(const Desk& desk, const std::vector<std::string>& lines) {
    NavoctlProgram program(desk.Address(), {"shell"});
    for (const std::string& line : lines) {
        program.Say(line);
    }
    program.Say("exit");
    return program.Wait();
}

}  // namespace

TEST(NavoctlShell, RunsItsCommandsInOneSession) {
    const Desk desk(Navo::Map{{"MemoryInfo", "7"}, {"ReturnCode", "7"}});
    const ProgramEnd end = Shell(desk, {"memory", "", "raw Cmd=68 'x=a b'"});
    EXPECT_EQ(end.status, 0) << end.errors;
    EXPECT_EQ(end.output, "7\nMemoryInfo=7\nReturnCode=7\n");
    EXPECT_THAT(desk.Service().Received(), ElementsAre("Open", "Cmd 66", "Cmd 68", "Cmd 68", "Close"));
    EXPECT_EQ(desk.LastRequest().at("x"), "a b");
}

TEST(NavoctlShell, GoesOnAfterAWrongLineAndEndsWithTheLastStatus) {
    const Desk desk(Navo::Map{{"MemoryInfo", "7"}, {"ReturnCode", "7"}});
    const ProgramEnd end = Shell(desk, {"memroy", "memory 'x", "memory", "shell"});
    EXPECT_EQ(end.status, 2);
    EXPECT_EQ(end.output, "7\n");
    EXPECT_THAT(end.errors, HasSubstr("did you mean 'memory'?"));
    EXPECT_THAT(end.errors, HasSubstr("shell: not from within a shell"));
}

TEST(NavoctlShell, OpensNoSessionForWhatAsksNobody) {
    const Desk desk(Navo::Map{{"ReturnCode", ResultText::Done}});
    const ProgramEnd end = Shell(desk, {"explain 404", "help memory"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("404  HTTP status of the server"));
    EXPECT_THAT(desk.Service().Received(), testing::IsEmpty());
}

TEST(NavoctlShell, ReportsAFailureAndGoesOn) {
    const Desk desk(Navo::Map{{"ReturnCode", ResultText::ElementRefused}});
    const ProgramEnd end = Shell(desk, {"eligibility", "explain 404"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.errors, HasSubstr("navoctl: eligibility: 10400006"));
    EXPECT_THAT(end.output, HasSubstr("404"));
}
