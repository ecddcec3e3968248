// SPDX-License-Identifier: Apache-2.0
// How navoctl meets a line that is not quite right, and how it helps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/unit/client/NavoctlProgram.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

ProgramEnd EndOf(const std::vector<std::string>& arguments) {
    return NavoctlProgram::Run("unix:path=/nonexistent/bus", arguments);
}

// The complaint about a line that cannot be used.
std::string ComplaintOf(const std::vector<std::string>& arguments) {
    const ProgramEnd end = EndOf(arguments);
    EXPECT_EQ(end.status, 2) << end.errors;
    EXPECT_THAT(end.errors, StartsWith("navoctl: "));
    return end.errors;
}

std::size_t WidestLine(const std::string& text) {
    std::size_t widest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        // Examples and long names of options stand as they are.
        widest = line.rfind("  ", 0) == 0 ? widest : std::max(widest, line.size());
    }
    return widest;
}

}  // namespace

TEST(NavoctlUsage, SaysWhichCommandWasProbablyMeant) {
    EXPECT_THAT(ComplaintOf({"memroy"}), HasSubstr("there is no command 'memroy'; did you mean 'memory'?"));
    EXPECT_THAT(
        ComplaintOf({"key", "injet"}),
        HasSubstr("navoctl key has no command 'injet'; did you mean 'inject'?"));
    EXPECT_THAT(ComplaintOf({"elig"}), HasSubstr("did you mean 'eligibility'?"));
    EXPECT_THAT(ComplaintOf({"xyzzy"}), Not(HasSubstr("did you mean")));
}

TEST(NavoctlUsage, NamesTheCommandsWhereOneIsMissing) {
    EXPECT_THAT(ComplaintOf({}), HasSubstr("a command is missing; there are cplc, memory"));
    EXPECT_THAT(ComplaintOf({"key"}), HasSubstr("there are inject, verify"));
}

TEST(NavoctlUsage, ShowsTheUsageOfTheCommandThatGotAnUnknownOption) {
    EXPECT_THAT(
        ComplaintOf({"cplc", "--feilds"}),
        HasSubstr("there is no option '--feilds'; did you mean '--fields'?"));
    EXPECT_THAT(ComplaintOf({"cplc", "--bogus"}), HasSubstr("Usage: navoctl cplc [OPTIONS]\n"));
    EXPECT_THAT(
        ComplaintOf({"key", "get", "wallet", "--bogus"}), HasSubstr("Usage: navoctl key get NAME --type"));
    EXPECT_THAT(ComplaintOf({"--jsn", "memory"}), HasSubstr("did you mean '--json'?"));
}

TEST(NavoctlUsage, NamesTheWordsThatAnOptionTakes) {
    const std::string complaint = ComplaintOf({"key", "get", "wallet", "--type", "foo"});
    EXPECT_THAT(complaint, HasSubstr("--type: 'foo' is unknown; write symmetric or asymmetric"));
    EXPECT_THAT(complaint, Not(HasSubstr("{")));
}

