// SPDX-License-Identifier: Apache-2.0
// Command APDUs of ISO 7816-4, 5.1 (2005).
#pragma once

#include <cstddef>
#include <optional>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

constexpr std::size_t CommandHeaderLength = 4;  // CLA, INS, P1, P2

struct CommandApdu {
    std::uint8_t cla = 0;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    Bytes data;
    std::optional<std::size_t> expectedLength;  // 256 or 65536 where the field says 0
    bool extended = false;                      // lengths of two bytes, also where one would do
};

// Cases 1 to 4, short and extended. Nothing when the lengths do not agree with each other.
[[nodiscard]] std::optional<CommandApdu> ParseCommand(const Bytes& bytes);

// The shortest form that carries the command, unless it asks for the extended one. Throws std::length_error
// when there is none: more than 65535 bytes of data, or more than 65536 expected.
[[nodiscard]] Bytes EncodeCommand(const CommandApdu& command);

// The length of `data` as it stands in front of it: one byte, or a zero and two bytes. Nothing for no data.
[[nodiscard]] Bytes DataLengthField(const CommandApdu& command);

}  // namespace GlobalPlatform
