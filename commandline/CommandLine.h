// SPDX-License-Identifier: Apache-2.0
// One manner for the command lines of all programs: help as wide as the terminal, complaints that say what
// was probably meant and begin with the program's name, and completions, all from the same model.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace CommandLine {

// What completion offers for the value of an option or argument, beside what its type's name says: "a|b"
// offers both words, FILE files and FOLDER folders. A word that ends in "=" or "/" goes on without a blank.
using Hints = std::map<const CLI::Option*, std::vector<std::string>>;

// Exit statuses of all programs.
constexpr int ExitUsage = 2;

// Gives the program its help, --version and --completion. `hints` outlives the model.
void Prepare(CLI::App& app, const std::string& version, const Hints& hints);

// A wrong command line, in words.
struct Complaint {
    std::string text;        // "there is no command \"memroy\"; did you mean \"memory\"?"
    std::string suggestion;  // what was probably meant, "memory"; empty when nobody can tell
    std::string usage;       // of the command that was meant
};

// Parses. A status when there is nothing more to do: 0 after help, version or completions, which went to
// standard output, and 2 for a wrong line, of which `complaint` then holds what is to be said.
[[nodiscard]] std::optional<int> Parse(CLI::App& app, int count, char** values, Complaint& complaint);

// Says it on standard error, in the manner of all programs.
void Say(const CLI::App& app, const Complaint& complaint);

// Parses, and says what is wrong with the line.
[[nodiscard]] std::optional<int> ParseOrSay(CLI::App& app, int count, char** values);

// A complaint about something that the model cannot tell, with the usage of the program.
[[nodiscard]] Complaint ComplaintOf(const CLI::App& app, const std::string& text);

// The word among `known` that `word` was probably meant to be; empty when none is near.
[[nodiscard]] std::string Nearest(const std::string& word, const std::vector<std::string>& known);

// What may stand behind the words of a line that was begun, which end with a blank or not at all.
[[nodiscard]] std::vector<std::string> WordsBehind(
    const CLI::App& app, const std::string& begun, const Hints& hints);

// A script that makes a shell ("bash", "zsh" or "fish") complete this program's words.
[[nodiscard]] std::string CompletionFor(const CLI::App& app, const std::string& shell, const Hints& hints);

}  // namespace CommandLine
