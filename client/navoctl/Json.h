// SPDX-License-Identifier: Apache-2.0
// The JSON form of what navoctl reports.
#pragma once

#include <string>

#include "client/navoctl/Arguments.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

// One object, several lines, no line feed at its end. Empty texts are left out.
[[nodiscard]] std::string JsonOf(
    const Arguments& arguments, const Navo::Outcome& outcome, const Navo::Map& reply);
[[nodiscard]] std::string JsonOf(const Arguments& arguments, const Navo::ClientError& error);
