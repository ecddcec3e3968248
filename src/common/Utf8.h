// SPDX-License-Identifier: Apache-2.0
// Texts from outside are bytes; what goes to clients and to the server has to be UTF-8.
#pragma once

#include <cstddef>
#include <string>

namespace Na {

// Whether it is a whole text, without a zero byte.
bool IsUtf8(const std::string& text);

// The text with U+FFFD in place of every byte that is no part of a UTF-8 sequence, and of every zero byte.
std::string ToValidUtf8(const std::string& text);

// How many bytes of a valid text, at most so many, end with a whole character.
std::size_t WholeCharacters(const std::string& text, std::size_t most);

}  // namespace Na
