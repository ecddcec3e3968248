// SPDX-License-Identifier: Apache-2.0
// What the selected application answers by its program.
#pragma once

#include "card/Runtime.h"

namespace Card {

// The answer to a command that is the application's: not the card's own, outside of secure messaging, while
// card and application are not locked. Nothing when it has no rule for it. What the answer counts lasts when
// it is given.
[[nodiscard]] std::optional<Answer> AnswerByProgram(Runtime& card, const CommandApdu& command);

// What its program answers to the selection of an application, or nothing.
[[nodiscard]] std::optional<Answer> SelectionByProgram(
    const Runtime& card, const Application& application, const CommandApdu& command);

}  // namespace Card
