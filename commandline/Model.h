// SPDX-License-Identifier: Apache-2.0
// Questions to a command line's model that help, complaints and completions share. The model is CLI11's; a
// file that includes this one includes that library.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "commandline/CommandLine.h"

namespace CommandLine {

// "-q,--quiet"; of a positional argument "FILE".
[[nodiscard]] std::string NamesOf(const CLI::Option& option);

// Each name as it is typed: "-q", "--quiet".
[[nodiscard]] std::vector<std::string> TypedNames(const CLI::Option& option);

// "SECONDS", "hex|text"; empty for a flag.
[[nodiscard]] std::string ValueOf(const CLI::Option& option);

[[nodiscard]] bool TakesValue(const CLI::Option& option);

// Options that are shown, in the order of their making; positional arguments are left out, or alone.
[[nodiscard]] std::vector<const CLI::Option*> OptionsOf(const CLI::App& app);
[[nodiscard]] std::vector<const CLI::Option*> PositionalsOf(const CLI::App& app);

// Its subcommands, in the order of their making.
[[nodiscard]] std::vector<const CLI::App*> CommandsOf(const CLI::App& app);

// "navoctl key inject".
[[nodiscard]] std::string PathOf(const CLI::App& app);

// "Usage: navoctl key inject NAME --type symmetric|asymmetric [OPTIONS]".
[[nodiscard]] std::string UsageOf(const CLI::App& app);

// "hex, text, base64": the words with something between them.
[[nodiscard]] std::string Joined(const std::vector<std::string>& words, const std::string& between);

// What is wrong with a line that the library could not parse for this reason.
[[nodiscard]] Complaint ComplaintAbout(
    const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& arguments);

// The layout of all help.
[[nodiscard]] std::shared_ptr<CLI::FormatterBase> NewFormatter();

}  // namespace CommandLine
