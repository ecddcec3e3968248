// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <sstream>

#include "commandline/CommandLine.h"
#include "commandline/Model.h"

namespace CommandLine {

namespace {

using Words = std::vector<std::string>;

// What may stand as a value.
struct Values {
    Words words;
    bool files = false;
    bool folders = false;
};

Words Split(const std::string& text, char at) {
    Words parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);) {
        parts.push_back(part);
    }
    return parts;
}

Values ValuesOf(const CLI::Option& option, const Hints& hints) {
    Values values;
    const std::string type = option.get_positional() ? option.get_name(true) : ValueOf(option);
    values.files = type.find("FILE") != std::string::npos;
    values.folders = type.find("FOLDER") != std::string::npos;
    if (type.find('|') != std::string::npos && !values.files) {
        values.words = Split(type, '|');
    }
    const auto hint = hints.find(&option);
    if (hint != hints.end()) {
        values.words.insert(values.words.end(), hint->second.begin(), hint->second.end());
    }
    return values;
}

// A command with all above it, the program first.
struct Level {
    const CLI::App* app;
    std::string path;  // without the program: "key inject"

    std::vector<const CLI::App*> Commands() const { return CommandsOf(*app); }
    std::vector<const CLI::Option*> Options() const {
        std::vector<const CLI::Option*> options = OptionsOf(*app);
        for (const CLI::App* above = app->get_parent(); above != nullptr; above = above->get_parent()) {
            for (const CLI::Option* option : OptionsOf(*above)) {
                const Words names = TypedNames(*option);
                const bool endsAtOnce =
                    names.back() == "--help" || names.back() == "--version" || names.back() == "--completion";
                if (!endsAtOnce) {
                    options.push_back(option);
                }
            }
        }
        return options;
    }
};

void AddLevels(const CLI::App& app, const std::string& path, std::vector<Level>& levels) {
    levels.push_back({&app, path});
    for (const CLI::App* inner : levels.back().Commands()) {
        AddLevels(*inner, path + (path.empty() ? "" : " ") + inner->get_name(), levels);
    }
}

std::vector<Level> LevelsOf(const CLI::App& app) {
    std::vector<Level> levels;
    AddLevels(app, "", levels);
    return levels;
}

std::string Identifier(std::string name) {
    std::replace_if(name.begin(), name.end(), [](char each) { return each == ' ' || each == '-'; }, '_');
    return name;
}

// In single quotes for any of the shells; backslashes before what else counts.
std::string Quoted(const std::string& text, const std::string& special = "") {
    std::string quoted = "'";
    for (const char each : text) {
        if (each == '\'') {
            quoted += "'\\''";
        } else {
            quoted += (special.find(each) != std::string::npos ? "\\" : "") + std::string(1, each);
        }
    }
    return quoted + "'";
}

// --- bash

// Words of a level: its commands, its arguments' values and all options that may stand there.
Values OfferedAt(const Level& level, const Hints& hints) {
    Values offered;
    for (const CLI::App* inner : level.Commands()) {
        offered.words.push_back(inner->get_name());
    }
    for (const CLI::Option* positional : PositionalsOf(*level.app)) {
        const Values values = ValuesOf(*positional, hints);
        offered.words.insert(offered.words.end(), values.words.begin(), values.words.end());
        offered.files = offered.files || values.files;
        offered.folders = offered.folders || values.folders;
    }
    for (const CLI::Option* option : level.Options()) {
        offered.words.push_back(TypedNames(*option).back());
    }
    return offered;
}

std::string BashAssignment(const Values& values) {
    std::string text;
    if (!values.words.empty()) {
        text += " words=" + Quoted(Joined(values.words, " "));
    }
    if (values.files || values.folders) {
        text += values.files ? " kind='file'" : " kind='directory'";
    }
    return (text.empty() ? " :" : text) + " ;;\n";
}

// Options of the program itself may stand anywhere, and come last.
std::string BashValues(const std::vector<Level>& levels, const Hints& hints) {
    std::string text;
    std::string everywhere;
    for (const Level& level : levels) {
        for (const CLI::Option* option : OptionsOf(*level.app)) {
            for (const std::string& name : TypedNames(*option)) {
                if (TakesValue(*option)) {
                    const std::string values = BashAssignment(ValuesOf(*option, hints));
                    const std::string key =
                        level.path.empty() ? "*' " + name + "'" : Quoted(level.path + " " + name);
                    (level.path.empty() ? everywhere : text) += "        " + key + ")" + values;
                }
            }
        }
    }
    return text + everywhere;
}

