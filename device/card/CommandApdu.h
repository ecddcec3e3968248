// Command APDUs of ISO 7816-4.
#pragma once

#include <cstddef>
#include <optional>

#include "Bytes.h"

namespace Device {

struct CommandApdu {
    std::uint8_t cla = 0;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    Bytes data;
    std::optional<std::size_t> expectedLength;  // 256 or 65536 where the field says 0
};

// Cases 1 to 4, short and extended. Nothing when the lengths do not agree with each other.
std::optional<CommandApdu> ParseCommand(const Bytes& bytes);

}  // namespace Device
