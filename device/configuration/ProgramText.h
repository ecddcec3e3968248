// SPDX-License-Identifier: Apache-2.0
// Patterns of commands and answers as a person writes them. Each throws BadValue for a text that is not of
// its form.
//
//   pattern: byte... ['*']      four of the header, then the data's; with * at the end, data that begin so
//   byte:    digit digit ['/' digit digit]          a digit is hexadecimal, or x for any; a mask behind '/'
//   answers: answer {',' answer}                    the first that can be given
//   answer:  {part} ['status:' byte byte]
//   part:    byte... | '"' text '"' | tag '(' {part} ')' | 'echo' | 'aid'
//            | ('counter:' | 'next:') name [':' width] | ('value:' | 'object:') tag {'/' tag}
#pragma once

#include <string>

#include "card/Program.h"

namespace Device {

[[nodiscard]] Card::CommandPattern CommandPatternValue(const std::string& text);

[[nodiscard]] Card::Alternatives ProgramAnswersValue(const std::string& text);

}  // namespace Device
