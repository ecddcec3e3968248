// SPDX-License-Identifier: Apache-2.0
// Application identifiers; ISO 7816-4, 8.2.1.2.
#pragma once

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

constexpr std::size_t ShortestAid = 5;
constexpr std::size_t LongestAid = 16;

[[nodiscard]] inline bool IsAid(const Bytes& bytes) {
    return bytes.size() >= ShortestAid && bytes.size() <= LongestAid;
}

}  // namespace GlobalPlatform
