// SPDX-License-Identifier: Apache-2.0
// What there is to print on.
#pragma once

#include <cstddef>
#include <string>

namespace CommandLine {

// Columns of a line on standard output: what COLUMNS says, else the terminal, else 80. From 40 to 120.
[[nodiscard]] std::size_t LineWidth();

// Whether a descriptor is a terminal on which colour is wanted: NO_COLOR is unset or empty, and TERM is not
// "dumb".
[[nodiscard]] bool TakesColour(int descriptor);

enum class Colour { Good, Bad, Warning, Strong };

// The text in a colour, where `wanted`; else as it is.
[[nodiscard]] std::string Coloured(const std::string& text, Colour colour, bool wanted);

// Each line of the text in lines of at most `width` columns, broken between words. What begins with a blank
// is laid out already and stays; lines after the first begin with `indent` blanks.
[[nodiscard]] std::string Wrapped(const std::string& text, std::size_t width, std::size_t indent = 0);

}  // namespace CommandLine
