// SPDX-License-Identifier: Apache-2.0
// From the bytes of a command to the command, through secure messaging.
#pragma once

#include "card/Runtime.h"

namespace Card {

// Throws a Refusal for whatever the card does not do. `command` is the one that the bytes are.
[[nodiscard]] Answer Interpret(Runtime& card, const CommandApdu& command);

// Checks class and instruction first, since what the lengths of a command mean is up to them, then reads it.
[[nodiscard]] CommandApdu ReadCommand(const Bytes& bytes);

}  // namespace Card
