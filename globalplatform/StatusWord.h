// Status words of ISO 7816-4 and GlobalPlatform that the software card gives.
#pragma once

#include <cstdint>

namespace GlobalPlatform {

enum class StatusWord : std::uint16_t {
    Success = 0x9000,
    MoreDataAvailable = 0x6310,
    WrongLength = 0x6700,
    ChannelNotSupported = 0x6881,
    SecurityNotSatisfied = 0x6982,
    ConditionsNotSatisfied = 0x6985,
    WrongData = 0x6A80,
    FileNotFound = 0x6A82,
    NotEnoughMemory = 0x6A84,
    WrongParameters = 0x6A86,
    ReferencedDataNotFound = 0x6A88,
    WrongExpectedLength = 0x6C00,  // the right length is added
    InstructionNotSupported = 0x6D00,
    ClassNotSupported = 0x6E00,
};

// Ends the command that is being carried out.
struct Refusal {
    StatusWord status;
};

}  // namespace GlobalPlatform
