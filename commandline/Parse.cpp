// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "commandline/CommandLine.h"
#include "commandline/Model.h"
#include "commandline/Terminal.h"

namespace CommandLine {

void Prepare(CLI::App& app, const std::string& version, const Hints& hints) {
    app.formatter(NewFormatter());
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("-V,--version", app.get_name() + " " + version, "Print the version and exit");
    const auto print = [&app, &hints](const std::string& shell) {
        throw CLI::CallForVersion(CompletionFor(app, shell, hints), 0);
    };
    app.add_option_function<std::string>(
           "--completion", print, "Print what makes a shell complete this program's words, and exit")
        ->type_name("bash|zsh|fish")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""));
}

std::optional<int> Parse(CLI::App& app, int count, char** values, Complaint& complaint) {
    try {
        app.parse(count, values);
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
    } catch (const CLI::Success& wanted) {
        std::cout << wanted.what() << "\n";
    } catch (const CLI::ParseError& error) {
        complaint = ComplaintAbout(app, error, {values + (count > 0 ? 1 : 0), values + count});
        return ExitUsage;
    }
    return 0;
}

void Say(const CLI::App& app, const Complaint& complaint) {
    const std::size_t width = LineWidth();
    std::cerr << Wrapped(app.get_name() + ": " + complaint.text, width) << "\n"
              << Wrapped(complaint.usage, width, 7) << "\n"
              << "Try '" + app.get_name() + " --help'.\n";
}

Complaint ComplaintOf(const CLI::App& app, const std::string& text) {
    return {text, "", UsageOf(app)};
}

std::optional<int> ParseOrSay(CLI::App& app, int count, char** values) {
    Complaint complaint;
    const std::optional<int> status = Parse(app, count, values, complaint);
    if (status && *status != 0) {
        Say(app, complaint);
    }
    return status;
}

}  // namespace CommandLine
