// SPDX-License-Identifier: Apache-2.0
// Scripts of the key server, for tests that need their own.
#pragma once

#include <string>
#include <vector>

#include "tests/support/service/ResultTexts.h"

using ResultText::Done;
using ResultText::UnknownError;

// A script for "test.service" with one step for each set of commands, whatever the status words are. A
// command that begins with "raw " is sent as it stands behind that.
std::string ScriptOf(
    const std::vector<std::vector<std::string>>& steps, const std::string& furtherMembers = {});

// Command APDUs of a script file in order.
std::vector<std::string> CommandsOf(const std::string& scriptFile);

// What the service reports while it relays these commands.
std::vector<std::string> ProgressOf(const std::vector<std::string>& commands);
