// SPDX-License-Identifier: Apache-2.0
// The names of card commands that the service reports while it works.
#pragma once

#include <string>

// Of a progress text ("E4_", "A4_Select Service") the name by which the standards know the instruction
// ("DELETE", "SELECT"). Progress says nothing of the class, so GlobalPlatform's own instructions come first.
// Where the standards know none, the service's own word, or that it has none.
[[nodiscard]] std::string InstructionText(const std::string& progress);