Words ValuedOptions(const std::vector<Level>& levels) {
    Words valued;
    for (const Level& level : levels) {
        for (const CLI::Option* option : OptionsOf(*level.app)) {
            for (const std::string& name : TypedNames(*option)) {
                if (TakesValue(*option) && std::find(valued.begin(), valued.end(), name) == valued.end()) {
                    valued.push_back(name);
                }
            }
        }
    }
    return valued;
}

// Goes down to the command that the line is about.
std::string BashDescent(const std::vector<Level>& levels) {
    Words paths;
    for (const Level& level : levels) {
        if (!level.path.empty()) {
            paths.push_back(Quoted(level.path));
        }
    }
    const std::string longer = "\"${command:+$command }${COMP_WORDS[index]}\"";
    const std::string descent = "            *)\n                case " + longer +
                                " in\n                    " + Joined(paths, " | ") + ") command=" + longer +
                                " ;;\n                esac\n                ;;\n";
    return "    # The command, wherever options stand between its words.\n"
           "    for ((index = 1; index < COMP_CWORD; index++)); do\n"
           "        case ${COMP_WORDS[index]} in\n            " +
           Joined(ValuedOptions(levels), " | ") + ") ((index++)) ;;\n" + (paths.empty() ? "" : descent) +
           "        esac\n    done\n\n";
}

constexpr char BashReply[] = R"(
    COMPREPLY=()
    if [[ -n $kind && $current != -* ]]; then
        while IFS='' read -r word; do
            COMPREPLY+=("$word")
        done < <(compgen -A "$kind" -- "$current")
        compopt -o filenames 2>/dev/null
    fi
    while IFS='' read -r word; do
        COMPREPLY+=("$word")
        [[ $word != *[=/] ]] || compopt -o nospace 2>/dev/null
    done < <(compgen -W "$words" -- "$current")
}
)";

std::string Bash(const CLI::App& app, const Hints& hints) {
    const std::vector<Level> levels = LevelsOf(app);
    std::string offers;
    for (const Level& level : levels) {
        offers += "                " + Quoted(level.path) + ")" + BashAssignment(OfferedAt(level, hints));
    }
    const std::string& program = app.get_name();
    const std::string function = "_" + Identifier(program);
    return "# bash completion for " + program +
           "                              -*- shell-script -*-\n# Printed by: " + program +
           " --completion bash\n\n" + function +
           "() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command='' words='' kind='' index word\n\n" +
           BashDescent(levels) + "    case \"$command $previous\" in\n" + BashValues(levels, hints) +
           "        *)\n            case $command in\n" + offers +
           "            esac\n            ;;\n    esac\n" + BashReply + "\ncomplete -F " + function + " " +
           program + "\n";
}

// --- zsh

std::string ZshAction(const Values& values) {
    if (values.files || values.folders) {
        return values.files ? "_files" : "_files -/";
    }
    return values.words.empty() ? "" : "(" + Joined(values.words, " ") + ")";
}

std::string ZshOption(const CLI::Option& option, const Hints& hints) {
    const Words names = TypedNames(option);
    const std::string special = "[]:";
    const std::string text = "[" + Quoted(option.get_description(), special).substr(1);
    std::string spec = text.substr(0, text.size() - 1) + "]";
    if (TakesValue(option)) {
        spec += ":" + Identifier(names.back().substr(2)) + ":" + ZshAction(ValuesOf(option, hints));
    }
    const std::string several = option.get_items_expected_max() > 1 ? "*" : "";
    if (names.size() == 1) {
        return "'" + several + names.front() + spec + "'";
    }
    return "'(" + Joined(names, " ") + ")'{" + Joined(names, ",") + "}'" + spec + "'";
}

std::string ZshFunction(const Level& level, const std::string& program, const Hints& hints) {
    const std::string name = "_" + Identifier(program + (level.path.empty() ? "" : " " + level.path));
    std::string text = name +
                       "() {\n    local curcontext=$curcontext state line\n    typeset -A opt_args\n"
                       "    _arguments -C";
    for (const CLI::Option* option : level.Options()) {
        text += " \\\n        " + ZshOption(*option, hints);
    }
    for (const CLI::Option* positional : PositionalsOf(*level.app)) {
        const std::string several = positional->get_items_expected_max() > 1 ? "*" : "";
        text += " \\\n        '" + several + ":" + positional->get_name(true) + ":" +
                ZshAction(ValuesOf(*positional, hints)) + "'";
    }
    const std::vector<const CLI::App*> commands = level.Commands();
    if (commands.empty()) {
        return text + "\n}\n\n";
    }
    text +=
        " \\\n        '1: :->command' '*:: :->arguments'\n    case $state in\n        command)\n"
        "            local -a commands=(\n";
    std::string calls;
    for (const CLI::App* inner : commands) {
        text += "                " + Quoted(inner->get_name() + ":" + inner->get_description()) + "\n";
        calls += "                " + inner->get_name() + ") " + name + "_" + Identifier(inner->get_name()) +
                 " ;;\n";
    }
    return text +
           "            )\n            _describe -t commands command commands\n            ;;\n"
           "        arguments)\n            case $words[1] in\n" +
           calls + "            esac\n            ;;\n    esac\n}\n\n";
}