TEST(NavoctlUsage, HelpsByAWordAsByAnOption) {
    const ProgramEnd whole = EndOf({"help"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.output, EndOf({"--help"}).output);
    const ProgramEnd inner = EndOf({"help", "key", "inject"});
    EXPECT_EQ(inner.status, 0);
    EXPECT_EQ(inner.output, EndOf({"key", "inject", "--help"}).output);
    EXPECT_THAT(ComplaintOf({"help", "memroy"}), HasSubstr("did you mean 'memory'?"));
}

TEST(NavoctlUsage, TellsItsVersionInShort) {
    EXPECT_EQ(EndOf({"-V"}).output, EndOf({"--version"}).output);
    EXPECT_EQ(EndOf({"-V"}).status, 0);
}

TEST(NavoctlUsage, PrintsAWrongLineAsJsonWhereThatIsAskedFor) {
    const ProgramEnd end = EndOf({"--json", "memroy"});
    EXPECT_EQ(end.status, 2);
    EXPECT_THAT(end.output, HasSubstr("\"kind\" : \"wrong-usage\""));
    EXPECT_THAT(end.output, HasSubstr("\"suggestion\" : \"memory\""));
    EXPECT_THAT(EndOf({"run", "--json"}).output, HasSubstr("--service-id is required"));
    EXPECT_THAT(EndOf({"ccm", "--json", "/no/such/file"}).output, HasSubstr("cannot be read"));
    EXPECT_EQ(EndOf({"memroy"}).output, "");
}

TEST(NavoctlUsage, ShowsAnExampleOfEachCommand) {
    for (const char* command :
         {"cplc", "memory", "se-status", "eligibility", "phone-info", "set-address", "run", "ccm", "key",
          "raw", "explain", "help"}) {
        EXPECT_THAT(
            EndOf({"help", command}).output, HasSubstr("Example:\n  navoctl " + std::string(command)));
    }
}

TEST(NavoctlUsage, WrapsItsHelpBetweenWordsAtTheWidthOfTheTerminal) {
    const std::string narrow = NavoctlProgram::Run("", {"--help"}, {"COLUMNS=50"}).output;
    const std::string wide = NavoctlProgram::Run("", {"--help"}, {"COLUMNS=110"}).output;
    EXPECT_LE(WidestLine(narrow), 50U);
    EXPECT_GT(WidestLine(wide), 80U);
    EXPECT_LE(WidestLine(wide), 110U);
    std::string joined = narrow;
    std::replace(joined.begin(), joined.end(), '\n', ' ');
    EXPECT_THAT(joined, HasSubstr("then navoctl ends by that signal."));
}

TEST(NavoctlExplain, SaysWhatCodesMeanWithoutABus) {
    const ProgramEnd end = EndOf({"explain", "10100007", "6A88", "-5", "404"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.errors, "");
    EXPECT_THAT(end.output, HasSubstr("10100007  result code\n"));
    EXPECT_THAT(
        end.output, HasSubstr("6A88  status word of the card\n  The referenced data was not found.\n"));
    EXPECT_THAT(end.output, HasSubstr("-5  verdict on a CCM script\n"));
    EXPECT_THAT(end.output, HasSubstr("404  HTTP status of the server\n"));
    EXPECT_THAT(end.output, HasSubstr("  Look at: "));
}

TEST(NavoctlExplain, EndsWithOneForWhatNobodyKnows) {
    const ProgramEnd end = EndOf({"explain", "zz", "404"});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.output, HasSubstr("404"));
    EXPECT_EQ(end.errors, "navoctl: explain: 'zz' is no code of service, card, server or libraries\n");
}

TEST(NavoctlExplain, PrintsJsonAndWithoutACodeTheWholeTable) {
    const std::string json = EndOf({"explain", "--json", "404", "zz"}).output;
    EXPECT_THAT(json, HasSubstr("\"kind\" : \"HTTP status of the server\""));
    EXPECT_THAT(json, HasSubstr("\"causes\" : []"));
    const ProgramEnd whole = EndOf({"explain"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_THAT(whole.output, HasSubstr("\n201000xx  result code\n"));
    EXPECT_THAT(whole.output, HasSubstr("\nsession-lost  error of the client\n"));
}

TEST(NavoctlExplain, SaysInWordsWhatACardSaysOfItself) {
    const ProgramEnd end = EndOf({"explain", "--privileges", "80", "--life-cycle", "07"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("80  privileges\n  Security Domain\n"));
    EXPECT_THAT(end.output, HasSubstr("of an application: SELECTABLE\n"));
    EXPECT_EQ(EndOf({"explain", "--atr", "zz"}).status, 1);
    EXPECT_THAT(EndOf({"explain", "--atr", "3B084E41564F43415244"}).output, HasSubstr("protocols: T=0"));
}
