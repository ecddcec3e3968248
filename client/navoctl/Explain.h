// SPDX-License-Identifier: Apache-2.0
// "navoctl explain": the table of causes for people and programs.
#pragma once

#include "client/navoctl/Arguments.h"

// Prints what the codes mean; the exit status, 1 when one of them is unknown.
[[nodiscard]] int Explain(const Arguments& arguments);
