// SPDX-License-Identifier: Apache-2.0
// The commands and options of navoctl, from which parsing, help, complaints and completions come.
#pragma once

#include "client/navoctl/Arguments.h"
#include "client/navoctl/RawValues.h"
#include "commandline/CommandLine.h"

// Fills `app` so that parsing puts what it finds into `arguments` and `values`. All four outlive each other's
// use.
void BuildModel(CLI::App& app, Arguments& arguments, RawValues& values, CommandLine::Hints& hints);

// Words of a command line that looks for a command by name.
[[nodiscard]] const CLI::App* FindCommand(const CLI::App& app, const std::vector<std::string>& words);
