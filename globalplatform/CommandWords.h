// SPDX-License-Identifier: Apache-2.0
// The head of a command APDU in words, for people.
#pragma once

#include <cstdint>
#include <string>

#include "globalplatform/CommandApdu.h"

namespace GlobalPlatform {

// "GlobalPlatform, secure messaging, logical channel 1"; ISO 7816-4, 5.1.1 and GlobalPlatform Card 2.3.1,
// 11.1.4.
[[nodiscard]] std::string ClassWords(std::uint8_t cla);

// Whether the class announces a code, or encryption, around the command.
[[nodiscard]] bool HasSecureMessaging(std::uint8_t cla);

// "GET DATA", or "unknown instruction 5A".
[[nodiscard]] std::string InstructionWords(const CommandApdu& command);

// What P1 and P2 say, by GlobalPlatform Card 2.3.1, chapter 11, and ISO 7816-4; empty where the standards say
// nothing of them, or nothing of this instruction.
[[nodiscard]] std::string FirstParameterWords(const CommandApdu& command);
[[nodiscard]] std::string SecondParameterWords(const CommandApdu& command);

}  // namespace GlobalPlatform
