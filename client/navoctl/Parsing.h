// SPDX-License-Identifier: Apache-2.0
// From a command line to what the user asked for.
#pragma once

#include <variant>

#include "client/navoctl/Arguments.h"

// What to do, or the exit status when there is nothing more to do: after help, or after wrong usage has been
// reported.
[[nodiscard]] std::variant<Arguments, int> ParseArguments(int count, char** values);
