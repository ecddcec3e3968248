// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <numeric>

#include "commandline/CommandLine.h"
#include "commandline/Model.h"

namespace CommandLine {

namespace {

// Steps from one word to another, each one letter put in, left out, changed, or changed in place with the
// next.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> before;
    std::vector<std::size_t> last(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t row = 1; row <= from.size(); ++row) {
        std::vector<std::size_t> line{row};
        for (std::size_t column = 1; column <= to.size(); ++column) {
            const std::size_t change = from[row - 1] == to[column - 1] ? 0 : 1;
            std::size_t steps = std::min({line[column - 1] + 1, last[column] + 1, last[column - 1] + change});
            if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1]) {
                steps = std::min(steps, before[column - 2] + 1);
            }
            line.push_back(steps);
        }
        before = std::exchange(last, std::move(line));
    }
    return last.back();
}

std::vector<std::string> CommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : CommandsOf(app)) {
        names.push_back(command->get_name());
    }
    return names;
}

// Options of a command and of those above it, which may stand behind it as well.
std::vector<const CLI::Option*> OptionsFor(const CLI::App& app) {
    std::vector<const CLI::Option*> options = OptionsOf(app);
    if (app.get_parent() != nullptr) {
        for (const CLI::Option* option : OptionsFor(*app.get_parent())) {
            options.push_back(option);
        }
    }
    return options;
}

std::vector<std::string> OptionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : OptionsFor(app)) {
        for (const std::string& name : TypedNames(*option)) {
            names.push_back(name);
        }
    }
    return names;
}

const CLI::Option* FindOption(const CLI::App& app, const std::string& name) {
    for (const CLI::Option* option : OptionsFor(app)) {
        const std::vector<std::string> names = TypedNames(*option);
        const bool isShort = name.size() > 2 && name[0] == '-' && name[1] != '-';
        const std::string wanted = isShort ? name.substr(0, 2) : name;
        if (std::find(names.begin(), names.end(), wanted) != names.end()) {
            return option;
        }
    }
    return nullptr;
}

Complaint Unknown(
    const CLI::App& app, const std::string& what, const std::string& word,
    const std::vector<std::string>& known) {
    const std::string nearest = Nearest(word, known);
    const std::string text =
        app.get_parent() != nullptr && what == "command" ? PathOf(app) + " has" : "there is";
    return {
        text + " no " + what + " '" + word + "'" +
            (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"),
        nearest, UsageOf(app)};
}

// "-" is a file's name, and what begins with a digit behind it a number.
bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && (word[1] < '0' || word[1] > '9');
}

// Goes along a command line as far as it can be understood.
class Walk {
public:
    explicit Walk(const CLI::App& root) : command(&root) {}

    // The complaint about the first word that nobody knows; nothing when all of them are known.
    std::optional<Complaint> Along(const std::vector<std::string>& arguments) {
        for (std::size_t at = 0; at < arguments.size(); ++at) {
            const std::string& word = arguments[at];
            if (word == "--") {
                break;
            }
            std::optional<Complaint> wrong = IsOption(word) ? Option(word, at) : Word(word);
            if (wrong) {
                return wrong;
            }
        }
        return std::nullopt;
    }

    const CLI::App& Command() const { return *command; }

private:
    std::optional<Complaint> Option(const std::string& word, std::size_t& at) {
        const std::string name = word.substr(0, word.find('='));
        const CLI::Option* const option = FindOption(*command, name);
        if (option == nullptr) {
            return Unknown(*command, "option", name, OptionNames(*command));
        }
        const bool holdsValue = name.size() != word.size() || (name[1] != '-' && name.size() > 2);
        at += TakesValue(*option) && !holdsValue ? 1 : 0;
        return std::nullopt;
    }

    std::optional<Complaint> Word(const std::string& word) {
        const std::vector<const CLI::App*> commands = CommandsOf(*command);
        for (const CLI::App* inner : commands) {
            if (inner->get_name() == word) {
                command = inner;
                return std::nullopt;
            }
        }
        const bool takesWords =
            !command->get_options([](const CLI::Option* each) { return each->get_positional(); }).empty();
        if (commands.empty() || takesWords) {
            return std::nullopt;
        }
        const std::vector<std::string> names = CommandNames(*command);
        return Unknown(*command, "command", word, names);
    }

    const CLI::App* command;
};

}  // namespace

std::string Nearest(const std::string& word, const std::vector<std::string>& known) {
    std::string nearest;
    std::size_t fewest = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& name : known) {
        const bool begins = word.size() > 2 && name.compare(0, word.size(), word) == 0;
        const std::size_t steps = begins ? 1 : Distance(word, name);
        if (steps < fewest) {
            fewest = steps;
            nearest = name;
        }
    }
    return nearest;
}

Complaint ComplaintAbout(
    const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& arguments) {
    Walk walk(app);
    if (const std::optional<Complaint> wrong = walk.Along(arguments)) {
        return *wrong;
    }
    const CLI::App& command = walk.Command();
    const std::vector<std::string> names = CommandNames(command);
    if (!names.empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        return {"a command is missing; there are " + Joined(names, ", "), "", UsageOf(command)};
    }
    return {error.what(), "", UsageOf(command)};
}

}  // namespace CommandLine