std::string Zsh(const CLI::App& app, const Hints& hints) {
    std::string text =
        "#compdef " + app.get_name() + "\n# Printed by: " + app.get_name() + " --completion zsh\n\n";
    for (const Level& level : LevelsOf(app)) {
        text += ZshFunction(level, app.get_name(), hints);
    }
    return text + "_" + Identifier(app.get_name()) + " \"$@\"\n";
}

// --- fish

std::string FishOption(const CLI::Option& option, const Hints& hints) {
    std::string text;
    for (const std::string& name : TypedNames(option)) {
        text += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    if (TakesValue(option)) {
        const Values values = ValuesOf(option, hints);
        text += values.files || values.folders ? " -rF" : " -x";
        text += values.words.empty() ? "" : " -a " + Quoted(Joined(values.words, " "));
    }
    return text + " -d " + Quoted(option.get_description(), "\\") + "\n";
}

// True at a level and nowhere below it.
std::string FishCondition(const Level& level) {
    std::string condition;
    for (const std::string& word : Split(level.path, ' ')) {
        condition += (condition.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
    }
    Words inner;
    for (const CLI::App* command : level.Commands()) {
        inner.push_back(command->get_name());
    }
    if (!inner.empty()) {
        condition +=
            (condition.empty() ? "" : "; and ") + ("not __fish_seen_subcommand_from " + Joined(inner, " "));
    }
    return condition.empty() ? "" : " -n " + Quoted(condition);
}

std::string Fish(const CLI::App& app, const Hints& hints) {
    const std::string start = "complete -c " + app.get_name();
    std::string text = "# fish completion for " + app.get_name() + "\n# Printed by: " + app.get_name() +
                       " --completion fish\n" + start + " -f\n";
    for (const Level& level : LevelsOf(app)) {
        const std::string condition = FishCondition(level);
        for (const CLI::App* inner : level.Commands()) {
            text += start + condition + " -a " + inner->get_name() + " -d " +
                    Quoted(inner->get_description(), "\\") + "\n";
        }
        for (const CLI::Option* positional : PositionalsOf(*level.app)) {
            const Values values = ValuesOf(*positional, hints);
            text += values.files || values.folders ? start + condition + " -F\n" : "";
            text += values.words.empty()
                        ? ""
                        : start + condition + " -a " + Quoted(Joined(values.words, " ")) + "\n";
        }
        // Options of the program itself may stand anywhere.
        for (const CLI::Option* option : OptionsOf(*level.app)) {
            text += start + (level.path.empty() ? "" : condition) + FishOption(*option, hints);
        }
    }
    return text;
}

}  // namespace

std::vector<std::string> WordsBehind(const CLI::App& app, const std::string& begun, const Hints& hints) {
    Level level{&app, ""};
    const CLI::Option* last = nullptr;  // whose value comes next
    std::istringstream words(begun);
    for (std::string word; words >> word;) {
        const CLI::Option* option = nullptr;
        for (const CLI::Option* each :
             last == nullptr ? level.Options() : std::vector<const CLI::Option*>{}) {
            const Words names = TypedNames(*each);
            option = std::find(names.begin(), names.end(), word) != names.end() ? each : option;
        }
        for (const CLI::App* inner : last == nullptr ? level.Commands() : std::vector<const CLI::App*>{}) {
            level = inner->get_name() == word ? Level{inner, word} : level;
        }
        last = option != nullptr && TakesValue(*option) ? option : nullptr;
    }
    return last != nullptr ? ValuesOf(*last, hints).words : OfferedAt(level, hints).words;
}

std::string CompletionFor(const CLI::App& app, const std::string& shell, const Hints& hints) {
    std::string script = shell == "bash"  ? Bash(app, hints)
                         : shell == "zsh" ? Zsh(app, hints)
                                          : Fish(app, hints);
    script.pop_back();  // who prints it ends the last line
    return script;
}

}  // namespace CommandLine
