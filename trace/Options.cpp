// SPDX-License-Identifier: Apache-2.0
#include "trace/Options.h"

#include <CLI/CLI.hpp>

#include "commandline/CommandLine.h"

namespace Trace {

namespace {

constexpr char Footer[] =
    "Examples:\n"
    "  navo-trace --output session.html device.jsonl record.jsonl device.log\n"
    "  navo-trace --format text field.log\n"
    "  navo-trace --format json --keys catalogue.json device.jsonl\n"
    "  navo-trace diff good.jsonl bad.jsonl\n"
    "  navo-trace --serve device.jsonl record.jsonl device.log\n\n"
    "Exit status: 0 when it was written, or when nothing differs; 1 when an input cannot be read at all, or "
    "when something differs; 2 for a wrong command line.\n"
    "See navo-trace(1).";

void AddCommon(CLI::App& app, std::string& mask, Options& options, CommandLine::Hints& hints) {
    CLI::Option* const masking = app.add_option(
        "--mask", mask, "What stands in the place of secrets: aliases, or none for the secrets themselves");
    masking->check(CLI::IsMember({"aliases", "none"}))->type_name("aliases|none");
    hints[masking] = {"aliases", "none"};
    app.add_option("--keys", options.keys, "File with \"cardKeys\", to show what a secure channel encrypts")
        ->type_name("FILE");
}

void AddTrace(CLI::App& app, Options& options, CommandLine::Hints& hints) {
    app.add_option("FILE", options.inputs, "Recordings and logs, in any order; a folder stands for its files")
        ->type_name("FILE");
    CLI::Option* const format = app.add_option(
        "--format", options.format, "Form of what is written: html, text, json, mermaid or har");
    const std::vector<std::string> formats = {"html", "text", "json", "mermaid", "har"};
    format->check(CLI::IsMember(formats))->type_name("FORM")->capture_default_str();
    hints[format] = formats;
    app.add_flag(
        "--serve", options.serves, "Show the page to browsers of this machine, and follow the inputs");
    app.add_option("--port", options.port, "Port to serve at; a free one when left out")
        ->check(CLI::Range(0, 65535))
        ->type_name("NUMBER");
    app.add_option("--port-file", options.portFile, "Write the port to this file once it is served")
        ->type_name("FILE");
    app.add_option("--output,-o", options.output, "Write to this file, not to standard output")
        ->type_name("FILE");
}

std::optional<int> Complain(const CLI::App& app, const std::string& text) {
    CommandLine::Say(app, CommandLine::ComplaintOf(app, text));
    return CommandLine::ExitUsage;
}

}  // namespace

std::optional<int> ParseOptions(int count, char** arguments, Options& options) {
    CLI::App app(
        "Shows a session of the service: what went between client, service, server and card.", "navo-trace");
    CommandLine::Hints hints;
    CommandLine::Prepare(app, NAVO_VERSION, hints);
    app.footer(Footer);
    app.require_subcommand(0, 1);
    std::string mask = "aliases";
    AddTrace(app, options, hints);
    AddCommon(app, mask, options, hints);
    CLI::App* const diff =
        app.add_subcommand("diff", "Show the first command and the first answer that differ");
    std::vector<std::string> both(2);
    diff->add_option("A", both[0], "A recording, a log, or a folder with those of one session")
        ->type_name("FILE")
        ->required();
    diff->add_option("B", both[1], "The like, of another session")->type_name("FILE")->required();
    AddCommon(*diff, mask, options, hints);
    if (const std::optional<int> status = CommandLine::ParseOrSay(app, count, arguments)) {
        return status;
    }
    options.hides = mask == "aliases";
    options.differs = diff->parsed();
    if (options.differs) {
        options.inputs = both;
    }
    return options.inputs.empty() ? Complain(app, "there is nothing to read: name a recording or a log")
                                  : std::nullopt;
}

}  // namespace Trace
