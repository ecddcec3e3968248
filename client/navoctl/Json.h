// SPDX-License-Identifier: Apache-2.0
// The JSON form of what navoctl reports.
#pragma once

#include <string>
#include <vector>

#include "client/navoctl/Arguments.h"
#include "commandline/CommandLine.h"
#include "navo/Causes.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

// One object, several lines, no line feed at its end. Empty texts are left out. `hint` says where to look
// after a failure.
[[nodiscard]] std::string JsonOf(
    const Arguments& arguments, const Navo::Outcome& outcome, const Navo::Map& reply,
    const std::string& hint);
[[nodiscard]] std::string JsonOf(
    const Arguments& arguments, const Navo::ClientError& error, const std::string& hint);

// Of a wrong command line.
[[nodiscard]] std::string JsonOf(const CommandLine::Complaint& complaint);

struct Explanation {
    std::string code;  // as it was asked for
    std::vector<Navo::Cause> causes;
};

[[nodiscard]] std::string JsonOf(const std::vector<Explanation>& explanations);
