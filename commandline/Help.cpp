// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "commandline/Model.h"
#include "commandline/Terminal.h"

namespace CommandLine {

namespace {

constexpr std::size_t WidestName = 32;

using Lines = std::vector<std::pair<std::string, std::string>>;

// Names in one column, what they are in another; a long name has a line of its own.
std::string Table(const std::string& heading, const Lines& lines) {
    if (lines.empty()) {
        return {};
    }
    std::size_t column = 0;
    for (const auto& line : lines) {
        column = std::max(column, std::min(line.first.size(), WidestName));
    }
    column += 4;
    const std::size_t width = std::max<std::size_t>(LineWidth() - column, 20);
    std::string table = "\n" + heading + ":\n";
    for (const auto& [name, text] : lines) {
        const bool isLong = name.size() > WidestName;
        table += "  " + name + (isLong ? "\n" : std::string(column - 2 - name.size(), ' '));
        table += (isLong ? std::string(column, ' ') : "") + Wrapped(text, width, column) + "\n";
    }
    return table;
}

std::string ShownName(const CLI::Option& option) {
    const std::string value = option.get_positional() ? "" : ValueOf(option);
    return NamesOf(option) + (value.empty() ? "" : " " + value);
}

std::string ShownText(const CLI::Option& option) {
    const std::string usual = option.get_default_str();
    return option.get_description() + (usual.empty() ? "" : " (" + usual + " when left out)");
}

Lines LinesOf(const std::vector<const CLI::Option*>& options, const std::string& group) {
    Lines lines;
    for (const CLI::Option* option : options) {
        if (option->get_group() == group) {
            lines.emplace_back(ShownName(*option), ShownText(*option));
        }
    }
    return lines;
}

std::string Groups(const CLI::App& app) {
    const std::vector<const CLI::Option*> options = OptionsOf(app);
    std::vector<std::string> groups;
    for (const CLI::Option* option : options) {
        if (std::find(groups.begin(), groups.end(), option->get_group()) == groups.end()) {
            groups.push_back(option->get_group());
        }
    }
    std::string tables;
    for (const std::string& group : groups) {
        tables += Table(group, LinesOf(options, group));
    }
    return tables;
}

std::string Commands(const CLI::App& app) {
    Lines lines;
    for (const CLI::App* command : CommandsOf(app)) {
        lines.emplace_back(command->get_name(), command->get_description());
    }
    return Table("Subcommands", lines);
}

// The same layout with every version of the library.
class Formatter final : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const override {
        Lines positionals;
        for (const CLI::Option* positional : PositionalsOf(*app)) {
            positionals.emplace_back(ShownName(*positional), ShownText(*positional));
        }
        const std::string footer = app->get_footer();
        return Wrapped(app->get_description(), LineWidth()) + "\n\n" + UsageOf(*app) + "\n" +
               Table("Positionals", positionals) + Groups(*app) + Commands(*app) +
               (footer.empty() ? "" : "\n" + Wrapped(footer, LineWidth()) + "\n");
    }
};

}  // namespace

std::vector<std::string> TypedNames(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

std::string NamesOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name(true);
    }
    std::string names;
    for (const std::string& name : TypedNames(option)) {
        names += (names.empty() ? "" : ",") + name;
    }
    return names;
}

bool TakesValue(const CLI::Option& option) {
    return option.get_items_expected_max() != 0;
}

std::string ValueOf(const CLI::Option& option) {
    const std::string type = TakesValue(option) ? option.get_type_name() : "";
    return type.substr(0, type.find(':'));
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app) {
    return app.get_options(
        [](const CLI::Option* option) { return option->nonpositional() && !option->get_group().empty(); });
}

std::vector<const CLI::Option*> PositionalsOf(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::string PathOf(const CLI::App& app) {
    const CLI::App* const parent = app.get_parent();
    return parent != nullptr ? PathOf(*parent) + " " + app.get_name() : app.get_name();
}

std::string UsageOf(const CLI::App& app) {
    std::string usage = "Usage: " + PathOf(app);
    for (const CLI::Option* positional : PositionalsOf(app)) {
        const std::string name =
            positional->get_name(true) + (positional->get_items_expected_max() > 1 ? "..." : "");
        usage += positional->get_required() ? " " + name : " [" + name + "]";
    }
    for (const CLI::Option* option : OptionsOf(app)) {
        if (option->get_required()) {
            usage += " " + TypedNames(*option).back() + " " + ValueOf(*option);
        }
    }
    return usage + (!CommandsOf(app).empty() ? " [OPTIONS] SUBCOMMAND" : " [OPTIONS]");
}

std::shared_ptr<CLI::FormatterBase> NewFormatter() {
    return std::make_shared<Formatter>();
}

}  // namespace CommandLine
