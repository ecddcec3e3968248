// SPDX-License-Identifier: Apache-2.0
// Digits in which a program put aliases in the place of secrets: "80E2900008{card data 8D1F03A2}". Programs
// do not agree on them: the same secret has another alias in each.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "globalplatform/Bytes.h"

namespace Trace {

using GlobalPlatform::Bytes;

// Behind the alias that begins there; npos when none does.
[[nodiscard]] std::size_t EndOfAlias(std::string_view text, std::size_t begin);

// A command or response, as far as an input shows it.
struct Seen {
    Bytes bytes;         // of a command with zeros for what is hidden, where its header tells how many
    std::string masked;  // the text, when something in it is hidden
};

// Nothing for what are no hexadecimal digits.
[[nodiscard]] std::optional<Seen> SeeCommand(const std::string& text);
[[nodiscard]] std::optional<Seen> SeeResponse(const std::string& text);

[[nodiscard]] bool IsHidden(std::string_view text);

// The text again, as an input has it.
[[nodiscard]] std::string TextOf(const Seen& seen);

// The same for all that is alike but for aliases.
[[nodiscard]] std::string ComparableText(const Seen& seen);

// By which the same is found elsewhere; empty for what is not seen whole.
[[nodiscard]] std::string KeyOf(const Seen& seen);

// Whether both may be the same: nothing that both show differs.
[[nodiscard]] bool MayBeSame(const Seen& left, const Seen& right);

// The same of texts of one command or response.
[[nodiscard]] bool MayBeSameText(std::string_view left, std::string_view right);

}  // namespace Trace
