// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Parsing.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <iostream>

#include "client/navoctl/CommandModel.h"
#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/Json.h"
#include "client/navoctl/Requests.h"
#include "commandline/Model.h"

namespace {

// "cplc", "key get".
std::string NameOf(const CLI::App& command) {
    const std::vector<CLI::App*> inner = command.get_subcommands();
    return command.get_name() + (inner.empty() ? "" : " " + inner.front()->get_name());
}

std::chrono::milliseconds LimitOf(double limit) {
    if (limit <= 0) {
        return Navo::NoTimeLimit;
    }
    const std::chrono::duration<double> seconds(limit);
    return std::max(
        std::chrono::duration_cast<std::chrono::milliseconds>(seconds), std::chrono::milliseconds(1));
}

// A program that asked for JSON reads the complaint as well; the line itself may be too wrong to be
// understood.
int Refuse(const CLI::App& app, const CommandLine::Complaint& complaint, int count, char** values) {
    CommandLine::Say(app, complaint);
    const bool wantsJson = std::any_of(
        values, values + count, [](const char* word) { return std::strcmp(word, "--json") == 0; });
    if (wantsJson) {
        std::cout << JsonOf(complaint) << "\n";
    }
    return ExitStatus::WrongUsage;
}

int Help(const CLI::App& app, const std::vector<std::string>& words, int count, char** values) {
    const CLI::App* const command = FindCommand(app, words);
    if (command != nullptr) {
        std::cout << app.get_formatter()->make_help(command, "", CLI::AppFormatMode::Normal);
        return ExitStatus::Success;
    }
    std::vector<std::string> known;
    for (const CLI::App* each : CommandLine::CommandsOf(app)) {
        known.push_back(each->get_name());
    }
    CommandLine::Complaint complaint =
        CommandLine::ComplaintOf(app, "there is no command '" + words.back() + "'");
    complaint.suggestion = CommandLine::Nearest(words.back(), known);
    complaint.text += complaint.suggestion.empty() ? "" : "; did you mean '" + complaint.suggestion + "'?";
    return Refuse(app, complaint, count, values);
}

}  // namespace

std::variant<Arguments, int> ParseArguments(int count, char** values) {
    CLI::App app("Asks the NAVO agent to do work on this device's secure element.", "navoctl");
    Arguments arguments;
    RawValues raw;
    CommandLine::Hints hints;
    BuildModel(app, arguments, raw, hints);
    CommandLine::Complaint complaint;
    if (const std::optional<int> status = CommandLine::Parse(app, count, values, complaint)) {
        return *status == ExitStatus::Success ? ExitStatus::Success : Refuse(app, complaint, count, values);
    }
    arguments.name = NameOf(*app.get_subcommands().front());
    arguments.timeLimit = LimitOf(raw.timeLimit);
    if (arguments.name == "help") {
        return Help(app, raw.words, count, values);
    }
    try {
        FillRequest(arguments, raw);
        return arguments;
    } catch (const WrongValue& wrong) {
        return Refuse(app, CommandLine::ComplaintOf(app, wrong.what()), count, values);
    }
}
