// SPDX-License-Identifier: Apache-2.0
// The manual page and the completions tell of what navoctl has, and of nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/unit/client/NavoctlProgram.h"

using testing::HasSubstr;

namespace {

// The command may be one of two words.
std::string HelpOf(const std::string& command) {
    std::vector<std::string> arguments;
    std::istringstream words(command);
    for (std::string word; words >> word;) {
        arguments.push_back(word);
    }
    arguments.push_back("--help");
    return NavoctlProgram::Run("", arguments).output;
}

// First words of the indented lines of a help text: "cplc", "--fields", "-q,--quiet".
std::vector<std::string> FirstWords(const std::string& help) {
    std::vector<std::string> words;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("  ", 0) == 0 && line.size() > 2 && line[2] != ' ') {
            words.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return words;
}

std::set<std::string> Subcommands(const std::string& command) {
    const std::string help = HelpOf(command);
    const std::size_t begin = help.find("Subcommands:");
    const auto words = FirstWords(help.substr(begin, help.find("\n\n", begin) - begin));
    return {words.begin(), words.end()};
}

std::set<std::string> OptionsOf(const std::string& command) {
    std::set<std::string> options;
    for (const std::string& word : FirstWords(HelpOf(command))) {
        const std::size_t at = word.find("--");
        if (at != std::string::npos) {
            options.insert(word.substr(at));
        }
    }
    return options;
}

// "cplc", "key", "key get".
std::set<std::string> AllCommands() {
    std::set<std::string> commands = Subcommands("");
    for (const std::string& inner : Subcommands("key")) {
        commands.insert("key " + inner);
    }
    return commands;
}

std::set<std::string> AllOptions() {
    std::set<std::string> options = OptionsOf("");
    for (const std::string& command : AllCommands()) {
        options.merge(OptionsOf(command));
    }
    return options;
}

std::string LastWord(const std::string& command) {
    return command.substr(command.rfind(' ') + 1);
}

std::string WithoutBackslashes(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\\'), text.end());
    return text;
}

// What bash offers for the last word, one in a line.
std::string Completed(const std::string& words, int cursor) {
    const std::string script =
        "source " NAVO_SOURCE_DIR "/data/completions/navoctl.bash; COMP_WORDS=(navoctl " + words +
        "); COMP_CWORD=" + std::to_string(cursor) + "; _navoctl; printf '%s\\n' \"${COMPREPLY[@]}\"";
    return OutputOf({"bash", "--norc", "-c", script});
}

}  // namespace

TEST(NavoctlDocuments, AreComparedWithWhatTheHelpNames) {
    EXPECT_EQ(Subcommands("").size(), 15U);
    EXPECT_EQ(Subcommands("key").size(), 5U);
    EXPECT_THAT(
        AllOptions(),
        testing::IsSupersetOf(
            {"--fields", "--push-req", "--tag", "--json", "--timeout", "--data-file", "--release"}));
}

TEST(NavoctlDocuments, TheManualPageNamesAllCommandsAndOptions) {
    const std::string page = WithoutBackslashes(ReadFile(NAVO_SOURCE_DIR "/docs/man/navoctl.1"));
    for (const std::string& name : AllCommands()) {
        EXPECT_THAT(page, HasSubstr(name));
    }
    for (const std::string& name : AllOptions()) {
        EXPECT_THAT(page, HasSubstr(name));
    }
}

TEST(NavoctlDocuments, TheCompletionsAreThoseThatTheProgramPrints) {
    const std::string folder = NAVO_SOURCE_DIR "/data/completions/";
    EXPECT_EQ(NavoctlProgram::Run("", {"--completion", "bash"}).output, ReadFile(folder + "navoctl.bash"));
    EXPECT_EQ(NavoctlProgram::Run("", {"--completion", "zsh"}).output, ReadFile(folder + "_navoctl"));
    EXPECT_EQ(NavoctlProgram::Run("", {"--completion", "fish"}).output, ReadFile(folder + "navoctl.fish"));
    EXPECT_EQ(NavoctlProgram::Run("", {"--completion", "csh"}).status, 2);
}

TEST(NavoctlDocuments, TheZshAndFishCompletionsNameAllCommandsAndOptions) {
    const std::string zsh = ReadFile(NAVO_SOURCE_DIR "/data/completions/_navoctl");
    const std::string fish = ReadFile(NAVO_SOURCE_DIR "/data/completions/navoctl.fish");
    for (const std::string& name : AllCommands()) {
        EXPECT_THAT(zsh, HasSubstr("'" + LastWord(name) + ":"));
        EXPECT_THAT(fish, HasSubstr(" -a " + LastWord(name) + " -d "));
    }
    for (const std::string& name : AllOptions()) {
        EXPECT_THAT(zsh, HasSubstr(name));
        EXPECT_THAT(fish, HasSubstr(" -l " + name.substr(2)));
    }
}

TEST(NavoctlDocuments, TheBashCompletionOffersAllCommandsAndOptions) {
    for (const std::string& name : AllCommands()) {
        const int words = name.find(' ') == std::string::npos ? 1 : 2;
        const std::string before = name.substr(0, name.size() - LastWord(name).size());
        EXPECT_THAT(Completed(before + "''", words), HasSubstr(LastWord(name) + "\n"));
        for (const std::string& option : OptionsOf(name)) {
            EXPECT_THAT(Completed(name + " --", words + 1), HasSubstr(option + "\n")) << name;
        }
    }
}

TEST(NavoctlDocuments, TheBashCompletionFindsTheCommandBehindGlobalOptions) {
    EXPECT_EQ(Completed("--timeout 5 cplc --f", 4), "--fields\n");
    EXPECT_EQ(Completed("raw Cmd=67 hostA", 3), "hostAddr=\n");
    EXPECT_EQ(Completed("key --quiet inj", 3), "inject\n");
    EXPECT_EQ(Completed("--quiet key get wallet --rel", 5), "--release\n");
}

TEST(NavoctlDocuments, TheBashCompletionOffersTheWordsForKeys) {
    EXPECT_EQ(Completed("key get --type ''", 4), "symmetric\nasymmetric\n");
    EXPECT_EQ(Completed("key inject --injection ge", 4), "generated\n");
    EXPECT_EQ(Completed("key inject --encoding ''", 4), "hex\ntext\nbase64\n");
}

TEST(NavoctlDocuments, TheBashCompletionOffersFilesWhereAFileIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.Write("wallet.ccm", "");
    const std::string begun = (folder.Path() / "wal").string();
    EXPECT_EQ(Completed("ccm " + begun, 2), file + "\n");
    EXPECT_EQ(Completed("key inject --data-file " + begun, 4), file + "\n");
}

TEST(NavoctlDocuments, HelpsAndTellsItsVersionWithoutABus) {
    const ProgramEnd help = NavoctlProgram::Run("unix:path=/nonexistent/bus", {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    EXPECT_THAT(help.output, HasSubstr("Exit status:"));
    EXPECT_THAT(help.output, HasSubstr("Examples:"));
    EXPECT_EQ(NavoctlProgram::Run("", {"run", "--help"}).status, 0);
    const ProgramEnd version = NavoctlProgram::Run("", {"--version"});
    EXPECT_EQ(version.output, "navoctl " NAVOCTL_VERSION "\n");
}
