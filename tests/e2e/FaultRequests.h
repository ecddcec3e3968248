// SPDX-License-Identifier: Apache-2.0
// Requests for tests of faults under the real service, and what it holds when it is at rest.
#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/world/World.h"

enum class Command { Script, Cplc, Memory, Eligibility, PhoneInfo };

Navo::Map RequestOf(Command command);

// A script of three sets with four commands in all.
std::string FourCommands();

// What the service holds when it is at rest: a line of its log alone takes one more for a moment.
int DescriptorsAtRest(pid_t service);
