// SPDX-License-Identifier: Apache-2.0
// Status words of ISO 7816-4 and GlobalPlatform.
#pragma once

#include <cstdint>

namespace GlobalPlatform {

enum class StatusWord : std::uint16_t {
    Success = 0x9000,
    ResponseWaiting = 0x6100,  // the length that waits is added, 0 for 256 and more
    AlreadyClosed = 0x6200,
    CardIsLocked = 0x6283,
    AuthenticationFailed = 0x6300,
    MoreDataAvailable = 0x6310,
    MemoryFailure = 0x6581,
    WrongLength = 0x6700,
    ChannelNotSupported = 0x6881,
    SecureMessagingNotSupported = 0x6882,
    SecurityNotSatisfied = 0x6982,
    AuthenticationBlocked = 0x6983,
    ConditionsNotSatisfied = 0x6985,
    WrongData = 0x6A80,
    FunctionNotSupported = 0x6A81,
    FileNotFound = 0x6A82,
    NotEnoughMemory = 0x6A84,
    WrongParameters = 0x6A86,
    ReferencedDataNotFound = 0x6A88,
    WrongExpectedLength = 0x6C00,  // the right length is added
    InstructionNotSupported = 0x6D00,
    ClassNotSupported = 0x6E00,
    NoDiagnosis = 0x6F00,
};

}  // namespace GlobalPlatform
